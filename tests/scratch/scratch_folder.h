// A test that writes files has a folder of its own for them. Its name is new each time, so that tests
// of several users, clones or processes do not meet, and it is removed with the object. A person who
// wants to look at the files sets the environment variable VORLAN_KEEP_SCRATCH: the folder then
// stays, and standard error says where it is.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace vorlan::test {

class ScratchFolder {
 public:
  ScratchFolder();
  ~ScratchFolder();
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;

  const std::string& path() const { return path_; }
  std::string path(std::string_view name) const;
  std::string write(std::string_view name, std::string_view content) const;  // returns the path
  std::string read(std::string_view name) const;
  std::vector<std::string> files() const;  // sorted

 private:
  std::string path_;
};

// The file's content; an empty text when there is no such file.
std::string read_all(const std::filesystem::path& path);

}  // namespace vorlan::test
