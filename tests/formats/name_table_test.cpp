// The table of names: every name is found again, and quickly, whatever the names are.
#include "format/common/name_table.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "task/text.h"

namespace vorlan {
namespace {

using namespace std::string_literals;

struct Names {
  NameList list;
  NameTable table{&list};
  int32_t count = 0;

  // The index that the name has now.
  int32_t add(std::string_view name) {
    const int32_t index = table.insert(name, count);
    if (index == count) {
      list.add(name);
      ++count;
    }
    return index;
  }
};

// Linear probing at a load of at most 5/8 has, for random hashes, runs of about 145 slots at the
// most among a million names; twice that is far outside of chance.
constexpr size_t kLongestSearch = 300;

void expect_quick(size_t count, const std::function<std::string(size_t)>& name) {
  Names names;
  for (size_t i = 0; i < count; ++i) {
    ASSERT_EQ(names.add(name(i)), static_cast<int32_t>(i)) << name(i);
  }
  for (size_t i = 0; i < count; ++i) {
    ASSERT_EQ(names.table.find(name(i)), static_cast<int32_t>(i)) << name(i);
  }
  EXPECT_LT(names.table.longest_search(), kLongestSearch);
}

// The names that are fetched ahead are those that a search will find, with keys that tell all of
// them apart.
TEST(NameTable, FetchesAheadWhatWillBeFound) {
  Names names;
  std::vector<std::string> wanted;
  for (int i = 0; i < 2000; ++i) {
    names.add(format_text("C%d", i));
    names.add(format_text("a name of more than eight bytes %d", i));
  }
  for (int i = 0; wanted.size() < NameTable::kAtOnce; i += 97) {
    wanted.push_back(format_text("C%d", i));
    wanted.push_back(format_text("a name of more than eight bytes %d", i));
    wanted.push_back(format_text("unknown %d", i));
    wanted.emplace_back("");
  }
  const std::vector<std::string_view> views(wanted.begin(), wanted.end());
  const NameTable::Likely likely = names.table.prefetch(views);
  for (size_t i = 0; i < wanted.size(); ++i) {
    EXPECT_EQ(likely[i], names.table.find(wanted[i])) << wanted[i];
  }
}

TEST(NameTable, FindsWhatWasInserted) {
  Names names;
  EXPECT_EQ(names.table.find("x"), -1);
  EXPECT_EQ(names.table.find(""), -1);
  EXPECT_EQ(names.add("x"), 0);
  EXPECT_EQ(names.add(""), 1);
  EXPECT_EQ(names.add("a name of more than eight bytes"), 2);
  EXPECT_EQ(names.table.find("x"), 0);
  EXPECT_EQ(names.table.find(""), 1);
  EXPECT_EQ(names.table.find("a name of more than eight bytes"), 2);
  EXPECT_EQ(names.table.find("a name of more than eight bytez"), -1);
}

TEST(NameTable, TellsDuplicates) {
  Names names;
  EXPECT_EQ(names.add("x"), 0);
  EXPECT_EQ(names.add("y"), 1);
  EXPECT_EQ(names.add("x"), 0);
  EXPECT_EQ(names.add("name longer than a slot"), 2);
  EXPECT_EQ(names.add("name longer than a slot"), 2);
  EXPECT_EQ(names.count, 3);
}

TEST(NameTable, TellsNamesOfAllLengthsApart) {
  Names names;
  int32_t expected = 0;
  for (size_t length = 0; length < 100; ++length) {
    EXPECT_EQ(names.add(std::string(length, '\0')), expected++) << length;
    if (length == 0) continue;
    for (size_t place = 0; place < length; ++place) {
      std::string name(length, '\0');
      name[place] = 'x';
      EXPECT_EQ(names.add(name), expected++) << length << ' ' << place;
    }
  }
  EXPECT_EQ(names.add("\xff\xff\xff\xff\xff\xff\xff\xff"s), expected++);
  EXPECT_EQ(names.add(std::string(10000, 'n')), expected++);
  EXPECT_EQ(names.add(std::string(10000, 'n')), expected - 1);
}

TEST(NameTable, TakesAMillionNumberedNames) {
  expect_quick(1000000, [](size_t i) { return format_text("C%07zu", i); });
}

TEST(NameTable, TakesLongNumberedNames) {
  expect_quick(300000, [](size_t i) {
    return format_text("flow[plant_%zu,market_%zu]", i / 1000, i % 1000);
  });
}

// Names whose words are all multiples of a power of two, as someone would make who knows that
// tables take the low bits of a hash.
TEST(NameTable, TakesNamesThatDifferInHighBitsOnly) {
  expect_quick(65536, [](size_t i) {
    return std::string{'a', 'a', static_cast<char>(i & 0xff), 'a', 'a',
                       'a', 'a', static_cast<char>(i >> 8)};
  });
  expect_quick(65536, [](size_t i) {
    return std::string(20, 'a') + static_cast<char>(i & 0xff) + static_cast<char>(i >> 8);
  });
}

// Two tables do not share their hash: what is slow in one is not in another.
TEST(NameTable, DrawsItsHashAnew) {
  constexpr int kNames = 20000;
  std::vector<size_t> searches;
  for (int table = 0; table < 8; ++table) {
    Names names;
    for (int i = 0; i < kNames; ++i) names.add(format_text("x%d", i));
    searches.push_back(names.table.longest_search());
  }
  EXPECT_NE(searches, std::vector<size_t>(searches.size(), searches[0]));
}

TEST(NameTable, ReservesWithoutLosing) {
  Names names;
  names.add("x");
  names.table.reserve(1000);
  EXPECT_EQ(names.table.find("x"), 0);
  EXPECT_EQ(names.table.find("y"), -1);
}

}  // namespace
}  // namespace vorlan
