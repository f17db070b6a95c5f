// Compressed content: recognised, whole or refused.
#include "file/compression.h"

#include <gtest/gtest.h>

#include <ostream>
#include <string>

#include "scratch_folder.h"
#include "test_bytes.h"

namespace vorlan {
namespace {

using namespace std::string_literals;
using test::encoded;
using test::read_input;
using test::ScratchFolder;

// "hello\n" as the gzip and zstd programs give it.
const std::string kGzipHello =
    "\x1f\x8b\x08\x00\x00\x00\x00\x00\x00\x03\xcb\x48\xcd\xc9\xc9\xe7\x02\x00"
    "\x20\x30\x3a\x36\x06\x00\x00\x00"s;
const std::string kZstdHello =
    "\x28\xb5\x2f\xfd\x04\x58\x31\x00\x00\x68\x65\x6c\x6c\x6f\x0a\x53\x88\xbd\x91"s;
const std::string kSkippableFrame = "\x53\x2a\x4d\x18\x05\x00\x00\x00junk!"s;

struct Case {
  Compression compression;
  const char* suffix;
};

void PrintTo(const Case& chosen, std::ostream* out) { *out << chosen.suffix; }

class EachCompression : public testing::TestWithParam<Case> {
 protected:
  Compression compression() const { return GetParam().compression; }
  std::string name() const { return "file"s + GetParam().suffix; }

  Status read(std::string_view file_content, std::string* content) const {
    return read_input(folder_.write(name(), file_content), content);
  }
  void expect_content(const std::string& file_content, const std::string& expected) const {
    std::string content;
    const Status status = read(file_content, &content);
    EXPECT_TRUE(status.ok()) << status.message();
    EXPECT_EQ(content, expected);
  }
  void expect_failure(const std::string& file_content, std::string_view cause) const {
    std::string content;
    const Status status = read(file_content, &content);
    EXPECT_EQ(status.code(), Code::kErrFileCompression);
    EXPECT_NE(status.message().find(cause), std::string::npos) << status.message();
  }

  ScratchFolder folder_;
};

INSTANTIATE_TEST_SUITE_P(Compressed, EachCompression,
                         testing::Values(Case{Compression::kGzip, ".gz"},
                                         Case{Compression::kZstd, ".zst"}),
                         [](const auto& chosen) {
                           return chosen.param.compression == Compression::kGzip ? "Gzip" : "Zstd";
                         });

TEST_P(EachCompression, ReadsTheToolsFiles) {
  const bool gzip = compression() == Compression::kGzip;
  expect_content(gzip ? kGzipHello : kZstdHello, "hello\n");
}

TEST_P(EachCompression, JoinsMembers) {
  const std::string first = encoded("first ", compression());
  const std::string empty = encoded("", compression());
  const std::string second = encoded("second", compression());
  expect_content(first + second, "first second");
  expect_content(empty + first + empty + second + empty, "first second");
}

TEST_P(EachCompression, ContentDecidesOverTheSuffix) {
  const std::string path = folder_.write("model.mps", encoded("text\n", compression()));
  std::string content;
  EXPECT_TRUE(read_input(path, &content).ok());
  EXPECT_EQ(content, "text\n");
  expect_content("plain text\n", "plain text\n");
}

TEST_P(EachCompression, RefusesEveryTruncation) {
  const std::string whole = encoded(std::string(300, 'x') + test::random_bytes(300), compression());
  for (size_t length = 0; length < whole.size(); ++length) {
    std::string content;
    const Status status = read(whole.substr(0, length), &content);
    ASSERT_EQ(status.code(), Code::kErrFileCompression) << "cut to " << length << " bytes";
  }
}

TEST_P(EachCompression, RefusesTruncationOfALaterMember) {
  const std::string first = encoded("first", compression());
  const std::string second = encoded("second", compression());
  for (size_t length = 1; length < second.size(); ++length) {
    expect_failure(first + second.substr(0, length), "cut short");
  }
}

TEST_P(EachCompression, NeverGivesOtherContent) {
  const std::string expected = std::string(300, 'x') + test::random_bytes(300);
  const std::string whole = encoded(expected, compression());
  size_t refused = 0;
  for (size_t i = 0; i < whole.size(); ++i) {
    for (const char change : {'\x01', '\x80', '\xff'}) {
      std::string damaged = whole;
      damaged[i] = static_cast<char>(damaged[i] ^ change);
      std::string content;
      const Status status = read(damaged, &content);
      // Bytes of the magic number make it plain content, which a format refuses.
      const bool plain = content == damaged;
      ASSERT_TRUE(!status.ok() || content == expected || plain) << "byte " << i;
      refused += status.ok() ? 0 : 1;
    }
  }
  EXPECT_GT(refused, whole.size() * 3 * 9 / 10);
}

TEST_P(EachCompression, RefusesOtherDataBehindTheEnd) {
  const std::string whole = encoded("text", compression());
  for (const std::string& garbage : {"garbage"s, "\n\n\n\n\n\n\n\n"s, std::string(512, '\0')}) {
    expect_failure(whole + garbage, "other data follow");
  }
  std::string content;
  EXPECT_FALSE(read(whole + "x", &content).ok());
}

TEST_P(EachCompression, EncodesTheSameBytesEachTime) {
  EXPECT_EQ(encoded("some text", compression()), encoded("some text", compression()));
}

TEST(Compression, SkipsSkippableFrames) {
  const ScratchFolder folder;
  const std::string text = encoded("text", Compression::kZstd);
  std::string content;
  const std::string path =
      folder.write("f", kSkippableFrame + text + kSkippableFrame + text + kSkippableFrame);
  EXPECT_TRUE(read_input(path, &content).ok());
  EXPECT_EQ(content, "texttext");
  EXPECT_FALSE(read_input(folder.write("f", text + kSkippableFrame.substr(0, 9)), &content).ok());
}

TEST(Compression, RefusesAWindowBeyondTheLimit) {
  const ScratchFolder folder;
  std::string content;
  // Frame headers of window descriptors 31 (2^41 bytes) and 18 (2^28), then an empty last block.
  for (const std::string& frame :
       {"\x28\xb5\x2f\xfd\x00\xf8\x01\x00\x00"s, "\x28\xb5\x2f\xfd\x00\x90\x01\x00\x00"s}) {
    const Status status = read_input(folder.write("f", frame), &content);
    EXPECT_EQ(status.code(), Code::kErrFileCompression);
    EXPECT_NE(status.message().find("128 MiB"), std::string::npos) << status.message();
  }
  const std::string largest = "\x28\xb5\x2f\xfd\x00\x88\x01\x00\x00"s;
  EXPECT_EQ(read_input(folder.write("f", largest), &content).message(), "");
}

TEST(Compression, IsToldByNameAndContent) {
  EXPECT_EQ(compression_of_name("a.mps.gz"), Compression::kGzip);
  EXPECT_EQ(compression_of_name("a.mps.zst"), Compression::kZstd);
  EXPECT_EQ(compression_of_name("a.mps"), Compression::kNone);
  EXPECT_EQ(compression_of_content(""), Compression::kNone);
  EXPECT_EQ(compression_of_content("("), Compression::kNone);
  EXPECT_EQ(compression_of_content("P*M "), Compression::kNone);
  EXPECT_EQ(compression_of_content("\x1f\x8b\x08"), Compression::kGzip);
  EXPECT_EQ(compression_of_content("\x28\xb5\x2f\xfd"), Compression::kZstd);
  EXPECT_EQ(compression_of_content(kSkippableFrame), Compression::kZstd);
}

}  // namespace
}  // namespace vorlan
