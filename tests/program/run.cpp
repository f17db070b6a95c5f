// run.cpp - starts the program for a case: own folder, no core dump, no input, a time limit;
// collects everything that it leaves.
#include "run.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <sstream>
#include <stdexcept>
#include <thread>

#include "scratch_folder.h"

namespace program {
namespace {

namespace fs = std::filesystem;
using vorlan::test::read_all;
using vorlan::test::ScratchFolder;
using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds kTimeLimit{60};

std::string setting(const char* variable, const char* otherwise) {
  const char* value = std::getenv(variable);
  return value != nullptr && *value != '\0' ? value : otherwise;
}

// The program runs in the folder "run". The rest stands beside it.
struct RunFolder {
  RunFolder() { fs::create_directory(folder()); }

  fs::path folder() const { return scratch.path("run"); }
  fs::path beside(const char* name) const { return scratch.path(name); }

  ScratchFolder scratch;
};

void lay_out(const Case& what, const std::string& more_script, const RunFolder& place) {
  for (const std::string& folder : what.folders) fs::create_directories(place.folder() / folder);
  for (const auto& [name, text] : what.files) place.scratch.write("run/" + name, text);
  place.scratch.write("script", what.script + more_script);
}

void redirect(const fs::path& file, int flags, int descriptor) {
  const int opened = open(file.c_str(), flags, 0666);
  if (opened < 0 || dup2(opened, descriptor) < 0) _exit(98);
  close(opened);
}

[[noreturn]] void become_program(const Case& what, const RunFolder& place) {
  const rlimit no_core{0, 0};
  setrlimit(RLIMIT_CORE, &no_core);
  redirect("/dev/null", O_RDONLY, STDIN_FILENO);
  redirect(place.beside("stdout"), O_WRONLY | O_CREAT | O_APPEND, STDOUT_FILENO);
  redirect(place.beside("stderr"), O_WRONLY | O_CREAT | O_APPEND, STDERR_FILENO);
  const std::string executable = setting("VORLAN_PROGRAM", VORLAN_DEFAULT_PROGRAM);
  const std::string library = setting("VORLAN_RECORDING_LIBRARY", VORLAN_DEFAULT_RECORDING_LIBRARY);
  setenv("LD_LIBRARY_PATH", fs::path(library).parent_path().c_str(), 1);
  setenv("VORLAN_RECORDING", place.beside("trace").c_str(), 1);
  setenv("VORLAN_SCRIPT", place.beside("script").c_str(), 1);
  unsetenv("VORLAN_FORWARD");
  std::vector<char*> arguments = {const_cast<char*>("vorlancli")};
  for (const std::string& word : what.arguments)
    arguments.push_back(const_cast<char*>(word.c_str()));
  arguments.push_back(nullptr);
  if (chdir(place.folder().c_str()) != 0) _exit(98);
  execv(executable.c_str(), arguments.data());
  _exit(97);
}

// Waits for the end; sends the case's signal once its moment has come.
int wait_for_end(pid_t child, const Case& what, const RunFolder& place, bool& timed_out) {
  const Clock::time_point deadline = Clock::now() + kTimeLimit;
  bool sent = what.signal_to_send == 0;
  for (int status = 0;;) {
    if (waitpid(child, &status, WNOHANG) == child) return status;
    if (!sent && read_all(place.beside("trace")).find(what.signal_when) != std::string::npos) {
      kill(child, what.signal_to_send);
      sent = true;
    }
    if (Clock::now() > deadline && !timed_out) {
      timed_out = true;
      kill(child, SIGKILL);
    }
    std::this_thread::sleep_for(std::chrono::microseconds(500));
  }
}

std::vector<std::string> split_lines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

std::map<std::string, std::string> collect_files(const fs::path& folder) {
  std::map<std::string, std::string> files;
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(folder)) {
    if (!entry.is_regular_file()) continue;
    files[fs::relative(entry.path(), folder).string()] = read_all(entry.path());
  }
  return files;
}

Exit describe_exit(int status) {
  if (WIFSIGNALED(status)) return {0, WTERMSIG(status)};
  return {WEXITSTATUS(status), 0};
}

}  // namespace

Outcome run(const Case& what, const std::string& more_script) {
  const RunFolder place;
  lay_out(what, more_script, place);
  const pid_t child = fork();
  if (child < 0) throw std::runtime_error("fork failed");
  if (child == 0) become_program(what, place);
  Outcome outcome;
  outcome.pid = child;
  outcome.exit = describe_exit(wait_for_end(child, what, place, outcome.timed_out));
  outcome.standard_output = read_all(place.beside("stdout"));
  outcome.standard_error = read_all(place.beside("stderr"));
  outcome.trace = split_lines(read_all(place.beside("trace")));
  outcome.left = collect_files(place.folder());
  return outcome;
}

}  // namespace program
