// Operations that optimize, and the objective sense.
#include "api/operation.h"
#include "solve/optimize.h"
#include "task/text.h"

using namespace vorlan;
using namespace vorlan::api;

namespace {

constexpr int32_t kMinimize = 0;
constexpr int32_t kMaximize = 1;

}  // namespace

VLNrescode_enum VLN_optimizetrm(vlntaskt* task, VLNrescode_enum* trm) {
  if (trm != nullptr) *trm = to_c(Code::kTrmFailed);
  return run(task, [=](Task& t) {
    if (trm == nullptr) return null_argument("trm");
    Code termination = Code::kOk;
    Status status = optimize(&t, &termination);
    if (status.ok()) *trm = to_c(termination);
    return status;
  });
}

VLNrescode_enum VLN_optimizermt(vlntaskt* task, const char* address, const char* token,
                                VLNrescode_enum* trm) {
  if (trm != nullptr) *trm = to_c(Code::kTrmFailed);
  return run(task, [=](Task&) -> Status {
    Status status = check_pointers({{"address", address}, {"token", token}, {"trm", trm}});
    if (!status.ok()) return status;
    return {Code::kErrNotAvailable,
            "optimizing on a solver server is not available in this version of the library"};
  });
}

VLNrescode_enum VLN_getobjsense(vlntaskt* task, int32_t* sense) {
  return run(task, [=](Task& t) {
    Status status = check_pointers({{"sense", sense}});
    if (status.ok()) *sense = t.model.maximize ? kMaximize : kMinimize;
    return status;
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
