// A few threads that share the pieces of one operation at a time.
//
// Operations of the conic method are cut into pieces whose number and limits depend on sizes and on
// the number of threads asked for alone. Every piece writes what no other one does, so that it does
// not matter which thread takes which piece, or how many threads the system gave: results are the
// same in every run.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace vorlan::conic {

class ThreadTeam {
 public:
  // The caller is one of the threads. Where the system gives fewer, the team does with these.
  explicit ThreadTeam(size_t num_threads);
  ~ThreadTeam();
  ThreadTeam(const ThreadTeam&) = delete;
  ThreadTeam& operator=(const ThreadTeam&) = delete;

  // The number asked for, from which operations find their pieces.
  size_t num_threads() const { return num_threads_; }
  // True while pieces are at work, and so for each of them.
  bool is_busy() const { return is_busy_; }

  // A piece may use what is kept for its worker, of which there are num_threads.
  using Piece = std::function<void(size_t piece, size_t worker)>;
  // Does the pieces 0 to count - 1, in any order, and returns when all have ended. The first exception
  // of a piece is thrown on, and the pieces that have not begun are left. While the team is busy the
  // caller does all pieces itself, as worker 0.
  void run(size_t count, const Piece& piece);

 private:
  void serve(size_t worker);
  void take_pieces(size_t worker);

  const size_t num_threads_;
  std::vector<std::thread> threads_;
  std::mutex mutex_;
  std::condition_variable wake_;  // there are pieces, or the team ends
  std::condition_variable done_;  // a worker has left
  // Under the mutex.
  uint64_t round_ = 0;
  bool is_open_ = false;    // workers may join this round
  size_t num_workers_ = 0;  // that have joined it, without the caller
  bool is_ending_ = false;
  std::exception_ptr failure_;
  // Of the round. Those who join it see them by the mutex.
  const Piece* piece_ = nullptr;
  size_t count_ = 0;
  std::atomic<size_t> next_ = 0;
  std::atomic<bool> is_busy_ = false;
};

// A range of indices.
struct Range {
  size_t first, count;
};

// The range of the piece, when `size` indices are cut into `pieces` of nearly equal numbers, all but
// the last one multiples of `grain`. It may be empty.
Range range_of_piece(size_t size, size_t pieces, size_t piece, size_t grain = 1);

// Does the pieces on the team, or in the caller alone where there is none.
void run_pieces(ThreadTeam* team, size_t count, const ThreadTeam::Piece& piece);

}  // namespace vorlan::conic
