// An operation ends here: its code and message become the last error of the task, and the log tells
// a person why it failed.
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
  switch (compression) {
    case VLN_COMPRESSION_NONE:
    case VLN_COMPRESSION_GZIP:
    case VLN_COMPRESSION_ZSTD:
      return {};
    default:
      return {
          Code::kErrCompressionSelector,
          format_text("compression %u is none of 0 (none), 2 (gzip), 3 (Zstandard)", compression)};
  }
}

}  // namespace vorlan::api
