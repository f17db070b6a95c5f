// quote_test.cpp - names in the plain report: escapes, widths, the '<' that puts the blanks first,
// and replacement fields that are refused.
#include "quote.h"

#include <gtest/gtest.h>

#include <string>

namespace {

std::string shown(const std::string& field, std::string_view text) {
  const quote name{text};
  return fmt::vformat(field, fmt::make_format_args(name));
}

TEST(Quote, Widths) {
  EXPECT_EQ(shown("{}", "abc"), "abc");
  EXPECT_EQ(shown("{:}", "abc"), "abc");
  EXPECT_EQ(shown("{:0}", "abc"), "abc");
  EXPECT_EQ(shown("{:5}", "abc"), "abc  ");
  EXPECT_EQ(shown("{:05}", "abc"), "abc  ");
  EXPECT_EQ(shown("{:3}", "abc"), "abc");
  EXPECT_EQ(shown("{:2}", "abc"), "abc");
  EXPECT_EQ(shown("{:12}|", "abc"), "abc         |");
  EXPECT_EQ(shown("{:3}", ""), "   ");
  EXPECT_EQ(shown("{}", ""), "");
}

TEST(Quote, BlanksFirst) {
  EXPECT_EQ(shown("{:<5}", "abc"), "  abc");
  EXPECT_EQ(shown("{:<3}", "abc"), "abc");
  EXPECT_EQ(shown("{:<2}", "abc"), "abc");
  EXPECT_EQ(shown("{:<}", "abc"), "abc");
  EXPECT_EQ(shown("{:<0}", "abc"), "abc");
  EXPECT_EQ(shown("{:<12}|", "abc"), "         abc|");
}

TEST(Quote, EscapesCountTwice) {
  EXPECT_EQ(shown("{}", "\t\n\r\"\\"), "\\\t\\\n\\\r\\\"\\\\");
  EXPECT_EQ(shown("{:4}|", "a\tb"), "a\\\tb|");
  EXPECT_EQ(shown("{:5}|", "a\tb"), "a\\\tb |");
  EXPECT_EQ(shown("{:<5}|", "a\tb"), " a\\\tb|");
  EXPECT_EQ(shown("{:3}|", "\"\""), "\\\"\\\"|");
}

TEST(Quote, EveryByte) {
  for (int i = 0; i < 256; ++i) {
    const char c = static_cast<char>(i);
    const bool escaped = c == 9 || c == 10 || c == 13 || c == 34 || c == 92;
    const std::string expected = escaped ? std::string{'\\', c} : std::string{c};
    EXPECT_EQ(shown("{}", {&c, 1}), expected) << i;
    EXPECT_EQ(shown("{:4}", {&c, 1}), expected + (escaped ? "  " : "   ")) << i;
    EXPECT_EQ(shown("{:<4}", {&c, 1}), (escaped ? "  " : "   ") + expected) << i;
  }
}

TEST(Quote, InvalidFields) {
  for (const char* field : {"{:a}", "{:5a}", "{:5 }", "{: 5}", "{:-5}", "{:>5}", "{:^5}", "{:<<5}",
                            "{:5<}", "{:.5}", "{:5.2}", "{:{}}", "{:s}", "{:<s}", "{:+5}"}) {
    try {
      ADD_FAILURE() << field << " gave " << shown(field, "abc");
    } catch (const fmt::format_error& error) {
      EXPECT_STREQ(error.what(), "invalid format") << field;
    }
  }
}

// The largest width ends where one more digit could make it larger than an int. Only the field is
// read here: two gigabytes of blanks prove nothing more.
TEST(Quote, LargestWidth) {
  const auto read = [](std::string_view field) {
    fmt::format_parse_context context(field);
    fmt::formatter<quote>().parse(context);
  };
  EXPECT_NO_THROW(read("2147483639}"));
  EXPECT_THROW(read("2147483640}"), fmt::format_error);
  EXPECT_THROW(read("99999999999999999999}"), fmt::format_error);
}

// The other ways of {fmt} to format, which the report uses.
TEST(Quote, CompiledAndAmongOthers) {
  EXPECT_EQ(fmt::format("var{:04}: {:15} {:6}|", 7, quote{"x\\"}, "basic"),
            "var0007: x\\\\             basic |");
  fmt::memory_buffer buffer;
  fmt::format_to(std::back_inserter(buffer), "{:<4}{:4}|", quote{"a"}, quote{"b"});
  EXPECT_EQ(fmt::to_string(buffer), "   ab   |");
}

}  // namespace
