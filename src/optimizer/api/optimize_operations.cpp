// Operations that optimize, and the objective sense.
#include "api/operation.h"
#include "solve/optimize.h"
#include "task/text.h"

using namespace vorlan;
using namespace vorlan::api;

namespace {

constexpr int32_t kMinimize = 0;
constexpr int32_t kMaximize = 1;

// What an optimization ended with; its figures stand there already.
void keep_result(Task* task, const Status& status, Code termination) {
  task->solver_result.response = status.code();
  task->solver_result.message = status.message();
  task->solver_result.termination = termination;
}

}  // namespace

VLNrescode_enum VLN_optimizetrm(vlntaskt* task, VLNrescode_enum* trm) {
  if (trm != nullptr) *trm = to_c(Code::kTrmFailed);
  return run(task, [=](Task& t) {
    if (trm == nullptr) return null_argument("trm");
    t.solver_result = {};
    Code termination = Code::kTrmFailed;
    Status status = optimize(&t, &termination);
    keep_result(&t, status, termination);
    *trm = to_c(termination);
    return status;
  });
}

VLNrescode_enum VLN_optimizermt(vlntaskt* task, const char* address, const char* token,
                                VLNrescode_enum* trm) {
  if (trm != nullptr) *trm = to_c(Code::kTrmFailed);
  return run(task, [=](Task& t) {
    Status status = check_pointers({{"address", address}, {"token", token}, {"trm", trm}});
    if (!status.ok()) return status;
    t.solver_result = {};
    status = {Code::kErrNotAvailable,
              "optimizing on a solver server is not available in this version of the library"};
    keep_result(&t, status, Code::kTrmFailed);
    return status;
  });
}

VLNrescode_enum VLN_getobjsense(vlntaskt* task, int32_t* sense) {
  return run(task, [=](Task& t) -> Status {
    if (sense == nullptr) return null_argument("sense");
    *sense = t.model.maximize ? kMaximize : kMinimize;
    return {};
  });
}

VLNrescode_enum VLN_putobjsense(vlntaskt* task, int32_t sense) {
  return run(task, [=](Task& t) -> Status {
    if (sense != kMinimize && sense != kMaximize) {
      return {Code::kErrSenseSelector,
              format_text("objective sense %d is neither 0 (minimize) nor 1 (maximize)", sense)};
    }
    t.model.maximize = sense == kMaximize;
    return {};
  });
}
