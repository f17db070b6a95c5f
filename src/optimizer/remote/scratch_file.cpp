// Linux makes files without names (O_TMPFILE). On file systems that do not, the file is made with a
// name, which is removed at once.
#include "remote/scratch_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "task/high_descriptor.h"
#include "task/text.h"

namespace vorlan {
namespace {

// On file systems that know no files without names.
int open_and_unlink(std::string folder) {
  std::string name = std::move(folder) + "/vorlan-XXXXXX";
  const int descriptor = mkostemp(name.data(), O_CLOEXEC);
  if (descriptor >= 0) unlink(name.c_str());
  return descriptor;
}

}  // namespace

Status ScratchFile::open() {
  const char* named = std::getenv("TMPDIR");
  const std::string folder = named != nullptr && named[0] != '\0' ? named : "/tmp";
  int descriptor = ::open(folder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600);
  if (descriptor < 0) descriptor = open_and_unlink(folder);
  file_ = Descriptor(above_standard(descriptor));
  if (file_.get() >= 0) return {};
  return {Code::kErrFileOpen, format_text("cannot make a temporary file in '%s': %s",
                                          folder.c_str(), std::strerror(errno))};
}

std::string ScratchFile::path() const { return format_text("/dev/fd/%d", file_.get()); }

void ScratchFile::rewind() const { lseek(file_.get(), 0, SEEK_SET); }

uint64_t ScratchFile::size() const {
  struct stat status = {};
  return fstat(file_.get(), &status) == 0 ? static_cast<uint64_t>(status.st_size) : 0;
}

}  // namespace vorlan
