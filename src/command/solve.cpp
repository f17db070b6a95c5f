// "-solve" optimizes the task, here or on a server, under limits, and leaves the outcome in small
// result files. A failed optimization is reported in them and does not end the run.
//
// The stop flag, the time limit, the signal handler and the callback are in this file too, because
// only these functions share the two variables.
#include "solve.h"

#include <fast_float/fast_float.h>

#include <array>
#include <atomic>
#include <charconv>
#include <cstdint>
#include <fstream>
#include <iostream>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

#include "commands.h"
#include "keywordargparser.h"
#include "vlnexception.h"
#include "wallclock.h"

namespace {

// Set by sigterm_handler, never cleared.
std::atomic<bool> global_abort = false;
static_assert(sizeof(global_abort) == 1 && std::atomic<bool>::is_always_lock_free);

// Seconds; no limit unless greater than 0. Written by "-solve" alone.
double global_time_limit = 0.0;

// Settings of one "-solve". A file or a text counts as given when it is not empty, a limit when it
// is greater than 0.
struct SolveSettings {
  std::optional<std::int32_t> sense;
  bool printtime = false;
  std::string_view res;      // file for the response code's name
  std::string_view trm;      // file for the termination code's name
  std::string_view msg;      // file for the library's error message
  std::string_view opttime;  // file for the seconds
  std::string_view remote;   // address of the solver server
  std::string_view token;
  std::int32_t max_numvar = 0;
  std::int32_t max_numcon = 0;
};

// A number beyond the range of doubles counts as infinity or 0. Versions of fast_float differ in
// whether they also call that an error.
void parsetimelimit(std::string_view value) {
  const auto parsed =
      fast_float::from_chars(value.data(), value.data() + value.size(), global_time_limit);
  if (parsed.ec == std::errc::invalid_argument)
    throw std::string("Invalid value for time-limit in -solve");
}

void parselimit(std::string_view value, std::int32_t& limit, const char* message) {
  const auto parsed = std::from_chars(value.data(), value.data() + value.size(), limit);
  if (parsed.ec != std::errc{}) throw std::string(message);
}

struct SolveItem {
  std::string_view key;
  void (*apply)(SolveSettings& settings, std::string_view value);
};

// Each item of the ARGS has a row that says what it does with its value. Flags take none; an
// unknown key is skipped.
constexpr std::array<SolveItem, 12> kSolveItems = {{
    {"max", [](SolveSettings& s, std::string_view) { s.sense = VLN_SENSE_MAXIMIZE; }},
    {"min", [](SolveSettings& s, std::string_view) { s.sense = VLN_SENSE_MINIMIZE; }},
    {"printtime", [](SolveSettings& s, std::string_view) { s.printtime = true; }},
    {"res", [](SolveSettings& s, std::string_view value) { s.res = value; }},
    {"trm", [](SolveSettings& s, std::string_view value) { s.trm = value; }},
    {"msg", [](SolveSettings& s, std::string_view value) { s.msg = value; }},
    {"opttime", [](SolveSettings& s, std::string_view value) { s.opttime = value; }},
    {"remote", [](SolveSettings& s, std::string_view value) { s.remote = value; }},
    {"remote-access-token", [](SolveSettings& s, std::string_view value) { s.token = value; }},
    {"time-limit", [](SolveSettings&, std::string_view value) { parsetimelimit(value); }},
    {"max-numvar",
     [](SolveSettings& s, std::string_view value) {
       parselimit(value, s.max_numvar, "Invalid max-numvar value in -solve");
     }},
    {"max-numcon",
     [](SolveSettings& s, std::string_view value) {
       parselimit(value, s.max_numcon, "Invalid max-numcon value in -solve");
     }},
}};

SolveSettings solvesettings(std::string_view args) {
  global_time_limit = 0.0;
  SolveSettings settings;
  KeywordArgParser items{args};
  while (items.next()) {
    for (const SolveItem& item : kSolveItems) {
      if (item.key == items.key) item.apply(settings, items.value);
    }
  }
  return settings;
}

// Result files are written and closed at once. One that cannot be created is missing, which is what
// the caller looks for.
std::ofstream resultfile(std::string_view name) { return std::ofstream{std::string(name)}; }

// Scalars of all variables: a matrix variable of dimension d counts d(d+1)/2, formed in 32 unsigned
// bits from what the library answers, whatever that is.
std::int64_t countvariables(LibraryTask& task, std::int32_t numvar, std::int32_t numbarvar) {
  std::int64_t count = numvar;
  for (std::int32_t j = 0; j < numbarvar; ++j) {
    const auto dimension = static_cast<std::uint32_t>(task.dimbarvar(j));
    count += dimension * (dimension + 1U) / 2U;
  }
  return count;
}

// Names what is too many, or gives null.
const char* sizefailure(LibraryTask& task, const SolveSettings& settings) {
  const std::int32_t numvar = task.numvar();
  const std::int32_t numcon = task.numcon();
  const std::int32_t numcone = task.numcone();
  const std::int32_t numbarvar = task.numbarvar();
  const std::int64_t variables = countvariables(task, numvar, numbarvar);
  const std::int64_t constraints = std::int64_t{numcon} + numcone;
  if (settings.max_numvar > 0 && variables > settings.max_numvar) return "Too many variables";
  if (settings.max_numcon > 0 && constraints > settings.max_numcon) return "Too many constraints";
  return nullptr;
}

void checksize(LibraryTask& task, const SolveSettings& settings) {
  if (settings.max_numvar <= 0 && settings.max_numcon <= 0) return;
  const char* failure = sizefailure(task, settings);
  if (failure == nullptr) return;

  if (!settings.res.empty()) resultfile(settings.res) << "VLN_RES_ERR_SERVER_PROBLEM_SIZE";
  if (!settings.msg.empty()) resultfile(settings.msg) << failure;
  CHKR_(kDriverSource, 809, VLN_RES_ERR_SERVER_PROBLEM_SIZE);
}

// The task's own sense, after the forced one was set in its place.
std::int32_t forcesense(LibraryTask& task, std::int32_t sense) {
  std::int32_t kept = 0;
  CHKR_(kDriverSource, 815, task.getobjsense(kept));
  CHKR_(kDriverSource, 816, task.putobjsense(sense));
  return kept;
}

void restoresense(LibraryTask& task, std::int32_t kept) {
  std::int32_t forced = 0;
  CHKR_(kDriverSource, 872, task.getobjsense(forced));
  CHKR_(kDriverSource, 873, task.putobjsense(kept));
}

struct Outcome {
  VLNrescode_enum response = VLN_RES_OK;
  VLNrescode_enum termination = VLN_RES_OK;
  double seconds = 0.0;
};

Outcome optimize(LibraryTask& task, const SolveSettings& settings) {
  Outcome outcome;
  const std::string address(settings.remote);
  const std::string token(settings.token);
  const std::uint64_t start = gettimens();
  outcome.response = address.empty() ? task.optimize(outcome.termination)
                                     : task.optimizeremote(address, token, outcome.termination);
  const std::uint64_t end = gettimens();
  outcome.seconds = elapsedseconds(start, end);
  return outcome;
}

// Each file is created before the query whose text it receives.
void writeresults(LibraryTask& task, const SolveSettings& settings, const Outcome& outcome) {
  if (settings.printtime) {
    std::cerr << "Solve time " << outcome.seconds << std::endl;
    if (!settings.opttime.empty()) resultfile(settings.opttime) << outcome.seconds;
  }
  if (!settings.res.empty()) {
    std::ofstream file = resultfile(settings.res);
    file << LibraryTask::codename(outcome.response);
  }
  if (!settings.trm.empty()) {
    std::ofstream file = resultfile(settings.trm);
    file << LibraryTask::codename(outcome.termination);
  }
  if (!settings.msg.empty()) {
    std::ofstream file = resultfile(settings.msg);
    if (outcome.response != VLN_RES_OK) file << task.lasterror();
  }
}

}  // namespace

void sigterm_handler(int /*signal*/) { global_abort.store(true, std::memory_order_relaxed); }

int usercallback(vlntaskt* /*task*/, void* /*handle*/, VLNcallbackcode_enum /*code*/,
                 const double* douinf, const int* /*intinf*/, const long* /*lintinf*/) {
  if (global_abort.load(std::memory_order_relaxed)) return 1;
  const double limit = global_time_limit;
  if (!(limit > 0.0)) return 0;  // NaN is no limit either
  return douinf[VLN_DINF_ELAPSED_SECONDS] > limit ? 1 : 0;
}

void runsolve(RunState& run, std::string_view args) {
  if (global_abort.load(std::memory_order_relaxed)) return;
  const SolveSettings settings = solvesettings(args);
  checksize(run.task, settings);

  std::optional<std::int32_t> kept_sense;
  if (settings.sense) kept_sense = forcesense(run.task, *settings.sense);
  const Outcome outcome = optimize(run.task, settings);
  writeresults(run.task, settings, outcome);
  if (kept_sense) restoresense(run.task, *kept_sense);
}
