// A file without a name, in the system's folder for temporary files (TMPDIR): nothing is left of it
// however the process ends.
#pragma once

#include <cstdint>
#include <string>

#include "file/descriptor_io.h"
#include "task/status.h"

namespace vorlan {

class ScratchFile {
 public:
  Status open();

  int get() const { return file_.get(); }
  // The file can be opened again by this path.
  std::string path() const;
  void rewind() const;
  uint64_t size() const;

 private:
  Descriptor file_;
};

}  // namespace vorlan
