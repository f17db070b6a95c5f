// Reading and writing open descriptors: what the system calls leave to their callers (interrupted
// calls, partial writes, descriptors that do not block, signals that a failing write raises) is
// settled here once.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <string_view>

#include "task/high_descriptor.h"
#include "task/stop_question.h"

namespace vorlan {

// Bytes read, 0 at the end, -1 with errno set on failure. Waits where the descriptor would not.
ssize_t read_some(int descriptor, char* buffer, size_t size);

// Writes all of it; 0, or the error number of the failure. A closed pipe and a file beyond the size
// limit are failures like others: their signals (SIGPIPE, SIGXFSZ) do not arrive, and the process's
// dispositions, which belong to the caller, are not touched.
int write_all(int descriptor, std::string_view bytes);

// The same while something may ask to stop. After that a pipe whose reader takes nothing is waited
// for so much longer and no more; the error number is then EAGAIN.
int write_all(int descriptor, std::string_view bytes, const StopQuestion& asks_to_stop,
              int patience_milliseconds);

// The number N of an open descriptor that a folder of this process's descriptors shows under this
// name, as in /dev/fd/N; -1 when it is none.
int descriptor_in_folder(int folder, std::string_view name);

}  // namespace vorlan
