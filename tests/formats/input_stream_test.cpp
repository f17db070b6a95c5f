// The places that content can come from, and what goes wrong there.
#include "file/input_stream.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <string>
#include <thread>

#include "file/output_file.h"
#include "file/read_buffer.h"
#include "scratch_folder.h"
#include "task/text.h"
#include "test_bytes.h"

namespace vorlan {
namespace {

using namespace std::string_literals;
using test::encoded;
using test::read_input;
using test::ScratchFolder;

std::string descriptor_name(int descriptor) { return format_text("/dev/fd/%d", descriptor); }

// Writes the bytes one by one, with pauses, from a thread that signals do not go to.
std::thread write_slowly(int descriptor, std::string bytes) {
  sigset_t all, before;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &before);
  std::thread writer([descriptor, bytes = std::move(bytes)] {
    for (const char& c : bytes) {
      if (::write(descriptor, &c, 1) != 1) std::abort();
      ::usleep(300);
    }
    ::close(descriptor);
  });
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  return writer;
}

TEST(InputStream, ReadsAFileInPiecesOfAnySize) {
  const ScratchFolder folder;
  const std::string expected = test::random_bytes(300000);
  const std::string path = folder.write("plain", expected);
  for (const size_t piece : {1U, 3U, 100000U, 1000000U}) {
    std::string content;
    EXPECT_TRUE(read_input(path, &content, piece).ok());
    EXPECT_TRUE(content == expected) << piece;
  }
  std::string content;
  EXPECT_TRUE(read_input(folder.write("empty", ""), &content).ok());
  EXPECT_EQ(content, "");
}

// Bytes that were looked at are still there to be read, plain or decompressed.
TEST(InputStream, WhatIsPeekedAtIsStillRead) {
  const ScratchFolder folder;
  const std::string expected = test::random_bytes(300000);
  for (const Compression compression :
       {Compression::kNone, Compression::kGzip, Compression::kZstd}) {
    const std::string path = folder.write("peeked", encoded(expected, compression));
    for (const size_t size : {0U, 1U, 65536U, 300000U, 400000U}) {
      for (const size_t piece : {1000U, 500000U}) {
        InputStream input;
        ASSERT_TRUE(input.open(path.c_str(), path).ok());
        std::string_view head;
        ASSERT_TRUE(input.peek(size, &head).ok());
        EXPECT_TRUE(head == std::string_view(expected).substr(0, size)) << size;
        std::string content;
        std::string buffer(piece, '\0');
        for (size_t count = 1; count > 0; content.append(buffer, 0, count)) {
          ASSERT_TRUE(input.read(buffer.data(), piece, &count).ok());
        }
        EXPECT_TRUE(content == expected) << size << ' ' << piece;
      }
    }
  }
}

TEST(InputStream, PeekingWaitsForASlowPipeAndTellsDamage) {
  const ScratchFolder folder;
  int ends[2];
  ASSERT_EQ(::pipe(ends), 0);
  std::thread writer = write_slowly(ends[1], "slowly written");
  InputStream slow;
  ASSERT_TRUE(slow.open(descriptor_name(ends[0]).c_str(), "pipe").ok());
  std::string_view head;
  EXPECT_TRUE(slow.peek(100, &head).ok());
  EXPECT_EQ(head, "slowly written");
  writer.join();
  ::close(ends[0]);

  const std::string whole = encoded(test::random_bytes(1000), Compression::kGzip);
  const std::string path = folder.write("cut", whole.substr(0, 500));
  InputStream cut;
  ASSERT_TRUE(cut.open(path.c_str(), path).ok());
  EXPECT_EQ(cut.peek(5000, &head).code(), Code::kErrFileCompression);
}

// Someone else's standard output must not end in a file that is read.
TEST(InputStream, KeepsClearOfTheStandardDescriptors) {
  const ScratchFolder folder;
  const std::string path = folder.write("plain", "content");
  const int result = test::in_child([&path] {
    for (int number = 0; number <= 2; ++number) ::close(number);
    InputStream input;
    if (!input.open(path.c_str(), path).ok()) return 10;
    for (int number = 0; number <= 2; ++number) {
      if (::fcntl(number, F_GETFD) >= 0) return 20 + number;
    }
    return 0;
  });
  EXPECT_EQ(result, 0);
}

TEST(InputStream, NamesTheCauseOfAFailedOpen) {
  const ScratchFolder folder;
  InputStream input;
  const Status missing = input.open(folder.path("missing").c_str(), "shown");
  EXPECT_EQ(missing.code(), Code::kErrFileOpen);
  EXPECT_EQ(missing.message(), "cannot open 'shown': No such file or directory");
  const Status is_folder = input.open(folder.path("").c_str(), "<filename>");
  EXPECT_EQ(is_folder.message(), "cannot open '<filename>': Is a directory");
  EXPECT_EQ(input.open("", "").message(), "cannot open '': No such file or directory");
}

TEST(InputStream, TakesAGivenCompressionOnly) {
  const ScratchFolder folder;
  const std::string gzip = encoded("text", Compression::kGzip);
  const std::string path = folder.write("file", gzip);
  InputStream plain;
  ASSERT_TRUE(plain.open(path.c_str(), "file", Compression::kNone).ok());
  std::string buffer(1000, '\0');
  size_t count = 0;
  ASSERT_TRUE(plain.read(buffer.data(), buffer.size(), &count).ok());
  EXPECT_EQ(buffer.substr(0, count), gzip);

  InputStream zstd;
  EXPECT_EQ(zstd.open(path.c_str(), "file", Compression::kZstd).message(),
            "file: these are not Zstandard data");
  InputStream right;
  EXPECT_TRUE(right.open(path.c_str(), "file", Compression::kGzip).ok());

  InputStream empty;
  ASSERT_TRUE(empty.open(folder.write("empty", "").c_str(), "empty", Compression::kGzip).ok());
  EXPECT_EQ(empty.read(buffer.data(), buffer.size(), &count).code(), Code::kErrFileCompression);
}

TEST(InputStream, ReadsStandardInput) {
  const ScratchFolder folder;
  const std::string path = folder.write("file", encoded("text", Compression::kZstd));
  const int saved = ::dup(STDIN_FILENO);
  const int file = ::open(path.c_str(), O_RDONLY);
  ASSERT_GE(::dup2(file, STDIN_FILENO), 0);
  std::string content;
  EXPECT_TRUE(read_input("-", &content).ok());
  EXPECT_EQ(content, "text");
  // It is the caller's and stays open.
  EXPECT_GE(::fcntl(STDIN_FILENO, F_GETFD), 0);
  ::dup2(saved, STDIN_FILENO);
  ::close(saved);
  ::close(file);
}

TEST(InputStream, ReadsASlowPipe) {
  for (const Compression compression :
       {Compression::kNone, Compression::kGzip, Compression::kZstd}) {
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    std::thread writer = write_slowly(ends[1], encoded("some text\n", compression));
    std::string content;
    const Status status = read_input(descriptor_name(ends[0]), &content);
    writer.join();
    ::close(ends[0]);
    EXPECT_TRUE(status.ok()) << status.message();
    EXPECT_EQ(content, "some text\n");
  }
}

TEST(InputStream, WaitsWhereADescriptorDoesNot) {
  int ends[2];
  ASSERT_EQ(::pipe(ends), 0);
  const int saved = ::dup(STDIN_FILENO);
  ASSERT_EQ(::fcntl(ends[0], F_SETFL, O_NONBLOCK), 0);
  ASSERT_GE(::dup2(ends[0], STDIN_FILENO), 0);
  std::thread writer = write_slowly(ends[1], "text");
  std::string content;
  const Status status = read_input("-", &content);
  writer.join();
  ::dup2(saved, STDIN_FILENO);
  ::close(saved);
  ::close(ends[0]);
  EXPECT_TRUE(status.ok()) << status.message();
  EXPECT_EQ(content, "text");
}

volatile sig_atomic_t alarms = 0;

TEST(InputStream, GoesOnAfterInterruptions) {
  struct sigaction counting = {}, before = {};
  counting.sa_handler = [](int) { alarms = alarms + 1; };  // and no SA_RESTART
  sigaction(SIGALRM, &counting, &before);
  int ends[2];
  ASSERT_EQ(::pipe(ends), 0);
  const std::string expected(100, 'x');
  std::thread writer = write_slowly(ends[1], expected);
  const itimerval often{{0, 500}, {0, 500}};
  setitimer(ITIMER_REAL, &often, nullptr);
  std::string content;
  const Status status = read_input(descriptor_name(ends[0]), &content);
  const itimerval never{};
  setitimer(ITIMER_REAL, &never, nullptr);
  writer.join();
  ::close(ends[0]);
  sigaction(SIGALRM, &before, nullptr);
  EXPECT_TRUE(status.ok()) << status.message();
  EXPECT_EQ(content, expected);
  EXPECT_GT(alarms, 0);
}

TEST(InputStream, ReadsASocketByItsDescriptorsName) {
  int ends[2];
  ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
  ASSERT_EQ(::write(ends[1], "text", 4), 4);
  ::close(ends[1]);
  std::string content;
  const Status status = read_input(descriptor_name(ends[0]), &content);
  ::close(ends[0]);
  EXPECT_TRUE(status.ok()) << status.message();
  EXPECT_EQ(content, "text");
}

TEST(InputStream, TellsAFailureToRead) {
  std::string content;
  const Status status = read_input("/proc/self/mem", &content);  // nothing is mapped at 0
  EXPECT_EQ(status.code(), Code::kErrFileRead);
  EXPECT_EQ(status.message(), "cannot read '/proc/self/mem': Input/output error");
}

// The peak of memory since the last reset, in bytes; 0 where the system does not tell.
size_t peak_memory() {
  std::ifstream status("/proc/self/status");
  std::string word;
  while (status >> word) {
    size_t kilobytes = 0;
    if (word == "VmHWM:" && status >> kilobytes) return kilobytes * 1024;
  }
  return 0;
}

bool reset_peak_memory() {
  std::ofstream file("/proc/self/clear_refs");
  file << "5";
  return static_cast<bool>(file.flush());
}

TEST(InputStream, ABombCostsNoMemory) {
  constexpr size_t kContent = size_t{256} << 20;
  constexpr size_t kAllowed = size_t{48} << 20;
  const ScratchFolder folder;
  for (const Compression compression : {Compression::kGzip, Compression::kZstd}) {
    const std::string path = folder.path("bomb");
    OutputFile bomb;
    ASSERT_TRUE(bomb.open(path.c_str(), "bomb", compression).ok());
    const std::string piece(1 << 20, '\0');
    for (size_t i = 0; i < kContent; i += piece.size()) bomb.append(piece);
    ASSERT_TRUE(bomb.finish().ok());

    if (!reset_peak_memory()) GTEST_SKIP() << "the peak of memory cannot be measured here";
    const size_t before = peak_memory();
    InputStream input;
    ASSERT_TRUE(input.open(path.c_str(), "bomb").ok());
    ReadBuffer buffer(&input);
    uint64_t read = 0;
    while (buffer.more()) {
      read += buffer.size();
      buffer.skip(buffer.size());
    }
    EXPECT_TRUE(buffer.status().ok());
    EXPECT_EQ(read, kContent);
    EXPECT_EQ(buffer.offset(), kContent);
    EXPECT_LT(peak_memory() - before, kAllowed);
  }
}

}  // namespace
}  // namespace vorlan
