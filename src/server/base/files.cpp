// System calls on files; see files.h.
#include "base/files.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <filesystem>

namespace vorlan::server {
namespace {

std::optional<std::string> read_from(const Descriptor& file, uint64_t from, size_t limit) {
  if (!file.valid()) return {};
  std::string text(limit, '\0');
  size_t length = 0;
  while (length < limit) {
    const ssize_t got =
        pread(file.get(), text.data() + length, limit - length, static_cast<off_t>(from + length));
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return {};
    if (got == 0) break;
    length += static_cast<size_t>(got);
  }
  text.resize(length);
  return text;
}

}  // namespace

void Descriptor::reset(int number) {
  if (number_ >= 0) close(number_);
  number_ = number;
}

Descriptor open_for_reading(const std::string& path) {
  return Descriptor(open(path.c_str(), O_RDONLY | O_CLOEXEC));
}

Descriptor create_file(const std::string& path) {
  return Descriptor(open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
}

bool write_all(int descriptor, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = write(descriptor, bytes.data(), bytes.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return false;
    bytes.remove_prefix(static_cast<size_t>(written));
  }
  return true;
}

bool write_file(const std::string& path, std::string_view text) {
  const std::string beside = path + ".new";
  const bool written = [&] {
    const Descriptor file = create_file(beside);
    return file.valid() && write_all(file.get(), text);
  }();
  if (written && std::rename(beside.c_str(), path.c_str()) == 0) return true;
  unlink(beside.c_str());
  return false;
}

bool sync_path(const std::string& path) {
  const Descriptor file = open_for_reading(path);
  return file.valid() && fsync(file.get()) == 0;
}

bool make_folder(const std::string& path) {
  return mkdir(path.c_str(), 0700) == 0 || errno == EEXIST;
}

bool exists(const std::string& path) { return access(path.c_str(), F_OK) == 0; }

std::optional<uint64_t> file_size(const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) return {};
  return static_cast<uint64_t>(status.st_size);
}

std::optional<double> file_time(const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) return {};
  return static_cast<double>(status.st_mtim.tv_sec) +
         1e-9 * static_cast<double>(status.st_mtim.tv_nsec);
}

std::optional<std::string> read_start(const std::string& path, size_t limit) {
  return read_part(path, 0, limit);
}

std::optional<std::string> read_end(const std::string& path, size_t limit) {
  const Descriptor file = open_for_reading(path);
  const off_t size = lseek(file.get(), 0, SEEK_END);
  return read_from(
      file, static_cast<uint64_t>(std::max<off_t>(0, size - static_cast<off_t>(limit))), limit);
}

std::optional<std::string> read_part(const std::string& path, uint64_t from, size_t limit) {
  return read_from(open_for_reading(path), from, limit);
}

void remove_tree(const std::string& path) {
  std::error_code ignored;
  std::filesystem::remove_all(path, ignored);
}

Descriptor lock_file(const std::string& path) {
  Descriptor file(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
  if (file.valid() && flock(file.get(), LOCK_EX | LOCK_NB) != 0) file.reset();
  return file;
}

bool is_locked(const std::string& path) {
  const Descriptor file(open(path.c_str(), O_RDWR | O_CLOEXEC));
  return file.valid() && flock(file.get(), LOCK_EX | LOCK_NB) != 0;
}

bool may_be_locked(const std::string& path) {
  const Descriptor file(open(path.c_str(), O_RDWR | O_CLOEXEC));
  if (!file.valid()) return errno != ENOENT;
  return flock(file.get(), LOCK_EX | LOCK_NB) != 0;
}

uint64_t free_bytes(const std::string& folder) {
  struct statvfs status {};
  if (statvfs(folder.c_str(), &status) != 0) return 0;
  return static_cast<uint64_t>(status.f_bavail) * status.f_frsize;
}

std::string system_error() { return std::strerror(errno); }

double unix_time() {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

}  // namespace vorlan::server
