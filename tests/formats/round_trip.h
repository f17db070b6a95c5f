// Problem files in memory for the tests of the formats, and the property that every format has:
// what is read can be written, reads back as the same model with the same solutions and parameters,
// and is written again as the same bytes.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "format/common/format.h"

namespace vorlan::test {

Status read_text(ProblemReader read, std::string_view text, ProblemFile* file, Warnings* warnings);
Status write_text(ProblemWriter write, const ProblemFile& file, std::string* text,
                  Warnings* warnings);

// The difference of two models, or of two files with their solutions and parameters, to the last
// bit; empty where they are the same. Parameters may come in any order.
std::string difference(const Model& a, const Model& b);
std::string difference(const Solution& a, const Solution& b);
std::string difference(const Solutions& a, const Solutions& b);
std::string difference(const ProblemFile& a, const ProblemFile& b);

// Why the text breaks the property; empty when it holds. A text that is refused with a message
// holds it.
std::string round_trip_fault(ProblemReader read, ProblemWriter write, std::string_view text);

// The text with a few bytes changed, dropped, doubled or taken from elsewhere in it.
std::string mutated(std::string text, uint32_t seed);

}  // namespace vorlan::test
