// Becoming a worker; see worker_process.h.
#include "run/worker_process.h"

#include <fcntl.h>
#include <linux/close_range.h>
#include <sys/file.h>
#include <unistd.h>

#include <charconv>
#include <csignal>
#include <cstdio>
#include <cstring>

#include "base/files.h"
#include "run/attempt.h"

namespace vorlan::server {
namespace {

constexpr int kCannotRun = 126;
constexpr int kBegunBefore = 75;

void tell(const char* reason) { (void)!write(2, reason, std::strlen(reason)); }

// The reason stays in the attempt's folder, where the server finds it.
int give_up(const std::string& folder, const std::string& reason) {
  std::fprintf(stderr, "vorlanserver: %s\n", reason.c_str());
  (void)write_file(folder + "/" + kFailureFile, reason);
  return kCannotRun;
}

// Makes the lock file, once for all machines that share the folder.
Descriptor begin_once(const std::string& folder) {
  const std::string path = folder + "/" + kLockFile;
  Descriptor lock(open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
  // The server may be looking at it at this moment. A shared folder without locks has none to give.
  if (lock.valid()) (void)flock(lock.get(), LOCK_EX);
  return lock;
}

}  // namespace

WorkerWords::WorkerWords(const std::string& program, const std::vector<std::string>& words)
    : words_(words) {
  words_.insert(words_.begin(), program);
  pointers_.reserve(words_.size() + 1);
  for (std::string& word : words_) pointers_.push_back(word.data());
  pointers_.push_back(nullptr);
}

void become_worker(const WorkerStart& start, char* const* words, const Jail& jail) {
  signal(SIGPIPE, SIG_DFL);
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
  if (chdir(start.folder) != 0) return tell("cannot enter the attempt's folder\n");
  const int errors = open(kErrorFile, O_WRONLY | O_CREAT | O_TRUNC, 0600);
  if (errors < 0) return tell("cannot write in the attempt's folder\n");
  if (dup2(start.null_device, 0) < 0 || dup2(errors, 1) < 0 || dup2(errors, 2) < 0) return;
  if (close_range(3, ~0U, CLOSE_RANGE_CLOEXEC) != 0) return;
  if (start.lock >= 0 && fcntl(start.lock, F_SETFD, 0) != 0) return;
  if (!jail.enter(start.rules)) return tell("cannot enter the jail\n");
  char path[] = "PATH=/usr/bin:/bin";
  char locale[] = "LC_ALL=C";
  char* environment[] = {path, locale, nullptr};
  execve(words[0], words, environment);
  tell("cannot run the worker's program\n");
}

int run_attempt_command(const std::vector<std::string>& words) {
  constexpr size_t kProgram = 3;
  if (words.size() <= kProgram) return kCannotRun;
  const std::string& folder = words[2];
  JailSettings settings;
  settings.enabled = words[0] != "no";
  std::from_chars(words[1].data(), words[1].data() + words[1].size(), settings.most_memory);
  const Descriptor lock = begin_once(folder);
  if (!lock.valid()) {
    std::fprintf(stderr, "vorlanserver: cannot begin the attempt: %s\n", system_error().c_str());
    return kBegunBefore;
  }
  const Jail jail(settings, words[kProgram]);
  if (words[0] == "must" && !jail.missing().empty()) {
    return give_up(folder, "this node has no " + jail.missing().front());
  }
  const Descriptor rules = jail.prepare(folder);
  if (jail.has_landlock() && !rules.valid()) {
    return give_up(folder, "cannot make the jail: " + system_error());
  }
  const Descriptor null_device = open_for_reading("/dev/null");
  WorkerWords all(words[kProgram], {words.begin() + kProgram + 1, words.end()});
  become_worker({folder.c_str(), lock.get(), null_device.get(), rules.get()}, all.pointers(), jail);
  return give_up(folder, "cannot become the worker: " + system_error());
}

}  // namespace vorlan::server
