// Copying descriptors upwards; see high_descriptor.h.
#include "task/high_descriptor.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

namespace vorlan {

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
