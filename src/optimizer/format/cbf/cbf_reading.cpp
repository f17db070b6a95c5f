// Lines, counts and limits of CBF files; see cbf_reading.h.
#include "format/cbf/cbf_reading.h"

#include <utility>

#include "task/text.h"

namespace vorlan {

bool CbfReading::fail_at_end(const char* what) {
  return lines.fail_line(format_text("the file ends here, where %s was expected", what));
}

bool CbfReading::take_count(int64_t most, int32_t* value) {
  return lines.take_integer("a number of things", 0, most, value);
}

bool CbfReading::take_triangle(int32_t dimension, int32_t* row, int32_t* col) {
  if (!lines.take_integer("a row of the matrix", 0, int64_t{dimension} - 1, row)) return false;
  if (!lines.take_integer("a column of the matrix", 0, int64_t{dimension} - 1, col)) return false;
  if (*row < *col) std::swap(*row, *col);
  return true;
}

bool CbfReading::declare(int64_t count, int64_t bytes_each) {
  return declared.add(count, bytes_each) || lines.fail_line(declared.message());
}

}  // namespace vorlan
