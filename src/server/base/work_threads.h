// Threads that do what would keep the event loop waiting for a disk. They are several because a disk
// writes what many wait for in about the time that it takes for one.
#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

#include "base/loop.h"

namespace vorlan::server {

class WorkThreads {
 public:
  WorkThreads(Loop* loop, size_t count);
  // Does what is waiting, then ends.
  ~WorkThreads();
  WorkThreads(const WorkThreads&) = delete;
  WorkThreads& operator=(const WorkThreads&) = delete;

  // Runs `work` in one of the threads, then `done` in the loop. Works that wait begin in their order
  // and may end in another. Work must not throw.
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
  std::vector<std::thread> threads_;
};

}  // namespace vorlan::server
