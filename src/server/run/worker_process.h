// The last steps of a process that becomes a worker: into its folder, into its jail, and away from
// everything of the server's. Local workers take them after the fork; those of a cluster take them
// on their node, by `vorlanserver run-attempt`, which the cluster's script starts.
#pragma once

#include <string>
#include <vector>

#include "run/jail.h"

namespace vorlan::server {

// The words of a program as execve() wants them.
class WorkerWords {
 public:
  WorkerWords(const std::string& program, const std::vector<std::string>& words);
  WorkerWords(const WorkerWords&) = delete;
  WorkerWords& operator=(const WorkerWords&) = delete;

  char* const* pointers() { return pointers_.data(); }

 private:
  std::vector<std::string> words_;
  std::vector<char*> pointers_;
};

struct WorkerStart {
  const char* folder;
  int lock;         // inherited by the worker; -1: none
  int null_device;  // opened for reading
  int rules;        // of Jail::prepare(), or -1
};

// Becomes the worker, or returns after having written the reason to standard error. Only calls that
// are safe between fork and exec.
void become_worker(const WorkerStart& start, char* const* words, const Jail& jail);

// The words after "run-attempt": MODE MEMORY FOLDER PROGRAM WORD... Mode is that of --jail, memory
// the bytes of each process. The program runs if this is the first time that the attempt is begun;
// a cluster may start its script twice. Returns the exit status when it does not run.
int run_attempt_command(const std::vector<std::string>& words);

}  // namespace vorlan::server
