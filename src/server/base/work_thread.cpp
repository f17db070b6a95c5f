// The thread's queue; see work_thread.h.
#include "base/work_thread.h"

namespace vorlan::server {

WorkThread::WorkThread(Loop* loop) : loop_(loop), thread_([this] { serve(); }) {}

WorkThread::~WorkThread() {
  {
    const std::lock_guard lock(mutex_);
    ending_ = true;
  }
  changed_.notify_one();
  thread_.join();
}

void WorkThread::run(std::function<void()> work, std::function<void()> done) {
  {
    const std::lock_guard lock(mutex_);
    waiting_.push_back({std::move(work), std::move(done)});
  }
  changed_.notify_one();
}

bool WorkThread::take(Item* item) {
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [this] { return ending_ || !waiting_.empty(); });
  if (waiting_.empty()) return false;
  *item = std::move(waiting_.front());
  waiting_.pop_front();
  return true;
}

void WorkThread::serve() {
  for (Item item; take(&item);) {
    item.work();
    loop_->post(std::move(item.done));
  }
}

}  // namespace vorlan::server
