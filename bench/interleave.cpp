// Times several commands in turn, each from process start to end.
// usage: bench_interleave ROUNDS COMMAND [WORD...] [-- COMMAND [WORD...]]...
//
// Each round runs every command once, in the opposite order of the round before: what slows the
// machine for a while slows all of them alike. The commands have no input and their output is
// dropped. Prints one line for each command, in milliseconds: median, first and third quartile,
// minimum, and the median of the processor time, which other work on the machine lengthens less. A
// command that does not exit with status 0 ends the benchmark, for its time would
// mean nothing.
#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "statistics.h"

namespace {

// The first rounds only bring files into memory; few, where few rounds say that a command is long.
int numwarmups(int num_rounds) { return std::min(3, (num_rounds + 2) / 3); }

struct Command {
  std::vector<char*> words;  // ends with a null pointer
  std::vector<double> milliseconds;
  std::vector<double> processor_milliseconds;
};

struct Times {
  double clock, processor;
};

[[noreturn]] void fail(const char* what, const char* which) {
  std::fprintf(stderr, "bench_interleave: %s: %s\n", what, which);
  std::exit(1);
}

std::vector<Command> parsecommands(char** words) {
  std::vector<Command> commands(1);
  for (; *words != nullptr; ++words) {
    if (std::strcmp(*words, "--") == 0) {
      commands.emplace_back();
    } else {
      commands.back().words.push_back(*words);
    }
  }
  for (Command& command : commands) {
    if (command.words.empty()) fail("empty command", "see the usage");
    command.words.push_back(nullptr);
  }
  return commands;
}

class NullStreams {
 public:
  NullStreams() {
    posix_spawn_file_actions_init(&actions_);
    posix_spawn_file_actions_addopen(&actions_, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions_, 1, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(&actions_, 2, "/dev/null", O_WRONLY, 0);
  }
  ~NullStreams() { posix_spawn_file_actions_destroy(&actions_); }
  NullStreams(const NullStreams&) = delete;
  NullStreams& operator=(const NullStreams&) = delete;

  const posix_spawn_file_actions_t* actions() const { return &actions_; }

 private:
  posix_spawn_file_actions_t actions_{};
};

double milliseconds(const timeval& time) {
  return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_usec) * 1e-3;
}

Times timecommand(const Command& command, const NullStreams& streams) {
  const double start = now();
  pid_t child = 0;
  if (posix_spawnp(&child, command.words[0], streams.actions(), nullptr, command.words.data(),
                   environ) != 0) {
    fail("cannot start", command.words[0]);
  }
  int status = 0;
  rusage usage{};
  if (wait4(child, &status, 0, &usage) != child) fail("cannot wait for", command.words[0]);
  const double end = now();
  if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) fail("failed", command.words[0]);
  return {(end - start) * 1e3, milliseconds(usage.ru_utime) + milliseconds(usage.ru_stime)};
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3)
    fail("usage", "bench_interleave ROUNDS COMMAND [WORD...] [-- COMMAND [WORD...]]...");
  const int num_rounds = std::atoi(argv[1]);
  if (num_rounds < 1) fail("not a number of rounds", argv[1]);
  std::vector<Command> commands = parsecommands(argv + 2);
  const NullStreams streams;
  for (int round = -numwarmups(num_rounds); round < num_rounds; ++round) {
    for (std::size_t i = 0; i < commands.size(); ++i) {
      Command& command = commands[round % 2 == 0 ? i : commands.size() - 1 - i];
      const Times times = timecommand(command, streams);
      if (round < 0) continue;
      command.milliseconds.push_back(times.clock);
      command.processor_milliseconds.push_back(times.processor);
    }
  }
  for (const Command& command : commands) {
    const std::vector<double>& sample = command.milliseconds;
    std::printf("%.4f %.4f %.4f %.4f %.3f\n", median(sample), quantile(sample, 0.25),
                quantile(sample, 0.75), quantile(sample, 0.0),
                median(command.processor_milliseconds));
  }
}
