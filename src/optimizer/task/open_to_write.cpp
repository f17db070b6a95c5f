// Opening for writing; see open_to_write.h. A blocking open of a FIFO is interrupted by signals at
// most, which the handler of a signal that came a moment earlier cannot bring about: so it is tried
// again and again.
#include "task/open_to_write.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace vorlan {
namespace {

constexpr useconds_t kPauseMicroseconds = 5000;

bool is_fifo(int folder, const char* name) {
  struct stat info = {};
  return ::fstatat(folder, name, &info, 0) == 0 && S_ISFIFO(info.st_mode);
}

int open_uninterrupted(int folder, const char* name, int flags, mode_t mode) {
  int opened = -1;
  do {
    opened = ::openat(folder, name, flags, mode);
  } while (opened < 0 && errno == EINTR);
  return opened;
}

}  // namespace

int open_to_write(int folder, const char* name, int flags, mode_t mode,
                  const StopQuestion& asks_to_stop) {
  if (!asks_to_stop || !is_fifo(folder, name)) {
    return open_uninterrupted(folder, name, flags, mode);
  }
  while (true) {
    const int opened = open_uninterrupted(folder, name, flags | O_NONBLOCK, mode);
    if (opened >= 0 || errno != ENXIO) return opened;
    if (asks_to_stop()) {
      errno = ENXIO;
      return -1;
    }
    ::usleep(kPauseMicroseconds);
  }
}

}  // namespace vorlan
