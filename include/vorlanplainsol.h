// vorlanplainsol.h - the plain solution report, written by the program itself.
#pragma once

#include <vorlan.h>

#include <cstdint>

/// Writes the task's defined solutions (integer, basic, interior, in this order) as the
/// fixed-layout text report to a file, which is created or truncated, or to standard output when
/// filename is "-".
///
/// It has the calling form of a library operation and reads everything through the library's
/// queries. A query that fails ends it by a VLNException with the query's code; what was printed
/// before stays in the file. A file that cannot be opened or written is not an error. Returns 0.
std::int32_t VLN_writeplainsol(vlntaskt* task, const char* filename);
