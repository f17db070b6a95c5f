// Folders under the system's folder for temporary files, made by mkdtemp.
#include "scratch_folder.h"

#include <stdlib.h>  // NOLINT(modernize-deprecated-headers): mkdtemp is POSIX

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <system_error>

namespace vorlan::test {

ScratchFolder::ScratchFolder()
    : path_((std::filesystem::temp_directory_path() / "vorlan-test-XXXXXX").string()) {
  if (::mkdtemp(path_.data()) == nullptr) throw std::runtime_error("cannot make " + path_);
  // Some tests read their files as another user.
  std::filesystem::permissions(path_, std::filesystem::perms(0755));
}

ScratchFolder::~ScratchFolder() {
  if (std::getenv("VORLAN_KEEP_SCRATCH") != nullptr) {
    std::fprintf(stderr, "kept: %s\n", path_.c_str());
    return;
  }
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

std::string ScratchFolder::path(std::string_view name) const {
  return path_ + "/" + std::string(name);
}

std::string ScratchFolder::write(std::string_view name, std::string_view content) const {
  // Some file systems bring a file that is overwritten to the disk at once. A new file waits.
  std::filesystem::remove(path(name));
  std::ofstream file(path(name), std::ios::binary);
  file << content;
  file.close();
  if (!file) throw std::runtime_error("cannot write " + path(name));
  return path(name);
}

std::string ScratchFolder::read(std::string_view name) const { return read_all(path(name)); }

std::vector<std::string> ScratchFolder::files() const {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(path_)) {
    names.push_back(entry.path().filename().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

std::string read_all(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

}  // namespace vorlan::test
