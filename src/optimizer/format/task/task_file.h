// The files of whole tasks, .jtask and .json (JSON) and .task (the same document as CBOR): what
// docs/formats/task.md describes. They hold everything that a task is made of.
#pragma once

#include "format/common/format.h"

namespace vorlan {

[[nodiscard]] Status read_jtask(InputStream* input, const ReadLimits& limits, ProblemFile* file,
                                Warnings* warnings);
[[nodiscard]] Status read_task(InputStream* input, const ReadLimits& limits, ProblemFile* file,
                               Warnings* warnings);

// A model that the readers would not take is refused before anything is written.
[[nodiscard]] Status write_jtask(const ProblemView& problem, OutputFile* file, Warnings* warnings);
[[nodiscard]] Status write_task(const ProblemView& problem, OutputFile* file, Warnings* warnings);

// True if a .task file can begin so: with a map of CBOR, with or without the mark of CBOR that
// describes itself in front. No text does: these bytes continue a character of UTF-8.
[[nodiscard]] bool begins_cbor_task(std::string_view head);

}  // namespace vorlan
