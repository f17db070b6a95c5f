// Which queued job is next: of the owner who has the fewest jobs running, and among those of the
// one who has waited longest since his last start; of one owner's jobs the one of highest priority,
// and among those the oldest. So nobody's thousand jobs keep another's one waiting.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <tuple>

namespace vorlan::server {

class FairQueue {
 public:
  void add(const std::string& owner, int64_t priority, const std::string& id);
  void remove(const std::string& owner, int64_t priority, const std::string& id);
  // A job of the owner runs, or no longer does.
  void count_start(const std::string& owner);
  void count_end(const std::string& owner);

  // Nothing when the queue is empty. The job stays until it is removed.
  std::optional<std::string> next() const;
  size_t size() const { return size_; }

 private:
  struct Owner {
    std::set<std::pair<int64_t, std::string>> waiting;  // by falling priority, then by age
    int64_t running = 0;
    uint64_t last_start = 0;
  };

  void forget_if_idle(const std::string& name);

  std::map<std::string, Owner> owners_;
  size_t size_ = 0;
  uint64_t starts_ = 0;
};

}  // namespace vorlan::server
