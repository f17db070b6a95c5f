// Runs programs beside the event loop and gives back what they print. A program that does not end
// in its time is killed: the commands of a cluster wait without end for a controller that is away.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "base/files.h"
#include "base/loop.h"

namespace vorlan::server {

struct CommandResult {
  int status = -1;  // the exit status; -1 when it was killed or could not be started
  bool timed_out = false;
  std::string output, errors;

  bool ok() const { return status == 0; }
};

class CommandQueue {
 public:
  // At most `most` programs run at a time; the others wait for their turn.
  CommandQueue(Loop* loop, size_t most);
  // Kills what runs; nothing is called any more.
  ~CommandQueue();
  CommandQueue(const CommandQueue&) = delete;
  CommandQueue& operator=(const CommandQueue&) = delete;

  // The first word is looked for as a shell would. `done` is called in the loop, never at once.
  using Done = std::function<void(const CommandResult&)>;
  void run(std::vector<std::string> words, std::chrono::milliseconds patience, Done done);

 private:
  struct Command;

  void start_waiting();
  bool start(uint64_t number, Command* command);
  void read_more(uint64_t number);
  void end(uint64_t number);

  Loop* loop_;
  size_t most_;
  std::deque<std::unique_ptr<Command>> waiting_;
  // Commands by numbers that are never used again: a watch that has fired may be told after its
  // command's end.
  std::map<uint64_t, std::unique_ptr<Command>> running_;
  uint64_t last_number_ = 0;
};

}  // namespace vorlan::server
