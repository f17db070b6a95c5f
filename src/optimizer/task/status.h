// The result of an operation inside the library: a code and, on failure, the one line that tells a
// person what was wrong. It is written at the lowest place that knows it and passed on unchanged.
#pragma once

#include <string>
#include <utility>

#include "task/response_codes.h"

namespace vorlan {

class [[nodiscard]] Status {
 public:
  Status() = default;
  Status(Code code, std::string message) : code_(code), message_(std::move(message)) {}

  bool ok() const { return code_ == Code::kOk; }
  Code code() const { return code_; }
  const std::string& message() const { return message_; }

 private:
  Code code_ = Code::kOk;
  std::string message_;
};

}  // namespace vorlan
