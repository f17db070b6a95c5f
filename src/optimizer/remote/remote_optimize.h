// Optimizing a task on a solver server: the task goes there as a task file, its solutions and codes
// come back as a task solver result.
#pragma once

#include "task/task.h"

namespace vorlan {

// Does on a server what optimize() does here. On success the task's solutions are those of the
// remote optimization and *termination says why it ended; on failure they are as they were. The
// remote optimization may fail as a local one does: its code is then the status.
Status optimize_remotely(Task* task, const char* address, const char* token, Code* termination);

}  // namespace vorlan
