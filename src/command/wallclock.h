// The timing lines of "-read" and "-solve" take their wall-clock time from here.
#pragma once

#include <cstdint>

/// Nanoseconds of the real-time clock since the epoch.
std::uint64_t gettimens();

/// Seconds from one reading of gettimens to a later one; negative if the clock was set back.
double elapsedseconds(std::uint64_t start, std::uint64_t end);
