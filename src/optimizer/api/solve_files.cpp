// One table names the result files. It is walked before the solve, to open them, and after it, to
// write them.
#include "api/solve_files.h"

#include <utility>

#include "api/ranging_table.h"
#include "file/input_stream.h"
#include "format/point/point_file.h"
#include "format/problem_file.h"
#include "format/task/result_file.h"
#include "solve/conflict.h"
#include "solve/run/listener.h"
#include "task/parameter_index.h"
#include "task/text.h"

namespace vorlan::api {
namespace {

// The solution that a solve has left: it defines one at most.
const Solution* find_solution(const Task& task) {
  for (const Solution& solution : task.solutions) {
    if (solution.defined) return &solution;
  }
  return nullptr;
}

Status write_b(const Task& task, const SolveExtras&, OutputFile* file) {
  return write_solutions_as(SolutionFormat::kB, task, file);
}

Status write_json(const Task& task, const SolveExtras&, OutputFile* file) {
  return write_solutions_as(SolutionFormat::kJson, task, file);
}

Status write_result(const Task& task, const SolveExtras&, OutputFile* file) {
  return write_solutions_as(SolutionFormat::kSolverResult, task, file);
}

Status write_sol(const Task& task, const SolveExtras&, OutputFile* file) {
  const Solution* const solution = find_solution(task);
  return write_point(task.model, solution == nullptr ? Solution() : *solution, file);
}

Status write_bas(const Task& task, const SolveExtras&, OutputFile* file) {
  return write_basis(task.model, task.solutions[static_cast<size_t>(SolutionKind::kBasic)], file);
}

Status write_ranges(const Task& task, const SolveExtras& extras, OutputFile* file) {
  return write_ranging(task, extras.ranging, file);
}

// Written by write_conflict, under its name.
Status write_nothing(const Task&, const SolveExtras&, OutputFile*) { return {}; }

bool is_there(const Task&, const SolveExtras&) { return true; }

bool has_basis(const Task& task, const SolveExtras&) {
  return is_basis(task.model, task.solutions[static_cast<size_t>(SolutionKind::kBasic)]);
}

bool has_ranging(const Task&, const SolveExtras& extras) { return !extras.ranging.empty(); }

bool has_conflict(const Task&, const SolveExtras& extras) { return !extras.conflict.marks.empty(); }

// What is not there is not written: an earlier file stays, and the log says so.
struct ResultFile {
  StringParam param;
  bool (*exists)(const Task& task, const SolveExtras& extras);
  Status (*write)(const Task& task, const SolveExtras& extras, OutputFile* file);
  const char* name;
  const char* absence = "";  // why it is not there, as a rule
};

// The rows are in the order of writing. The solver result is the last: it has the response, which
// the failure of another file can change.
constexpr ResultFile kResults[] = {
    {StringParam::kBSolutionFile, is_there, write_b, "b solution"},
    {StringParam::kJsonSolutionFile, is_there, write_json, "JSON solution"},
    {StringParam::kSolutionFile, is_there, write_sol, "solution"},
    {StringParam::kBasisOutFile, has_basis, write_bas, "basis",
     ": only the simplex method and a crossover end with one"},
    {StringParam::kRangingFile, has_ranging, write_ranges, "ranging",
     ": only an optimum of a linear model with a basis has one"},
    {StringParam::kConflictFile, has_conflict, write_nothing, "conflict",
     ": the model was not found infeasible, or the search for its parts was stopped"},
    {StringParam::kSolverResultFile, is_there, write_result, "task solver result"},
};
constexpr size_t kConflict = 5;
constexpr size_t kSolverResult = 6;

// As often as the callback is called during a solve.
constexpr double kQuestionSeconds = 0.02;

Status open_start(const Task& task, StringParam param, InputStream* input) {
  const std::string& filename = task.parameters.get(param);
  input->set_longest_token(longest_token(task.parameters));
  return input->open(filename.c_str(), task.shown_name(filename));
}

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
  static_assert(kResults[kConflict].param == StringParam::kConflictFile &&
                kResults[kSolverResult].param == StringParam::kSolverResultFile);
  Status status;
  for (size_t i = kNumResults; status.ok() && i > 0; --i) status = open(i - 1);
  if (status.ok()) status = open_log();
  if (status.ok()) status = open_progress();
  if (status.ok()) status = write_model();
  plan_starts();
  if (!task_->parameters.get(StringParam::kImprovingSolutionFile).empty()) {
    extras_.on_better_point = [this](const Solution& point) { write_better_point(point); };
  }
  return status;
}

Status SolveFiles::open_log() {
  const std::string& filename = task_->parameters.get(StringParam::kLogFile);
  if (filename.empty()) return {};
  return task_->log.open_copy(filename.c_str(), task_->shown_name(filename),
                              [this] { return asks_to_stop(); });
}

Status SolveFiles::open_progress() {
  const std::string& filename = task_->parameters.get(StringParam::kProgressFile);
  if (filename.empty()) return {};
  extras_.on_progress = [this](const ProgressRecord& record) { progress_.write(record); };
  return progress_.open(filename, task_->shown_name(filename), [this] { return asks_to_stop(); });
}

void SolveFiles::plan_starts() {
  const Task& task = *task_;
  if (!task.parameters.get(StringParam::kStartFile).empty()) {
    extras_.read_point = [&task](StartPoint* point) {
      InputStream input;
      Status status = open_start(task, StringParam::kStartFile, &input);
      return status.ok() ? read_point(&input, task.model, point) : status;
    };
  }
  if (!task.parameters.get(StringParam::kBasisInFile).empty()) {
    extras_.read_basis = [&task](Solution* basis) {
      InputStream input;
      Status status = open_start(task, StringParam::kBasisInFile, &input);
      return status.ok() ? read_basis(&input, task.model, basis) : status;
    };
  }
  if (!task.parameters.get(StringParam::kBranchingPriorityFile).empty()) {
    extras_.read_priorities = [&task](std::vector<int32_t>* priorities) {
      InputStream input;
      Status status = open_start(task, StringParam::kBranchingPriorityFile, &input);
      return status.ok() ? read_priorities(&input, task.model, priorities) : status;
    };
  }
}

Status SolveFiles::write_model() {
  const std::string& filename = task_->parameters.get(StringParam::kProblemFile);
  if (filename.empty()) return {};
  const StopRule rule = {[this] { return asks_to_stop(); }, AtStop::kGiveUp};
  Status status = write_problem_file(task_, filename.c_str(), rule);
  if (status.ok()) log_written(*task_, "model", filename);
  if (status.ok() || !must_stop_) return status;
  // The solve ends as soon as it begins, as one that was stopped.
  task_->log_text(kLogSummary, "The model is not written, since the solve is to stop\n");
  return {};
}

Status SolveFiles::finish(const Status& optimized, Code termination) {
  Status result = optimized;
  for (size_t i = 0; i < kNumResults; ++i) {
    if (results_[i] == nullptr) continue;
    if (!optimized.ok() && i != kSolverResult) continue;
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
      file->open(filename.c_str(), task_->shown_name(filename), compression_of_name(filename),
                 {[this] { return asks_to_stop(); }, AtStop::kFinish});
  if (status.ok()) results_[index] = std::move(file);
  return status;
}

Status SolveFiles::write(size_t index) {
  if (!kResults[index].exists(*task_, extras_)) {
    task_->log_text(kLogSummary, format_text("There is no %s to write%s\n", kResults[index].name,
                                             kResults[index].absence));
    return {};
  }
  if (index == kConflict) return write_conflict();
  Status status = kResults[index].write(*task_, extras_, results_[index].get());
  if (status.ok()) status = results_[index]->finish();
  if (status.ok()) {
    log_written(*task_, kResults[index].name, task_->parameters.get(kResults[index].param));
  }
  return status;
}

// A conflict is a problem file. It was opened only to see that this can be done.
Status SolveFiles::write_conflict() {
  results_[kConflict].reset();
  const std::string& filename = task_->parameters.get(StringParam::kConflictFile);
  Task part;
  part.parameters.set(IntParam::kLog, 0);
  part.parameters.set(IntParam::kShowFileNames, task_->parameters.get(IntParam::kShowFileNames));
  part.model = model_of_conflict(task_->model, extras_.conflict);
  Status status = write_problem_file(&part, filename.c_str(),
                                     {[this] { return asks_to_stop(); }, AtStop::kFinish});
  if (status.ok()) log_written(*task_, "conflict", filename);
  return status;
}

// A disk that is full now may have room for the next point.
void SolveFiles::write_better_point(const Solution& point) {
  const std::string& filename = task_->parameters.get(StringParam::kImprovingSolutionFile);
  OutputFile file;
  Status status =
      file.open(filename.c_str(), task_->shown_name(filename), compression_of_name(filename),
                {[this] { return asks_to_stop(); }, AtStop::kHurry});
  if (status.ok()) status = write_point(task_->model, point, &file);
  if (status.ok()) status = file.finish();
  if (status.ok() || told_failure_ || must_stop_) return;
  told_failure_ = true;
  task_->log.write(failure_line(status));
}

// Sees no better points and bounds: it is asked where the solve waits for others.
bool SolveFiles::asks_to_stop() {
  const double now = monotonic_seconds();
  if (must_stop_ || now - last_question_ < kQuestionSeconds) return must_stop_;
  last_question_ = now;
  const double seconds = now - extras_.begin;
  must_stop_ = callback_asks_to_stop(task_, seconds) ||
               seconds > task_->parameters.get(DoubleParam::kTimeLimit);
  return must_stop_;
}

}  // namespace vorlan::api
