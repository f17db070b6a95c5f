// script_test.cpp - the script language: what it accepts, what it refuses, which rules match a
// call.
#include "script.h"

#include <gtest/gtest.h>

#include <string>

namespace recording {
namespace {

std::string error_of(const std::string& text) {
  try {
    parse_script(text);
  } catch (const std::exception& error) {
    return error.what();
  }
  return "accepted";
}

TEST(Script, ReadsConditionsAndActionsInOrder) {
  const Script script = parse_script(
      R"(# a comment

VLN_getxx whichsol=1 call=2: xx = [1.5, -2, inf]; code 7 # the end
)");
  ASSERT_EQ(script.rules.size(), 1U);
  const Rule& rule = script.rules[0];
  EXPECT_EQ(rule.operation->name, "VLN_getxx");
  EXPECT_EQ(rule.call, 2);
  ASSERT_EQ(rule.conditions.size(), 1U);
  EXPECT_EQ(rule.conditions[0].first, "whichsol");
  ASSERT_EQ(rule.actions.size(), 2U);
  EXPECT_EQ(std::get<std::vector<double>>(rule.actions[0].value).size(), 3U);
  EXPECT_EQ(rule.actions[1].number(), 7.0);
}

TEST(Script, ReadsTexts) {
  const Script script = parse_script(
      "VLN_getvarname: name = \"a\\tb\\\"\\0c\\xff\"\n"
      "VLN_getcodedesc: symname = \"ab\" * 3\n");
  EXPECT_EQ(script.rules[0].actions[0].text(), std::string("a\tb\"\0c\xff", 7));
  EXPECT_EQ(script.rules[1].actions[0].text(), "ababab");
}

TEST(Script, ReadsTheClockInNanoseconds) {
  const Script script = parse_script("clock: 1.000000000 12.345678901\n");
  EXPECT_EQ(script.clock, (std::vector<int64_t>{1'000'000'000, 12'345'678'901}));
}

TEST(Script, RefusesWhatItDoesNotKnowAndSaysWhere) {
  EXPECT_EQ(error_of("\nVLN_getx: code 1"), "script line 2: unknown operation VLN_getx");
  EXPECT_NE(error_of("VLN_getxx: numvar = 1"), "accepted");
  EXPECT_NE(error_of("VLN_getxx: whichsol = 1"), "accepted");
  EXPECT_NE(error_of("VLN_getxx xx=1: code 1"), "accepted");
  EXPECT_NE(error_of("VLN_getxx: xx = 1"), "accepted");
  EXPECT_NE(error_of("VLN_getnumvar: numvar = [1]"), "accepted");
  EXPECT_NE(error_of("VLN_getnumvar: numvar = one"), "accepted");
  EXPECT_NE(error_of("VLN_getnumvar: signal NONE"), "accepted");
  EXPECT_NE(error_of("VLN_getnumvar: code 1 code 2"), "accepted");
  EXPECT_NE(error_of("VLN_getnumvar call=0: code 1"), "accepted");
  EXPECT_NE(error_of("VLN_getvarname: name = \"open"), "accepted");
  EXPECT_NE(error_of("clock: 1.5"), "accepted");
}

TEST(Script, MatchesByOperationArgumentAndCall) {
  const Script script = parse_script("VLN_putparam name=\"A\" call=2: code 1\n");
  const Operation& operation = *find_operation("VLN_putparam");
  const auto arguments = [&](const char* name) {
    return std::vector<Argument>{make_argument(operation.parameters[0], nullptr),
                                 make_argument(operation.parameters[1], name),
                                 make_argument(operation.parameters[2], "1")};
  };
  const Rule& rule = script.rules[0];
  EXPECT_TRUE(rule.matches(operation, arguments("A"), 2));
  EXPECT_FALSE(rule.matches(operation, arguments("A"), 1));
  EXPECT_FALSE(rule.matches(operation, arguments("B"), 2));
  EXPECT_FALSE(rule.matches(*find_operation("VLN_readdata"), arguments("A"), 2));
}

}  // namespace
}  // namespace recording
