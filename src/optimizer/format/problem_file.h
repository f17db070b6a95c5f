// Problem files: which reader a file's name asks for.
#pragma once

#include "task/task.h"

namespace vorlan {

// Reads a problem file in place of the task's model and solutions; on failure the task is as it
// was before.
Status read_problem_file(Task* task, const char* filename);

}  // namespace vorlan
