// The event loop over Asio; see loop.h.
#include "base/loop.h"

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/signal_set.hpp>
#include <boost/asio/steady_timer.hpp>

#include "base/loop_native.h"

namespace vorlan::server {
namespace {

namespace asio = boost::asio;

// A cancelled operation still completes, with an error, after its handle is gone: the function it
// would call lives in the completion, not in the handle.
class TimerHandle : public Loop::Pending {
 public:
  TimerHandle(asio::io_context* context, std::chrono::milliseconds delay,
              std::function<void()> function)
      : timer_(*context, delay) {
    timer_.async_wait([call = std::move(function)](const boost::system::error_code& error) {
      if (!error) call();
    });
  }

 private:
  asio::steady_timer timer_;
};

class ReadableHandle : public Loop::Pending {
 public:
  ReadableHandle(asio::io_context* context, int descriptor, std::function<void()> function)
      : descriptor_(*context, descriptor) {
    descriptor_.async_wait(asio::posix::descriptor_base::wait_read,
                           [call = std::move(function)](const boost::system::error_code& error) {
                             if (!error) call();
                           });
  }
  ~ReadableHandle() override { descriptor_.release(); }

 private:
  asio::posix::stream_descriptor descriptor_;
};

class SignalHandle : public Loop::Pending {
 public:
  SignalHandle(asio::io_context* context, std::initializer_list<int> signals,
               std::function<void(int)> function)
      : signals_(*context), function_(std::move(function)) {
    for (const int signal : signals) signals_.add(signal);
    wait();
  }

 private:
  void wait() {
    signals_.async_wait([this](const boost::system::error_code& error, int signal) {
      if (error) return;
      function_(signal);
      wait();
    });
  }

  asio::signal_set signals_;
  std::function<void(int)> function_;
};

}  // namespace

Loop::Loop() : native_(std::make_unique<Native>()) {}
Loop::~Loop() = default;

void Loop::run() {
  const auto guard = asio::make_work_guard(native_->context);
  native_->context.run();
}

void Loop::stop() { native_->context.stop(); }

void Loop::post(std::function<void()> function) {
  asio::post(native_->context, std::move(function));
}

Loop::Handle Loop::after(std::chrono::milliseconds delay, std::function<void()> function) {
  return std::make_unique<TimerHandle>(&native_->context, delay, std::move(function));
}

Loop::Handle Loop::when_readable(int descriptor, std::function<void()> function) {
  return std::make_unique<ReadableHandle>(&native_->context, descriptor, std::move(function));
}

Loop::Handle Loop::on_signals(std::initializer_list<int> signals,
                              std::function<void(int)> function) {
  return std::make_unique<SignalHandle>(&native_->context, signals, std::move(function));
}

}  // namespace vorlan::server
