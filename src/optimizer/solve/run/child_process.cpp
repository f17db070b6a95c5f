// The life of a child process, on its own side and on its parent's.
//
// The child has a copy-on-write image of the model. It sends log text through a pipe, which is also
// its standard output and error, because backends print; everything else goes through shared
// memory. The parent waits on the pipe, hands log text on and keeps the callback's beat. To stop,
// it raises the shared stop word, which the backend's own callbacks obey, and after a grace it
// kills the child; the last point that it kept stands. A result is there when the shared memory
// says so: not by the child's exit status, which is lost where SIGCHLD is ignored.
//
// Other threads of the caller may fork at any moment. Their children have the pipe too, so that it
// may stay open after our child's end: the child's last word is a NUL, and where it died without
// one, its death is looked for at every beat. Between fork and exit the child takes no lock that
// another thread could have held, but those that the C library itself makes free in a child.
#include "solve/run/child_process.h"

#include <fcntl.h>
#include <poll.h>
#include <stdio_ext.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

#include "task/parameter_index.h"
#include "task/text.h"

namespace vorlan {
namespace {

// From the stop word to the kill. With the beat and the reaping it stays well below half a second,
// within which a stop is promised.
constexpr double kGraceSeconds = 0.25;
constexpr double kReapSeconds = 0.05;
constexpr useconds_t kReapPauseMicroseconds = 500;
// A child that has closed the pipe without an answer is about to die. Where it does not, it is
// killed.
constexpr double kDeathSeconds = 0.5;
// The pipe is given up after so many failures in a row, each of which costs a beat.
constexpr int kMostFailures = 100;
constexpr useconds_t kFailurePauseMicroseconds = 20000;
// The child's last word. No log text has it.
constexpr char kLastWord = '\0';
// A point costs something to make and to copy: no more often than that.
constexpr double kPointSeconds = 0.1;
// The child waits no longer than this for room in the pipe before it drops log text.
constexpr int kLogPatienceMilliseconds = 200;
// From here on a memory limit would overflow and is none.
constexpr double kUnlimitedMebibytes = 0x1p43;

Status system_failure(const char* what) {
  return {Code::kErrProcess, format_text("%s: %s", what, std::strerror(errno))};
}

// Blocks all signals of the thread for its lifetime.
class SignalBlock {
 public:
  SignalBlock() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &earlier_);
  }
  ~SignalBlock() { pthread_sigmask(SIG_SETMASK, &earlier_, nullptr); }
  SignalBlock(const SignalBlock&) = delete;
  SignalBlock& operator=(const SignalBlock&) = delete;

 private:
  sigset_t earlier_;
};

// ---- The child ------------------------------------------------------------------------------

class ChildMonitor : public BackendMonitor {
 public:
  ChildMonitor(SharedResult* shared, int pipe) : shared_(shared), pipe_(pipe) {}

  void log(std::string_view text) override {
    while (!text.empty()) {
      const ssize_t written = ::write(pipe_, text.data(), text.size());
      if (written >= 0) {
        text_written_ += static_cast<uint64_t>(written);
        text.remove_prefix(static_cast<size_t>(written));
        continue;
      }
      if (errno == EINTR) continue;
      pollfd room = {pipe_, POLLOUT, 0};
      if (errno != EAGAIN || ::poll(&room, 1, kLogPatienceMilliseconds) <= 0) return;
    }
  }

  bool should_stop(const Progress& progress) override {
    shared_->publish(progress);
    return shared_->stop_asked();
  }

  void milestone(const Progress& progress, std::string_view origin) override {
    Milestone milestone;
    milestone.progress = progress;
    milestone.time = monotonic_seconds();
    milestone.text_before = text_written_;
    origin.copy(milestone.origin, sizeof milestone.origin - 1);
    // Who sees the figures finds the milestone, too.
    shared_->add_milestone(milestone);
    shared_->publish(progress);
  }

  void incumbent(std::span<const double> x, std::span<const double> barx) override {
    BackendResult point;
    point.x.assign(x.begin(), x.end());
    point.barx.assign(barx.begin(), barx.end());
    keep(point, kInfinity);
  }

  bool wants_point() override { return monotonic_seconds() - last_point_ >= kPointSeconds; }

  void keep(const BackendResult& point, double primal_violation) override {
    shared_->keep(point, primal_violation);
    last_point_ = monotonic_seconds();
  }

  void keep_answer(const Answer& answer) override { shared_->keep_answer(answer); }

 private:
  SharedResult* shared_;
  int pipe_;
  uint64_t text_written_ = 0;  // bytes; those that a full pipe dropped do not count
  double last_point_ = -kInfinity;
};

// The parent decides about stopping; the child must not outlive it.
void settle_as_child(pid_t parent, int pipe) {
  for (const int number : {SIGTERM, SIGINT, SIGHUP, SIGPIPE, SIGXFSZ}) std::signal(number, SIG_IGN);
  // The caller's pending text is the caller's to write.
  __fpurge(stdout);
  __fpurge(stderr);
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (getppid() != parent) _exit(EXIT_FAILURE);
  fcntl(pipe, F_SETFL, O_NONBLOCK);
  dup2(pipe, STDOUT_FILENO);
#ifndef __SANITIZE_ADDRESS__  // a sanitizer's report must not end in a log that nobody reads
  dup2(pipe, STDERR_FILENO);
#endif
}

// Memory that the process has for its data now, in bytes; 0 when the system does not tell.
uint64_t data_size() {
  const int file = ::open("/proc/self/statm", O_RDONLY | O_CLOEXEC);
  if (file < 0) return 0;
  char text[256] = "";
  const ssize_t length = ::read(file, text, sizeof text - 1);
  ::close(file);
  unsigned long long pages = 0;
  if (length <= 0 || std::sscanf(text, "%*u %*u %*u %*u %*u %llu", &pages) != 1) return 0;
  return pages * static_cast<uint64_t>(::sysconf(_SC_PAGESIZE));
}

// Of the child alone, for a handler that takes no argument.
SharedResult* g_exhausted_memory_of = nullptr;

void on_exhausted_memory() {
  g_exhausted_memory_of->note_memory_exhausted();
  throw std::bad_alloc();
}

// Whoever runs out of memory, and whatever becomes of the exception: the parent knows it.
void limit_memory(const Parameters& parameters, SharedResult* shared) {
  g_exhausted_memory_of = shared;
  std::set_new_handler(on_exhausted_memory);
  const double mebibytes = parameters.get(DoubleParam::kMemoryLimit);
  if (mebibytes >= kUnlimitedMebibytes) return;
  rlimit limit{};
  if (::getrlimit(RLIMIT_DATA, &limit) != 0) return;
  const uint64_t bytes = data_size() + static_cast<uint64_t>(mebibytes * 0x1p20);
  limit.rlim_cur = std::min<rlim_t>(limit.rlim_max, bytes);
  ::setrlimit(RLIMIT_DATA, &limit);
}

[[noreturn]] void live_as_child(const Work& work, const Parameters& parameters, double seconds,
                                int pipe, SharedResult* shared) {
  ChildMonitor monitor(shared, pipe);
  limit_memory(parameters, shared);
  try {
    Answer answer;
    const Status status = work(parameters, seconds, &monitor, &answer);
    shared->finish(status, answer);
  } catch (const std::bad_alloc&) {
    shared->note_memory_exhausted();
    shared->finish({Code::kErrMemory, ""}, {});
  } catch (const std::exception& e) {
    shared->finish({Code::kErrOptimizer, format_text("the optimizer failed: %s", e.what())}, {});
  } catch (...) {
    shared->finish({Code::kErrOptimizer, "the optimizer failed: unknown exception"}, {});
  }
  std::fflush(stdout);
  // Giving back a large memory comes first in an exit. The parent need not wait for that.
  monitor.log({&kLastWord, 1});
  for (const int number : {pipe, STDOUT_FILENO}) ::close(number);
#ifndef __SANITIZE_ADDRESS__
  ::close(STDERR_FILENO);
#endif
  _exit(EXIT_SUCCESS);
}

// ---- The parent -----------------------------------------------------------------------------

// The two ends of a child's pipe; false when the system has none.
bool make_pipe(Descriptor* read_end, Descriptor* write_end) {
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC) != 0) return false;
  // The child's standard output and error are replaced by copies of it.
  *read_end = Descriptor(above_standard(ends[0]));
  *write_end = Descriptor(above_standard(ends[1]));
  if (!read_end->is_open() || !write_end->is_open()) return false;
  return ::fcntl(read_end->get(), F_SETFL, O_NONBLOCK) == 0;
}

// Waits for a child that is about to end; 0 when it is not gone after the seconds for it.
pid_t reap(pid_t pid, double seconds, int* exit_status) {
  const double start = monotonic_seconds();
  while (true) {
    const pid_t result = ::waitpid(pid, exit_status, WNOHANG);
    if (result > 0 || (result < 0 && errno == ECHILD)) return result;
    if (monotonic_seconds() - start > seconds) return 0;
    usleep(kReapPauseMicroseconds);
  }
}

Status describe_death(int exit_status, bool known) {
  std::string how = "for an unknown reason";
  if (known && WIFSIGNALED(exit_status)) {
    how = format_text("by signal %d (%s)", WTERMSIG(exit_status), strsignal(WTERMSIG(exit_status)));
  } else if (known && WIFEXITED(exit_status)) {
    how = format_text("with exit status %d", WEXITSTATUS(exit_status));
  }
#ifdef __SANITIZE_ADDRESS__
  // Only a test kills a child from outside; any other death is a defect that must not hide.
  const bool from_outside = known && WIFSIGNALED(exit_status) && WTERMSIG(exit_status) == SIGKILL;
  if (!from_outside) std::abort();
#endif
  return {Code::kErrOptimizerDied,
          format_text("the process that ran the optimizer ended %s", how.c_str())};
}

Status describe_exhaustion(const Parameters& parameters) {
  const double mebibytes = parameters.get(DoubleParam::kMemoryLimit);
  if (mebibytes >= kUnlimitedMebibytes) {
    return {Code::kErrMemory, "the optimizer ran out of memory"};
  }
  return {Code::kErrMemory,
          format_text("the optimizer needs more than the %g MiB of memory that it may take",
                      mebibytes)};
}

// What a child leaves that was killed because it did not stop in time. On a busy machine that may
// come before its first step: the point that the answer brings stands then.
void take_last_point(const SharedResult& shared, Code reason, Answer* answer) {
  Answer last;
  shared.last_point(&last.result, &last.verdict.residuals.primal);
  if (last.result.x.empty() && last.result.barx.empty()) {
    last.result = std::move(answer->result);
    last.verdict.residuals.primal = kInfinity;
  }
  *answer = std::move(last);
  answer->result.outcome = Outcome::kStopped;
  answer->result.termination = reason;
  answer->result.progress = shared.progress();
}

}  // namespace

Status ChildProcess::start(const Work& work, const Parameters& parameters,
                           const Listener& listener) {
  if (!shared_.mapped()) return system_failure("no shared memory for the optimizer");
  Descriptor write_end;
  if (!make_pipe(&read_end_, &write_end)) return system_failure("no pipe for the optimizer");
  if (listener.stopped()) shared_.ask_to_stop();
  const pid_t parent = getpid();
  {
    const SignalBlock block;
    pid_ = ::fork();
    if (pid_ == 0) settle_as_child(parent, write_end.get());
  }
  if (pid_ < 0) return system_failure("no process for the optimizer");
  if (pid_ == 0) {
    live_as_child(work, parameters, listener.remaining(), write_end.get(), &shared_);
  }
  return {};
}

ChildProcess::~ChildProcess() {
  if (pid_ <= 0 || is_left_) return;
  ::kill(pid_, SIGKILL);
  int exit_status = 0;
  reap(pid_, kDeathSeconds, &exit_status);
}

void ChildProcess::look(Pipe state) {
  if (state == Pipe::kBroken) return bear_failure();
  if (state == Pipe::kReadable) {
    read_text();
    return;
  }
  if (!shared_.complete() && !is_dead()) return;
  // What it wrote since the pipe was looked at is its, too.
  while (!ended_ && read_text()) continue;
  ended_ = true;
}

// The pipe does not block. A full one is emptied.
bool ChildProcess::read_text() {
  char buffer[65536];
  const ssize_t length = ::read(pipe(), buffer, sizeof buffer);
  if (length < 0 && errno == EAGAIN) return false;
  if (length < 0) {
    bear_failure();
    return false;
  }
  num_failures_ = 0;
  std::string_view text(buffer, static_cast<size_t>(length));
  ended_ = text.empty() || (text.back() == kLastWord && shared_.complete());
  if (!text.empty() && ended_) text.remove_suffix(1);
  text_ += text;
  return true;
}

void ChildProcess::fetch_milestone() {
  Milestone next;
  if (!milestone_ && shared_.take_milestone(&next)) milestone_ = next;
}

// A milestone is there before the text behind it is, so that none is missed.
void ChildProcess::tell_text(const LogText& log) {
  fetch_milestone();
  size_t length = text_.size();
  if (milestone_) {
    const uint64_t before = std::max(milestone_->text_before, text_told_);
    length = std::min<uint64_t>(length, before - text_told_);
  }
  pass_lines(std::string_view(text_).substr(0, length), log);
  text_.erase(0, length);
  text_told_ += length;
}

// Of a child that is over no more text is read.
const Milestone* ChildProcess::next_milestone() {
  fetch_milestone();
  if (!milestone_ || (milestone_->text_before > text_told_ && !is_over())) return nullptr;
  return &*milestone_;
}

// Hands on whole lines; the rest waits for its end.
void ChildProcess::pass_lines(std::string_view text, const LogText& log) {
  line_ += text;
  const size_t end = line_.rfind('\n');
  if (end == std::string::npos) return;
  log(std::string_view(line_).substr(0, end + 1));
  line_.erase(0, end + 1);
}

// The child stays to be reaped. Where SIGCHLD is ignored, the system has done that.
bool ChildProcess::is_dead() const {
  siginfo_t child = {};
  const int result = ::waitid(P_PID, static_cast<id_t>(pid_), &child, WEXITED | WNOHANG | WNOWAIT);
  return result == 0 ? child.si_pid == pid_ : errno == ECHILD;
}

// Without the pipe the beat goes on for a while; then the child is deaf and dumb to us.
void ChildProcess::bear_failure() {
  if (++num_failures_ >= kMostFailures) ended_ = true;
  ::usleep(kFailurePauseMicroseconds);
}

void ChildProcess::stop() {
  const double now = monotonic_seconds();
  if (stop_time_ < 0.0) {
    stop_time_ = now;
    shared_.ask_to_stop();
  } else if (now - stop_time_ > kGraceSeconds) {
    kill();
  }
}

void ChildProcess::kill() {
  ::kill(pid_, SIGKILL);
  killed_ = true;
}

Status ChildProcess::leave(Task* task) {
  is_left_ = true;
  const bool dies = !killed_ && !shared_.has_answer();
  int exit_status = 0;
  const pid_t reaped = reap(pid_, dies ? kDeathSeconds : kReapSeconds, &exit_status);
  if (reaped == 0) {
    ::kill(pid_, SIGKILL);  // it has nothing more to say
    task->killed_children.add(pid_);
  }
  if (!dies) return {};
  if (shared_.memory_exhausted()) return describe_exhaustion(task->parameters);
  return describe_death(exit_status, reaped == pid_);
}

bool ChildProcess::last_point(BackendResult* point, double* primal_violation) const {
  shared_.last_point(point, primal_violation);
  return !point->x.empty() || !point->barx.empty();
}

Status ChildProcess::take_answer(const Task& task, const Listener& listener, Answer* answer) const {
  if (!shared_.has_answer()) {
    take_last_point(shared_, listener.stop_reason(), answer);
    return {};
  }
  *answer = {};
  Status status = shared_.take(answer);
  if (!status.ok() && shared_.memory_exhausted()) return describe_exhaustion(task.parameters);
  if (status.ok()) listener.explain_stop(&answer->result);
  return status;
}

}  // namespace vorlan
