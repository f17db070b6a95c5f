// The clock is the system's real-time clock, as the interface of the program says. It can be set
// back.
#include "wallclock.h"

#include <ctime>

std::uint64_t gettimens() {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  return static_cast<std::uint64_t>(now.tv_sec) * 1'000'000'000U +
         static_cast<std::uint64_t>(now.tv_nsec);
}

double elapsedseconds(std::uint64_t start, std::uint64_t end) {
  return static_cast<double>(static_cast<std::int64_t>(end - start)) * 1e-9;
}
