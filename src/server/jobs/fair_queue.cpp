// The order of queued jobs; see fair_queue.h.
#include "jobs/fair_queue.h"

namespace vorlan::server {

void FairQueue::add(const std::string& owner, int64_t priority, const std::string& id) {
  if (owners_[owner].waiting.emplace(-priority, id).second) ++size_;
}

void FairQueue::remove(const std::string& owner, int64_t priority, const std::string& id) {
  const auto found = owners_.find(owner);
  if (found == owners_.end()) return;
  size_ -= found->second.waiting.erase({-priority, id});
  forget_if_idle(owner);
}

void FairQueue::count_start(const std::string& owner) {
  Owner& entry = owners_[owner];
  ++entry.running;
  entry.last_start = ++starts_;
}

void FairQueue::count_end(const std::string& owner) {
  const auto found = owners_.find(owner);
  if (found == owners_.end()) return;
  --found->second.running;
  forget_if_idle(owner);
}

void FairQueue::forget_if_idle(const std::string& name) {
  const auto found = owners_.find(name);
  if (found->second.waiting.empty() && found->second.running <= 0) owners_.erase(found);
}

std::optional<std::string> FairQueue::next() const {
  const Owner* best = nullptr;
  for (const auto& [name, owner] : owners_) {
    if (owner.waiting.empty()) continue;
    const auto rank = [](const Owner& o) { return std::tuple(o.running, o.last_start); };
    if (best == nullptr || rank(owner) < rank(*best)) best = &owner;
  }
  if (best == nullptr) return {};
  return best->waiting.begin()->second;
}

}  // namespace vorlan::server
