// trace.cpp - how a call looks as a line of text.
#include "trace.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "quoting.h"

namespace recording {
namespace {

// A task that is not the one handed out is a defect of the caller, so it must be visible.
std::string format_task(const void* task, const CallStyle& style) {
  if (task == nullptr) return "null";
  return style.task == nullptr || task == style.task ? "task" : "wrong-task";
}

std::string format_text(const Argument& argument) {
  return argument.pointer == nullptr ? "null" : quote(argument.as<const char>());
}

std::string format_argument(const Argument& argument, const CallStyle& style) {
  const char* const name = argument.pointer == nullptr ? "null" : nullptr;
  switch (argument.parameter.kind) {
    case Kind::Task:
      return format_task(argument.pointer, style);
    case Kind::TaskPointer:
      return name ? name : '&' + format_task(*argument.as<vlntaskt*>(), style);
    case Kind::Handle:
      return name ? name : "handle";
    case Kind::Callback:
    case Kind::StreamFunction:
      return name ? name : "function";
    case Kind::Text:
      return format_text(argument);
    case Kind::Secret:
      if (name || !style.mask_secrets) return format_text(argument);
      return *argument.as<const char>() == '\0' ? "\"\"" : "\"***\"";
    case Kind::Int:
    case Kind::Unsigned:
    case Kind::Code:
    case Kind::SliceSize:
    case Kind::TextSize:
      return std::to_string(argument.number);
    default:
      return name ? name : "out";
  }
}

}  // namespace

Trace::Trace(const char* filename) {
  if (filename == nullptr || *filename == '\0') return;
  descriptor_ = open(filename, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
  if (descriptor_ >= 0) return;
  std::perror(filename);
  _exit(99);
}

void Trace::piece(const std::string& text) const {
  if (descriptor_ < 0) return;
  if (write(descriptor_, text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
    std::perror("recording");
    _exit(99);
  }
}

std::string format_call(std::string_view name, std::span<const Argument> arguments,
                        const CallStyle& style, std::string_view more) {
  std::string result(name);
  result += '(';
  for (const Argument& argument : arguments) {
    if (&argument != arguments.data()) result += ", ";
    result += format_argument(argument, style);
  }
  result += more;
  return result + ')';
}

}  // namespace recording
