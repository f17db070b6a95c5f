// The memory that a solve's child process shares with its parent: the stop word one way; progress,
// points that stand should the child be killed, and the answer the other way. It is mapped before
// the fork and lies untouched, so that its size costs nothing until it is written.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "solve/backend.h"

namespace vorlan {

// An event of a solve with its time, of monotonic_seconds.
struct Milestone {
  Progress progress;
  double time = 0.0;
  char origin[48] = "";
  uint64_t text_before = 0;  // bytes of log text that the child has written before
};

class SharedResult {
 public:
  // Maps the memory for a model of this size; mapped() is false when the system refuses.
  explicit SharedResult(const Model& model);
  ~SharedResult();
  SharedResult(const SharedResult&) = delete;
  SharedResult& operator=(const SharedResult&) = delete;

  bool mapped() const { return header_ != nullptr; }

  // The parent's side.
  void ask_to_stop();
  bool memory_exhausted() const;
  Progress progress() const;
  bool complete() const;
  // True once there is an answer that stands, whatever becomes of the child.
  bool has_answer() const;
  // The next milestone that was not taken yet; false when there is none. Of a storm the first ones
  // are lost.
  bool take_milestone(Milestone* milestone);
  // Once complete, or once there is an answer: the status of the work, and its answer.
  Status take(Answer* answer) const;
  // The last point that was kept, if it is another one than this gave before.
  bool take_point(BackendResult* point, double* primal_violation);
  // The last point that was kept; where there is none, one without arrays and of infinite
  // violation. Valid also when the child was killed.
  void last_point(BackendResult* point, double* primal_violation) const;

  // The child's side.
  bool stop_asked() const;
  void note_memory_exhausted();
  void publish(const Progress& progress);
  void add_milestone(const Milestone& milestone);
  void keep(const BackendResult& point, double primal_violation);
  void keep_answer(const Answer& answer);
  // After keep_answer only a conflict can be added: a failure then takes nothing away.
  void finish(const Status& status, const Answer& answer);

 private:
  struct Header;
  // The arrays of a result, in the mapping.
  struct Arrays {
    double *x, *d, *snx, *y, *barx, *bars;
  };

  void put_status(const Status& status);
  void put_answer(const Answer& answer);
  void put_conflict(const Conflict& conflict);
  Arrays lay_out(double* memory) const;
  uint32_t put(const BackendResult& result, const Arrays& arrays) const;
  void get(uint32_t present, const Arrays& arrays, BackendResult* result) const;

  Header* header_ = nullptr;
  uint64_t milestones_taken_ = 0;
  uint64_t points_taken_ = 0;
  size_t size_ = 0;
  size_t num_var_;
  size_t num_con_;
  size_t num_packed_;  // elements of matrix variables
  size_t num_marks_;   // of a conflict
  // Into the mapping, behind the header.
  Arrays answer_ = {};
  Arrays point_[2] = {};
  StatusKey* var_key_ = nullptr;
  StatusKey* con_key_ = nullptr;
  double* ranging_ = nullptr;
  uint8_t* conflict_ = nullptr;
};

}  // namespace vorlan
