// The state that the parts of the CBF reader share: the lines as they come, the model as it grows,
// and how much the file may declare.
#pragma once

#include <cstdint>
#include <limits>

#include "format/common/declared_memory.h"
#include "format/common/field_lines.h"
#include "format/common/format.h"
#include "task/model.h"

namespace vorlan {

class CbfReading {
 public:
  static constexpr int64_t kMost = std::numeric_limits<int32_t>::max();

  CbfReading(InputStream* input, const ReadLimits& limits, Model* its_model, Warnings* its_warnings)
      : lines(input, {}), model(*its_model), warnings(*its_warnings), declared(limits.declared) {}

  // Goes to the next line that is no comment. False at the end of the file and after a failure to
  // read.
  bool next_line() {
    while (lines.next_line()) {
      if (lines.rest()[0] != '#') return true;
    }
    return false;
  }

  // The other functions return false after a failure, which the lines then have.

  // Goes to the next line and fails at the end of the file. `what` names what was expected.
  bool require_line(const char* what) { return next_line() || fail_at_end(what); }
  bool take_count(int64_t most, int32_t* value);
  // Takes (row, col) of a symmetric matrix in either order; the row is the larger one.
  bool take_triangle(int32_t dimension, int32_t* row, int32_t* col);
  // Counts towards what a file may declare beyond what it has data for.
  bool declare(int64_t count, int64_t bytes_each);

  FieldLines lines;
  Model& model;
  Warnings& warnings;
  DeclaredMemory declared;

 private:
  bool fail_at_end(const char* what);
};

}  // namespace vorlan
