// Operations that optimize, and the objective sense.
#include "api/operation.h"
#include "api/solve_files.h"
#include "remote/remote_optimize.h"
#include "solve/optimize.h"
#include "task/text.h"

using namespace vorlan;
using namespace vorlan::api;

namespace {

// An optimization, here or elsewhere, with the files that string parameters ask for around it.
template <class Optimize>
Status optimize_with_files(Task* task, VLNrescode_enum* trm, const Optimize& optimize_it) {
  task->solver_result = {};
  Code termination = Code::kTrmFailed;
  SolveFiles files(task);
  Status status = files.begin();
  if (status.ok()) status = optimize_it(task, files.extras(), &termination);
  *trm = to_c(termination);
  return files.finish(status, termination);
}

// The server gets the task, and files that go along with a solve stay here.
void log_left_out(const Task& task, const SolveExtras& extras) {
  const bool has_start = extras.read_point || extras.read_basis;
  if (!has_start && !extras.on_progress && !extras.on_better_point) return;
  task.log_text(kLogSummary,
                "A remote solve uses no files of starts, bases, better points and progress\n");
}

}  // namespace

VLNrescode_enum VLN_optimizetrm(vlntaskt* task, VLNrescode_enum* trm) {
  if (trm != nullptr) *trm = to_c(Code::kTrmFailed);
  return run(task, [=](Task& t) {
    if (trm == nullptr) return null_argument("trm");
    return optimize_with_files(&t, trm, [](Task* here, SolveExtras* extras, Code* termination) {
      return optimize(here, extras, termination);
    });
  });
}

VLNrescode_enum VLN_optimizermt(vlntaskt* task, const char* address, const char* token,
                                VLNrescode_enum* trm) {
  if (trm != nullptr) *trm = to_c(Code::kTrmFailed);
  return run(task, [=](Task& t) {
    Status status = check_pointers({{"address", address}, {"token", token}, {"trm", trm}});
    if (!status.ok()) return status;
    return optimize_with_files(&t, trm, [=](Task* here, SolveExtras* extras, Code* termination) {
      log_left_out(*here, *extras);
      return optimize_remotely(here, address, token, termination);
    });
  });
}

VLNrescode_enum VLN_getobjsense(vlntaskt* task, int32_t* sense) {
  return run(task, [=](Task& t) -> Status {
    if (sense == nullptr) return null_argument("sense");
    *sense = t.model.maximize ? VLN_SENSE_MAXIMIZE : VLN_SENSE_MINIMIZE;
    return {};
  });
}

VLNrescode_enum VLN_putobjsense(vlntaskt* task, int32_t sense) {
  return run(task, [=](Task& t) -> Status {
    if (sense != VLN_SENSE_MINIMIZE && sense != VLN_SENSE_MAXIMIZE) {
      return {Code::kErrSenseSelector,
              format_text("objective sense %d is neither 0 (minimize) nor 1 (maximize)", sense)};
    }
    t.model.maximize = sense == VLN_SENSE_MAXIMIZE;
    return {};
  });
}
