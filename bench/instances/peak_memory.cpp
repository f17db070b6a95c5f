// Runs a command and prints the most memory that it and its descendants had at one time, in MiB.
// usage: bench_peak_memory COMMAND [WORD...]
//
// Counted is the proportional share (PSS): a page that two processes share counts once, so that a
// child process which works on its parent's pages does not count them again. The system keeps no
// peak of it, so that it is looked at every few milliseconds; a run of less than a tenth of a
// second says little.
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
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

}  // namespace

int main(int argc, char** argv) {
  const pid_t process = argc < 2 ? -1 : start(argv + 1);
  if (process < 0) {
    std::fprintf(stderr, "usage: bench_peak_memory COMMAND [WORD...]\n");
    return 1;
  }
  long peak = 0;
  int status = 0;
  while (waitpid(process, &status, WNOHANG) == 0) {
    peak = std::max(peak, share_with_descendants(process));
    usleep(kLookAgain);
  }
  std::printf("%.2f\n", static_cast<double>(peak) / 1024.0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : 1;
}
