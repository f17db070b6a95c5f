// Content that is written reads back; content that cannot be written is told.
#include "file/output_file.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <limits>
#include <string>
#include <thread>

#include "scratch_folder.h"
#include "task/text.h"
#include "test_bytes.h"

namespace vorlan {
namespace {

using test::ScratchFolder;

constexpr Compression kCompressions[] = {Compression::kNone, Compression::kGzip,
                                         Compression::kZstd};

Status write_file(const std::string& path, std::string_view content,
                  Compression compression = Compression::kNone) {
  OutputFile file;
  Status status = file.open(path.c_str(), path, compression);
  if (!status.ok()) return status;
  file.append(content);
  return file.finish();
}

bool is_pending(int signal) {
  sigset_t pending;
  sigpending(&pending);
  return sigismember(&pending, signal) == 1;
}

TEST(OutputFile, WritesTextAndNumbers) {
  const ScratchFolder folder;
  const std::string path = folder.path("file");
  OutputFile file;
  ASSERT_TRUE(file.open(path.c_str(), "file", Compression::kNone).ok());
  file.append("x ");
  file.append_number(0.1);
  file.append(' ');
  file.append_number(-std::numeric_limits<double>::infinity());
  file.append(' ');
  file.append_integer(-42);
  file.append('\n');
  EXPECT_FALSE(file.failed());
  ASSERT_TRUE(file.finish().ok());
  EXPECT_EQ(test::read_all(path), "x 0.1 -inf -42\n");
}

TEST(OutputFile, ReadsBackWhateverTheSize) {
  const ScratchFolder folder;
  const std::string path = folder.path("file");
  for (const Compression compression : kCompressions) {
    for (const size_t size : {0U, 1U, 262143U, 262144U, 262145U, 3000000U}) {
      const std::string written = test::random_bytes(size);
      const Status status = write_file(path, written, compression);
      ASSERT_TRUE(status.ok()) << status.message();
      std::string content;
      ASSERT_TRUE(test::read_input(path, &content).ok());
      ASSERT_TRUE(content == written) << compression_name(compression) << ' ' << size;
    }
  }
}

TEST(OutputFile, ReadsBackWhatWasAppendedInPieces) {
  const ScratchFolder folder;
  const std::string path = folder.path("file");
  for (const Compression compression : kCompressions) {
    std::string expected;
    OutputFile file;
    ASSERT_TRUE(file.open(path.c_str(), "file", compression).ok());
    for (int i = 0; i < 200000; ++i) {
      const std::string number = std::to_string(i);
      file.append_integer(i);
      file.append(' ');
      file.append_number(i);
      file.append(std::string_view(" end\n"));
      char text[kLongestNumber];
      expected += number + " " + std::string(text, format_double(i, text)) + " end\n";
    }
    ASSERT_TRUE(file.finish().ok());
    std::string content;
    ASSERT_TRUE(test::read_input(path, &content).ok());
    ASSERT_TRUE(content == expected) << compression_name(compression);
  }
}

TEST(OutputFile, CompressesAsChosenWhateverTheName) {
  const ScratchFolder folder;
  const std::string path = folder.path("plain.gz");
  ASSERT_TRUE(write_file(path, "some text").ok());
  EXPECT_EQ(test::read_all(path), "some text");
  ASSERT_TRUE(write_file(path, "some text", Compression::kZstd).ok());
  EXPECT_EQ(compression_of_content(test::read_all(path)), Compression::kZstd);
}

TEST(OutputFile, TellsAFailedOpen) {
  const ScratchFolder folder;
  OutputFile file;
  const Status missing =
      file.open(folder.path("no/file").c_str(), "<filename>", Compression::kNone);
  EXPECT_EQ(missing.code(), Code::kErrFileOpen);
  EXPECT_EQ(missing.message(), "cannot open '<filename>': No such file or directory");
  OutputFile other;
  EXPECT_EQ(other.open(folder.path("").c_str(), "f", Compression::kNone).message(),
            "cannot open 'f': Is a directory");
}

TEST(OutputFile, TellsAFullDevice) {
  for (const Compression compression : kCompressions) {
    for (const size_t size : {size_t{1}, size_t{1000000}}) {
      const Status status = write_file("/dev/full", test::random_bytes(size), compression);
      EXPECT_EQ(status.code(), Code::kErrFileWrite);
      EXPECT_EQ(status.message(), "cannot write '/dev/full': No space left on device");
    }
  }
}

TEST(OutputFile, KnowsEarlyThatItFailed) {
  OutputFile file;
  ASSERT_TRUE(file.open("/dev/full", "/dev/full", Compression::kNone).ok());
  for (int i = 0; i < 1000000; ++i) file.append("some text");
  EXPECT_TRUE(file.failed());
  EXPECT_FALSE(file.finish().ok());
}

TEST(OutputFile, AFileBeyondTheLimitIsAnErrorAndTheOldOneStays) {
  const ScratchFolder folder;
  const std::string path = folder.write("file", "old");
  const int result = test::in_child([&] {
    signal(SIGXFSZ, SIG_DFL);
    const rlimit limit{100000, 100000};
    if (setrlimit(RLIMIT_FSIZE, &limit) != 0) return 1;
    const Status status = write_file(path, std::string(1000000, 'x'));
    if (status.code() != Code::kErrFileWrite) return 2;
    if (status.message().find("File too large") == std::string::npos) return 3;
    return is_pending(SIGXFSZ) ? 4 : 0;
  });
  EXPECT_EQ(result, 0);
  EXPECT_EQ(test::read_all(path), "old");
  EXPECT_EQ(folder.files(), std::vector<std::string>{"file"});
}

class ClosedPipe : public testing::Test {
 protected:
  ClosedPipe() {
    if (::pipe(ends_) != 0) std::abort();
    ::close(ends_[0]);
  }
  ~ClosedPipe() override { ::close(ends_[1]); }
  std::string name() const { return format_text("/dev/fd/%d", ends_[1]); }

  int ends_[2];
};

TEST_F(ClosedPipe, IsAnErrorAndNoSignal) {
  const int result = test::in_child([&] {
    signal(SIGPIPE, SIG_DFL);
    const Status status = write_file(name(), "text");
    if (status.code() != Code::kErrFileWrite) return 1;
    if (status.message().find("Broken pipe") == std::string::npos) return 2;
    sigset_t mask;
    pthread_sigmask(SIG_SETMASK, nullptr, &mask);
    if (sigismember(&mask, SIGPIPE) == 1) return 3;
    return is_pending(SIGPIPE) ? 4 : 0;
  });
  EXPECT_EQ(result, 0);
}

TEST_F(ClosedPipe, LeavesASignalThatWaitedBefore) {
  const int result = test::in_child([&] {
    sigset_t pipe_signal;
    sigemptyset(&pipe_signal);
    sigaddset(&pipe_signal, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &pipe_signal, nullptr);
    raise(SIGPIPE);
    if (write_file(name(), "text").ok()) return 1;
    return is_pending(SIGPIPE) ? 0 : 2;
  });
  EXPECT_EQ(result, 0);
}

TEST(OutputFile, WritesToAPipeThatDoesNotWait) {
  int ends[2];
  ASSERT_EQ(::pipe(ends), 0);
  ASSERT_EQ(::fcntl(ends[1], F_SETFL, O_NONBLOCK), 0);
  std::string received;
  std::thread reader([&] {
    char buffer[5000];
    for (ssize_t count = 0; (count = ::read(ends[0], buffer, sizeof buffer)) > 0;) {
      received.append(buffer, static_cast<size_t>(count));
    }
  });
  const std::string sent = test::random_bytes(1000000);
  const Status status = write_file(format_text("/dev/fd/%d", ends[1]), sent);
  ::close(ends[1]);
  reader.join();
  ::close(ends[0]);
  EXPECT_TRUE(status.ok()) << status.message();
  EXPECT_TRUE(received == sent);
}

}  // namespace
}  // namespace vorlan
