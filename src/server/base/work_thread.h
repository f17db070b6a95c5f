// A thread that does, one after the other, what would keep the event loop waiting for a disk.
#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

#include "base/loop.h"

namespace vorlan::server {

class WorkThread {
 public:
  explicit WorkThread(Loop* loop);
  // Does what is waiting, then ends.
  ~WorkThread();
  WorkThread(const WorkThread&) = delete;
  WorkThread& operator=(const WorkThread&) = delete;

  // Runs `work` in the thread, then `done` in the loop. Work must not throw.
  void run(std::function<void()> work, std::function<void()> done);

 private:
  struct Item {
    std::function<void()> work, done;
  };

  void serve();
  bool take(Item* item);

  Loop* loop_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<Item> waiting_;
  bool ending_ = false;
  std::thread thread_;
};

}  // namespace vorlan::server
