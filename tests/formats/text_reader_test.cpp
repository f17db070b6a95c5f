// Lines and the messages that point into them.
#include "file/text_reader.h"

#include <gtest/gtest.h>

#include <optional>
#include <random>
#include <string>
#include <vector>

#include "scratch_folder.h"
#include "test_bytes.h"

namespace vorlan {
namespace {

using namespace std::string_literals;
using test::ScratchFolder;

class TextReaderTest : public testing::Test {
 protected:
  // The reader of a file with this content, called "model.lp" in messages.
  TextReader reader(std::string_view content, size_t buffer_size = ReadBuffer::kUsualSize) {
    const std::string path = folder_.write("file", content);
    const Status status = input_.emplace().open(path.c_str(), "model.lp");
    EXPECT_TRUE(status.ok()) << status.message();
    return TextReader(&*input_, buffer_size);
  }

  std::vector<std::string> lines(std::string_view content,
                                 size_t buffer_size = ReadBuffer::kUsualSize) {
    TextReader text = reader(content, buffer_size);
    std::vector<std::string> result;
    std::string_view line;
    while (text.next_line(&line)) {
      const char behind = line.data()[line.size()];
      EXPECT_TRUE(behind == '\n' || behind == '\r' || behind == '\0');
      result.emplace_back(line);
      EXPECT_EQ(text.line_number(), static_cast<int64_t>(result.size()));
    }
    EXPECT_TRUE(text.status().ok());
    EXPECT_FALSE(text.next_line(&line));
    return result;
  }

  ScratchFolder folder_;
  std::optional<InputStream> input_;
};

using Lines = std::vector<std::string>;

TEST_F(TextReaderTest, SplitsLines) {
  EXPECT_EQ(lines(""), Lines{});
  EXPECT_EQ(lines("\n"), Lines{""});
  EXPECT_EQ(lines("a"), Lines{"a"});
  EXPECT_EQ(lines("a\n"), Lines{"a"});
  EXPECT_EQ(lines("a\n\nb"), (Lines{"a", "", "b"}));
  EXPECT_EQ(lines("a\r\nb\r\n\r\nc"), (Lines{"a", "b", "", "c"}));
  EXPECT_EQ(lines("a\rb\n\r"), (Lines{"a\rb", ""}));
  EXPECT_EQ(lines("a\r\r\n"), Lines{"a\r"});
  EXPECT_EQ(lines("a\0b\nc\0"s), (Lines{"a\0b"s, "c\0"s}));
}

TEST_F(TextReaderTest, DropsTheByteOrderMark) {
  EXPECT_EQ(lines("\xef\xbb\xbf"
                  "a\n\xef\xbb\xbf"
                  "b"),
            (Lines{"a",
                   "\xef\xbb\xbf"
                   "b"}));
  EXPECT_EQ(lines("\xef\xbb\xbf"), Lines{});
  EXPECT_EQ(lines("\xef\xbb"), Lines{"\xef\xbb"});
  EXPECT_EQ(lines("\xef\xbb\xbf"
                  "a",
                  1),
            Lines{"a"});
}

// A reference that holds the whole text.
Lines split(const std::string& content) {
  Lines result;
  size_t at = 0;
  while (at < content.size()) {
    const size_t newline = content.find('\n', at);
    const size_t end = newline == std::string::npos ? content.size() : newline;
    std::string line = content.substr(at, end - at);
    if (line.ends_with('\r')) line.pop_back();
    result.push_back(line);
    at = end + 1;
  }
  return result;
}

TEST_F(TextReaderTest, SplitsAlikeWithAnyBuffer) {
  std::mt19937 generator(3);
  for (int round = 0; round < 60; ++round) {
    std::string content;
    const size_t size = generator() % 3000;
    while (content.size() < size) {
      content.append(generator() % (round % 3 == 0 ? 400 : 12), 'x');
      content += std::vector<const char*>{"\n", "\r\n", "\r", "\n\n"}[generator() % 4];
    }
    for (const size_t buffer_size : {1, 2, 3, 7, 64, 1000}) {
      ASSERT_EQ(lines(content, buffer_size), split(content)) << buffer_size;
    }
  }
}

TEST_F(TextReaderTest, GrowsForLongLines) {
  const std::string line(5'000'000, 'x');
  EXPECT_EQ(lines(line + "\nshort\n" + line, 16), (Lines{line, "short", line}));
}

TEST_F(TextReaderTest, GivesNoPartOfALineThatCannotBeRead) {
  std::string content;
  for (int i = 0; i < 100000; ++i) content += "line " + std::to_string(i) + "\n";
  std::string file = test::encoded(content, Compression::kGzip);
  file.resize(file.size() / 2);
  TextReader text = reader(file);
  std::string_view line;
  int64_t count = 0;
  while (text.next_line(&line)) ASSERT_EQ(line, "line " + std::to_string(count++));
  EXPECT_GT(count, 1000);
  EXPECT_LT(count, 100000);
  EXPECT_EQ(text.status().code(), Code::kErrFileCompression);
  EXPECT_EQ(text.finish().code(), Code::kErrFileCompression);
}

TEST_F(TextReaderTest, FindsDamageBehindTheLastLineRead) {
  std::string file = test::encoded("first\n" + test::random_bytes(100000), Compression::kGzip);
  file[file.size() - 6] ^= 1;  // the checksum
  TextReader text = reader(file, 64);
  std::string_view line;
  EXPECT_TRUE(text.next_line(&line));
  EXPECT_EQ(line, "first");
  EXPECT_TRUE(text.status().ok());
  EXPECT_EQ(text.finish().code(), Code::kErrFileCompression);
}

TEST_F(TextReaderTest, PointsAtTheWord) {
  TextReader text = reader("first\n  ten 20z thirty\n");
  std::string_view line;
  ASSERT_TRUE(text.next_line(&line));
  ASSERT_TRUE(text.next_line(&line));
  std::string_view rest = line;
  EXPECT_EQ(take_word(&rest), "ten");
  const std::string_view word = take_word(&rest);
  const Status status = text.error(word, "expected a number");
  EXPECT_EQ(status.code(), Code::kErrFileContent);
  EXPECT_EQ(status.message(), "model.lp:2:7: expected a number, found '20z'");
  take_word(&rest);
  const std::string at_end = "model.lp:2:17: expected a name, found the end of the line";
  EXPECT_EQ(text.error(take_word(&rest), "expected a name").message(), at_end);
  EXPECT_EQ(text.error({}, "expected a name").message(), at_end);
  EXPECT_EQ(text.line_error("duplicate row").message(), "model.lp:2: duplicate row");
}

TEST_F(TextReaderTest, TakesWordsOneByOne) {
  std::string_view text = " \ta\t bb  ";
  EXPECT_EQ(take_word(&text), "a");
  EXPECT_EQ(take_word(&text), "bb");
  EXPECT_EQ(take_word(&text), "");
  EXPECT_EQ(take_word(&text), "");
}

TEST(Printable, ShowsWhatATerminalBears) {
  EXPECT_EQ(printable("plain"), "plain");
  EXPECT_EQ(printable("\xc3\xa4\xe2\x82\xac\xf0\x9f\x98\x80"),
            "\xc3\xa4\xe2\x82\xac\xf0\x9f\x98\x80");
  EXPECT_EQ(printable("a\x1b[31m\n\0b"s), "a\\x1b[31m\\x0a\\x00b");
  EXPECT_EQ(printable("\x7f"), "\\x7f");
  EXPECT_EQ(printable("\xc2\x9b"), "\\xc2\\x9b");           // a C1 control
  EXPECT_EQ(printable("\xe2\x80\xae"), "\\xe2\\x80\\xae");  // turns text around
  EXPECT_EQ(printable("\xc0\xaf"), "\\xc0\\xaf");           // overlong
  EXPECT_EQ(printable("\xed\xa0\x80"), "\\xed\\xa0\\x80");  // a surrogate
  EXPECT_EQ(printable("\xe2\x82"), "\\xe2\\x82");           // cut
  EXPECT_EQ(printable("\xff"), "\\xff");
}

TEST(Printable, CutsLongWords) {
  EXPECT_EQ(printable(std::string(60, 'x')), std::string(60, 'x'));
  EXPECT_EQ(printable(std::string(61, 'x')), std::string(60, 'x') + "...");
  // Not within a character.
  EXPECT_EQ(printable(std::string(59, 'x') + "\xe2\x82\xac"
                                             "y"),
            std::string(59, 'x') + "\xe2\x82\xac...");
}

}  // namespace
}  // namespace vorlan
