// keywordargparser_test.cpp - the items of ARGS: examples, and every short text against the rules
// restated character by character.
#include "keywordargparser.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "shorttexts.h"

namespace {

using Items = std::vector<std::pair<std::string, std::string>>;

Items itemsof(std::string_view args) {
  Items items;
  KeywordArgParser parser{args};
  while (parser.next()) items.emplace_back(parser.key, parser.value);
  return items;
}

// Items by hand: a trailing ',' begins no item, a value stays until another one is given.
Items expecteditems(const std::string& args) {
  Items items;
  std::string value;
  std::size_t position = 0;
  while (position < args.size()) {
    std::string key;
    bool invalue = false;
    for (; position < args.size() && args[position] != ','; ++position) {
      if (!invalue && args[position] == '=') {
        invalue = true;
        value.clear();
      } else {
        (invalue ? value : key) += args[position];
      }
    }
    ++position;
    items.emplace_back(key, value);
  }
  return items;
}

TEST(KeywordArgParser, Examples) {
  EXPECT_EQ(itemsof(""), Items());
  EXPECT_EQ(itemsof("a"), (Items{{"a", ""}}));
  EXPECT_EQ(itemsof("a,,b"), (Items{{"a", ""}, {"", ""}, {"b", ""}}));
  EXPECT_EQ(itemsof("a,"), (Items{{"a", ""}}));
  EXPECT_EQ(itemsof(",a"), (Items{{"", ""}, {"a", ""}}));
  EXPECT_EQ(itemsof(","), (Items{{"", ""}}));
  EXPECT_EQ(itemsof("k=v,w"), (Items{{"k", "v"}, {"w", "v"}}));
  EXPECT_EQ(itemsof("k=v,,w"), (Items{{"k", "v"}, {"", "v"}, {"w", "v"}}));
  EXPECT_EQ(itemsof("k=a=b=c"), (Items{{"k", "a=b=c"}}));
  EXPECT_EQ(itemsof("k=v,l=,m"), (Items{{"k", "v"}, {"l", ""}, {"m", ""}}));
  EXPECT_EQ(itemsof("=v"), (Items{{"", "v"}}));
  EXPECT_EQ(itemsof(" k = v , w "), (Items{{" k ", " v "}, {" w ", " v "}}));
}

TEST(KeywordArgParser, EndChangesNothing) {
  KeywordArgParser parser{"k=v"};
  EXPECT_TRUE(parser.key.empty());
  EXPECT_TRUE(parser.value.empty());
  ASSERT_TRUE(parser.next());
  EXPECT_TRUE(parser.rest.empty());
  for (int i = 0; i < 2; ++i) {
    EXPECT_FALSE(parser.next());
    EXPECT_EQ(parser.rest, "");
    EXPECT_EQ(parser.key, "k");
    EXPECT_EQ(parser.value, "v");
  }
}

TEST(KeywordArgParser, ViewsPointIntoTheArgs) {
  const std::string_view args = "key=value,next";
  KeywordArgParser parser{args};
  ASSERT_TRUE(parser.next());
  EXPECT_EQ(parser.key.data(), args.data());
  EXPECT_EQ(parser.value.data(), args.data() + 4);
  EXPECT_EQ(parser.rest.data(), args.data() + 10);
  EXPECT_EQ(parser.rest, "next");
}

TEST(KeywordArgParser, EveryShortText) {
  std::size_t count = 0;
  foreachtext("a=,b", 7, [&](const std::string& args) {
    ++count;
    ASSERT_EQ(itemsof(args), expecteditems(args)) << args;
  });
  EXPECT_EQ(count, 21845U);  // 4^0 + ... + 4^7
}

}  // namespace
