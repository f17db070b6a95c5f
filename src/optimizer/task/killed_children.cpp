// Reaping of killed children.
#include "task/killed_children.h"

#include <sys/wait.h>

#include <cerrno>

namespace vorlan {
namespace {

// A system whose waitpid does nothing but fail must not hold the caller for ever.
constexpr int kMostInterruptions = 1000;

// True when the child is gone, also when the system reaped it because SIGCHLD is ignored.
bool is_gone(pid_t pid, int options) {
  pid_t result = 0;
  int interruptions = 0;
  do {
    result = ::waitpid(pid, nullptr, options);
  } while (result < 0 && errno == EINTR && ++interruptions < kMostInterruptions);
  return result != 0;
}

}  // namespace

KilledChildren::~KilledChildren() { reap_all(); }

void KilledChildren::reap_ended() {
  std::erase_if(pids_, [](pid_t pid) { return is_gone(pid, WNOHANG); });
}

void KilledChildren::reap_all() {
  std::erase_if(pids_, [](pid_t pid) { return is_gone(pid, 0); });
}

}  // namespace vorlan
