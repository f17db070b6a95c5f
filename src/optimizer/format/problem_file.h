// Problem files: the table of formats, and what surrounds a reading and a writing.
#pragma once

#include <span>

#include "format/common/format.h"
#include "task/task.h"

namespace vorlan {

std::span<const ProblemFormat> problem_formats();

// Reads a problem file in place of the task's model and solutions; on failure the task is as it
// was before. The name's suffix says the format, or the content where the name does not; the
// content says the compression.
Status read_problem_file(Task* task, const char* filename);

// Writes the task's model; the name's suffixes say format and compression.
Status write_problem_file(Task* task, const char* filename, const StopRule& rule = {});

// Writes the whole task as a task file, whatever the name says.
Status write_task_file(Task* task, const char* filename, Compression compression,
                       const StopRule& rule = {});

}  // namespace vorlan
