// The server's event loop: one thread in which requests are answered, jobs change state and timers
// fire, so that none of it needs a lock. Work that waits for a disk runs elsewhere (work_threads.h)
// and posts its end here.
//
// Asio is behind it. Only the files that include base/loop_native.h see Asio: it takes long to
// compile.
#pragma once

#include <chrono>
#include <functional>
#include <memory>

namespace vorlan::server {

class Loop {
 public:
  // A timer or a watched descriptor; destroying it cancels it.
  class Pending {
   public:
    virtual ~Pending() = default;
  };
  using Handle = std::unique_ptr<Pending>;
  struct Native;

  Loop();
  ~Loop();
  Loop(const Loop&) = delete;
  Loop& operator=(const Loop&) = delete;

  // Runs what is posted until stop() is called.
  void run();
  void stop();

  // May be called from any thread. The function runs in the loop's thread, after those posted
  // before.
  void post(std::function<void()> function);

  // May be called in the loop's thread only. The function is called once.
  [[nodiscard]] Handle after(std::chrono::milliseconds delay, std::function<void()> function);
  // When the descriptor, which stays the caller's, can be read.
  [[nodiscard]] Handle when_readable(int descriptor, std::function<void()> function);
  // Each time one of the signals comes.
  [[nodiscard]] Handle on_signals(std::initializer_list<int> signals,
                                  std::function<void(int)> function);

  Native& native() { return *native_; }

 private:
  std::unique_ptr<Native> native_;
};

}  // namespace vorlan::server
