// recording_test.cpp - the recording library as a program sees it: each test calls it in a process
// of its own, with a script, and looks at the trace.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <time.h>

#include <csignal>
#include <functional>
#include <string>
#include <string_view>

#include "recorded.h"
#include "vorlan.h"

namespace recording {
namespace {

// Runs body with the script in a process of its own.
Recorded record_with(const std::string& script, const std::function<int()>& body) {
  return record(script, {}, body);
}

vlntaskt* make_task() {
  vlntaskt* task = nullptr;
  VLN_makeemptytask(nullptr, &task);
  return task;
}

TEST(Recording, ShowsEveryArgument) {
  const Recorded recorded = record_with("", [] {
    vlntaskt* task = make_task();
    int32_t value = 0;
    VLN_putparam(task, "a\"b\n", nullptr);
    VLN_getintparam(task, -5, &value);
    VLN_getintparam(nullptr, 1, nullptr);
    VLN_writebsolution(task, "f", 4294967295U);
    VLN_getbarxslice(task, 2, 0, 3, 5000000000, nullptr);
    VLN_optimizermt(task, "http://x", "secret", nullptr);
    VLN_readdata(reinterpret_cast<vlntaskt*>(&value), "f");
    VLN_deletetask(&task);
    return task == nullptr ? 0 : 1;
  });
  EXPECT_EQ(recorded.status, 0);
  EXPECT_EQ(recorded.trace,
            R"(VLN_makeemptytask(null, out)
VLN_putparam(task, "a\"b\n", null)
VLN_getintparam(task, -5, out)
VLN_getintparam(null, 1, null)
VLN_writebsolution(task, "f", 4294967295)
VLN_getbarxslice(task, 2, 0, 3, 5000000000, null)
VLN_optimizermt(task, "http://x", "secret", null)
VLN_readdata(wrong-task, "f")
VLN_deletetask(&task)
)");
}

TEST(Recording, TellsViewsFromStrings) {
  const Recorded recorded = record_with("", [] {
    vlntaskt* task = make_task();
    VLN_echotask(task, 0, "Set log file: %s\n", std::string_view("a name", 4));
    VLN_echotask(task, 0, "Set log file: %s\n", std::string_view());
    VLN_echotask(task, 0, "Set log file: %s\n", "pointer");
    VLN_echotask(task, 0, "Read file: %s\n", "pointer");
    VLN_echotask(task, 0, "Read file: %s\n", std::string_view("view"));
    VLN_echotask(task, 0, "Read file: %s\n", static_cast<const char*>(nullptr));
    VLN_echotask(task, 0, "%d of %g\n", 3, 4.5);
    VLN_echotask(task, 0, "plain\n");
    return 0;
  });
  EXPECT_EQ(recorded.trace,
            R"(VLN_makeemptytask(null, out)
VLN_echotask(task, 0, "Set log file: %s\n", view "a na")
VLN_echotask(task, 0, "Set log file: %s\n", view "")
VLN_echotask(task, 0, "Set log file: %s\n", "pointer")
VLN_echotask(task, 0, "Read file: %s\n", "pointer")
VLN_echotask(task, 0, "Read file: %s\n", view "view")
VLN_echotask(task, 0, "Read file: %s\n", null)
VLN_echotask(task, 0, "%d of %g\n", formatted "3 of 4.5\n")
VLN_echotask(task, 0, "plain\n")
)");
}

TEST(Recording, AnswersByTheScript) {
  const Recorded recorded = record_with(
      R"(VLN_getnumvar: numvar = 7
VLN_getnumvar call=2: code 12
VLN_getxx whichsol=1: xx = [1.5, 2.5]
VLN_getvarname: name = "x{j}"
VLN_getlasterror: lastmsglen = 100; lastmsg = "short"
)",
      [] {
        vlntaskt* task = make_task();
        int32_t count = 0;
        if (VLN_getnumvar(task, &count) != 0 || count != 7) return 1;
        if (VLN_getnumvar(task, &count) != VLNrescode_enum{12}) return 2;
        double xx[3] = {9, 9, 9};
        if (VLN_getxx(task, 0, xx) != 0 || xx[0] != 9) return 3;
        if (VLN_getxx(task, 1, xx) != 0 || xx[1] != 2.5 || xx[2] != 9) return 4;
        char name[4] = "";
        VLN_getvarname(task, 12345, 4, name);
        if (std::string(name) != "x12") return 5;
        VLN_getlasterror(task, nullptr, 0, &count, nullptr);
        if (count != 100) return 6;
        char message[10] = "";
        VLN_getlasterror(task, nullptr, 10, &count, message);
        return std::string(message) == "short" ? 0 : 7;
      });
  EXPECT_EQ(recorded.status, 0);
}

int stop_after_two_seconds(vlntaskt* task, void* handle, VLNcallbackcode_enum, const double* douinf,
                           const int*, const long*) {
  if (task != nullptr || *static_cast<int*>(handle) != 42) return -1;
  return douinf[50] > 2.0 ? 1 : 0;
}

TEST(Recording, CallsBackOnlyWhatIsRegistered) {
  const Recorded recorded = record_with("VLN_optimizetrm: callback 2; callback 2.5\n", [] {
    vlntaskt* task = make_task();
    int handle = 42;
    VLN_optimizetrm(task, nullptr);
    VLN_putcallbackfunc(task, stop_after_two_seconds, &handle);
    VLN_optimizetrm(task, nullptr);
    return 0;
  });
  EXPECT_EQ(recorded.trace,
            R"(VLN_makeemptytask(null, out)
VLN_optimizetrm(task, null)
  callback: none registered
  callback: none registered
VLN_putcallbackfunc(task, function, handle)
VLN_optimizetrm(task, null)
  callback(2) = 0
  callback(2.5) = 1
)");
}

std::string streamed;
void keep_text(void* handle, const char* text) {
  streamed += static_cast<char*>(handle) + std::string(text);
}

TEST(Recording, SendsTextToTheLinkedFunction) {
  const Recorded recorded = record_with("VLN_readdata: log \"text\\n\"\n", [] {
    vlntaskt* task = make_task();
    char handle[] = ">";
    VLN_readdata(task, "f");
    VLN_linkfunctotaskstream(task, 0, handle, keep_text);
    VLN_readdata(task, "f");
    VLN_linkfiletotaskstream(task, 0, "log", 0);
    VLN_readdata(task, "f");
    return streamed == ">text\n" ? 0 : 1;
  });
  EXPECT_EQ(recorded.status, 0);
}

TEST(Recording, RaisesSignalsAndShowsFiles) {
  const Recorded recorded = record_with("VLN_readdata: show \"/nonexistent/f\"; signal TERM\n", [] {
    VLN_readdata(make_task(), "f");
    return 0;
  });
  EXPECT_TRUE(WIFSIGNALED(recorded.status) && WTERMSIG(recorded.status) == SIGTERM);
  EXPECT_TRUE(recorded.trace.ends_with("  file \"/nonexistent/f\": absent\n")) << recorded.trace;
}

TEST(Recording, OwnsTheClockWhenScripted) {
  const Recorded recorded = record_with("clock: 5.000000001 6.000000002\n", [] {
    timespec first{};
    timespec second{};
    timespec third{};
    timespec other{};
    clock_gettime(CLOCK_REALTIME, &first);
    clock_gettime(CLOCK_REALTIME, &second);
    clock_gettime(CLOCK_REALTIME, &third);
    clock_gettime(CLOCK_MONOTONIC, &other);
    const bool as_scripted = first.tv_sec == 5 && first.tv_nsec == 1 && second.tv_sec == 6 &&
                             second.tv_nsec == 2 && third.tv_sec == 6;
    return as_scripted ? 0 : 1;
  });
  EXPECT_EQ(recorded.status, 0);
  EXPECT_EQ(recorded.trace, R"(clock_gettime(0)
clock_gettime(0)
clock_gettime(0)
)");
}

TEST(Recording, StopsAtABadScript) {
  const Recorded recorded = record_with("VLN_nonsense: code 1\n", [] {
    make_task();
    return 0;
  });
  EXPECT_EQ(WEXITSTATUS(recorded.status), 99);
}

}  // namespace
}  // namespace recording
