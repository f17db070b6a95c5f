// A job: one problem file that a worker solves, and what became of it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace vorlan::server {

// A job is queued until a worker has it, and ends once. Starting is the time between the decision,
// which is on the disk first, and the worker's first breath.
enum class JobState { kQueued, kStarting, kRunning, kEnded };

// Ok: the worker did all its commands and the solve succeeded. Failed: there is a response code
// that says why not. Cancelled: nobody wanted a result any more. Lost: the worker died, twice.
enum class Outcome { kNone, kOk, kFailed, kCancelled, kLost };

// The wish that somebody has for a job that has not ended, in rising order: to have the results so
// far, to have none, and to have the job gone as well.
enum class Wish { kNone, kStop, kCancel, kDelete };

struct ResultFile {
  std::string name;
  uint64_t bytes = 0;
  std::string sha256;
};

struct Job {
  std::string id;       // sorts by the time of creation
  std::string owner;    // of the token that submitted it
  std::string token;    // the id of that token
  std::string key;      // the submitter's idempotency key, or empty
  std::string name;     // what the submitter calls it
  std::string problem;  // the problem's file name in the job's folder, of the server's making
  uint64_t bytes = 0;
  std::string sha256;
  int64_t priority = 0;
  double time_limit = 0.0;  // seconds for the solve; 0: none
  int64_t threads = 0;
  int64_t most_variables = 0;  // by the token's quota; 0: the server's limit alone

  JobState state = JobState::kQueued;
  Outcome outcome = Outcome::kNone;
  int64_t attempt = 0;
  Wish wish = Wish::kNone;
  std::string response, termination, message;
  double created = 0.0;
  double began = 0.0;  // the solve; 0: not yet
  double ended = 0.0;
  std::string progress;  // a JSON object; empty: none yet
  std::vector<ResultFile> results;

  // Not stored. It changes with every change that a watcher may see.
  uint64_t seq = 0;
  // Changes with `seq`, but not for a log that has grown.
  uint64_t news = 0;
  uint64_t log_bytes = 0;
  uint64_t solve_log_bytes = 0;
  // The worker is gone and its results are being made safe.
  bool settling = false;
};

inline constexpr int64_t kMostAttempts = 2;

const char* word_of(JobState state);
const char* word_of(Outcome outcome);
const char* word_of(Wish wish);

}  // namespace vorlan::server
