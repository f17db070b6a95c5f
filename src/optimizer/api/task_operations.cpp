// Operations that create, release and connect a task: lifecycle, callback, streams.
#include <cstdarg>
#include <new>

#include "api/operation.h"
#include "task/text.h"

using namespace vorlan;
using namespace vorlan::api;

namespace {

Status check_stream(int32_t whichstream) {
  if (whichstream == VLN_STREAM_LOG) return {};
  return {Code::kErrStreamSelector, format_text("there is no stream %d", whichstream)};
}

}  // namespace

VLNrescode_enum VLN_makeemptytask(void* env, vlntaskt** task) {
  if (env != nullptr) return to_c(Code::kErrEnvironment);
  if (task == nullptr) return to_c(Code::kErrNullArgument);
  try {
    *task = new vlntaskt;
  } catch (...) {
    return to_c(Code::kErrMemory);
  }
  return VLN_RES_OK;
}

VLNrescode_enum VLN_putcallbackfunc(vlntaskt* task, vlncallbackfunc func, void* handle) {
  return run(task, [=](Task& t) -> Status {
    t.callback = {func, handle};
    return {};
  });
}

VLNrescode_enum VLN_deletetask(vlntaskt** task) {
  if (task == nullptr) return to_c(Code::kErrNullArgument);
  if (*task != nullptr && (*task)->busy) return to_c(Code::kErrTaskBusy);
  delete *task;
  *task = nullptr;
  return VLN_RES_OK;
}

VLNrescode_enum VLN_linkfiletotaskstream(vlntaskt* task, int32_t whichstream, const char* filename,
                                         int32_t append) {
  return run(task, [=](Task& t) -> Status {
    Status status = check_stream(whichstream);
    if (status.ok()) status = check_pointers({{"filename", filename}});
    if (!status.ok()) return status;
    const LogMode mode = append != 0 ? LogMode::kAppend : LogMode::kTruncate;
    return t.log.link_file(filename, mode, t.shown_name(filename));
  });
}

VLNrescode_enum VLN_linkfunctotaskstream(vlntaskt* task, int32_t whichstream, void* handle,
                                         vlnstreamfunc func) {
  return run(task, [=](Task& t) -> Status {
    Status status = check_stream(whichstream);
    if (status.ok()) t.log.link_function(handle, func);
    return status;
  });
}

VLNrescode_enum VLN_echotask(vlntaskt* task, int32_t whichstream, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const VLNrescode_enum code = run(task, [&](Task& t) -> Status {
    Status status = check_stream(whichstream);
    if (status.ok()) status = check_pointers({{"format", format}});
    if (!status.ok()) return status;
    const std::optional<std::string> text = format_echo(format, arguments);
    if (!text) return {Code::kErrTextFormat, "the text of an echo cannot be formatted"};
    t.log.write(*text);
    return {};
  });
  va_end(arguments);
  return code;
}
