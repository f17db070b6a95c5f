// The parameters that --set takes, as the library's own document has them.
#pragma once

#include <string>
#include <vector>

namespace vorlan::companion {

struct ParameterRow {
  std::string name;
  std::string range;  // empty of a string parameter, as are the next three
  std::string initial;
  std::string words;    // "off 0, on 1"
  std::string methods;  // "branch and cut, outer approximation"
  std::string meaning;
};

// In the order of the document: by theme.
const std::vector<ParameterRow>& parameter_rows();

// The name of the parameter that a person may also call without its beginning and in any case:
// "mip_emphasis" for VLN_IPAR_MIP_EMPHASIS. Another name comes back as it is.
std::string whole_name(const std::string& name);

// One line for each parameter whose line has the word, in any case; all of them without a word.
std::string parameter_lines(const std::string& word);

}  // namespace vorlan::companion
