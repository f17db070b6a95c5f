/* Preloaded into the server, makes the disk under its data folder fail for a while: calls on files there
   end with EIO, at random. falls_test.py does that while jobs come, run and end.

   VORLAN_DISK_PATH is a part of the paths in question. While VORLAN_DISK_SWITCH names a file that exists, one call of every
   VORLAN_DISK_ODDS fails. Workers have an environment of their own and do not notice. */
#include <errno.h>
#include <fcntl.h>
#include <stdarg.h>
#include <stdatomic.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/syscall.h>
#include <sys/types.h>
#include <sys/uio.h>
#include <unistd.h>

static const char* part;
static const char* bad_while;
static unsigned long odds = 3;
static atomic_ulong state = 88172645463325252UL;

__attribute__((constructor)) static void read_wishes(void) {
  part = getenv("VORLAN_DISK_PATH");
  bad_while = getenv("VORLAN_DISK_SWITCH");
  const char* text = getenv("VORLAN_DISK_ODDS");
  if (text != NULL) odds = strtoul(text, NULL, 10);
}

static int is_unlucky(void) {
  unsigned long x = atomic_fetch_add(&state, 0x9e3779b97f4a7c15UL);
  x = (x ^ (x >> 30)) * 0xbf58476d1ce4e5b9UL;
  x = (x ^ (x >> 27)) * 0x94d049bb133111ebUL;
  return (x ^ (x >> 31)) % odds == 0;
}

static int fails_at(const char* path) {
  if (part == NULL || bad_while == NULL || strstr(path, part) == NULL) return 0;
  if (syscall(SYS_faccessat, AT_FDCWD, bad_while, F_OK) != 0 || !is_unlucky()) return 0;
  errno = EIO;
  return 1;
}

static int fails(int file) {
  const int before = errno;
  char link[64];
  char path[4096];
  snprintf(link, sizeof link, "/proc/self/fd/%d", file);
  const ssize_t length = syscall(SYS_readlinkat, AT_FDCWD, link, path, sizeof path - 1);
  errno = before;
  if (length <= 0) return 0;
  path[length] = '\0';
  return fails_at(path);
}

ssize_t write(int file, const void* data, size_t size) {
  return fails(file) ? -1 : syscall(SYS_write, file, data, size);
}

ssize_t writev(int file, const struct iovec* parts, int count) {
  return fails(file) ? -1 : syscall(SYS_writev, file, parts, count);
}

ssize_t pwrite(int file, const void* data, size_t size, off_t place) {
  return fails(file) ? -1 : syscall(SYS_pwrite64, file, data, size, place);
}

ssize_t pwrite64(int file, const void* data, size_t size, off64_t place) {
  return fails(file) ? -1 : syscall(SYS_pwrite64, file, data, size, place);
}

ssize_t read(int file, void* data, size_t size) {
  return fails(file) ? -1 : syscall(SYS_read, file, data, size);
}

ssize_t pread(int file, void* data, size_t size, off_t place) {
  return fails(file) ? -1 : syscall(SYS_pread64, file, data, size, place);
}

ssize_t pread64(int file, void* data, size_t size, off64_t place) {
  return fails(file) ? -1 : syscall(SYS_pread64, file, data, size, place);
}

int fsync(int file) { return fails(file) ? -1 : (int)syscall(SYS_fsync, file); }

int fdatasync(int file) { return fails(file) ? -1 : (int)syscall(SYS_fdatasync, file); }

int ftruncate(int file, off_t size) {
  return fails(file) ? -1 : (int)syscall(SYS_ftruncate, file, size);
}

int ftruncate64(int file, off64_t size) {
  return fails(file) ? -1 : (int)syscall(SYS_ftruncate, file, size);
}

int rename(const char* from, const char* to) {
  return fails_at(to) ? -1 : (int)syscall(SYS_renameat, AT_FDCWD, from, AT_FDCWD, to);
}

int mkdir(const char* path, mode_t mode) {
  return fails_at(path) ? -1 : (int)syscall(SYS_mkdirat, AT_FDCWD, path, mode);
}

int unlink(const char* path) {
  return fails_at(path) ? -1 : (int)syscall(SYS_unlinkat, AT_FDCWD, path, 0);
}

#define OPEN(name)                                                                      \
  int name(const char* path, int flags, ...) {                                          \
    va_list more;                                                                       \
    va_start(more, flags);                                                              \
    const mode_t mode = va_arg(more, mode_t);                                           \
    va_end(more);                                                                       \
    return fails_at(path) ? -1 : (int)syscall(SYS_openat, AT_FDCWD, path, flags, mode); \
  }
OPEN(open)
OPEN(open64)
