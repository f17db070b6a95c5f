// Starting, reading and ending of programs; see command_queue.h.
#include "run/command_queue.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

namespace vorlan::server {
namespace {

// The list of a cluster with a hundred thousand jobs fits.
constexpr size_t kMostOutput = size_t{32} << 20;

struct Pipe {
  Descriptor reading, writing;
};

bool open_pipe(Pipe* made) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return false;
  made->reading.reset(ends[0]);
  made->writing.reset(ends[1]);
  return fcntl(ends[0], F_SETFL, O_NONBLOCK) == 0;
}

// Everything that is there by now. What is beyond the most is dropped.
void drain(const Descriptor& from, std::string* text) {
  char bytes[16384];
  while (true) {
    const ssize_t got = read(from.get(), bytes, sizeof bytes);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) return;
    if (text->size() < kMostOutput) text->append(bytes, static_cast<size_t>(got));
  }
}

// A group of its own, so that all of it can be killed. The server's ignored signals are not its.
pid_t spawn(const std::vector<std::string>& words, int output, int errors) {
  std::vector<char*> pointers;
  pointers.reserve(words.size() + 1);
  for (const std::string& word : words) pointers.push_back(const_cast<char*>(word.c_str()));
  pointers.push_back(nullptr);
  posix_spawn_file_actions_t files;
  posix_spawnattr_t attributes;
  posix_spawn_file_actions_init(&files);
  posix_spawnattr_init(&attributes);
  posix_spawn_file_actions_addopen(&files, 0, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_adddup2(&files, output, 1);
  posix_spawn_file_actions_adddup2(&files, errors, 2);
  sigset_t usual;
  sigemptyset(&usual);
  posix_spawnattr_setsigmask(&attributes, &usual);
  sigaddset(&usual, SIGPIPE);
  posix_spawnattr_setsigdefault(&attributes, &usual);
  posix_spawnattr_setpgroup(&attributes, 0);
  posix_spawnattr_setflags(&attributes,
                           POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETPGROUP);
  pid_t pid = -1;
  if (posix_spawnp(&pid, pointers[0], &files, &attributes, pointers.data(), environ) != 0) pid = -1;
  posix_spawn_file_actions_destroy(&files);
  posix_spawnattr_destroy(&attributes);
  return pid;
}

}  // namespace

struct CommandQueue::Command {
  std::vector<std::string> words;
  std::chrono::milliseconds patience{};
  Done done;
  CommandResult result;
  pid_t pid = -1;
  Descriptor process, output, errors;
  Loop::Handle output_watch, end_watch, limit;
};

CommandQueue::CommandQueue(Loop* loop, size_t most) : loop_(loop), most_(most) {}

CommandQueue::~CommandQueue() {
  for (const auto& [number, command] : running_) {
    if (command->pid <= 0) continue;
    kill(-command->pid, SIGKILL);
    waitpid(command->pid, nullptr, 0);
  }
}

void CommandQueue::run(std::vector<std::string> words, std::chrono::milliseconds patience,
                       Done done) {
  auto command = std::make_unique<Command>();
  command->words = std::move(words);
  command->patience = patience;
  command->done = std::move(done);
  waiting_.push_back(std::move(command));
  start_waiting();
}

void CommandQueue::start_waiting() {
  while (!waiting_.empty() && running_.size() < most_) {
    const uint64_t number = ++last_number_;
    Command* command = (running_[number] = std::move(waiting_.front())).get();
    waiting_.pop_front();
    if (start(number, command)) continue;
    command->result.errors = "cannot run " + command->words[0] + ": " + system_error();
    command->limit = loop_->after(std::chrono::milliseconds(0), [this, number] { end(number); });
  }
}

bool CommandQueue::start(uint64_t number, Command* command) {
  Pipe output, errors;
  if (!open_pipe(&output) || !open_pipe(&errors)) return false;
  command->pid = spawn(command->words, output.writing.get(), errors.writing.get());
  if (command->pid < 0) return false;
  command->process.reset(static_cast<int>(syscall(SYS_pidfd_open, command->pid, 0)));
  command->output = std::move(output.reading);
  command->errors = std::move(errors.reading);
  command->limit = loop_->after(command->patience, [this, number] {
    const auto found = running_.find(number);
    if (found == running_.end()) return;
    found->second->result.timed_out = true;
    kill(-found->second->pid, SIGKILL);
  });
  command->end_watch =
      loop_->when_readable(command->process.get(), [this, number] { end(number); });
  read_more(number);
  return true;
}

// A program whose output nobody reads would never end. Its errors are short enough for the pipe.
void CommandQueue::read_more(uint64_t number) {
  const auto found = running_.find(number);
  if (found == running_.end()) return;
  Command* command = found->second.get();
  // The loop watches a descriptor once.
  command->output_watch.reset();
  command->output_watch = loop_->when_readable(command->output.get(), [this, number, command] {
    if (!running_.contains(number)) return;
    const size_t before = command->result.output.size();
    drain(command->output, &command->result.output);
    if (command->result.output.size() != before) read_more(number);
  });
}

void CommandQueue::end(uint64_t number) {
  const auto node = running_.extract(number);
  if (node.empty()) return;
  Command* command = node.mapped().get();
  if (command->pid > 0) {
    int status = 0;
    waitpid(command->pid, &status, 0);
    if (WIFEXITED(status)) command->result.status = WEXITSTATUS(status);
    drain(command->output, &command->result.output);
    drain(command->errors, &command->result.errors);
  }
  command->done(command->result);
  start_waiting();
}

}  // namespace vorlan::server
