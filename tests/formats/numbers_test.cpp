// Numbers to text and back.
#include "file/numbers.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <limits>
#include <optional>
#include <random>
#include <string>

namespace vorlan {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

std::optional<double> parsed(std::string_view token, unsigned dialect = 0) {
  double value = 0.0;
  if (!parse_double(token, &value, dialect)) return std::nullopt;
  return value;
}

std::string text_of(double value) {
  char text[kLongestNumber];
  return {text, format_double(value, text)};
}

TEST(Numbers, ReadsDecimalForms) {
  EXPECT_EQ(parsed("0"), 0.0);
  EXPECT_EQ(parsed("+1.5"), 1.5);
  EXPECT_EQ(parsed("-.5"), -0.5);
  EXPECT_EQ(parsed("5."), 5.0);
  EXPECT_EQ(parsed("1e3"), 1000.0);
  EXPECT_EQ(parsed("1E+3"), 1000.0);
  EXPECT_EQ(parsed("25e-1"), 2.5);
  EXPECT_EQ(parsed("9007199254740993"), 9007199254740992.0);  // a tie, rounded to even
  EXPECT_EQ(parsed("2.2250738585072011e-308"), 0x0.fffffffffffffp-1022);
  EXPECT_TRUE(std::signbit(*parsed("-0")));
}

TEST(Numbers, GoesToInfinityAndZeroBeyondTheRange) {
  EXPECT_EQ(parsed("1e400"), kInfinity);
  EXPECT_EQ(parsed("-1e400"), -kInfinity);
  EXPECT_EQ(parsed("1e-400"), 0.0);
}

TEST(Numbers, RefusesWhatIsNotWhollyANumber) {
  for (const char* token : {"",     "+",   "-",    ".",   "e5",       "1z",    "1e",  "1e+",
                            "0x10", "1,5", "1 ",   " 1",  "+-1",      "--1",   "++1", "-+1",
                            "nan",  "NaN", "-nan", "inf", "infinity", "1.2.3", "1D3", "1e5e5"}) {
    EXPECT_EQ(parsed(token), std::nullopt) << token;
  }
  EXPECT_EQ(parsed(std::string_view("1\0", 2)), std::nullopt);
  double untouched = 7.0;
  EXPECT_FALSE(parse_double("7x", &untouched));
  EXPECT_EQ(untouched, 7.0);
}

TEST(Numbers, ReadsInfinityWordsWhereAllowed) {
  for (const char* token : {"inf", "Inf", "+INF", "infinity", "+Infinity"}) {
    EXPECT_EQ(parsed(token, kInfinityWords), kInfinity) << token;
  }
  EXPECT_EQ(parsed("-infinity", kInfinityWords), -kInfinity);
  for (const char* token : {"infi", "infinityy", "i", "nan", "+-inf"}) {
    EXPECT_EQ(parsed(token, kInfinityWords), std::nullopt) << token;
  }
}

TEST(Numbers, ReadsFortranExponentsWhereAllowed) {
  EXPECT_EQ(parsed("1D1", kFortranExponents), 10.0);
  EXPECT_EQ(parsed("-1.5d-1", kFortranExponents), -0.15);
  EXPECT_EQ(parsed("1e3", kFortranExponents), 1000.0);
  for (const char* token : {"D1", "1D", "1DD1", "1e1D1", "1D1e1"}) {
    EXPECT_EQ(parsed(token, kFortranExponents), std::nullopt) << token;
  }
}

TEST(Numbers, WritesTheShortestForm) {
  EXPECT_EQ(text_of(0.1), "0.1");
  EXPECT_EQ(text_of(-0.0), "-0");
  EXPECT_EQ(text_of(3), "3");
  EXPECT_EQ(text_of(1e30), "1e+30");
  EXPECT_EQ(text_of(kInfinity), "inf");
  EXPECT_EQ(text_of(-kInfinity), "-inf");
}

TEST(Numbers, SurviveEveryBit) {
  std::mt19937_64 generator(5);
  for (int i = 0; i < 200000; ++i) {
    const auto value = std::bit_cast<double>(static_cast<uint64_t>(generator()));
    if (std::isnan(value)) continue;
    const std::string text = text_of(value);
    ASSERT_LE(text.size(), kLongestNumber);
    const std::optional<double> back = parsed(text, kInfinityWords);
    ASSERT_TRUE(back.has_value()) << text;
    ASSERT_EQ(std::bit_cast<uint64_t>(*back), std::bit_cast<uint64_t>(value)) << text;
  }
}

TEST(Numbers, ReadsIntegersWithinTheirRange) {
  int32_t small = 0;
  EXPECT_TRUE(parse_int32("2147483647", &small));
  EXPECT_EQ(small, 2147483647);
  EXPECT_TRUE(parse_int32("-2147483648", &small));
  EXPECT_EQ(small, std::numeric_limits<int32_t>::min());
  EXPECT_TRUE(parse_int32("+5", &small));
  EXPECT_EQ(small, 5);
  for (const char* token : {"", "+", "-", "+-5", "5.", "5.0", "1e3", " 5", "5 ", "2147483648"}) {
    EXPECT_FALSE(parse_int32(token, &small)) << token;
  }
  EXPECT_EQ(small, 5);

  int64_t large = 0;
  EXPECT_TRUE(parse_int64("-9223372036854775808", &large));
  EXPECT_EQ(large, std::numeric_limits<int64_t>::min());
  EXPECT_FALSE(parse_int64("9223372036854775808", &large));
  char text[kLongestNumber];
  EXPECT_EQ(std::string(text, format_int64(large, text)), "-9223372036854775808");
}

}  // namespace
}  // namespace vorlan
