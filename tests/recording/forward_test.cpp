// forward_test.cpp - forwarding writes calls with their results and changes nothing; a replay of
// the trace makes the same calls and finds every difference.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <string_view>

#include "recorded.h"
#include "scratch_folder.h"
#include "vorlan.h"

namespace recording {
namespace {

namespace fs = std::filesystem;

const char* const tiny_library = VORLAN_TINY_LIBRARY;

void print_nothing(void*, const char*) {}

// One call of each sort; 0 if all results came through.
int call_all_sorts() {
  vlntaskt* task = nullptr;
  if (VLN_makeemptytask(nullptr, &task) != VLN_RES_OK || task == nullptr) return 1;
  VLN_linkfunctotaskstream(task, 0, nullptr, print_nothing);
  VLN_echotask(task, 0, "Read file: %s\n", "a b");
  VLN_echotask(task, 0, "Set log file: %s\n", std::string_view("view", 3));
  if (VLN_readdata(task, "bad") != VLNrescode_enum{1052}) return 2;
  int32_t count = 0;
  VLN_getnumvar(task, &count);
  if (count != 3) return 3;
  double xx[3] = {};
  VLN_getxx(task, 1, xx);
  if (xx[2] != 2.5) return 4;
  int32_t keys[3] = {};
  VLN_getskc(task, 1, keys);
  double slice[2] = {};
  VLN_getbarxslice(task, 0, 0, 1, 2, slice);
  char name[8] = "";
  VLN_getvarname(task, 0, 8, name);
  VLN_getcodedesc(VLN_RES_OK, name, nullptr);
  VLNrescode_enum trm{};
  VLN_optimizermt(task, "http://server", "secret", &trm);
  VLN_optimizermt(task, "http://server", "", &trm);
  VLN_getlasterror(task, &trm, 0, &count, nullptr);
  double objective = 0;
  VLN_getprimalobj(task, 1, &objective);
  VLN_deletetask(&task);
  return task == nullptr && objective == 0.1 ? 0 : 5;
}

const char* const expected_trace =
    R"(VLN_makeemptytask(null, out) = 0 task=task
VLN_linkfunctotaskstream(task, 0, null, function) = 0
VLN_echotask(task, 0, "Read file: %s\n", "a b") = 0
VLN_echotask(task, 0, "Set log file: %s\n", view "vie") = 0
VLN_readdata(task, "bad") = 1052
VLN_getnumvar(task, out) = 0 numvar=3
VLN_getxx(task, 1, out) = 0 xx=[0.5, 1.5, 2.5]
VLN_getskc(task, 1, out) = 0 skc=[0, 1, 2]
VLN_getbarxslice(task, 0, 0, 1, 2, out) = 0 barxslice=[1.0000000000000001e+300, 1.0000000000000001e+300]
VLN_getvarname(task, 0, 8, out) = 0 name="a\"b\n"
VLN_getcodedesc(0, out, null) = 0 symname="NAME"
VLN_optimizermt(task, "http://server", "***", out) = 0 trm=3
VLN_optimizermt(task, "http://server", "", out) = 0 trm=3
VLN_getlasterror(task, out, 0, out, null) = 0 lastrescode=3 lastmsglen=3
VLN_getprimalobj(task, 1, out) = 0 primalobj=0.10000000000000001
VLN_deletetask(&task) = 0
)";

TEST(Forward, WritesCallsWithTheirResults) {
  const Recorded recorded = record("", tiny_library, call_all_sorts);
  EXPECT_EQ(recorded.status, 0);
  EXPECT_EQ(recorded.trace, expected_trace);
}

TEST(Forward, NeverWritesAnAccessToken) {
  const Recorded recorded = record("", tiny_library, call_all_sorts);
  EXPECT_EQ(recorded.trace.find("secret"), std::string::npos);
}

TEST(Forward, LeavesTheCallInWhichTheLibraryDies) {
  const Recorded recorded = record("", tiny_library, [] {
    vlntaskt* task = nullptr;
    VLN_makeemptytask(nullptr, &task);
    VLN_readdata(task, "die");
    return 0;
  });
  EXPECT_EQ(WEXITSTATUS(recorded.status), 3);
  EXPECT_EQ(recorded.trace,
            "VLN_makeemptytask(null, out) = 0 task=task\nVLN_readdata(task, \"die\")");
}

TEST(Forward, EndsWithoutTheLibraryToForwardTo) {
  const Recorded recorded = record("", "/nonexistent/library", call_all_sorts);
  EXPECT_EQ(WEXITSTATUS(recorded.status), 99);
}

struct Replayed {
  int status = 0;
  std::string output;
};

Replayed replay(const std::string& trace) {
  const vorlan::test::ScratchFolder folder;
  const std::string command = std::string(VORLAN_REPLAY) + " '" + folder.write("trace", trace) +
                              "' '" + tiny_library + "' > '" + folder.path("output") + "' 2>&1";
  Replayed result;
  result.status = WEXITSTATUS(std::system(command.c_str()));
  result.output = folder.read("output");
  return result;
}

TEST(Replay, FindsNoDifferenceOnTheSameLibrary) {
  const Replayed replayed = replay(expected_trace);
  EXPECT_EQ(replayed.status, 0);
  EXPECT_EQ(replayed.output, "16 lines, 0 different\n");
}

TEST(Replay, ShowsEachDifference) {
  const Replayed replayed = replay(
      "VLN_makeemptytask(null, out) = 0 task=task\n"
      "VLN_readdata(task, \"bad\") = 0\n"
      "VLN_readdata(task, \"good\") = 0\n"
      "VLN_getnumvar(task, out) = 0 numvar=4\n"
      "VLN_getnumcon(task, out)");
  EXPECT_EQ(replayed.status, 1);
  EXPECT_NE(replayed.output.find("trace:2: VLN_readdata(task, \"bad\") = 0\n  now: 1052\n"),
            std::string::npos)
      << replayed.output;
  EXPECT_NE(replayed.output.find("now: 0 numvar=3\n5 lines, 2 different\n"), std::string::npos)
      << replayed.output;
}

TEST(Replay, RefusesWhatIsNoTrace) {
  EXPECT_EQ(replay("VLN_nonsense(task) = 0\n").status, 2);
  EXPECT_EQ(replay("VLN_readdata(task) = 0\n").status, 2);
}

}  // namespace
}  // namespace recording
