// Queries of response codes and of the last error. They report no failures of their own: asking
// for the last error must not change it.
#include <algorithm>
#include <cstring>

#include "api/operation.h"
#include "task/numeric.h"

using namespace vorlan;
using namespace vorlan::api;

namespace {

// vorlan.h states this size for both buffers of VLN_getcodedesc.
constexpr size_t kDescriptionSize = 1024;

void copy_text(const char* text, char* buffer, size_t size) {
  if (buffer == nullptr) return;
  const size_t length = std::min(std::strlen(text), size - 1);
  std::memcpy(buffer, text, length);
  buffer[length] = '\0';
}

}  // namespace

VLNrescode_enum VLN_getcodedesc(VLNrescode_enum code, char* symname, char* description) {
  const CodeEntry* entry = find_code(code);
  copy_text(entry != nullptr ? entry->name : "VLN_RES_UNKNOWN", symname, kDescriptionSize);
  copy_text(entry != nullptr ? entry->text : "There is no code of this number.", description,
            kDescriptionSize);
  return entry != nullptr ? VLN_RES_OK : to_c(Code::kErrUnknownCode);
}

VLNrescode_enum VLN_getlasterror(vlntaskt* task, VLNrescode_enum* lastrescode, int32_t sizelastmsg,
                                 int32_t* lastmsglen, char* lastmsg) {
  if (task == nullptr) return to_c(Code::kErrNullTask);
  if (task->busy) return to_c(Code::kErrTaskBusy);
  if (lastrescode == nullptr || lastmsglen == nullptr) return to_c(Code::kErrNullArgument);
  if (sizelastmsg < 0) return to_c(Code::kErrBufferSize);
  if (sizelastmsg > 0 && lastmsg == nullptr) return to_c(Code::kErrNullArgument);
  *lastrescode = to_c(task->last_code);
  *lastmsglen = static_cast<int32_t>(task->last_message.size());
  if (sizelastmsg > 0) {
    copy_text(task->last_message.c_str(), lastmsg, index(sizelastmsg));
  }
  return VLN_RES_OK;
}
