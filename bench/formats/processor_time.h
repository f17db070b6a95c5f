// Processor time of this process, user and system together: what other work on the machine does not
// lengthen as it does the time on the clock.
#pragma once

#include <time.h>

/// Seconds of all threads.
inline double processor_seconds() {
  timespec time{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}
