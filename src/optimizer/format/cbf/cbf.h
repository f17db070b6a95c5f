// CBF files: conic models by coordinates. What docs/formats/cbf.md describes.
#pragma once

#include "format/common/format.h"

namespace vorlan {

[[nodiscard]] Status read_cbf(InputStream* input, const ReadLimits& limits, ProblemFile* file,
                              Warnings* warnings);

// Refuses quadratic terms, semi-continuous variables and numbers without a meaning before anything
// is written.
[[nodiscard]] Status write_cbf(const ProblemView& problem, OutputFile* file, Warnings* warnings);

// True if a CBF file can begin with the word, which is that of its version.
[[nodiscard]] bool is_cbf_first_word(std::string_view word);

}  // namespace vorlan
