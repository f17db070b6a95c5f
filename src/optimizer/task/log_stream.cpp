// The log stream: a descriptor or a function. Files are written with write(2), unbuffered.
#include "task/log_stream.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "task/high_descriptor.h"
#include "task/text.h"

namespace vorlan {
namespace {

Status open_log(const char* filename, bool append, std::string_view shown_name, int* descriptor) {
  const int mode = O_WRONLY | O_CREAT | O_CLOEXEC | O_NOCTTY | (append ? O_APPEND : O_TRUNC);
  do {
    *descriptor = ::open(filename, mode, 0666);
  } while (*descriptor < 0 && errno == EINTR);
  *descriptor = above_standard(*descriptor);
  if (*descriptor >= 0) return {};
  const char* cause = std::strerror(errno);
  return {Code::kErrFileOpen,
          format_text("cannot open log file '%s': %s", std::string(shown_name).c_str(), cause)};
}

void close_log(int* descriptor) {
  if (*descriptor >= 0) ::close(*descriptor);
  *descriptor = -1;
}

}  // namespace

void write_to_descriptor(int descriptor, std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = ::write(descriptor, text.data(), text.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return;  // a full disk must not end a solve: the text is lost, nothing else
    text.remove_prefix(static_cast<size_t>(written));
  }
}

LogStream::~LogStream() {
  unlink();
  close_copy();
}

Status LogStream::link_file(const char* filename, bool append, std::string_view shown_name) {
  int descriptor = -1;
  Status status = open_log(filename, append, shown_name, &descriptor);
  if (!status.ok()) return status;
  unlink();
  descriptor_ = descriptor;
  return {};
}

void LogStream::link_function(void* handle, vlnstreamfunc function) {
  unlink();
  function_ = function;
  handle_ = handle;
}

Status LogStream::open_copy(const char* filename, std::string_view shown_name) {
  close_copy();
  return open_log(filename, false, shown_name, &copy_);
}

void LogStream::close_copy() { close_log(&copy_); }

void LogStream::write_copy(const std::string& text) const {
  if (copy_ >= 0) write_to_descriptor(copy_, text);
}

void LogStream::write(const std::string& text) const {
  if (text.empty()) return;
  if (function_ != nullptr) {
    function_(handle_, text.c_str());
  } else if (descriptor_ >= 0) {
    write_to_descriptor(descriptor_, text);
  }
  write_copy(text);
}

void LogStream::unlink() {
  close_log(&descriptor_);
  function_ = nullptr;
  handle_ = nullptr;
}

}  // namespace vorlan
