// The sense of the objective, which a section of an MPS file says, and in some files a comment.
#pragma once

#include <string_view>

#include "format/mps/mps_reading.h"

namespace vorlan {

class MpsSense {
 public:
  // The reading is borrowed.
  explicit MpsSense(MpsReading* reading) : reading_(*reading) {}

  // The word of the section OBJSENSE.
  Status take(std::string_view word);

  // The word of the comment "*SENSE:", which a modelling tool for Python writes. The section goes
  // before it.
  void take_comment(std::string_view word);

 private:
  MpsReading& reading_;
  bool said_by_section_ = false, said_by_comment_ = false;
};

}  // namespace vorlan
