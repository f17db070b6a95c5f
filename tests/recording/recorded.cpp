// recorded.cpp - a forked child that records, and what it leaves.
#include "recorded.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

#include "scratch_folder.h"

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

Recorded record(const std::string& script, const std::string& forward,
                const std::function<int()>& body) {
  const vorlan::test::ScratchFolder folder;
  folder.write("script", script);
  const pid_t child = fork();
  if (child == 0) become_recorder(folder.path(), forward, body);
  Recorded result;
  waitpid(child, &result.status, 0);
  result.trace = folder.read("trace");
  return result;
}

}  // namespace recording
