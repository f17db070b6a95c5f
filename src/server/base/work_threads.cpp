// The threads' queue; see work_threads.h.
#include "base/work_threads.h"

namespace vorlan::server {

WorkThreads::WorkThreads(Loop* loop, size_t count) : loop_(loop) {
  threads_.reserve(count);
  for (size_t i = 0; i < count; ++i) threads_.emplace_back([this] { serve(); });
}

WorkThreads::~WorkThreads() {
  {
    const std::lock_guard lock(mutex_);
    ending_ = true;
  }
  changed_.notify_all();
  for (std::thread& thread : threads_) thread.join();
}

void WorkThreads::run(std::function<void()> work, std::function<void()> done) {
  {
    const std::lock_guard lock(mutex_);
    waiting_.push_back({std::move(work), std::move(done)});
  }
  changed_.notify_one();
}

bool WorkThreads::take(Item* item) {
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [this] { return ending_ || !waiting_.empty(); });
  if (waiting_.empty()) return false;
  *item = std::move(waiting_.front());
  waiting_.pop_front();
  return true;
}

void WorkThreads::serve() {
  for (Item item; take(&item);) {
    item.work();
    loop_->post(std::move(item.done));
  }
}

}  // namespace vorlan::server
