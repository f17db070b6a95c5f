// One run of a worker on a job: its folder, the command line that it is given, and what its files
// say afterwards. The server knows nothing else of a worker: neither its exit status, which is lost
// when the server falls, nor the content of its solutions.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace vorlan::server {

// Files of an attempt's folder. A lock on kLockFile lasts as long as the worker or a process that
// it started lives: the worker inherits it, and no later server can mistake another process for it.
inline constexpr const char* kLockFile = "lock";
inline constexpr const char* kPidFile = "pid";
inline constexpr const char* kStartedFile = "started";  // written right before the solve
inline constexpr const char* kLogFile = "log";
inline constexpr const char* kSolveLogFile = "solve.log";
inline constexpr const char* kErrorFile = "stderr";  // what the program says beside its log
// Why a runner could not run the worker to its end, in words.
inline constexpr const char* kFailureFile = "failure";

// Settings that a worker is told beside the problem. 0 is no limit, and for threads the library's
// own choice.
struct WorkerSettings {
  double time_limit = 0.0;
  long max_variables = 0;
  long max_constraints = 0;
  long threads = 0;
  double memory_mib = 0.0;
};

// The words after the program's name, for a worker whose folder is the attempt's. The machine's
// parameters come after the reading, so that the problem file cannot choose them.
std::vector<std::string> worker_arguments(const std::string& problem,
                                          const WorkerSettings& settings);

// Files that a submitter may fetch, by the names that the interface gives them, which are the names
// in the folder.
struct FetchedFile {
  const char* name;
  const char* content_type;
};
const std::vector<FetchedFile>& fetched_files();

// How an attempt ended, by its files. Call only when its lock is free.
struct Verdict {
  // Never began: the server fell between the decision to start and the worker's first breath.
  bool began = false;
  // The worker did all its commands, or said itself why it could not.
  bool finished = false;
  // It did all its commands.
  bool did_all = false;
  // A file is there, but the disk does not give it: what the rest says is not to be believed.
  bool unreadable = false;
  // The solve was skipped or never reached, because the worker had been asked to stop.
  bool without_result = false;
  std::string response, termination, message;
  std::string failure;   // the runner's; empty where there was none
  std::string progress;  // the last of the log, a JSON object; empty where there was none
  double solve_began = 0.0;
};
Verdict judge_attempt(const std::string& folder);

}  // namespace vorlan::server
