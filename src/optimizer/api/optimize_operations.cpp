// Operations that optimize, and the objective sense.
#include "api/operation.h"
#include "api/solve_files.h"
#include "solve/optimize.h"
#include "task/text.h"

using namespace vorlan;
using namespace vorlan::api;

VLNrescode_enum VLN_optimizetrm(vlntaskt* task, VLNrescode_enum* trm) {
  if (trm != nullptr) *trm = to_c(Code::kTrmFailed);
  return run(task, [=](Task& t) {
    if (trm == nullptr) return null_argument("trm");
    t.solver_result = {};
    Code termination = Code::kTrmFailed;
    SolveFiles files(&t);
    Status status = files.begin();
    if (status.ok()) status = optimize(&t, &termination);
    *trm = to_c(termination);
    return files.finish(status, termination);
  });
}

VLNrescode_enum VLN_optimizermt(vlntaskt* task, const char* address, const char* token,
                                VLNrescode_enum* trm) {
  if (trm != nullptr) *trm = to_c(Code::kTrmFailed);
  return run(task, [=](Task& t) {
    Status status = check_pointers({{"address", address}, {"token", token}, {"trm", trm}});
    if (!status.ok()) return status;
    status = {Code::kErrNotAvailable,
              "optimizing on a solver server is not available in this version of the library"};
    t.solver_result = {status.code(), status.message(), Code::kTrmFailed, {}};
    return status;
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
