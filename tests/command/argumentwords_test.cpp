// argumentwords_test.cpp - the words of the command line in their order.
#include "argumentwords.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

// Owns writable words, as main() receives them.
class Words {
 public:
  explicit Words(std::vector<std::string> texts) : texts_(std::move(texts)) {
    for (std::string& text : texts_) pointers_.push_back(text.data());
  }
  std::span<char* const> list() const { return pointers_; }

 private:
  std::vector<std::string> texts_;
  std::vector<char*> pointers_;
};

TEST(ArgumentWords, TakesEachAsItIs) {
  const Words list({"-program", "-log", "-read", "", "-", "a b", "x:y"});
  ArgumentWords words(list.list());
  for (const char* expected : {"-log", "-read", "", "-", "a b", "x:y"}) {
    EXPECT_FALSE(words.empty());
    const auto word = words.take();
    ASSERT_TRUE(word);
    EXPECT_EQ(*word, expected);
  }
  EXPECT_TRUE(words.empty());
}

TEST(ArgumentWords, StaysAtTheEnd) {
  const Words list({"program", "one"});
  ArgumentWords words(list.list());
  EXPECT_TRUE(words.take());
  for (int i = 0; i < 3; ++i) {
    EXPECT_FALSE(words.take());
    EXPECT_TRUE(words.empty());
  }
}

TEST(ArgumentWords, NameAloneAndNothing) {
  const Words list({"program"});
  EXPECT_TRUE(ArgumentWords(list.list()).empty());
  EXPECT_FALSE(ArgumentWords(list.list()).take());
  EXPECT_TRUE(ArgumentWords({}).empty());
  EXPECT_FALSE(ArgumentWords({}).take());
}

}  // namespace
