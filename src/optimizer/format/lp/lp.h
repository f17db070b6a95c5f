// LP files, and OPF and PTF files: the LP format plus sections for what it cannot say. What
// docs/formats/lp.md and docs/formats/ptf.md describe.
#pragma once

#include "format/common/format.h"

namespace vorlan {

[[nodiscard]] Status read_lp(InputStream* input, const ReadLimits& limits, ProblemFile* file,
                             Warnings* warnings);

// True if an LP file can begin with the word, which is that of its objective's sense.
[[nodiscard]] bool is_lp_sense(std::string_view word);

// The first line, but for comments, of a file with sections that LP does not have. In an LP file,
// nothing can be closed where nothing was opened.
inline constexpr std::string_view kPtfOpening = "Minimize ] extended problem 1";

// Refuses cones, matrix variables and numbers without a meaning before anything is written.
[[nodiscard]] Status write_lp(const ProblemView& problem, OutputFile* file, Warnings* warnings);

// .opf and .ptf are two names of one format.
[[nodiscard]] Status read_ptf(InputStream* input, const ReadLimits& limits, ProblemFile* file,
                              Warnings* warnings);
[[nodiscard]] Status write_ptf(const ProblemView& problem, OutputFile* file, Warnings* warnings);

}  // namespace vorlan
