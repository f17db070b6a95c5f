// Keeping the library's files off the descriptors of standard input, output and error: a caller
// that was started with one of them closed would otherwise read from, or print into, a file of
// ours.
#pragma once

namespace vorlan {

// The descriptor if it is none of these three or no descriptor at all (-1); else a copy above them,
// closed on exec like all of ours, and the given one is closed. -1 with errno set on failure.
int above_standard(int descriptor);

// A copy of another's descriptor, above the standard ones; -1 with errno set on failure.
int copy_above_standard(int descriptor);

}  // namespace vorlan
