// Starting, watching and ending of processes; see local_runner.h.
#include "run/local_runner.h"

#include <fcntl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cctype>
#include <charconv>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <filesystem>

#include "base/event_log.h"
#include "run/attempt.h"
#include "run/worker_process.h"

namespace vorlan::server {
namespace {

using namespace std::chrono_literals;

// Between two looks at what no descriptor tells: a lock that a dying child still holds, a process
// id that a worker has not written yet.
constexpr auto kLookAgain = 10ms;
// How often processes are counted. The system's own limit counts all of a user's, and none of
// root's.
constexpr auto kCountProcesses = 1s;
constexpr size_t kMostProcesses = 64;

int open_process(pid_t pid) { return static_cast<int>(syscall(SYS_pidfd_open, pid, 0)); }

void signal_process(int descriptor, int signal) {
  syscall(SYS_pidfd_send_signal, descriptor, signal, nullptr, 0);
}

pid_t read_pid(const std::string& folder) {
  const std::string text = read_start(folder + "/" + kPidFile, 32).value_or("");
  pid_t pid = -1;
  const char* end = text.data() + text.size();
  const auto [last, error] = std::from_chars(text.data(), end, pid);
  return error == std::errc() && last == end ? pid : -1;
}

// How many processes each session has, by the system's list.
std::map<pid_t, size_t> processes_by_session() {
  std::map<pid_t, size_t> counts;
  std::error_code ignored;
  for (const auto& entry : std::filesystem::directory_iterator("/proc", ignored)) {
    if (!std::isdigit(static_cast<unsigned char>(entry.path().filename().native().front())))
      continue;
    const std::string text = read_start(entry.path() / "stat", 1024).value_or("");
    // PID (NAME) STATE PARENT GROUP SESSION
    const size_t end_of_name = text.rfind(')');
    int session = 0;
    if (end_of_name == std::string::npos ||
        std::sscanf(text.c_str() + end_of_name + 1, " %*c %*d %*d %d", &session) != 1) {
      continue;
    }
    ++counts[session];
  }
  return counts;
}

// Runs in the child, between fork and exec.
[[noreturn]] void become_child(const WorkerStart& start, char* const* words, const Jail& jail) {
  setsid();
  become_worker(start, words, jail);
  _exit(126);
}

}  // namespace

struct LocalRunner::Worker {
  std::string job, folder;
  Over over;
  pid_t pid = -1;
  bool is_child = false;
  Descriptor process;  // a pidfd; not valid for an adopted worker that is on its way out
  Loop::Handle watched;
  Loop::Handle stopping;
};

LocalRunner::LocalRunner(Loop* loop, std::string program, const JailSettings& jail)
    : loop_(loop), program_(std::move(program)), jail_(jail, program_) {
  count_processes();
}
LocalRunner::~LocalRunner() = default;

LocalRunner::Worker* LocalRunner::find(const std::string& job) {
  const auto found = workers_.find(job);
  return found == workers_.end() ? nullptr : found->second.get();
}

std::string LocalRunner::start(const AttemptPlace& place, const WorkerSettings& /*settings*/,
                               const std::vector<std::string>& words, Over over) {
  const Descriptor lock = lock_file(place.folder + "/" + kLockFile);
  if (!lock.valid()) return "cannot lock the attempt's folder: " + system_error();
  const Descriptor rules = jail_.prepare(place.folder);
  if (jail_.has_landlock() && !rules.valid()) return "cannot make the jail: " + system_error();
  const Descriptor null_device = open_for_reading("/dev/null");
  WorkerWords all(program_, words);
  const pid_t pid = fork();
  if (pid == 0) {
    become_child({place.folder.c_str(), lock.get(), null_device.get(), rules.get()}, all.pointers(),
                 jail_);
  }
  if (pid < 0) return "cannot start a process: " + system_error();
  auto worker = std::make_unique<Worker>();
  worker->job = place.job;
  worker->folder = place.folder;
  worker->over = std::move(over);
  worker->pid = pid;
  worker->is_child = true;
  worker->process.reset(open_process(pid));
  watch(std::move(worker));
  return {};
}

// The id in the file is the worker's as long as the lock is held: so the descriptor of the process
// is taken first and the lock looked at afterwards.
bool LocalRunner::adopt(const AttemptPlace& place, Over over) {
  auto worker = std::make_unique<Worker>();
  worker->job = place.job;
  worker->folder = place.folder;
  worker->over = std::move(over);
  worker->pid = read_pid(place.folder);
  if (worker->pid > 0) worker->process.reset(open_process(worker->pid));
  if (!may_be_locked(place.folder + "/" + kLockFile)) return false;
  watch(std::move(worker));
  return true;
}

void LocalRunner::watch(std::unique_ptr<Worker> owned) {
  Worker* worker = owned.get();
  workers_[worker->job] = std::move(owned);
  if (!worker->process.valid()) {
    watch_lock(worker);
    return;
  }
  worker->watched =
      loop_->when_readable(worker->process.get(), [this, worker] { watch_lock(worker); });
}

void LocalRunner::watch_lock(Worker* worker) {
  worker->watched = loop_->after(0ms, [this, job = worker->job] { look(job); });
}

// The worker is gone or was never seen; a process that it left, which the system is ending, may
// still hold the lock.
void LocalRunner::look(const std::string& job) {
  Worker* worker = find(job);
  if (worker == nullptr) return;
  if (worker->is_child) end_child(worker);
  if (worker->is_child || may_be_locked(worker->folder + "/" + kLockFile)) {
    worker->watched = loop_->after(kLookAgain, [this, job] { look(job); });
    return;
  }
  const auto over = std::move(worker->over);
  workers_.erase(job);
  over(job);
}

// Ends what the worker left behind. It cannot leave the group, and while its end has not been taken
// note of, nobody else can have its number.
void LocalRunner::end_child(Worker* worker) {
  siginfo_t info{};
  if (waitid(P_PID, static_cast<id_t>(worker->pid), &info, WEXITED | WNOHANG | WNOWAIT) != 0 ||
      info.si_pid != worker->pid) {
    return;
  }
  ::kill(-worker->pid, SIGKILL);
  waitpid(worker->pid, nullptr, 0);
  worker->is_child = false;
}

void LocalRunner::count_processes() {
  count_timer_ = loop_->after(kCountProcesses, [this] { count_processes(); });
  if (workers_.empty()) return;
  const auto counts = processes_by_session();
  for (const auto& [job, worker] : workers_) {
    const auto found = counts.find(worker->pid);
    if (found == counts.end() || found->second <= kMostProcesses) continue;
    log_event("worker killed", {{"job", job}, {"processes", std::to_string(found->second)}});
    kill(job);
  }
}

void LocalRunner::stop(const std::string& job) {
  Worker* worker = find(job);
  if (worker != nullptr && worker->stopping == nullptr) try_stop(job);
}

// A worker obeys SIGTERM once it has written its process id; before that the signal would kill it.
void LocalRunner::try_stop(const std::string& job) {
  Worker* worker = find(job);
  if (worker == nullptr) return;
  const pid_t told = read_pid(worker->folder);
  if (told > 0 && !worker->process.valid()) {
    // Adopted before it had written its id.
    worker->process.reset(open_process(told));
    if (!is_locked(worker->folder + "/" + kLockFile)) return;
  }
  if (told > 0 && worker->process.valid()) {
    signal_process(worker->process.get(), SIGTERM);
    return;
  }
  worker->stopping = loop_->after(kLookAgain, [this, job] { try_stop(job); });
}

void LocalRunner::kill(const std::string& job) {
  Worker* worker = find(job);
  if (worker == nullptr) return;
  const pid_t pid = worker->pid > 0 ? worker->pid : read_pid(worker->folder);
  if (pid <= 0) {
    worker->stopping = loop_->after(kLookAgain, [this, job] { kill(job); });
    return;
  }
  // The worker leads a session and a process group of its own. While it is a child not waited for,
  // or its lock is held by its group, the number is nobody else's.
  if (!worker->is_child && !is_locked(worker->folder + "/" + kLockFile)) return;
  // A child that has no group yet is alone.
  if (::kill(-pid, SIGKILL) != 0 && worker->is_child) ::kill(pid, SIGKILL);
}

}  // namespace vorlan::server
