// wallclock_test.cpp - the clock and the seconds between two of its readings.
#include "wallclock.h"

#include <gtest/gtest.h>
#include <time.h>

#include <limits>
#include <type_traits>

namespace {

std::uint64_t realtime() {
  timespec now;
  clock_gettime(0, &now);
  return static_cast<std::uint64_t>(now.tv_sec) * 1000000000ULL +
         static_cast<std::uint64_t>(now.tv_nsec);
}

// The machine's clock may be set back between two readings, but hardly three times in a row.
TEST(GetTimeNs, IsTheRealTimeClock) {
  static_assert(std::is_same_v<decltype(gettimens()), std::uint64_t>);
  bool between = false;
  for (int attempt = 0; attempt < 3 && !between; ++attempt) {
    const std::uint64_t before = realtime();
    const std::uint64_t reading = gettimens();
    between = before <= reading && reading <= realtime();
  }
  EXPECT_TRUE(between);
}

TEST(ElapsedSeconds, Differences) {
  const std::uint64_t start = 1'700'000'000'999'999'999U;
  EXPECT_EQ(elapsedseconds(start, start), 0.0);
  EXPECT_EQ(elapsedseconds(start, start + 1), 1e-9);
  EXPECT_EQ(elapsedseconds(start, start + 12'345'678U), 12345678.0 * 1e-9);
  EXPECT_EQ(elapsedseconds(start, start + 1'500'000'000U), 1500000000.0 * 1e-9);
}

// The clock was set back: the count is signed.
TEST(ElapsedSeconds, Negative) {
  const std::uint64_t start = 1'700'000'000'000'000'000U;
  EXPECT_EQ(elapsedseconds(start, start - 1), -1e-9);
  EXPECT_EQ(elapsedseconds(start, start - 2'000'000'000U), -2000000000.0 * 1e-9);
  EXPECT_EQ(elapsedseconds(start, 0), -1.7e18 * 1e-9);
}

// The count becomes a double and is then multiplied, not divided: the last bits differ.
TEST(ElapsedSeconds, IsMultiplied) {
  ASSERT_NE(3.0 * 1e-9, 3.0 / 1e9);
  EXPECT_EQ(elapsedseconds(0, 3), 3.0 * 1e-9);
  const auto longest = std::numeric_limits<std::int64_t>::max();
  EXPECT_EQ(elapsedseconds(0, static_cast<std::uint64_t>(longest)),
            static_cast<double>(longest) * 1e-9);
}

}  // namespace
