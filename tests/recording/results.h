// results.h - what a finished call gave back, as forwarding writes it and replaying compares it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "operations.h"

namespace recording {

// The lengths of the arrays that are as long as the task has variables or constraints.
struct Sizes {
  int64_t numvar = 0;
  int64_t numcon = 0;
};

// True when an argument of the call needs the sizes to be shown.
bool needs_sizes(const std::vector<Argument>& arguments);

// "0 numvar=2": the code, and every out-argument that the call wrote.
std::string format_results(const std::vector<Argument>& arguments, VLNrescode_enum code,
                           const Sizes& sizes);

}  // namespace recording
