// recorded.cpp - a forked child that records, and what it leaves.
#include "recorded.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace recording {
namespace {

namespace fs = std::filesystem;

[[noreturn]] void become_recorder(const fs::path& folder, const std::string& forward,
                                  const std::function<int()>& body) {
  setenv("VORLAN_RECORDING", (folder / "trace").c_str(), 1);
  setenv("VORLAN_SCRIPT", (folder / "script").c_str(), 1);
  setenv("VORLAN_FORWARD", forward.c_str(), 1);
  _exit(body());
}

}  // namespace

std::string read_whole_file(const fs::path& name) {
  std::ifstream file(name, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(file), {});
}

Recorded record(const std::string& script, const std::string& forward,
                const std::function<int()>& body) {
  std::string folder = (fs::temp_directory_path() / "vorlan-recording-XXXXXX").string();
  if (mkdtemp(folder.data()) == nullptr) throw std::runtime_error("no temporary folder");
  std::ofstream(fs::path(folder) / "script") << script;
  const pid_t child = fork();
  if (child == 0) become_recorder(folder, forward, body);
  Recorded result;
  waitpid(child, &result.status, 0);
  result.trace = read_whole_file(fs::path(folder) / "trace");
  fs::remove_all(folder);
  return result;
}

}  // namespace recording
