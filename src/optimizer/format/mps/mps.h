// MPS and QPS files, fixed and free: what docs/formats/mps.md describes.
#pragma once

#include "format/common/format.h"

namespace vorlan {

[[nodiscard]] Status read_mps(InputStream* input, const ReadLimits& limits, ProblemFile* file,
                              Warnings* warnings);

// Writes free MPS. Refuses cones and matrix variables, numbers without a meaning, and constraints
// with a lower side above the upper one, before anything is written.
[[nodiscard]] Status write_mps(const ProblemView& problem, OutputFile* file, Warnings* warnings);

// True if an MPS file can begin with the word, which is that of a section before the rows.
[[nodiscard]] bool is_mps_first_word(std::string_view word);

}  // namespace vorlan
