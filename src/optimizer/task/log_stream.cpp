// The log stream: a file or a function.
#include "task/log_stream.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "task/high_descriptor.h"
#include "task/open_to_write.h"
#include "task/text.h"

namespace vorlan {
namespace {

Status open_log(const char* filename, LogMode mode, std::string_view shown_name,
                const StopQuestion& asks_to_stop, int* descriptor) {
  const int earlier_text = mode == LogMode::kAppend ? O_APPEND : O_TRUNC;
  const int flags = O_WRONLY | O_CREAT | O_CLOEXEC | O_NOCTTY | earlier_text;
  *descriptor = above_standard(open_to_write(AT_FDCWD, filename, flags, 0666, asks_to_stop));
  if (*descriptor >= 0) return {};
  const char* cause = std::strerror(errno);
  return {Code::kErrFileOpen,
          format_text("cannot open log file '%s': %s", std::string(shown_name).c_str(), cause)};
}

}  // namespace

LogStream::~LogStream() {
  unlink();
  close_copy();
}

Status LogStream::link_file(const char* filename, LogMode mode, std::string_view shown_name) {
  int descriptor = -1;
  Status status = open_log(filename, mode, shown_name, {}, &descriptor);
  if (!status.ok()) return status;
  unlink();
  file_.open(descriptor);
  return {};
}

void LogStream::link_function(void* handle, vlnstreamfunc function) {
  unlink();
  function_ = function;
  handle_ = handle;
}

Status LogStream::open_copy(const char* filename, std::string_view shown_name,
                            const StopQuestion& asks_to_stop) {
  close_copy();
  int descriptor = -1;
  Status status = open_log(filename, LogMode::kTruncate, shown_name, asks_to_stop, &descriptor);
  if (status.ok()) copy_.open(descriptor);
  return status;
}

void LogStream::close_copy() { copy_.close(); }

void LogStream::write_copy(const std::string& text) { copy_.write(text); }

void LogStream::write(const std::string& text) {
  if (text.empty()) return;
  if (function_ != nullptr) {
    function_(handle_, text.c_str());
  } else {
    file_.write(text);
  }
  write_copy(text);
}

bool LogStream::is_told_at_once() const {
  return function_ != nullptr || file_.is_standard_error();
}

void LogStream::unlink() {
  file_.close();
  function_ = nullptr;
  handle_ = nullptr;
}

}  // namespace vorlan
