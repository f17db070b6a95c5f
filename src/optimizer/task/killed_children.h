// Child processes that were killed and are not gone yet. A large process may take longer to vanish
// than a caller who asked for a stop should wait; it is reaped at the next occasion, at the latest
// with the task, so that no zombie stays.
#pragma once

#include <sys/types.h>

#include <vector>

namespace vorlan {

class KilledChildren {
 public:
  KilledChildren() = default;
  ~KilledChildren();
  KilledChildren(const KilledChildren&) = delete;
  KilledChildren& operator=(const KilledChildren&) = delete;

  // Makes room for so many more, so that add cannot fail when it matters.
  void reserve(size_t count) { pids_.reserve(pids_.size() + count); }
  void add(pid_t pid) { pids_.push_back(pid); }
  void reap_ended();
  // Waits for those that have not ended.
  void reap_all();

 private:
  std::vector<pid_t> pids_;
};

}  // namespace vorlan
