// Opening a file for writing, also one that is a pipe by name (FIFO).
#pragma once

#include <sys/types.h>

#include "task/stop_question.h"

namespace vorlan {

// As openat, made again when a signal interrupts it. A FIFO that nobody reads is waited for: with a
// question no longer than until that says stop, after which errno is ENXIO. A FIFO that was opened
// with a question does not block. -1 with errno set on failure.
int open_to_write(int folder, const char* name, int flags, mode_t mode,
                  const StopQuestion& asks_to_stop);

}  // namespace vorlan
