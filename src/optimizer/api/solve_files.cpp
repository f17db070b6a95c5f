// One table names the result files. It is walked before the solve, to open them, and after it, to
// write them.
#include "api/solve_files.h"

#include "format/problem_file.h"
#include "format/task/result_file.h"
#include "task/text.h"

namespace vorlan::api {
namespace {

struct ResultFile {
  StringParam param;
  SolutionFormat format;
  const char* name;
};

// The rows are in the order of writing. The solver result is the last: it has the response, which
// the failure of another file can change.
constexpr ResultFile kResults[] = {
    {StringParam::kBSolutionFile, SolutionFormat::kB, "b solution"},
    {StringParam::kJsonSolutionFile, SolutionFormat::kJson, "JSON solution"},
    {StringParam::kSolverResultFile, SolutionFormat::kSolverResult, "task solver result"},
};

void keep_result(Task* task, const Status& status, Code termination) {
  task->solver_result.response = status.code();
  task->solver_result.message = status.message();
  task->solver_result.termination = termination;
}

void log_written(const Task& task, const char* what, const std::string& filename) {
  task.log_text(kLogSummary, format_text("Wrote the %s to '%s'\n", what,
                                         on_one_line(task.shown_name(filename)).c_str()));
}

}  // namespace

// The solver result comes first, so that it can tell why another file could not be opened.
Status SolveFiles::begin() {
  static_assert(std::size(kResults) == kNumResults);
  Status status;
  for (size_t i = kNumResults; status.ok() && i > 0; --i) status = open(i - 1);
  const std::string& log_file = task_->parameters.get(StringParam::kLogFile);
  if (status.ok() && !log_file.empty()) {
    status = task_->log.open_copy(log_file.c_str(), task_->shown_name(log_file));
  }
  const std::string& problem_file = task_->parameters.get(StringParam::kProblemFile);
  if (!status.ok() || problem_file.empty()) return status;
  status = write_problem_file(task_, problem_file.c_str());
  if (status.ok()) log_written(*task_, "model", problem_file);
  return status;
}

Status SolveFiles::finish(const Status& optimized, Code termination) {
  Status result = optimized;
  for (size_t i = 0; i < kNumResults; ++i) {
    if (results_[i] == nullptr) continue;
    if (!optimized.ok() && kResults[i].format != SolutionFormat::kSolverResult) continue;
    keep_result(task_, result, termination);
    Status status = write(i);
    if (status.ok()) continue;
    if (result.ok()) {
      result = std::move(status);
    } else {
      task_->log.write(failure_line(status));
    }
  }
  keep_result(task_, result, termination);
  if (!result.ok()) task_->log.write_copy(failure_line(result));
  return result;
}

Status SolveFiles::open(size_t index) {
  const std::string& filename = task_->parameters.get(kResults[index].param);
  if (filename.empty()) return {};
  auto file = std::make_unique<OutputFile>();
  Status status =
      file->open(filename.c_str(), task_->shown_name(filename), compression_of_name(filename));
  if (status.ok()) results_[index] = std::move(file);
  return status;
}

Status SolveFiles::write(size_t index) {
  Status status = write_solutions_as(kResults[index].format, *task_, results_[index].get());
  if (status.ok()) status = results_[index]->finish();
  if (status.ok()) {
    log_written(*task_, kResults[index].name, task_->parameters.get(kResults[index].param));
  }
  return status;
}

}  // namespace vorlan::api
