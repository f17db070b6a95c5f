// SDPA sparse files (.dat-s): semidefinite models. What docs/formats/sdpa.md describes.
#pragma once

#include "format/common/format.h"

namespace vorlan {

[[nodiscard]] Status read_sdpa(InputStream* input, const ReadLimits& limits, ProblemFile* file,
                               Warnings* warnings);

// Refuses integers, cones, quadratic terms and numbers without a meaning before anything is
// written.
[[nodiscard]] Status write_sdpa(const ProblemView& problem, OutputFile* file, Warnings* warnings);

}  // namespace vorlan
