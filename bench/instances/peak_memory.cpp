// Runs a command and prints the most memory that it and its descendants had at one time, in MiB.
// usage: bench_peak_memory [--time] COMMAND [WORD...]
//
// --time  prints their processor time in seconds as well
//
// Counted is the proportional share (PSS): a page that two processes share counts once, so that a
// child process which works on its parent's pages does not count them again. The system keeps no
// peak of it, so that it is looked at every few milliseconds; a run of less than a tenth of a
// second says little.
#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>

namespace {

constexpr useconds_t kLookAgain = 5000;  // microseconds

// In KiB; 0 when the process is gone.
long share_of(pid_t process) {
  std::ifstream file("/proc/" + std::to_string(process) + "/smaps_rollup");
  for (std::string word; file >> word;) {
    long kibibytes = 0;
    if (word == "Pss:" && file >> kibibytes) return kibibytes;
  }
  return 0;
}

long share_with_descendants(pid_t process) {
  const std::string name = std::to_string(process);
  long sum = share_of(process);
  std::ifstream children("/proc/" + name + "/task/" + name + "/children");
  for (pid_t child = 0; children >> child;) sum += share_with_descendants(child);
  return sum;
}

pid_t start(char** words) {
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    posix_spawn_file_actions_addopen(&actions, stream, "/dev/null", O_RDWR, 0);
  }
  pid_t process = -1;
  const int failure = posix_spawnp(&process, words[0], &actions, nullptr, words, environ);
  posix_spawn_file_actions_destroy(&actions);
  return failure == 0 ? process : -1;
}

double seconds(const timeval& time) {
  return static_cast<double>(time.tv_sec) + 1e-6 * static_cast<double>(time.tv_usec);
}

}  // namespace

int main(int argc, char** argv) {
  const bool with_time = argc > 1 && std::strcmp(argv[1], "--time") == 0;
  char** const words = argv + (with_time ? 2 : 1);
  const pid_t process = *words == nullptr ? -1 : start(words);
  if (process < 0) {
    std::fprintf(stderr, "usage: bench_peak_memory [--time] COMMAND [WORD...]\n");
    return 1;
  }
  long peak = 0;
  int status = 0;
  rusage used{};
  while (wait4(process, &status, WNOHANG, &used) == 0) {
    peak = std::max(peak, share_with_descendants(process));
    usleep(kLookAgain);
  }
  std::printf("%.2f", static_cast<double>(peak) / 1024.0);
  if (with_time) std::printf(" %.3f", seconds(used.ru_utime) + seconds(used.ru_stime));
  std::printf("\n");
  return WIFEXITED(status) ? WEXITSTATUS(status) : 1;
}
