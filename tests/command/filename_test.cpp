// filename_test.cpp - file names and format values: the table of required results, and every short
// text against the steps restated with loops over positions.
#include "filename.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>
#include <string>
#include <typeinfo>
#include <vector>

#include "expectedfilename.h"
#include "shorttexts.h"

namespace {

struct Row {
  const char* name;
  const char* stem;
  const char* format;
  const char* compression;
};

TEST(SplitFilename, RequiredResults) {
  const std::vector<Row> table = {
      {"prob.task.gz", "prob.task", ".gz", ""},
      {"sol.json", "sol", ".json", ""},
      {"sol", "sol", "", ""},
      {"x.", "x", ".", ""},
      {"a..b", "a.", ".b", ""},
      {".json.gz", "", ".json", ".gz"},
      {".task.gz", "", ".task", ".gz"},
      {"./sol.json.gz", "", "./sol.json", ".gz"},
      {"/tmp/dir.d/prob.task.gz", "/tmp/dir", ".d/prob.task.gz", ".gz"},
      {"d.x/prob.task.gz", "d", ".x/prob.task.", ".gz"},
      {"ab/.x.y.z", "ab/", ".x.y.z", ".z"},
      {"...", "", "..", "."},
      {".bashrc", ".bashrc", "", ""},
      {"a/.b", "a/.b", "", ""},
      {"dir.x/file", "dir.x/file", "", ""},
      {"", "", "", ""},
      {"/", "/", "", ""},
      {".", ".", "", ""},
      {"..", "", ".", "."},
  };
  for (const Row& row : table) {
    const FilenameParts parts = split_filename(row.name);
    EXPECT_EQ(parts.stem, row.stem) << row.name;
    EXPECT_EQ(parts.format_extension, row.format) << row.name;
    EXPECT_EQ(parts.compression_extension, row.compression) << row.name;
  }
}

void expectrange(std::string_view part, const Range& range, const std::string& name) {
  ASSERT_EQ(static_cast<int>(part.size()), range.length) << name;
  if (range.length == 0) return;
  ASSERT_EQ(part.data() - name.data(), range.begin) << name;
}

TEST(SplitFilename, EveryShortName) {
  std::size_t count = 0;
  foreachtext("./ab", 8, [&](const std::string& name) {
    ++count;
    const FilenameParts parts = split_filename(name);
    const Ranges expected = expectedranges(name);
    expectrange(parts.stem, expected.stem, name);
    expectrange(parts.format_extension, expected.format, name);
    expectrange(parts.compression_extension, expected.compression, name);
  });
  EXPECT_EQ(count, 87381U);  // 4^0 + ... + 4^8
}

// The text is the same whatever standard library the program is built with.
void expectnoplus(const std::string& text) {
  try {
    split_format(text);
    FAIL() << '"' << text << "\" was split";
  } catch (const std::exception& error) {
    EXPECT_EQ(typeid(error), typeid(std::out_of_range));
    EXPECT_EQ(std::string(error.what()),
              "basic_string_view::substr: __pos (which is 18446744073709551615) > this->size() "
              "(which is " +
                  std::to_string(text.size()) + ")");
  }
}

TEST(SplitFormat, Examples) {
  const auto expectparts = [](std::string_view text, std::string_view word,
                              std::string_view suffix) {
    const FormatParts parts = split_format(text);
    EXPECT_EQ(parts.word, word) << text;
    EXPECT_EQ(parts.compression_suffix, suffix) << text;
  };
  expectparts("json+gzip", "json", "+gzip");
  expectparts("a+b+gzip", "a+b", "+gzip");
  expectparts("+zstd", "", "+zstd");
  expectparts("mps+", "mps", "+");
  expectparts("+", "", "+");
  expectnoplus("json");
  expectnoplus("");
}

TEST(SplitFormat, EveryShortText) {
  foreachtext("+a.", 6, [](const std::string& text) {
    if (std::ranges::count(text, '+') == 0) return expectnoplus(text);
    const FormatParts parts = split_format(text);
    ASSERT_EQ(std::string(parts.word) + std::string(parts.compression_suffix), text);
    ASSERT_EQ(parts.word.data(), text.data());
    ASSERT_EQ(parts.compression_suffix.front(), '+') << text;
    ASSERT_EQ(std::ranges::count(parts.compression_suffix, '+'), 1) << text;
  });
}

TEST(CompressionCode, WordsAreCompared) {
  EXPECT_EQ(compressionofextension(""), CompressionCode::none);
  EXPECT_EQ(compressionofextension(".gz"), CompressionCode::gzip);
  EXPECT_EQ(compressionofextension(".zst"), CompressionCode::zstd);
  for (const char* word : {".", "gz", ".GZ", ".gzip", ".zstd", ".gz ", " .gz", ".zs", "+gzip"}) {
    EXPECT_EQ(compressionofextension(word), std::nullopt) << word;
  }
  EXPECT_EQ(compressionofsuffix("+gzip"), CompressionCode::gzip);
  EXPECT_EQ(compressionofsuffix("+zstd"), CompressionCode::zstd);
  for (const char* word : {"", "+", "+gz", "+zst", "gzip", "+GZIP", "+gzip ", "+gzipx", ".gz"}) {
    EXPECT_EQ(compressionofsuffix(word), std::nullopt) << word;
  }
  EXPECT_EQ(static_cast<std::uint32_t>(CompressionCode::none), 0U);
  EXPECT_EQ(static_cast<std::uint32_t>(CompressionCode::gzip), 2U);
  EXPECT_EQ(static_cast<std::uint32_t>(CompressionCode::zstd), 3U);
}

}  // namespace
