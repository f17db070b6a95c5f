// Lines of fields with a blank between two, the counterpart of field_lines.h.
#pragma once

#include <cstdint>
#include <string_view>

#include "file/output_file.h"

namespace vorlan {

class FieldWriter {
 public:
  explicit FieldWriter(OutputFile* file) : file_(file) {}

  template <class First, class... Rest>
  void line(First first, Rest... rest) {
    append(first);
    ((file_->append(' '), append(rest)), ...);
    file_->append('\n');
  }

 private:
  void append(double value) { file_->append_number(value); }
  void append(int32_t value) { file_->append_integer(value); }
  void append(int64_t value) { file_->append_integer(value); }
  void append(size_t value) { file_->append_integer(static_cast<int64_t>(value)); }
  void append(std::string_view text) { file_->append(text); }
  void append(const char* text) { file_->append(std::string_view(text)); }

  OutputFile* file_;
};

}  // namespace vorlan
