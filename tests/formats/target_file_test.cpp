// The place where a file is written, and that its target is replaced as a whole or not at all.
#include "file/target_file.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <functional>
#include <new>
#include <string>
#include <vector>

#include "failing_memory.h"
#include "scratch_folder.h"
#include "task/text.h"
#include "test_bytes.h"

namespace vorlan {
namespace {

using test::in_child;
using test::read_all;
using test::ScratchFolder;
using Files = std::vector<std::string>;

constexpr uid_t kSomeoneElse = 65534;

int write_target(const std::string& path, std::string_view content) {
  TargetFile target;
  const int error = target.open(path.c_str());
  if (error != 0) return error;
  const int write_error = write_all(target.descriptor(), content);
  return write_error != 0 ? write_error : target.commit();
}

struct stat info_of(const std::string& path) {
  struct stat info = {};
  EXPECT_EQ(::lstat(path.c_str(), &info), 0) << path;
  return info;
}

mode_t mode_of(const std::string& path) { return info_of(path).st_mode & 07777; }

// Acts as someone whom permissions bind; only root can become another and needs to.
int as_someone_else(const std::function<int()>& function) {
  return in_child([&] {
    if (::geteuid() == 0 && (::setgid(kSomeoneElse) != 0 || ::setuid(kSomeoneElse) != 0)) return 99;
    return function();
  });
}

bool has_unnamed_files(const ScratchFolder& folder) {
  const Descriptor file(::open(folder.path("").c_str(), O_TMPFILE | O_WRONLY | O_CLOEXEC, 0600));
  return file.is_open();
}

TEST(TargetFile, CreatesAFileByTheUmask) {
  const ScratchFolder folder;
  const mode_t before = ::umask(027);
  EXPECT_EQ(write_target(folder.path("new"), "text"), 0);
  ::umask(before);
  EXPECT_EQ(read_all(folder.path("new")), "text");
  EXPECT_EQ(mode_of(folder.path("new")), 0640U);
  EXPECT_EQ(folder.files(), Files{"new"});
}

TEST(TargetFile, KeepsMode) {
  const ScratchFolder folder;
  const std::string path = folder.write("file", "old");
  for (const mode_t mode : {0600U, 0666U, 0755U}) {
    ASSERT_EQ(::chmod(path.c_str(), mode), 0);
    EXPECT_EQ(write_target(path, "text"), 0);
    EXPECT_EQ(mode_of(path), mode);
  }
  ASSERT_EQ(::chmod(path.c_str(), 06755), 0);
  EXPECT_EQ(write_target(path, "text"), 0);
  EXPECT_EQ(mode_of(path), 0755U);  // as a write to the file itself would do
}

TEST(TargetFile, ReplacesAtTheEndOnly) {
  const ScratchFolder folder;
  const std::string path = folder.write("file", "old");
  TargetFile target;
  ASSERT_EQ(target.open(path.c_str()), 0);
  ASSERT_EQ(write_all(target.descriptor(), "new content"), 0);
  EXPECT_EQ(read_all(path), "old");
  EXPECT_EQ(target.commit(), 0);
  EXPECT_EQ(read_all(path), "new content");
  EXPECT_EQ(folder.files(), Files{"file"});
}

TEST(TargetFile, LeavesNothingWhenGivenUp) {
  const ScratchFolder folder;
  const std::string path = folder.write("file", "old");
  for (const std::string& name : {path, folder.path("new")}) {
    TargetFile target;
    ASSERT_EQ(target.open(name.c_str()), 0);
    ASSERT_EQ(write_all(target.descriptor(), "text"), 0);
  }
  EXPECT_EQ(read_all(path), "old");
  EXPECT_EQ(folder.files(), Files{"file"});
}

TEST(TargetFile, LeavesTheOldFileWhenKilled) {
  const ScratchFolder folder;
  const std::string path = folder.write("file", "old");
  const int result = in_child([&] {
    TargetFile target;
    if (target.open(path.c_str()) != 0) return 1;
    write_all(target.descriptor(), std::string(1000000, 'x'));
    return ::kill(::getpid(), SIGKILL);
  });
  EXPECT_EQ(result, 1000 + SIGKILL);
  EXPECT_EQ(read_all(path), "old");
  if (has_unnamed_files(folder)) {
    EXPECT_EQ(folder.files(), Files{"file"});
  }
}

TEST(TargetFile, FollowsLinksAndKeepsThem) {
  const ScratchFolder folder;
  ASSERT_EQ(::mkdir(folder.path("sub").c_str(), 0755), 0);
  const std::string real = folder.write("sub/real", "old");
  ASSERT_EQ(::symlink("real", folder.path("sub/near").c_str()), 0);
  ASSERT_EQ(::symlink("sub/near", folder.path("far").c_str()), 0);
  ASSERT_EQ(::symlink(folder.path("far").c_str(), folder.path("absolute").c_str()), 0);
  EXPECT_EQ(write_target(folder.path("absolute"), "new"), 0);
  EXPECT_EQ(read_all(real), "new");
  EXPECT_TRUE(S_ISREG(info_of(real).st_mode));
  for (const char* link : {"sub/near", "far", "absolute"}) {
    EXPECT_TRUE(S_ISLNK(info_of(folder.path(link)).st_mode)) << link;
  }
  EXPECT_EQ(folder.files(), (Files{"absolute", "far", "sub"}));
}

TEST(TargetFile, CreatesWhatALinkWaitsFor) {
  const ScratchFolder folder;
  ASSERT_EQ(::symlink("real", folder.path("link").c_str()), 0);
  EXPECT_EQ(write_target(folder.path("link"), "text"), 0);
  EXPECT_TRUE(S_ISLNK(info_of(folder.path("link")).st_mode));
  EXPECT_EQ(read_all(folder.path("real")), "text");
}

TEST(TargetFile, NamesTheErrorsOfBadPlaces) {
  const ScratchFolder folder;
  ASSERT_EQ(::symlink("loop", folder.path("loop").c_str()), 0);
  EXPECT_EQ(write_target(folder.path("loop"), ""), ELOOP);
  EXPECT_EQ(write_target(folder.path(""), ""), EISDIR);
  EXPECT_EQ(write_target(folder.path("."), ""), EISDIR);
  ASSERT_EQ(::mkdir(folder.path("sub").c_str(), 0755), 0);
  EXPECT_EQ(write_target(folder.path("sub"), ""), EISDIR);
  EXPECT_EQ(write_target(folder.path("none/file"), ""), ENOENT);
  EXPECT_EQ(write_target("", ""), ENOENT);
  EXPECT_EQ(write_target(folder.path(std::string(300, 'x')), ""), ENAMETOOLONG);
  const std::string longest = folder.path(std::string(255, 'x'));
  EXPECT_EQ(write_target(longest, "text"), 0);
  EXPECT_EQ(read_all(longest), "text");
}

TEST(TargetFile, WritesDevicesAndPipesDirectly) {
  const ScratchFolder folder;
  EXPECT_EQ(write_target("/dev/null", "text"), 0);
  EXPECT_TRUE(S_ISCHR(info_of("/dev/null").st_mode));

  const std::string pipe = folder.path("pipe");
  ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
  const Descriptor reader(::open(pipe.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  EXPECT_EQ(write_target(pipe, "text"), 0);
  char buffer[10] = {};
  EXPECT_EQ(::read(reader.get(), buffer, sizeof buffer), 4);
  EXPECT_TRUE(S_ISFIFO(info_of(pipe).st_mode));
}

TEST(TargetFile, WritesAnOpenDescriptorWhereItStands) {
  const ScratchFolder folder;
  const std::string path = folder.write("file", "");
  const Descriptor file(::open(path.c_str(), O_WRONLY | O_CLOEXEC));
  ASSERT_EQ(write_all(file.get(), "before "), 0);
  EXPECT_EQ(write_target(format_text("/dev/fd/%d", file.get()), "between "), 0);
  ASSERT_EQ(write_all(file.get(), "after"), 0);
  EXPECT_EQ(read_all(path), "before between after");
  EXPECT_EQ(folder.files(), Files{"file"});
}

TEST(TargetFile, WritesDirectlyInAFolderOfOthers) {
  const ScratchFolder folder;
  ASSERT_EQ(::mkdir(folder.path("sub").c_str(), 0755), 0);
  const std::string path = folder.write("sub/file", "a longer old content");
  ASSERT_EQ(::chmod(path.c_str(), 0666), 0);
  ASSERT_EQ(::chmod(folder.path("sub").c_str(), 0555), 0);
  const ino_t before = info_of(path).st_ino;
  EXPECT_EQ(as_someone_else([&] { return write_target(path, "new"); }), 0);
  EXPECT_EQ(read_all(path), "new");
  EXPECT_EQ(info_of(path).st_ino, before);
  EXPECT_EQ(as_someone_else([&] { return write_target(folder.path("sub/more"), "x"); }), EACCES);
  ::chmod(folder.path("sub").c_str(), 0755);
}

TEST(TargetFile, LeavesAWriteProtectedFileInAnOpenFolder) {
  const ScratchFolder folder;
  const std::string path = folder.write("file", "old");
  ASSERT_EQ(::chmod(path.c_str(), 0444), 0);
  ASSERT_EQ(::chmod(folder.path("").c_str(), 0777), 0);
  // Its owner could replace it.
  if (::geteuid() == 0) {
    ASSERT_EQ(::chown(path.c_str(), kSomeoneElse, kSomeoneElse), 0);
  }
  EXPECT_EQ(as_someone_else([&] { return write_target(path, "new"); }), EACCES);
  EXPECT_EQ(read_all(path), "old");
}

TEST(TargetFile, KeepsTheOwner) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root can make files of different owners";
  const ScratchFolder folder;
  ASSERT_EQ(::chmod(folder.path("").c_str(), 0777), 0);
  const std::string theirs = folder.write("theirs", "old");
  ASSERT_EQ(::chown(theirs.c_str(), kSomeoneElse, kSomeoneElse), 0);
  EXPECT_EQ(write_target(theirs, "new"), 0);
  EXPECT_EQ(info_of(theirs).st_uid, kSomeoneElse);
  EXPECT_EQ(info_of(theirs).st_gid, kSomeoneElse);

  const std::string ours = folder.write("ours", "old");
  ASSERT_EQ(::chmod(ours.c_str(), 0666), 0);
  EXPECT_EQ(as_someone_else([&] { return write_target(ours, "new"); }), 0);
  EXPECT_EQ(read_all(ours), "new");
  EXPECT_EQ(info_of(ours).st_uid, 0U);
  EXPECT_EQ(folder.files(), (Files{"ours", "theirs"}));
}

// An unnamed file cannot get a name without /proc, so it has one from the start.
TEST(TargetFile, ReplacesAndGivesUpWithoutUnnamedFiles) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root can hide /proc";
  const ScratchFolder folder;
  folder.write("file", "old");
  const int result = in_child([&] {
    if (::chroot(folder.path("").c_str()) != 0 || ::chdir("/") != 0) return 99;
    TargetFile given_up;
    if (given_up.open("given-up") != 0) return 1;
    if (write_all(given_up.descriptor(), "text") != 0) return 2;
    given_up.abandon();
    return write_target("file", "new");
  });
  EXPECT_EQ(result, 0);
  EXPECT_EQ(read_all(folder.path("file")), "new");
  EXPECT_EQ(folder.files(), Files{"file"});
}

// Memory may end anywhere between the first name of a file and its last one.
TEST(TargetFile, LeavesNoOtherFileWhenMemoryEnds) {
  bool committed = false;
  for (int count = 0; !committed; ++count) {
    ASSERT_LT(count, 100);
    const ScratchFolder folder;
    const std::string path = folder.write("file", "old");
    try {
      TargetFile file;
      ASSERT_EQ(file.open(path.c_str()), 0);
      ASSERT_EQ(write_all(file.descriptor(), "new"), 0);
      test::fail_allocations_after(count);
      committed = file.commit() == 0;
    } catch (const std::bad_alloc&) {
    }
    test::fail_allocations_after(-1);
    EXPECT_EQ(read_all(path), committed ? "new" : "old") << count;
    EXPECT_EQ(folder.files(), Files{"file"}) << count;
  }
}

// Someone else's standard output must not end in a file that is written.
TEST(TargetFile, KeepsClearOfTheStandardDescriptors) {
  const ScratchFolder folder;
  const std::string path = folder.path("a");
  const int result = test::in_child([&path] {
    for (int number = 0; number <= 2; ++number) ::close(number);
    TargetFile file;
    if (file.open(path.c_str()) != 0) return 10;
    for (int number = 0; number <= 2; ++number) {
      if (::fcntl(number, F_GETFD) >= 0) return 20 + number;
    }
    return file.commit();
  });
  EXPECT_EQ(result, 0);
  EXPECT_EQ(folder.files(), std::vector<std::string>{"a"});
}

}  // namespace
}  // namespace vorlan
