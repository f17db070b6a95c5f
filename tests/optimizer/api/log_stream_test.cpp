// The log stream and echoes through the C interface.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <string>
#include <string_view>

#include "task_support.h"

namespace {

class LogStream : public testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(VLN_makeemptytask(nullptr, &task_), VLN_RES_OK); }
  void TearDown() override { EXPECT_EQ(VLN_deletetask(&task_), VLN_RES_OK); }

  vlntaskt* task_ = nullptr;
};

void append_text(void* handle, const char* text) {
  static_cast<std::string*>(handle)->append(text);
}

TEST_F(LogStream, FileIsTruncatedOrAppendedTo) {
  const std::string path = write_test_file("run.log", "old\n");
  ASSERT_EQ(VLN_linkfiletotaskstream(task_, 0, path.c_str(), 1), VLN_RES_OK);
  ASSERT_EQ(VLN_echotask(task_, 0, "one %d\n", 1), VLN_RES_OK);
  EXPECT_EQ(read_all(path), "old\none 1\n") << "each piece must be in the file at once";
  ASSERT_EQ(VLN_linkfiletotaskstream(task_, 0, path.c_str(), 0), VLN_RES_OK);
  EXPECT_EQ(read_all(path), "") << "truncated when linked";
  ASSERT_EQ(VLN_echotask(task_, 0, "two\n"), VLN_RES_OK);
  EXPECT_EQ(read_all(path), "two\n");
}

TEST_F(LogStream, ALaterLinkReplacesTheEarlier) {
  std::string first;
  std::string second;
  const std::string path = test_file_path("run.log");
  ASSERT_EQ(VLN_linkfunctotaskstream(task_, 0, &first, append_text), VLN_RES_OK);
  VLN_echotask(task_, 0, "a");
  ASSERT_EQ(VLN_linkfiletotaskstream(task_, 0, path.c_str(), 0), VLN_RES_OK);
  VLN_echotask(task_, 0, "b");
  ASSERT_EQ(VLN_linkfunctotaskstream(task_, 0, &second, append_text), VLN_RES_OK);
  VLN_echotask(task_, 0, "c");
  ASSERT_EQ(VLN_linkfunctotaskstream(task_, 0, nullptr, nullptr), VLN_RES_OK);
  VLN_echotask(task_, 0, "d");
  EXPECT_EQ(first, "a");
  EXPECT_EQ(read_all(path), "b");
  EXPECT_EQ(second, "c");
}

TEST_F(LogStream, AFileThatCannotBeOpenedLeavesTheEarlierDestination) {
  std::string text;
  ASSERT_EQ(VLN_linkfunctotaskstream(task_, 0, &text, append_text), VLN_RES_OK);
  const VLNrescode_enum code = VLN_linkfiletotaskstream(task_, 0, "/nonexistent/run.log", 0);
  EXPECT_EQ(code_name(code), "VLN_RES_ERR_FILE_OPEN");
  EXPECT_EQ(text,
            "VLN_RES_ERR_FILE_OPEN (1301): cannot open log file '/nonexistent/run.log': No such "
            "file or directory\n");
  VLN_echotask(task_, 0, "still here");
  EXPECT_NE(text.find("still here"), std::string::npos);
}

TEST_F(LogStream, UnlinkedTextIsDroppedButErrorsGoToStandardError) {
  testing::internal::CaptureStderr();
  testing::internal::CaptureStdout();
  EXPECT_EQ(VLN_echotask(task_, 0, "dropped\n"), VLN_RES_OK);
  EXPECT_EQ(code_name(VLN_readdata(task_, "nowhere.mps")), "VLN_RES_ERR_FILE_OPEN");
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "VLN_RES_ERR_FILE_OPEN (1301): cannot open 'nowhere.mps': No such file or directory\n");
}

TEST_F(LogStream, HiddenFileNamesStayHidden) {
  std::string text;
  ASSERT_EQ(VLN_linkfunctotaskstream(task_, 0, &text, append_text), VLN_RES_OK);
  ASSERT_EQ(VLN_putintparam(task_, 45, 0), VLN_RES_OK);
  EXPECT_NE(VLN_linkfiletotaskstream(task_, 0, "/nonexistent/secret.log", 0), VLN_RES_OK);
  EXPECT_NE(VLN_readdata(task_, "secret.mps"), VLN_RES_OK);
  EXPECT_NE(VLN_readdata(task_, "secret.unknown"), VLN_RES_OK);
  const std::string garbage = write_test_file("secret.mps", "secret garbage\n");
  EXPECT_NE(VLN_readdata(task_, garbage.c_str()), VLN_RES_OK);
  const std::string good = write_test_file("secret_good.mps", two_products(1));
  EXPECT_EQ(VLN_readdata(task_, good.c_str()), VLN_RES_OK);
  EXPECT_EQ(text.find(garbage), std::string::npos) << text;
  EXPECT_EQ(text.find("secret.mps"), std::string::npos) << text;
  EXPECT_EQ(text.find("secret_good"), std::string::npos) << text;
  EXPECT_NE(text.find("<filename>"), std::string::npos) << text;
}

TEST_F(LogStream, EchoTakesAStringViewByValue) {
  std::string text;
  ASSERT_EQ(VLN_linkfunctotaskstream(task_, 0, &text, append_text), VLN_RES_OK);
  const std::string word = "run.log and more";
  const std::string_view name = std::string_view(word).substr(0, 7);
  EXPECT_EQ(VLN_echotask(task_, 0, "Set log file: %s\n", name), VLN_RES_OK);
  EXPECT_EQ(VLN_echotask(task_, 0, "Read file: %s\n", "model.mps"), VLN_RES_OK);
  EXPECT_EQ(text, "Set log file: run.log\nRead file: model.mps\n");
}

void print_text(void*, const char* text) { std::fputs(text, stdout); }

int print_beat(vlntaskt*, void*, VLNcallbackcode_enum, const double*, const int*, const long*) {
  std::fputs("beat\n", stdout);
  return 0;
}

// The optimizer prints nothing by itself; what the caller's functions print is the caller's.
TEST_F(LogStream, AStreamFunctionMayPrintToStandardOutput) {
  for (const char* child : {"on", "off"}) {
    const std::string path = write_test_file("model.mps", two_products(-1));
    ASSERT_EQ(VLN_readdata(task_, path.c_str()), VLN_RES_OK);
    ASSERT_EQ(VLN_putparam(task_, "VLN_IPAR_CHILD_PROCESS", child), VLN_RES_OK);
    ASSERT_EQ(VLN_linkfunctotaskstream(task_, 0, nullptr, print_text), VLN_RES_OK);
    ASSERT_EQ(VLN_putcallbackfunc(task_, print_beat, nullptr), VLN_RES_OK);
    testing::internal::CaptureStdout();
    VLNrescode_enum termination = VLN_RES_OK;
    EXPECT_EQ(VLN_optimizetrm(task_, &termination), VLN_RES_OK);
    const std::string text = testing::internal::GetCapturedStdout();
    for (const char* piece : {"Optimization of a linear model", "beat\n", "Presolving model",
                              "Using EKK", "Optimization ended"}) {
      EXPECT_NE(text.find(piece), std::string::npos) << "child " << child << ": " << piece;
    }
  }
}

// A stream function that calls the library would find the task in the middle of an operation.
void call_back_in(void* handle, const char*) {
  auto* codes = static_cast<std::pair<vlntaskt*, std::string>*>(handle);
  codes->second += code_name(VLN_echotask(codes->first, 0, "again\n"));
  codes->second += code_name(VLN_deletetask(&codes->first));
}

TEST_F(LogStream, OperationsFromInsideTheStreamFunctionAreRefused) {
  std::pair<vlntaskt*, std::string> handle = {task_, ""};
  ASSERT_EQ(VLN_linkfunctotaskstream(task_, 0, &handle, call_back_in), VLN_RES_OK);
  EXPECT_EQ(VLN_echotask(task_, 0, "text\n"), VLN_RES_OK);
  EXPECT_EQ(handle.second, "VLN_RES_ERR_TASK_BUSYVLN_RES_ERR_TASK_BUSY");
}

// ---- Files and pipes that take no more ------------------------------------------------------

// A pipe by name, as a log file may be one. Its reader is the test.
class LogPipe : public LogStream {
 protected:
  void SetUp() override {
    LogStream::SetUp();
    path_ = test_file_path("pipe");
    std::filesystem::remove(path_);
    ASSERT_EQ(mkfifo(path_.c_str(), 0600), 0);
    reader_ = open(path_.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    ASSERT_GE(reader_, 0);
    ASSERT_EQ(VLN_linkfiletotaskstream(task_, 0, path_.c_str(), 0), VLN_RES_OK);
  }
  void TearDown() override {
    LogStream::TearDown();
    close_reader();
  }

  void close_reader() {
    if (reader_ >= 0) close(reader_);
    reader_ = -1;
  }

  std::string read_all() const {
    std::string text;
    char buffer[65536];
    for (ssize_t count = 0; (count = read(reader_, buffer, sizeof buffer)) > 0;) {
      text.append(buffer, static_cast<size_t>(count));
    }
    return text;
  }

  std::string path_;
  int reader_ = -1;
};

TEST_F(LogPipe, TextThatNobodyReadsIsDroppedAndTheLogSaysHowMuch) {
  const std::string line = std::string(99, 'x') + "\n";
  size_t written = 0;
  for (int i = 0; i < 3000; ++i, written += line.size()) {
    ASSERT_EQ(VLN_echotask(task_, 0, "%s", line.c_str()), VLN_RES_OK);
  }
  const std::string first = read_all();
  EXPECT_LT(first.size(), written) << "a pipe holds less than that";
  ASSERT_EQ(VLN_echotask(task_, 0, "the reader is back\n"), VLN_RES_OK);
  const std::string second = read_all();
  const std::string dropped = std::to_string(written - first.size());
  EXPECT_EQ(second, "[" + dropped +
                        " bytes of log text are dropped here: they could not be written in time]\n"
                        "the reader is back\n");
}

TEST_F(LogPipe, AnEndThatNobodyReadsIsToldOnStandardError) {
  const std::string line = std::string(99, 'x') + "\n";
  size_t written = 0;
  for (int i = 0; i < 3000; ++i, written += line.size()) {
    ASSERT_EQ(VLN_echotask(task_, 0, "%s", line.c_str()), VLN_RES_OK);
  }
  testing::internal::CaptureStderr();
  ASSERT_EQ(VLN_linkfiletotaskstream(task_, 0, "/dev/null", 0), VLN_RES_OK);
  const std::string lost = std::to_string(written - read_all().size());
  EXPECT_EQ(
      testing::internal::GetCapturedStderr(),
      "The log is not complete: " + lost + " bytes at its end could not be written in time\n");
}

// The reader of a terminal's pipe may be ended at any time: the process must live on.
TEST_F(LogPipe, AReaderThatWentAwayEndsNothing) {
  ASSERT_EQ(VLN_echotask(task_, 0, "read\n"), VLN_RES_OK);
  EXPECT_EQ(read_all(), "read\n");
  close_reader();
  for (int i = 0; i < 3; ++i) EXPECT_EQ(VLN_echotask(task_, 0, "lost\n"), VLN_RES_OK);
}

// /dev/full takes nothing, as a full disk.
TEST_F(LogStream, AFullDiskIsToldOnceOnStandardError) {
  ASSERT_EQ(VLN_linkfiletotaskstream(task_, 0, "/dev/full", 0), VLN_RES_OK);
  testing::internal::CaptureStderr();
  for (int i = 0; i < 3; ++i) EXPECT_EQ(VLN_echotask(task_, 0, "lost\n"), VLN_RES_OK);
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "The log is not complete, since it could not be written: No space left on device\n");
}

TEST_F(LogStream, ALimitOnTheSizeOfFilesEndsNothing) {
  const std::string path = test_file_path("run.log");
  ASSERT_EQ(VLN_linkfiletotaskstream(task_, 0, path.c_str(), 0), VLN_RES_OK);
  rlimit before{};
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
  rlimit limit = before;
  limit.rlim_cur = 8;
  testing::internal::CaptureStderr();
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
  const VLNrescode_enum code = VLN_echotask(task_, 0, "more than eight bytes\n");
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &before), 0);
  EXPECT_EQ(code, VLN_RES_OK);
  EXPECT_EQ(read_all(path), "more tha");
  // Here standard error is a file, too, and takes as little.
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "The log ");
}

// A person whose log goes to a file sees the reason of a failure, too, and sees it once.
TEST_F(LogStream, AFailureIsToldOnStandardErrorBesideAFile) {
  const std::string path = test_file_path("run.log");
  ASSERT_EQ(VLN_linkfiletotaskstream(task_, 0, path.c_str(), 0), VLN_RES_OK);
  testing::internal::CaptureStderr();
  EXPECT_NE(VLN_putparam(task_, "VLN_IPAR_NOTHING", "1"), VLN_RES_OK);
  const std::string told = testing::internal::GetCapturedStderr();
  EXPECT_NE(told.find("there is no parameter 'VLN_IPAR_NOTHING'"), std::string::npos) << told;
  EXPECT_EQ(told, read_all(path));

  testing::internal::CaptureStderr();
  ASSERT_EQ(VLN_linkfiletotaskstream(task_, 0, "/dev/stderr", 1), VLN_RES_OK);
  EXPECT_NE(VLN_putparam(task_, "VLN_IPAR_NOTHING", "1"), VLN_RES_OK);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), told);
}

}  // namespace
