// The place that a file is written to. A regular file is written beside its target, without a name
// where the file system can do that, and put into the target's place at the end: until then, and
// after any failure, an earlier file is whole. Symbolic links are followed and stay; the mode (for
// a new file: the umask) and the owner of the target are kept, hard links to it are not.
//
// What cannot be replaced is written directly: pipes, devices, open descriptors (/dev/stdout,
// /dev/fd/N), a file in a folder that we must not write to, a mount point, a file of an owner that
// we cannot give away to.
#pragma once

#include <sys/stat.h>

#include <string>

#include "file/descriptor_io.h"
#include "task/stop_question.h"

namespace vorlan {

class TargetFile {
 public:
  TargetFile() = default;
  ~TargetFile() { abandon(); }
  TargetFile(const TargetFile&) = delete;
  TargetFile& operator=(const TargetFile&) = delete;

  // Opens the place to write to; 0 or an error number. A FIFO waits for its reader until the question
  // says stop: the number is then ENXIO.
  int open(const char* filename, const StopQuestion& asks_to_stop = {});

  // The place to write at.
  int descriptor() const { return file_.get(); }

  // Makes what was written the target; 0 or an error number, after which nothing is left behind.
  int commit();

  // Drops what was written, as far as it was not written directly.
  void abandon();

 private:
  int find_target(const char* filename);
  bool is_replaceable(const struct stat& target) const;
  int open_beside(const struct stat* target);
  int create_beside(unsigned mode);
  int give_name();
  int open_direct();

  Descriptor folder_;  // of the target, with links resolved
  std::string name_;   // of the target in it
  StopQuestion asks_to_stop_;
  std::string temporary_;  // name of the new file in it, empty while it has none
  Descriptor file_;
  bool beside_ = false;
};

}  // namespace vorlan
