// Reaping of killed children.
#include "task/killed_children.h"

#include <sys/wait.h>

#include <cerrno>

namespace vorlan {
namespace {

// A system whose waitpid does nothing but fail must not hold the caller for ever.
constexpr int kMostInterruptions = 1000;

// True when the child is gone, also when the system reaped it because SIGCHLD is ignored.
bool is_gone(pid_t pid, bool wait) {
  pid_t result = 0;
  int interruptions = 0;
  do {
    result = ::waitpid(pid, nullptr, wait ? 0 : WNOHANG);
  } while (result < 0 && errno == EINTR && ++interruptions < kMostInterruptions);
  return result != 0;
}

}  // namespace

KilledChildren::~KilledChildren() { reap(true); }

void KilledChildren::reap(bool wait) {
  std::erase_if(pids_, [wait](pid_t pid) { return is_gone(pid, wait); });
}

}  // namespace vorlan
