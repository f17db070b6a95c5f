// The ends that an operation can have; see operation.h.
#include "api/operation.h"

#include "task/text.h"

namespace vorlan::api {

VLNrescode_enum conclude(Task* task, const Status& status) noexcept {
  if (status.ok()) return VLN_RES_OK;
  try {
    task->report(status);
  } catch (...) {
    return conclude_out_of_memory(task);
  }
  return to_c(status.code());
}

VLNrescode_enum conclude_out_of_memory(Task* task) noexcept {
  task->last_code = Code::kErrMemory;
  task->last_message.clear();
  try {
    task->report({Code::kErrMemory, "out of memory"});
  } catch (...) {
    // Not even the message could be made; the code is kept.
  }
  return to_c(Code::kErrMemory);
}

VLNrescode_enum conclude_exception(Task* task, const char* what) noexcept {
  try {
    return conclude(task, {Code::kErrInternal, format_text("internal error: %s", what)});
  } catch (...) {
    return conclude_out_of_memory(task);
  }
}

Status check_compression(uint32_t compression) {
  if (compression == 0 || compression == 2 || compression == 3) return {};
  return {Code::kErrCompressionSelector,
          format_text("compression %u is none of 0 (none), 2 (gzip), 3 (Zstandard)", compression)};
}

}  // namespace vorlan::api
