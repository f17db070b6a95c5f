// A failing write raises SIGPIPE or SIGXFSZ in the thread that writes. The signals are blocked
// there for the time of the write, and what was raised is taken away, so that the caller's handlers
// never see it.
#include "task/write_signals.h"

#include <pthread.h>

#include <cerrno>
#include <ctime>

namespace vorlan {
namespace {

void discard(int signal) {
  sigset_t one;
  sigemptyset(&one);
  sigaddset(&one, signal);
  const timespec no_time{0, 0};
  while (sigtimedwait(&one, nullptr, &no_time) < 0 && errno == EINTR) {
  }
}

}  // namespace

WriteSignals::WriteSignals() {
  sigset_t raised;
  sigemptyset(&raised);
  for (const int signal : kSignals) sigaddset(&raised, signal);
  sigset_t pending;
  sigpending(&pending);
  for (size_t i = 0; i < kSignals.size(); ++i) {
    pending_before_[i] = sigismember(&pending, kSignals[i]) == 1;
  }
  pthread_sigmask(SIG_BLOCK, &raised, &mask_before_);
}

WriteSignals::~WriteSignals() { pthread_sigmask(SIG_SETMASK, &mask_before_, nullptr); }

void WriteSignals::discard_raised() const {
  const int error = errno;
  for (size_t i = 0; i < kSignals.size(); ++i) {
    if (!pending_before_[i]) discard(kSignals[i]);
  }
  errno = error;
}

}  // namespace vorlan
