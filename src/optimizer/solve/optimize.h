// Optimizing a task: choice of backend, run, solutions, summary.
#pragma once

#include "task/task.h"

namespace vorlan {

// On success the task's solutions are those that this optimization defines, and *termination is
// kOk or why it ended early. On failure they are as they were.
Status optimize(Task* task, Code* termination);

}  // namespace vorlan
