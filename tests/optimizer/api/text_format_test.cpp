// Formatting of echoes, and the distance of names.
#include <gtest/gtest.h>

#include <cstdarg>
#include <string>

#include "task/text.h"

namespace vorlan {
namespace {

std::string echo(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const auto text = format_echo(format, arguments);
  va_end(arguments);
  return text.value_or("(refused)");
}

TEST(EchoFormat, OrdinaryFormats) {
  EXPECT_EQ(echo("plain\n"), "plain\n");
  EXPECT_EQ(echo("100%% of %s\n", "it"), "100% of it\n");
  EXPECT_EQ(echo("%d %5.2f %-4s|", 7, 2.5, "ab"), "7  2.50 ab  |");
  EXPECT_EQ(echo("%s%s%s", "a", "b", "c"), "abc");
  EXPECT_EQ(echo("%.*s", 2, "abc"), "ab");
  EXPECT_EQ(echo(""), "");
}

TEST(EchoFormat, StringViewAsFirstArgument) {
  EXPECT_EQ(echo("Set log file: %s\n", std::string_view("run.log")), "Set log file: run.log\n");
  EXPECT_EQ(echo("100%% %s!", std::string_view("x")), "100% x!");
  EXPECT_EQ(echo("[%s]", std::string_view("")), "[]");
  EXPECT_EQ(echo("[%6s]", std::string_view("ab")), "[    ab]");
  EXPECT_EQ(echo("%s %d %s", std::string_view("name"), 3, "tail"), "name 3 tail");
}

// A view need not be terminated: the character behind it must not be read.
TEST(EchoFormat, StringViewWithoutTerminator) {
  const std::string word = "file.task:rest";
  EXPECT_EQ(echo("%s\n", std::string_view(word).substr(0, 9)), "file.task\n");
}

TEST(EchoFormat, TextOfAnyLength) {
  const std::string longest_view(131071, 'v');
  EXPECT_EQ(echo("<%s>", std::string_view(longest_view)), "<" + longest_view + ">");
  const std::string huge(3000000, 'h');
  EXPECT_EQ(echo("<%s>", huge.c_str()), "<" + huge + ">");
}

TEST(EditDistance, CountsInsertDropExchangeSwap) {
  EXPECT_EQ(edit_distance("", ""), 0);
  EXPECT_EQ(edit_distance("abc", "abc"), 0);
  EXPECT_EQ(edit_distance("abc", "abcd"), 1);
  EXPECT_EQ(edit_distance("abc", "ac"), 1);
  EXPECT_EQ(edit_distance("abc", "axc"), 1);
  EXPECT_EQ(edit_distance("abc", "acb"), 1);
  EXPECT_EQ(edit_distance("", "abc"), 3);
  EXPECT_EQ(edit_distance("kitten", "sitting"), 3);
}

}  // namespace
}  // namespace vorlan
