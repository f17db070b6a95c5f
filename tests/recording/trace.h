// trace.h - writes the trace file: each piece with one write, so that nothing is lost when the
// process dies the moment after.
#pragma once

#include <span>
#include <string>
#include <string_view>

#include "operations.h"

namespace recording {

class Trace {
 public:
  // Opens the file for appending; a null or empty name records nothing.
  explicit Trace(const char* filename);
  void line(const std::string& text) const { piece(text + '\n'); }
  void piece(const std::string& text) const;

 private:
  int descriptor_ = -1;
};

// The task with which a call's task argument is compared, and what is hidden.
struct CallStyle {
  const void* task = nullptr;
  bool mask_secrets = false;
};

// "VLN_readdata(task, "prob.task")"; out-arguments show as "out", null pointers as "null".
// more is appended inside the parentheses.
std::string format_call(std::string_view name, std::span<const Argument> arguments,
                        const CallStyle& style, std::string_view more = {});

}  // namespace recording
