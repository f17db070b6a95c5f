// System calls on descriptors, carried through to the end; see descriptor_io.h.
#include "file/descriptor_io.h"

#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <string>

#include "file/numbers.h"
#include "task/text.h"
#include "task/write_signals.h"

namespace vorlan {
namespace {

// Larger requests are cut by the kernel anyway (to 0x7ffff000 bytes).
constexpr size_t kLargestTransfer = size_t{1} << 30;

// Tells whether a call failed only so that it is to be made again, and waits where that helps.
bool try_again(int descriptor, short event) {
  if (errno == EINTR) return true;
  if (errno != EAGAIN && errno != EWOULDBLOCK) return false;
  pollfd waited{descriptor, event, 0};
  return ::poll(&waited, 1, -1) >= 0 || errno == EINTR;
}

constexpr int kLookMilliseconds = 10;

bool is_regular(int descriptor) {
  struct stat info = {};
  return ::fstat(descriptor, &info) == 0 && S_ISREG(info.st_mode);
}

// False when there is no room and no time left to wait for it.
bool await_room(int descriptor, const StopQuestion& asks_to_stop, int patience_milliseconds) {
  while (patience_milliseconds > 0) {
    pollfd room = {descriptor, POLLOUT, 0};
    const int ready = ::poll(&room, 1, kLookMilliseconds);
    if (ready > 0 || (ready < 0 && errno != EINTR)) return true;
    if (asks_to_stop()) patience_milliseconds -= kLookMilliseconds;
  }
  return false;
}

}  // namespace

ssize_t read_some(int descriptor, char* buffer, size_t size) {
  ssize_t count = -1;
  do {
    count = ::read(descriptor, buffer, std::min(size, kLargestTransfer));
  } while (count < 0 && try_again(descriptor, POLLIN));
  return count;
}

int write_all(int descriptor, std::string_view bytes) {
  const WriteSignals signals;
  while (!bytes.empty()) {
    const ssize_t count =
        ::write(descriptor, bytes.data(), std::min(bytes.size(), kLargestTransfer));
    if (count < 0) {
      if (try_again(descriptor, POLLOUT)) continue;
      const int error = errno;
      signals.discard_raised();
      return error;
    }
    bytes.remove_prefix(static_cast<size_t>(count));
  }
  return 0;
}

int write_all(int descriptor, std::string_view bytes, const StopQuestion& asks_to_stop,
              int patience_milliseconds) {
  if (!asks_to_stop || is_regular(descriptor)) return write_all(descriptor, bytes);
  while (!bytes.empty()) {
    if (!await_room(descriptor, asks_to_stop, patience_milliseconds)) return EAGAIN;
    // A pipe with room takes a piece of this size without blocking.
    const std::string_view piece = bytes.substr(0, PIPE_BUF);
    const int error = write_all(descriptor, piece);
    if (error != 0) return error;
    bytes.remove_prefix(piece.size());
  }
  return 0;
}

int descriptor_in_folder(int folder, std::string_view name) {
  int32_t number = -1;
  if (!parse_int32(name, &number) || number < 0) return -1;
  std::array<char, 64> path = {};
  const std::string link = format_text("/proc/self/fd/%d", folder);
  if (::readlink(link.c_str(), path.data(), path.size() - 1) < 0) return -1;
  return path.data() == format_text("/proc/%d/fd", static_cast<int>(::getpid())) ? number : -1;
}

}  // namespace vorlan
