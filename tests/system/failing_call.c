/* Preloaded into the program, lets its Nth call of a function of the system fail, as a system short
   of memory, space, processes or descriptors does. scripts/campaign faults does that for every N.

   VORLAN_FAIL_CALL is the function (its kin count with it: open is openat too), VORLAN_FAIL_AT is N,
   VORLAN_FAIL_MARK a file that is made when it fails, so that one knows whether there were N calls.
   A child process goes on with its parent's count. With VORLAN_FAIL_FORKS calls count only in a
   process that has seen so many forks, or came from the last of them; with VORLAN_FAIL_PARENT only in
   the program itself. Where VORLAN_IDLE_MACHINE is set nobody learns how busy the machine is, so that
   solves race on a busy one, too. */
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <stdarg.h>
#include <stdatomic.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/types.h>
#include <sys/uio.h>
#include <unistd.h>

extern void* __libc_malloc(size_t size);
extern void* __libc_calloc(size_t count, size_t size);
extern void* __libc_realloc(void* memory, size_t size);

static const char* failing_call;
static long failing_at;
static long forks_before;
static pid_t only_process;
static atomic_long num_calls;
static atomic_long num_forks;

__attribute__((constructor)) static void read_wishes(void) {
  const char* at = getenv("VORLAN_FAIL_AT");
  failing_at = at != NULL ? atol(at) : 0;
  failing_call = getenv("VORLAN_FAIL_CALL");
  const char* forks = getenv("VORLAN_FAIL_FORKS");
  forks_before = forks != NULL ? atol(forks) : 0;
  only_process = getenv("VORLAN_FAIL_PARENT") != NULL ? getpid() : 0;
}

/* Whether this call is the one. Before the constructor nothing fails. */
static int fails(const char* call, int error) {
  if (failing_call == NULL || strcmp(call, failing_call) != 0) return 0;
  if (atomic_load(&num_forks) < forks_before) return 0;
  if (only_process != 0 && getpid() != only_process) return 0;
  if (atomic_fetch_add(&num_calls, 1) + 1 != failing_at) return 0;
  const char* mark = getenv("VORLAN_FAIL_MARK");
  if (mark != NULL) {
    syscall(SYS_close, syscall(SYS_openat, AT_FDCWD, mark, O_CREAT | O_WRONLY | O_CLOEXEC, 0666));
  }
  errno = error;
  return 1;
}

#define NEXT(name) ((__typeof__(&name))dlsym(RTLD_NEXT, #name))

void* malloc(size_t size) { return fails("malloc", ENOMEM) ? NULL : __libc_malloc(size); }

void* calloc(size_t count, size_t size) {
  return fails("malloc", ENOMEM) ? NULL : __libc_calloc(count, size);
}

void* realloc(void* memory, size_t size) {
  return fails("malloc", ENOMEM) ? NULL : __libc_realloc(memory, size);
}

void* mmap(void* place, size_t size, int protection, int flags, int file, off_t offset) {
  if (fails("mmap", ENOMEM)) return MAP_FAILED;
  return (void*)syscall(SYS_mmap, place, size, protection, flags, file, offset);
}

ssize_t write(int file, const void* data, size_t size) {
  return fails("write", ENOSPC) ? -1 : syscall(SYS_write, file, data, size);
}

ssize_t writev(int file, const struct iovec* parts, int count) {
  return fails("write", ENOSPC) ? -1 : syscall(SYS_writev, file, parts, count);
}

ssize_t read(int file, void* data, size_t size) {
  return fails("read", EIO) ? -1 : syscall(SYS_read, file, data, size);
}

int openat(int folder, const char* name, int flags, ...) {
  va_list more;
  va_start(more, flags);
  const mode_t mode = va_arg(more, mode_t);
  va_end(more);
  return fails("open", EMFILE) ? -1 : (int)syscall(SYS_openat, folder, name, flags, mode);
}

int open(const char* name, int flags, ...) {
  va_list more;
  va_start(more, flags);
  const mode_t mode = va_arg(more, mode_t);
  va_end(more);
  return fails("open", EMFILE) ? -1 : (int)syscall(SYS_openat, AT_FDCWD, name, flags, mode);
}

static int hides(const char* name) {
  return getenv("VORLAN_IDLE_MACHINE") != NULL && strcmp(name, "/proc/loadavg") == 0;
}

FILE* fopen64(const char* name, const char* mode) {
  if (hides(name)) return NULL;
  return fails("open", EMFILE) ? NULL : NEXT(fopen64)(name, mode);
}

FILE* fopen(const char* name, const char* mode) {
  if (hides(name)) return NULL;
  return fails("open", EMFILE) ? NULL : NEXT(fopen)(name, mode);
}

pid_t fork(void) {
  if (fails("fork", EAGAIN)) return -1;
  atomic_fetch_add(&num_forks, 1);
  return NEXT(fork)();
}

int renameat(int from_folder, const char* from, int folder, const char* to) {
  if (fails("rename", EIO)) return -1;
  return (int)syscall(SYS_renameat, from_folder, from, folder, to);
}

int linkat(int from_folder, const char* from, int folder, const char* to, int flags) {
  if (fails("rename", EIO)) return -1;
  return (int)syscall(SYS_linkat, from_folder, from, folder, to, flags);
}

int pipe2(int ends[2], int flags) {
  return fails("pipe", EMFILE) ? -1 : (int)syscall(SYS_pipe2, ends, flags);
}

int poll(struct pollfd* files, nfds_t count, int milliseconds) {
  return fails("poll", ENOMEM) ? -1 : NEXT(poll)(files, count, milliseconds);
}
