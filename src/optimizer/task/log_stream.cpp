// The log stream: a descriptor or a function. Files are written with write(2), unbuffered.
#include "task/log_stream.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "task/text.h"

namespace vorlan {

void write_to_descriptor(int descriptor, std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = ::write(descriptor, text.data(), text.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return;  // a full disk must not end a solve: the text is lost, nothing else
    text.remove_prefix(static_cast<size_t>(written));
  }
}

LogStream::~LogStream() { unlink(); }

Status LogStream::link_file(const char* filename, bool append, std::string_view shown_name) {
  const int mode = O_WRONLY | O_CREAT | O_CLOEXEC | O_NOCTTY | (append ? O_APPEND : O_TRUNC);
  int descriptor = -1;
  do {
    descriptor = ::open(filename, mode, 0666);
  } while (descriptor < 0 && errno == EINTR);
  if (descriptor < 0) {
    const char* cause = std::strerror(errno);
    return {Code::kErrFileOpen,
            format_text("cannot open log file '%s': %s", std::string(shown_name).c_str(), cause)};
  }
  unlink();
  descriptor_ = descriptor;
  return {};
}

void LogStream::link_function(void* handle, vlnstreamfunc function) {
  unlink();
  function_ = function;
  handle_ = handle;
}

void LogStream::write(const std::string& text) const {
  if (text.empty()) return;
  if (function_ != nullptr) {
    function_(handle_, text.c_str());
  } else if (descriptor_ >= 0) {
    write_to_descriptor(descriptor_, text);
  }
}

void LogStream::unlink() {
  if (descriptor_ >= 0) ::close(descriptor_);
  descriptor_ = -1;
  function_ = nullptr;
  handle_ = nullptr;
}

}  // namespace vorlan
