// Solution files of a task: the way between a file and the task's solutions. The compression that
// is passed decides, whatever the name says.
#pragma once

#include "file/compression.h"
#include "file/output_file.h"
#include "task/task.h"

namespace vorlan {

enum class SolutionFormat { kJson, kB, kSolverResult };

// Appends to the open file; the caller finishes it.
Status write_solutions_as(SolutionFormat format, const Task& task, OutputFile* file);

Status write_solution_file(Task* task, const char* filename, SolutionFormat format,
                           Compression compression);

// Reads a b solution in place of the task's solutions; one that does not fit is refused whole.
Status read_solution_file(Task* task, const char* filename, Compression compression);

}  // namespace vorlan
