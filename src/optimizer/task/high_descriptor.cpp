// Closing descriptors, and copying them upwards; see high_descriptor.h.
#include "task/high_descriptor.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

namespace vorlan {

Descriptor& Descriptor::operator=(Descriptor&& other) noexcept {
  if (this != &other) {
    close();
    number_ = other.release();
  }
  return *this;
}

int Descriptor::release() {
  const int number = number_;
  number_ = -1;
  return number;
}

int Descriptor::close() {
  if (number_ < 0) return 0;
  // Linux frees the number even when close is interrupted: it must not be called again.
  const bool failed = ::close(release()) != 0 && errno != EINTR;
  return failed ? errno : 0;
}

int copy_above_standard(int descriptor) {
  return ::fcntl(descriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
}

int above_standard(int descriptor) {
  if (descriptor < 0 || descriptor > STDERR_FILENO) return descriptor;
  const int copy = copy_above_standard(descriptor);
  const int error = errno;
  ::close(descriptor);
  errno = error;
  return copy;
}

}  // namespace vorlan
