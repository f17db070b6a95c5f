// The caller's side of a solve: its log stream, its progress callback, its time limit.
#pragma once

#include <functional>
#include <string_view>

#include "solve/backend.h"
#include "task/task.h"

namespace vorlan {

// Figures that the progress callback sees, by their place in its arrays; all others are 0. The
// objective and the bound are in the task's own sense, constant included.
inline constexpr int kNumFigures = 64;
inline constexpr int kFigureObjective = 0;
inline constexpr int kFigureBound = 1;
inline constexpr int kFigureRelativeGap = 2;
inline constexpr int kFigureElapsedSeconds = VLN_DINF_ELAPSED_SECONDS;
inline constexpr int kLongFigureSimplexIterations = 0;
inline constexpr int kLongFigureInteriorIterations = 1;
inline constexpr int kLongFigureNodes = 2;

// Seconds of a clock that only goes forward.
double monotonic_seconds();

// Follows a solve besides the callback. A function that is not there is not called.
struct Follower {
  std::function<void(const Progress& progress, double seconds)> progress;
  std::function<void(const BackendResult& point, double primal_violation)> point;
};

class Listener {
 public:
  // The time runs from the beginning given, of monotonic_seconds().
  explicit Listener(Task* task, Follower follower = {}, double begin = monotonic_seconds());

  bool follows_points() const { return follower_.point != nullptr; }
  void point(const BackendResult& point, double primal_violation) const;

  void log(std::string_view text);
  // Tells a milestone of the time given, of monotonic_seconds, at once.
  void milestone(const Progress& progress, std::string_view origin, double time);
  double elapsed() const;
  double remaining() const { return time_limit_ - elapsed(); }

  // Seconds until the callback is due again.
  double until_beat() const;
  // Calls the callback and looks at the time limit when due. True once the solve must stop.
  bool beat(const Progress& progress);
  // As beat, due or not.
  bool beat_now(const Progress& progress);

  bool stopped() const { return stop_reason_ != Code::kOk; }
  Code stop_reason() const { return stop_reason_; }
  // Makes the reason for the stop that of a result that ended early by it.
  void explain_stop(BackendResult* result) const;

 private:
  // A line for a person who follows a mixed-integer solve, at the interval that was asked for and
  // if it would say anything new.
  void log_progress(const Progress& progress, double seconds);
  void log_row(const Progress& progress, double seconds, std::string_view origin);
  bool is_worth_a_line(const Progress& progress, double seconds) const;
  bool callback_asks_to_stop(const Progress& progress, double seconds) const;

  void tell_follower(const Progress& progress, double seconds);

  Task* task_;
  Follower follower_;
  double next_record_ = 0.0;
  double start_;
  double time_limit_;
  bool logs_progress_;
  double log_interval_;
  double next_line_;
  int num_lines_ = 0;
  double last_line_ = 0.0;
  Progress last_logged_;
  double last_beat_ = -kInfinity;
  Code stop_reason_ = Code::kOk;
};

// Asks the progress callback, which sees no figure but this time, whether an operation is to end.
bool callback_asks_to_stop(Task* task, double seconds);

}  // namespace vorlan
