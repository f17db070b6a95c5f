// Stops solves at random moments and tells how long each took to end.
// usage: bench_stop_delay NUMBER SECONDS SEED PROGRAM MODEL
//
// NUMBER times PROGRAM reads MODEL and solves it, and is stopped at a moment within SECONDS of the
// solve's beginning, all moments alike likely: by SIGTERM and by the time limit in turn. Prints, in
// milliseconds: median, ninth decile, and longest delay of the signals, and the same of the time
// limits. A signal's delay lasts from the signal until the first result file is there; a time
// limit's is the solve's own time less the limit. A run that ends before it is stopped, or
// otherwise than it should, ends the benchmark.
//
// Works in the current folder and leaves files there.
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <initializer_list>
#include <random>
#include <string>
#include <vector>

#include "statistics.h"

namespace {

constexpr const char* kBegunFile = "begun";
constexpr const char* kTimeFile = "seconds";
constexpr const char* kReasonFile = "reason";
constexpr useconds_t kLookAgain = 200;  // microseconds

[[noreturn]] void fail(const std::string& what) {
  std::fprintf(stderr, "bench_stop_delay: %s\n", what.c_str());
  std::exit(1);
}

void pause_for(double seconds) {
  const auto whole = static_cast<time_t>(seconds);
  timespec time{whole, static_cast<long>((seconds - static_cast<double>(whole)) * 1e9)};
  nanosleep(&time, nullptr);
}

template <class Value>
Value content(const char* file) {
  Value value{};
  if (!(std::ifstream(file) >> value)) fail(std::string("nothing in ") + file);
  return value;
}

class Run {
 public:
  Run(const char* program, const char* model, const std::string& limit) {
    for (const char* file : {kBegunFile, kTimeFile, kReasonFile}) unlink(file);
    const std::string solve =
        std::string("-solve:printtime,opttime=") + kTimeFile + ",trm=" + kReasonFile + limit;
    std::vector<std::string> words = {program,           "-read",    model,
                                      "-indicator-file", kBegunFile, solve};
    std::vector<char*> pointers;
    pointers.reserve(words.size() + 1);
    for (std::string& word : words) pointers.push_back(word.data());
    pointers.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    if (posix_spawnp(&pid_, program, &actions, nullptr, pointers.data(), environ) != 0) {
      fail(std::string("cannot start ") + program);
    }
    posix_spawn_file_actions_destroy(&actions);
  }

  // The program leaves the file just before the solve.
  void await_solve() const {
    while (access(kBegunFile, F_OK) != 0) {
      usleep(kLookAgain);
      if (waitpid(pid_, nullptr, WNOHANG) != 0) fail("a run ended before its solve");
    }
  }

  void signal() const { kill(pid_, SIGTERM); }

  // The first file that is written after the solve.
  static void await_result() {
    while (access(kTimeFile, F_OK) != 0) usleep(kLookAgain);
  }

  void await_end(const char* reason) const {
    int status = 0;
    if (waitpid(pid_, &status, 0) != pid_ || !WIFEXITED(status) || WEXITSTATUS(status) != 0) {
      fail("a run failed");
    }
    const auto termination = content<std::string>(kReasonFile);
    if (termination != reason) fail("a run ended with " + termination + " instead of " + reason);
  }

 private:
  pid_t pid_ = -1;
};

double delay_of_signal(const char* program, const char* model, double moment) {
  const Run run(program, model, "");
  run.await_solve();
  pause_for(moment);
  const double sent = now();
  run.signal();
  Run::await_result();
  const double delay = now() - sent;
  run.await_end("VLN_RES_TRM_USER_CALLBACK");
  return delay;
}

// The program's own limit is kept by the callback, as a signal is.
double delay_of_limit(const char* program, const char* model, double moment) {
  const Run run(program, model, ",time-limit=" + std::to_string(moment));
  run.await_end("VLN_RES_TRM_USER_CALLBACK");
  return content<double>(kTimeFile) - moment;
}

void print(const std::vector<double>& seconds) {
  std::printf("%.1f %.1f %.1f\n", 1e3 * median(seconds), 1e3 * quantile(seconds, 0.9),
              1e3 * quantile(seconds, 1.0));
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 6) fail("usage: bench_stop_delay NUMBER SECONDS SEED PROGRAM MODEL");
  const int number = std::atoi(argv[1]);
  const double longest = std::atof(argv[2]);
  if (number < 2 || !(longest > 0.0)) fail("at least two stops within some seconds");
  std::mt19937 random(static_cast<uint32_t>(std::strtoul(argv[3], nullptr, 10)));
  std::vector<double> signals;
  std::vector<double> limits;
  for (int i = 0; i < number; ++i) {
    const double moment = longest * std::generate_canonical<double, 32>(random);
    if (i % 2 == 0) {
      signals.push_back(delay_of_signal(argv[4], argv[5], moment));
    } else {
      limits.push_back(delay_of_limit(argv[4], argv[5], moment));
    }
  }
  print(signals);
  print(limits);
}
