// The format of a file by its content: that of every file we have, of the ways in which files of
// each format may begin, and of none.
#include "format/content.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <string_view>
#include <utility>

#include "format/problem_file.h"
#include "scratch_folder.h"

namespace vorlan {
namespace {

namespace fs = std::filesystem;

// The readers by suffix.
ProblemReader reader_of(std::string_view suffix) {
  for (const ProblemFormat& format : problem_formats()) {
    if (format.suffix == suffix) return format.read;
  }
  return nullptr;
}

TEST(Content, EveryFileOfTheCorporaIsKnown) {
  size_t count = 0;
  for (const char* folder : {"cbf", "jtask", "lp", "mps", "ptf", "sdpa", "task"}) {
    for (const fs::directory_entry& file :
         fs::directory_iterator(fs::path(VORLAN_CORPUS) / folder)) {
      const std::string content = test::read_all(file.path().string());
      const std::string suffix = file.path().extension().string();
      const std::string_view found = suffix_of_content(content);
      // A PTF file without sections of its own is an LP file.
      const bool plain = suffix == ".ptf" && found == ".lp";
      EXPECT_TRUE(plain || reader_of(found) == reader_of(suffix)) << file.path() << ' ' << found;
      ++count;
    }
  }
  EXPECT_GE(count, 20U);
}

TEST(Content, FilesMayBeginInManyWays) {
  const std::string comments(kContentHead, '\n');
  const std::pair<std::string, const char*> cases[] = {
      {"NAME\n", ".mps"},
      {"NAME          AFIRO\r\n", ".mps"},
      {"* a comment\n\n*another\nROWS\n N C\n", ".mps"},
      {"OBJSENSE\n    MAX\n", ".mps"},
      {"OBJSENSE MAX\n", ".mps"},
      {"* nothing but\n* comments\n", ".mps"},
      {"* comment" + comments, ".mps"},
      {"Minimize\n obj: x\n", ".lp"},
      {"\n  max\n", ".lp"},
      {"MAXIMISE obj: 3 x\n", ".lp"},
      {"\xef\xbb\xbfminimum\n", ".lp"},
      {"\\ a comment\n\\* another *\\\nMin\n", ".lp"},
      {R"(\ Dialect: encoded names
Minimize ] extended problem 1
Cones
)",
       ".ptf"},
      {"Minimize ] extended problem 1\r\n", ".ptf"},
      {"\\ comments alone do not say whether there are sections", ".ptf"},
      {"# a comment\n\nVER\n1\n", ".cbf"},
      {"VER\n4\n", ".cbf"},
      {"# comment", ".cbf"},
      {"\"a comment\" in quotes\n2\n", ".dat-s"},
      {"* Dialect: minimize\n 3 = m\n", ".dat-s"},
      {"10\n1\n", ".dat-s"},
      {"2 =mDIM\n", ".dat-s"},
      {"2=mDIM\n", ".dat-s"},
      {" \n{\"format\": \"vorlan task\"", ".jtask"},
      {"{", ".jtask"},
      {"\xd9\xd9\xf7\xa4", ".task"},
      {"\xa3", ".task"},
  };
  for (const auto& [content, suffix] : cases) {
    EXPECT_EQ(suffix_of_content(content), suffix) << content.substr(0, 60);
    EXPECT_NE(reader_of(suffix), nullptr) << suffix;
  }
}

TEST(Content, OtherFilesAreOfNoFormat) {
  for (const char* content :
       {"", "\n\n \t\r\n", "hello\n", "<?xml version=\"1.0\"?>", "%PDF-1.4",
        "\x7f"
        "ELF",
        "[1]", "1.5\n", "3x + 2y\n", "Names\n", "minimal\n", "VERSION 1\n", "-1\n", "\xff\xfe{"}) {
    EXPECT_EQ(suffix_of_content(content), "") << content;
  }
}

// A beginning that is not there yet says nothing, and no cut makes one format look like another.
TEST(Content, ACutContentIsKnownOrNot) {
  const std::string content = "\xef\xbb\xbf* c\r\n\n* 1\nName z\n";
  for (size_t size = 0; size <= content.size(); ++size) {
    const std::string cut(content.data(), size);
    const std::string_view found = suffix_of_content(cut);
    EXPECT_TRUE(found == ".mps" || (size < 17 && found.empty())) << size << ' ' << found;
  }
}

}  // namespace
}  // namespace vorlan
