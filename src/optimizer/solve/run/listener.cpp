// The beat of the progress callback; see listener.h.
#include "solve/run/listener.h"

#include <algorithm>
#include <cmath>
#include <ctime>
#include <utility>

#include "task/parameter_index.h"
#include "task/text.h"

namespace vorlan {
namespace {

// 50 times a second: more than the 20 that callers are promised, to leave room for a busy machine.
constexpr double kBeatSeconds = 0.02;

// So many lines fit a terminal under one heading.
constexpr int kLinesOfAHeading = 20;
// Where nothing changes, every so many intervals a line is a sign of life.
constexpr double kQuietIntervals = 10.0;

// A figure that is not known yet is a dash.
std::string figure(double value) { return std::isfinite(value) ? format_text("%.8g", value) : "-"; }

std::string count_figure(int64_t count) {
  return count < 0 ? "-" : format_text("%lld", static_cast<long long>(count));
}

// In percent, relative to the incumbent. Where that is nearer to 0 than to the bound, percents say
// nothing but this.
std::string gap_figure(double incumbent, double bound) {
  if (!std::isfinite(incumbent) || !std::isfinite(bound)) return "-";
  const double distance = std::fabs(incumbent - bound);
  if (distance == 0.0) return "0.00%";
  const double percent = 100.0 * distance / std::max(std::fabs(incumbent), 1e-10);
  return percent > 100.0 ? ">100%" : format_text("%.2f%%", percent);
}

}  // namespace

double monotonic_seconds() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

Listener::Listener(Task* task, Follower follower, double begin)
    : task_(task),
      follower_(std::move(follower)),
      start_(begin),
      time_limit_(task->parameters.get(DoubleParam::kTimeLimit)),
      logs_progress_(task->model.is_mixed_integer()),
      log_interval_(task->parameters.get(DoubleParam::kLogInterval)),
      next_line_(log_interval_) {}

void Listener::log(std::string_view text) { task_->log_text(kLogFull, std::string(text)); }

double Listener::elapsed() const { return monotonic_seconds() - start_; }

double Listener::until_beat() const { return last_beat_ + kBeatSeconds - elapsed(); }

bool Listener::beat(const Progress& progress) {
  if (stopped()) return true;
  return until_beat() > 0.0 ? false : beat_now(progress);
}

bool Listener::beat_now(const Progress& progress) {
  if (stopped()) return true;
  const double seconds = elapsed();
  last_beat_ = seconds;
  if (logs_progress_ && seconds >= next_line_) log_progress(progress, seconds);
  if (seconds >= next_record_) tell_follower(progress, seconds);
  if (callback_asks_to_stop(progress, seconds)) {
    stop_reason_ = Code::kTrmUserCallback;
  } else if (seconds > time_limit_) {
    stop_reason_ = Code::kTrmTimeLimit;
  }
  return stopped();
}

void Listener::explain_stop(BackendResult* result) const {
  const bool ended_early = result->outcome == Outcome::kStopped || result->termination != Code::kOk;
  if (ended_early && stopped()) result->termination = stop_reason_;
}

bool Listener::is_worth_a_line(const Progress& progress, double seconds) const {
  return num_lines_ == 0 || progress.nodes != last_logged_.nodes ||
         progress.objective != last_logged_.objective || progress.bound != last_logged_.bound ||
         seconds >= last_line_ + kQuietIntervals * log_interval_;
}

void Listener::log_progress(const Progress& progress, double seconds) {
  next_line_ = seconds + log_interval_;
  if (is_worth_a_line(progress, seconds)) log_row(progress, seconds, "");
}

void Listener::milestone(const Progress& progress, std::string_view origin, double time) {
  // The clock of a beat is read after the figures of it, so that it may be ahead.
  const double seconds = std::max({0.0, last_line_, time - start_});
  if (logs_progress_) log_row(progress, seconds, origin);
  tell_follower(progress, seconds);
}

void Listener::tell_follower(const Progress& progress, double seconds) {
  next_record_ = seconds + log_interval_;
  if (follower_.progress) follower_.progress(progress, seconds);
}

void Listener::point(const BackendResult& point, double primal_violation) const {
  if (follower_.point) follower_.point(point, primal_violation);
}

void Listener::log_row(const Progress& progress, double seconds, std::string_view origin) {
  const double incumbent = task_->model.stated_objective(progress.objective);
  const double bound = task_->model.stated_objective(progress.bound);
  const double rounding = 1e-9 * std::max(1.0, std::fabs(progress.objective));
  const bool is_better = progress.objective < last_logged_.objective - rounding;
  const int64_t iterations = std::max<int64_t>(0, progress.simplex_iterations) +
                             std::max<int64_t>(0, progress.interior_iterations);
  std::string text;
  if (num_lines_ % kLinesOfAHeading == 0) {
    text =
        "      time      nodes       open  iterations       incumbent           bound       gap  "
        "from\n";
  }
  text +=
      format_text("%c%7.2f s %10lld %10s %11lld %15s %15s %9s", is_better ? '*' : ' ', seconds,
                  static_cast<long long>(progress.nodes), count_figure(progress.open_nodes).c_str(),
                  static_cast<long long>(iterations), figure(incumbent).c_str(),
                  figure(bound).c_str(), gap_figure(incumbent, bound).c_str());
  if (!origin.empty())
    text += format_text("  %.*s", static_cast<int>(origin.size()), origin.data());
  task_->log_text(kLogFull, text + '\n');
  ++num_lines_;
  last_line_ = seconds;
  last_logged_ = progress;
}

namespace {

// Figures that the callback sees, by their place.
struct CallbackFigures {
  double doubles[kNumFigures] = {};
  int ints[kNumFigures] = {};
  long longs[kNumFigures] = {};
};

bool call_back(Task* task, const CallbackFigures& figures) {
  if (task->callback.function == nullptr) return false;
  auto* const handle = static_cast<vlntaskt*>(task);
  return task->callback.function(handle, task->callback.handle, VLNcallbackcode_enum{},
                                 figures.doubles, figures.ints, figures.longs) != 0;
}

}  // namespace

bool callback_asks_to_stop(Task* task, double seconds) {
  CallbackFigures figures;
  figures.doubles[kFigureElapsedSeconds] = seconds;
  return call_back(task, figures);
}

bool Listener::callback_asks_to_stop(const Progress& progress, double seconds) const {
  CallbackFigures figures;
  auto& [doubles, ints, longs] = figures;
  doubles[kFigureObjective] = task_->model.stated_objective(progress.objective);
  doubles[kFigureBound] = task_->model.stated_objective(progress.bound);
  doubles[kFigureRelativeGap] = progress.relative_gap;
  doubles[kFigureElapsedSeconds] = seconds;
  longs[kLongFigureSimplexIterations] = progress.simplex_iterations;
  longs[kLongFigureInteriorIterations] = progress.interior_iterations;
  longs[kLongFigureNodes] = progress.nodes;
  return call_back(task_, figures);
}

}  // namespace vorlan
