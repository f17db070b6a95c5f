// Signals by which the system tells of a failing write, SIGPIPE and SIGXFSZ: to a library they are
// errors of that write and must not end its caller's process.
#pragma once

#include <signal.h>

#include <array>

namespace vorlan {

// Holds back the signals that a failing write raises, in this thread, and takes them away again.
class WriteSignals {
 public:
  WriteSignals();
  ~WriteSignals();
  WriteSignals(const WriteSignals&) = delete;
  WriteSignals& operator=(const WriteSignals&) = delete;

  // The caller calls this after a failing write. A signal that was pending before is someone else's
  // and stays. errno is kept.
  void discard_raised() const;

 private:
  static constexpr std::array<int, 2> kSignals = {SIGPIPE, SIGXFSZ};

  sigset_t mask_before_;
  std::array<bool, kSignals.size()> pending_before_ = {};
};

}  // namespace vorlan
