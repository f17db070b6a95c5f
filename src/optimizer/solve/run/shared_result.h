// The memory that a solve's child process shares with its parent: the stop word one way; progress,
// incumbents and the result the other way. It is mapped before the fork and lies untouched, so that
// its size costs nothing until it is written.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <span>

#include "solve/backend.h"

namespace vorlan {

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
  // Once complete: the status of the backend, and its result.
  Status take(BackendResult* result) const;
  // The last incumbent, empty when there is none. Valid also when the child was killed.
  Incumbent last_incumbent() const;

  // The child's side.
  bool stop_asked() const;
  void note_memory_exhausted();
  void publish(const Progress& progress);
  void publish_incumbent(std::span<const double> x, std::span<const double> barx);
  void finish(const Status& status, const BackendResult& result);

 private:
  struct Header;

  Header* header_ = nullptr;
  size_t size_ = 0;
  size_t num_var_;
  size_t num_con_;
  size_t num_packed_;  // elements of matrix variables
  // Into the mapping, behind the header.
  double* x_ = nullptr;
  double* d_ = nullptr;
  double* y_ = nullptr;
  double* snx_ = nullptr;
  double* barx_ = nullptr;
  double* bars_ = nullptr;
  double* incumbent_[2] = {nullptr, nullptr};  // x and barx
  StatusKey* var_key_ = nullptr;
  StatusKey* con_key_ = nullptr;
};

}  // namespace vorlan
