// The files that string parameters ask of an optimization. Neither task/ nor solve/ knows how files
// are written and format/ knows no solve: here both are seen.
//
// All of them are opened, and the model is written, before the solve, so that a wrong name is told
// at once and not after hours. What fails later cannot take the solutions away: they stay in the
// task, while the failure becomes the operation's. What a solve starts from is read as its first
// step.
//
// Any of them may be a pipe. Whoever is at its other end cannot hold up a solve that is to stop:
// the callback and the time limit are asked while a pipe is waited for, and while much is written
// before the solve's end. Results are written to their end, however long that takes.
#pragma once

#include <array>
#include <memory>

#include "api/progress_file.h"
#include "file/output_file.h"
#include "solve/optimize.h"
#include "task/task.h"

namespace vorlan::api {

class SolveFiles {
 public:
  explicit SolveFiles(Task* task) : task_(task) {}
  ~SolveFiles() { task_->log.close_copy(); }
  SolveFiles(const SolveFiles&) = delete;
  SolveFiles& operator=(const SolveFiles&) = delete;

  // After a failure nothing may be solved.
  [[nodiscard]] Status begin();

  // What the solve begins with, and whom it tells of its way; it leaves there what it finds besides
  // solutions.
  SolveExtras* extras() { return &extras_; }

  // Writes what the optimization gave and keeps its codes as the task's solver result. An
  // optimization that failed leaves a solver result only: other files would show solutions of an
  // earlier one. Returns the first failure, the optimization's before those of files; what fails
  // after it is told in the log.
  [[nodiscard]] Status finish(const Status& optimized, Code termination);

  static constexpr size_t kNumResults = 7;

 private:
  Status open(size_t index);
  Status open_log();
  Status open_progress();
  void plan_starts();
  Status write_model();
  Status write(size_t index);
  Status write_conflict();
  void write_better_point(const Solution& point);
  bool asks_to_stop();

  Task* task_;
  SolveExtras extras_;
  ProgressFile progress_;
  bool told_failure_ = false;  // of a better point
  double last_question_ = -kInfinity;
  bool must_stop_ = false;
  std::array<std::unique_ptr<OutputFile>, kNumResults> results_;
};

}  // namespace vorlan::api
