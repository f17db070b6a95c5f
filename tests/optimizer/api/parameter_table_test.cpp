// The parameter tables as data, and parameters by index and by name.
#include <gtest/gtest.h>

#include <set>
#include <string>

#include "task/parameter_index.h"

namespace vorlan {
namespace {

TEST(ParameterTable, IsSortedWithUniqueNamesAndDefaultsInRange) {
  std::set<std::string> names;
  int32_t last = -1;
  for (const IntParamEntry& entry : int_parameters()) {
    EXPECT_GT(static_cast<int32_t>(entry.param), last) << entry.name;
    last = static_cast<int32_t>(entry.param);
    EXPECT_TRUE(names.insert(entry.name).second) << entry.name;
    EXPECT_EQ(std::string(entry.name).rfind("VLN_IPAR_", 0), 0u) << entry.name;
    EXPECT_LE(entry.lower, entry.initial) << entry.name;
    EXPECT_LE(entry.initial, entry.upper) << entry.name;
    EXPECT_EQ(std::string(entry.text).back(), '.') << entry.name;
    for (const ValueWord& word : entry.words) {
      EXPECT_LE(entry.lower, word.value) << entry.name << ' ' << word.word;
      EXPECT_LE(word.value, entry.upper) << entry.name << ' ' << word.word;
    }
  }
  last = -1;
  for (const DoubleParamEntry& entry : double_parameters()) {
    EXPECT_GT(static_cast<int32_t>(entry.param), last) << entry.name;
    last = static_cast<int32_t>(entry.param);
    EXPECT_TRUE(names.insert(entry.name).second) << entry.name;
    EXPECT_EQ(std::string(entry.name).rfind("VLN_DPAR_", 0), 0u) << entry.name;
    EXPECT_LE(entry.lower, entry.initial) << entry.name;
    EXPECT_LE(entry.initial, entry.upper) << entry.name;
    EXPECT_EQ(std::string(entry.text).back(), '.') << entry.name;
  }
  last = -1;
  for (const StringParamEntry& entry : string_parameters()) {
    EXPECT_GT(static_cast<int32_t>(entry.param), last) << entry.name;
    last = static_cast<int32_t>(entry.param);
    EXPECT_TRUE(names.insert(entry.name).second) << entry.name;
    EXPECT_EQ(std::string(entry.name).rfind("VLN_SPAR_", 0), 0u) << entry.name;
    EXPECT_EQ(std::string(entry.text).back(), '.') << entry.name;
  }
  EXPECT_LT(last, kNumStringParams) << "a safe read clears no more";
}

TEST(ParameterTable, StringParametersAreEmptyAtFirstAndKeepAnyTextButANul) {
  Parameters parameters;
  for (const StringParamEntry& entry : string_parameters()) {
    EXPECT_EQ(parameters.get(entry.param), "") << entry.name;
    ASSERT_TRUE(parameters.put_by_name(entry.name, " a\nb\xff").ok()) << entry.name;
    const Status status = parameters.put_by_name(entry.name, std::string_view("a\0b", 3));
    EXPECT_EQ(status.code(), Code::kErrParamValue) << entry.name;
    EXPECT_EQ(parameters.get(entry.param), " a\nb\xff") << entry.name;
    ASSERT_TRUE(parameters.put_string(static_cast<int32_t>(entry.param), "").ok()) << entry.name;
    EXPECT_EQ(parameters.get(entry.param), "") << entry.name;
  }
}

TEST(ParameterTable, EveryParameterTakesItsBoundsAndWordsByName) {
  Parameters parameters;
  for (const IntParamEntry& entry : int_parameters()) {
    for (const int32_t value : {entry.lower, entry.upper}) {
      ASSERT_TRUE(parameters.put_by_name(entry.name, std::to_string(value)).ok()) << entry.name;
      EXPECT_EQ(parameters.get(entry.param), value) << entry.name;
    }
    for (const ValueWord& word : entry.words) {
      ASSERT_TRUE(parameters.put_by_name(entry.name, word.word).ok()) << entry.name;
      EXPECT_EQ(parameters.get(entry.param), word.value) << entry.name << ' ' << word.word;
    }
    if (entry.lower > INT32_MIN) {
      const Status status = parameters.put_int(static_cast<int32_t>(entry.param), entry.lower - 1);
      EXPECT_EQ(status.code(), Code::kErrParamRange) << entry.name;
    }
  }
  for (const DoubleParamEntry& entry : double_parameters()) {
    ASSERT_TRUE(parameters.put_by_name(entry.name, std::to_string(entry.upper)).ok()) << entry.name;
    EXPECT_EQ(parameters.get(entry.param), entry.upper) << entry.name;
    if (entry.lower < 0.0) continue;
    EXPECT_EQ(parameters.put_by_name(entry.name, "-1").code(), Code::kErrParamRange) << entry.name;
  }
}

TEST(ParameterTable, PinnedIndicesAreSwitches) {
  for (const int32_t index : {45, 109, 125, 127, 168}) {
    Parameters parameters;
    for (const int32_t value : {0, 1, 0}) {
      int32_t read = -1;
      ASSERT_TRUE(parameters.put_int(index, value).ok()) << index;
      ASSERT_TRUE(parameters.get_int(index, &read).ok()) << index;
      EXPECT_EQ(read, value) << index;
    }
    EXPECT_EQ(parameters.put_int(index, 2).code(), Code::kErrParamRange) << index;
  }
}

TEST(ParameterTable, SettingsBeyondTheRangeBecomeItsEnd) {
  Parameters parameters;
  parameters.set(IntParam::kOptimizer, kConicMethod);
  EXPECT_EQ(parameters.get(IntParam::kOptimizer), kConicMethod);
  parameters.set(IntParam::kOptimizer, kConicMethod + 1);
  EXPECT_EQ(parameters.get(IntParam::kOptimizer), kConicMethod);
  parameters.set(DoubleParam::kConicGapTolerance, 1e-20);
  EXPECT_EQ(parameters.get(DoubleParam::kConicGapTolerance), 1e-12);
}

}  // namespace
}  // namespace vorlan
