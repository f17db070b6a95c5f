// Workers sleep between operations. One that wakes too late finds the round closed and sleeps on:
// nobody waits for a thread that the system does not run.
#include "solve/conic/thread_team.h"

#include <algorithm>
#include <system_error>

namespace vorlan::conic {

ThreadTeam::ThreadTeam(size_t num_threads) : num_threads_(std::max<size_t>(1, num_threads)) {
  threads_.reserve(num_threads_ - 1);
  for (size_t worker = 1; worker < num_threads_; ++worker) {
    try {
      threads_.emplace_back([this, worker] { serve(worker); });
    } catch (const std::system_error&) {
      break;
    }
  }
}

ThreadTeam::~ThreadTeam() {
  {
    const std::lock_guard lock(mutex_);
    is_ending_ = true;
  }
  wake_.notify_all();
  for (std::thread& thread : threads_) thread.join();
}

void ThreadTeam::serve(size_t worker) {
  std::unique_lock lock(mutex_);
  uint64_t seen = 0;
  while (true) {
    wake_.wait(lock, [&] { return is_ending_ || (is_open_ && round_ != seen); });
    if (is_ending_) return;
    seen = round_;
    ++num_workers_;
    lock.unlock();
    take_pieces(worker);
    lock.lock();
    if (--num_workers_ == 0) done_.notify_one();
  }
}

void ThreadTeam::take_pieces(size_t worker) {
  for (size_t k = next_++; k < count_; k = next_++) {
    try {
      (*piece_)(k, worker);
    } catch (...) {
      const std::lock_guard lock(mutex_);
      if (failure_ == nullptr) failure_ = std::current_exception();
      next_ = count_;
    }
  }
}

void ThreadTeam::run(size_t count, const Piece& piece) {
  if (is_busy_ || count <= 1) {
    for (size_t k = 0; k < count; ++k) piece(k, 0);
    return;
  }
  is_busy_ = true;
  {
    const std::lock_guard lock(mutex_);
    piece_ = &piece;
    count_ = count;
    next_ = 0;
    ++round_;
    is_open_ = true;
  }
  wake_.notify_all();
  take_pieces(0);
  std::exception_ptr failure;
  {
    std::unique_lock lock(mutex_);
    is_open_ = false;
    done_.wait(lock, [this] { return num_workers_ == 0; });
    failure.swap(failure_);
  }
  is_busy_ = false;
  if (failure != nullptr) std::rethrow_exception(failure);
}

Range range_of_piece(size_t size, size_t pieces, size_t piece, size_t grain) {
  const size_t grains = (size + grain - 1) / grain;
  const size_t first = std::min(size, grains * piece / pieces * grain);
  const size_t end = std::min(size, grains * (piece + 1) / pieces * grain);
  return {first, end - first};
}

void run_pieces(ThreadTeam* team, size_t count, const ThreadTeam::Piece& piece) {
  if (team != nullptr) return team->run(count, piece);
  for (size_t k = 0; k < count; ++k) piece(k, 0);
}

}  // namespace vorlan::conic
