// What the log says of a model's numbers before it is solved: the ranges of their sizes, and a word
// of advice where they are so far apart that no optimizer can be exact.
#pragma once

#include <string>

#include "task/model.h"

namespace vorlan {

// A line for each kind of numbers that the model has, behind a heading; empty for a model without
// any. Zeros and infinite bounds do not count.
std::string describe_ranges(const Model& model);

// One line, or nothing.
std::string advise_on_scaling(const Model& model);

}  // namespace vorlan
