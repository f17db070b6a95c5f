// A task: its model, parameters, solutions and log stream, the caller's callback, and what its
// last failing operation said. All state of the library is in tasks; there is none besides.
#pragma once

#include <array>
#include <string>
#include <string_view>

#include "task/killed_children.h"
#include "task/log_stream.h"
#include "task/model.h"
#include "task/parameters.h"
#include "task/solution.h"
#include "task/solver_result.h"
#include "task/status.h"
#include "vorlan.h"

namespace vorlan {

struct Callback {
  vlncallbackfunc function = nullptr;
  void* handle = nullptr;
};

struct Task {
  Model model;
  Parameters parameters;
  std::array<Solution, kNumSolutions> solutions;
  SolverResult solver_result;
  mutable LogStream log;  // of the task's state, saying something changes nothing
  Callback callback;
  KilledChildren killed_children;

  // Code and message of the last operation that failed.
  Code last_code = Code::kOk;
  std::string last_message;

  // An operation is in progress; another one would find the task half done.
  bool busy = false;

  // The name of a file as log and messages may show it.
  std::string shown_name(std::string_view filename) const;

  // Whether text of this level of VLN_IPAR_LOG goes anywhere, so that it is worth making.
  bool is_logged(int32_t level) const;
  // Library text for the log, from the level of VLN_IPAR_LOG on.
  void log_text(int32_t level, const std::string& text) const;

  // Keeps the failure for VLN_getlasterror and tells it on the log stream, and on standard error
  // where the stream does not lead to somebody at once.
  void report(const Status& failure);
};

// The line by which a failure is told.
std::string failure_line(const Status& failure);

inline constexpr int32_t kLogSummary = 1;
inline constexpr int32_t kLogFull = 2;

}  // namespace vorlan

// The handle of the C interface.
struct vlntaskt : vorlan::Task {};
