// Writing beside a file and renaming over it; see target_file.h.
#include "file/target_file.h"

#include <fcntl.h>
#include <linux/magic.h>
#include <linux/stat.h>
#include <sys/random.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <string_view>

#include "task/high_descriptor.h"
#include "task/open_to_write.h"
#include "task/text.h"

namespace vorlan {
namespace {

constexpr int kMostLinks = 40;  // as the kernel
constexpr int kMostNames = 100;
constexpr mode_t kPermissions = S_IRWXU | S_IRWXG | S_IRWXO;
constexpr mode_t kNewFileMode = 0666;  // less the umask

Descriptor open_at(int folder, const char* name, int flags, mode_t mode = 0,
                   const StopQuestion& asks_to_stop = {}) {
  flags |= O_CLOEXEC | O_NOCTTY;
  return Descriptor(above_standard(open_to_write(folder, name, flags, mode, asks_to_stop)));
}

bool is_process_folder(int folder) {
  struct statfs info = {};
  return ::fstatfs(folder, &info) == 0 && info.f_type == PROC_SUPER_MAGIC;
}

bool is_mount_point(int folder, const char* name) {
  struct statx info = {};
  if (::statx(folder, name, AT_SYMLINK_NOFOLLOW, STATX_TYPE, &info) != 0) return false;
  return (info.stx_attributes & STATX_ATTR_MOUNT_ROOT) != 0;
}

// Short, so that a target's name of any length has room for it in its folder.
std::string temporary_name() {
  uint64_t random = 0;
  if (::getrandom(&random, sizeof random, GRND_NONBLOCK) != sizeof random) {
    random = static_cast<uint64_t>(::getpid());
  }
  return format_text(".vorlan-%016llx.tmp", static_cast<unsigned long long>(random));
}

// The path by which an open file can be linked into a folder.
std::string descriptor_path(int descriptor) { return format_text("/proc/self/fd/%d", descriptor); }

}  // namespace

int TargetFile::open(const char* filename, const StopQuestion& asks_to_stop) {
  asks_to_stop_ = asks_to_stop;
  const int error = find_target(filename);
  if (error != 0) return error;

  struct stat target = {};
  if (::fstatat(folder_.get(), name_.c_str(), &target, AT_SYMLINK_NOFOLLOW) != 0) {
    return errno == ENOENT ? open_beside(nullptr) : errno;
  }
  return is_replaceable(target) ? open_beside(&target) : open_direct();
}

int TargetFile::commit() {
  int error = beside_ && temporary_.empty() ? give_name() : 0;
  const int close_error = file_.close();
  if (error == 0) error = close_error;
  if (error == 0 && beside_ &&
      ::renameat(folder_.get(), temporary_.c_str(), folder_.get(), name_.c_str()) != 0) {
    error = errno;
  }
  if (error == 0) temporary_.clear();
  abandon();
  return error;
}

void TargetFile::abandon() {
  file_.close();
  if (!temporary_.empty()) ::unlinkat(folder_.get(), temporary_.c_str(), 0);
  temporary_.clear();
  beside_ = false;
}

// Sets folder_ and name_ to what the name stands for behind all symbolic links.
int TargetFile::find_target(const char* filename) {
  std::string path = filename;
  folder_ = Descriptor();
  for (int links = 0; links <= kMostLinks; ++links) {
    const size_t slash = path.rfind('/');
    name_ = slash == std::string::npos ? path : path.substr(slash + 1);
    if (path.empty()) return ENOENT;
    if (name_.empty() || name_ == "." || name_ == "..") return EISDIR;
    const std::string folder = slash == std::string::npos ? "." : path.substr(0, slash + 1);
    const int from = folder_.is_open() ? folder_.get() : AT_FDCWD;
    Descriptor opened = open_at(from, folder.c_str(), O_PATH | O_DIRECTORY);
    if (!opened.is_open()) return errno;
    folder_ = std::move(opened);
    if (is_process_folder(folder_.get())) return 0;  // such a link is an open file, not a name

    std::array<char, PATH_MAX> link = {};
    const ssize_t length = ::readlinkat(folder_.get(), name_.c_str(), link.data(), link.size());
    if (length < 0) return errno == EINVAL || errno == ENOENT ? 0 : errno;
    path.assign(link.data(), static_cast<size_t>(length));
  }
  return ELOOP;
}

bool TargetFile::is_replaceable(const struct stat& target) const {
  if (!S_ISREG(target.st_mode) || is_process_folder(folder_.get())) return false;
  if (is_mount_point(folder_.get(), name_.c_str())) return false;
  return target.st_uid == ::geteuid() || ::geteuid() == 0;
}

// target is what is there already, or nullptr.
int TargetFile::open_beside(const struct stat* target) {
  if (target != nullptr && ::faccessat(folder_.get(), name_.c_str(), W_OK, AT_EACCESS) != 0) {
    return errno;  // the folder's rights would let us replace a file that is write-protected
  }
  // Never readable by more people than the file that it replaces.
  const mode_t mode = target != nullptr ? target->st_mode & kPermissions : kNewFileMode;
  const int error = create_beside(mode);
  if (error != 0) {
    const bool forbidden = error == EACCES || error == EPERM || error == EROFS;
    return forbidden && target != nullptr ? open_direct() : error;
  }
  beside_ = true;
  if (target == nullptr) return 0;

  const bool owner_kept = ::fchown(file_.get(), target->st_uid, target->st_gid) == 0;
  struct stat made = {};
  const bool same_owner =
      owner_kept || (::fstat(file_.get(), &made) == 0 && made.st_uid == target->st_uid &&
                     made.st_gid == target->st_gid);
  if (same_owner && ::fchmod(file_.get(), mode) == 0) return 0;
  abandon();
  return open_direct();
}

// An unnamed file goes by itself when the process is killed. Where the file system has none, or
// /proc, through which it gets its name, is missing, a name of its own has to do.
int TargetFile::create_beside(unsigned mode) {
  file_ = open_at(folder_.get(), ".", O_TMPFILE | O_WRONLY, mode);
  if (file_.is_open() && ::access(descriptor_path(file_.get()).c_str(), F_OK) == 0) return 0;
  for (int tries = 0; tries < kMostNames; ++tries) {
    temporary_ = temporary_name();
    file_ = open_at(folder_.get(), temporary_.c_str(), O_CREAT | O_EXCL | O_WRONLY, mode);
    if (file_.is_open()) return 0;
    const int error = errno;
    temporary_.clear();
    if (error != EEXIST) return error;
  }
  return EEXIST;
}

// Links the unnamed file into the folder. It cannot be linked over the target at once. The name is
// known before there is the file: if memory ends in between, abandon() still removes it.
int TargetFile::give_name() {
  const std::string path = descriptor_path(file_.get());
  for (int tries = 0; tries < kMostNames; ++tries) {
    temporary_ = temporary_name();
    if (::linkat(AT_FDCWD, path.c_str(), folder_.get(), temporary_.c_str(), AT_SYMLINK_FOLLOW) ==
        0) {
      return 0;
    }
    const int error = errno;
    temporary_.clear();
    if (error != EEXIST) return error;
  }
  return EEXIST;
}

int TargetFile::open_direct() {
  // Opening /dev/stdout or /dev/fd/N anew would start at the front of a file that others are
  // writing to: what is written goes where the descriptor stands.
  const int shared =
      is_process_folder(folder_.get()) ? descriptor_in_folder(folder_.get(), name_) : -1;
  if (shared >= 0) {
    file_ = Descriptor(copy_above_standard(shared));
  } else {
    file_ = open_at(folder_.get(), name_.c_str(), O_WRONLY | O_TRUNC, 0, asks_to_stop_);
  }
  return file_.is_open() ? 0 : errno;
}

}  // namespace vorlan
