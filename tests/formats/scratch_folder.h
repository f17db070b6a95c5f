// A folder of its own for a test, and files in it as whole strings.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "file/compression.h"
#include "task/status.h"

namespace vorlan::test {

class ScratchFolder {
 public:
  ScratchFolder();
  ~ScratchFolder();
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;

  std::string path(std::string_view name) const;
  std::string write(std::string_view name, std::string_view content) const;  // returns the path
  std::vector<std::string> files() const;                                    // sorted

 private:
  std::string path_;
};

std::string read_all(const std::string& path);

// What an InputStream gives for the file, in reads of this size.
Status read_input(const std::string& path, std::string* content, size_t piece = 4096);

// The content as a compressed file has it.
std::string encoded(std::string_view content, Compression compression);

// Bytes without structure, the same for the same seed.
std::string random_bytes(size_t count, uint32_t seed = 1);

// Runs the function in a child process; its exit status, or 1000 plus the signal that ended it.
int in_child(const std::function<int()>& function);

}  // namespace vorlan::test
