// The state that the parts of the MPS reader share: the lines as they come, the model as it grows,
// and what the file has said about itself.
#pragma once

#include <string>
#include <string_view>

#include "file/text_reader.h"
#include "format/common/format.h"
#include "task/model.h"

namespace vorlan {

struct MpsReading {
  MpsReading(InputStream* input, Model* its_model, Warnings* its_warnings)
      : text(input), shown_name(input->shown_name()), model(*its_model), warnings(*its_warnings) {}

  // Warns about a word of the line at hand.
  void warn(std::string_view word, std::string_view what, std::string_view help = {}) {
    warnings.add(text.error(word, what, help).message());
  }
  // Warns unless it was said before.
  void warn_once(bool* said, std::string_view word, std::string_view what) {
    if (!*said) warn(word, what);
    *said = true;
  }

  TextReader text;
  std::string shown_name;
  Model& model;
  Warnings& warnings;
  bool encoded_names = false, exact_numbers = false;  // said by comments
  bool applied = false;                               // the line at hand has changed the model
};

// The right-hand sides, ranges or bounds that count are those of the first set that is named.
class MpsSet {
 public:
  explicit MpsSet(MpsReading* reading) : reading_(*reading) {}

  // True if lines of this set count. A line without a set belongs to the first one.
  bool takes(std::string_view set);

 private:
  MpsReading& reading_;
  std::string name_;
  bool said_ = false;
};

}  // namespace vorlan
