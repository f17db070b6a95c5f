#include "companion_commands.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <limits>
#include <nlohmann/json.hpp>
#include <optional>

#include "model_data.h"
#include "parameter_table.h"
#include "point_check.h"
#include "point_file.h"
#include "report_page.h"
#include "screen.h"
#include "session.h"

namespace vorlan::companion {

namespace {

volatile std::sig_atomic_t stop_requested = 0;

void request_stop(int /*signal*/) { stop_requested = 1; }

// Signals ask the library to stop for as long as an object lives; a second one ends the program.
class StopOnSignals {
 public:
  StopOnSignals() {
    struct sigaction action = {};
    action.sa_handler = request_stop;
    action.sa_flags = SA_RESETHAND;
    sigaction(SIGINT, &action, &interrupt_);
    sigaction(SIGTERM, &action, &terminate_);
  }
  ~StopOnSignals() {
    sigaction(SIGINT, &interrupt_, nullptr);
    sigaction(SIGTERM, &terminate_, nullptr);
  }
  StopOnSignals(const StopOnSignals&) = delete;
  StopOnSignals& operator=(const StopOnSignals&) = delete;

 private:
  struct sigaction interrupt_ = {};
  struct sigaction terminate_ = {};
};

// Places of figures in the arrays of the progress callback of the embedded optimizer.
constexpr int kObjective = 0;
constexpr int kBound = 1;
constexpr int kGap = 2;
constexpr int kNodes = 2;  // of the integers of 64 bits

// What looks on while a model is solved: the screen, and the course of the solve for a report.
struct Watch {
  Screen* screen = nullptr;  // none of a quiet run
  std::string log;
  Course course;
  double next_status = 0.0;
};

constexpr double kStatusSeconds = 0.2;

std::string status_text(const CoursePoint& point, double gap) {
  std::string text = fmt::format("solving  {:.1f} s", point.seconds);
  if (std::isfinite(point.objective)) text += fmt::format("  objective {:.8g}", point.objective);
  if (std::isfinite(point.bound)) text += fmt::format("  bound {:.8g}", point.bound);
  if (gap > 1.0 && std::isfinite(gap)) {
    text += "  gap over 100 %";
  } else if (gap > 0.0 && gap <= 1.0) {
    text += fmt::format("  gap {:.2g} %", 100.0 * gap);
  }
  return text;
}

int look(vlntaskt*, void* handle, VLNcallbackcode_enum, const double* figures, const int*,
         const long* long_figures) {
  auto* watch = static_cast<Watch*>(handle);
  const CoursePoint point{figures[VLN_DINF_ELAPSED_SECONDS], figures[kObjective], figures[kBound],
                          long_figures[kNodes]};
  watch->course.add(point);
  if (watch->screen != nullptr && point.seconds >= watch->next_status) {
    watch->next_status = point.seconds + kStatusSeconds;
    watch->screen->status(status_text(point, figures[kGap]));
  }
  return stop_requested != 0 ? 1 : 0;
}

void take_log(void* handle, const char* text) {
  auto* watch = static_cast<Watch*>(handle);
  watch->log += text;
  if (watch->screen != nullptr) watch->screen->log(text);
}

void show_log(void* handle, const char* text) { static_cast<Screen*>(handle)->log(text); }

bool write_file(const std::string& text, const std::string& file) {
  std::ofstream stream(file, std::ios::binary);
  stream << text;
  stream.close();
  return static_cast<bool>(stream);
}

// A regular file appears whole: it is written beside its final name first, so that a full disk leaves
// an earlier file as it was. A device or a pipe is written directly, for it must not be replaced.
void put_file(const std::string& text, const std::string& file) {
  std::error_code ignored;
  const auto kind = std::filesystem::status(file, ignored).type();
  const bool replaces =
      kind == std::filesystem::file_type::regular || kind == std::filesystem::file_type::not_found;
  const std::string target = replaces ? file + ".unfinished" : file;
  if (write_file(text, target) && (!replaces || std::rename(target.c_str(), file.c_str()) == 0))
    return;
  const int error = errno;
  if (replaces) std::remove(target.c_str());
  throw CommandFailure(file + ": " + std::strerror(error));
}

void apply(Session& session, const SolveRequest& request) {
  for (const std::string& setting : request.settings) {
    const std::size_t equals = setting.find('=');
    if (equals == std::string::npos || equals == 0) {
      throw UsageError("--set " + setting + ": NAME=VALUE was expected");
    }
    session.set(whole_name(setting.substr(0, equals)), setting.substr(equals + 1));
  }
  if (request.time_limit > 0.0) {
    session.set("VLN_DPAR_TIME_LIMIT", fmt::format("{}", request.time_limit));
  }
}

// A quiet run says nothing but why the library refused, which is the last line of its log.
void report_refusal(const std::string& log) {
  const std::size_t end = log.find_last_not_of('\n');
  if (end == std::string::npos) return;
  const std::size_t before = log.find_last_of('\n', end);
  const std::size_t begin = before == std::string::npos ? 0 : before + 1;
  std::fprintf(stderr, "%s\n", printable(log.substr(begin, end + 1 - begin)).c_str());
}

// The last call while the solve ran came before its end, which has a better bound.
void add_end(Course& course, Session& session, const ModelAnswer& answer) {
  if (answer.has_duals) return;
  const double bound = read_bound(session);
  if (!std::isfinite(bound)) return;
  CoursePoint last;
  last.objective = std::numeric_limits<double>::quiet_NaN();
  if (!course.points().empty()) last = course.points().back();
  if (answer.has_point) last.objective = answer.objective;
  last.bound = bound;
  last.seconds = std::max(course.seconds(), answer.seconds);
  course.add(last);
}

ModelAnswer solve_watched(const std::string& model, const SolveRequest& request, Watch& watch) {
  Screen* const screen = watch.screen;
  Session session;
  session.send_log(take_log, &watch);
  session.ask_to_stop(look, &watch);
  {
    std::optional<FileWatch> reading;
    if (screen != nullptr) reading.emplace(*screen, "reading", model);
    session.read(model);
  }
  // After the read: a task file brings parameters of its own.
  apply(session, request);
  const auto begin = std::chrono::steady_clock::now();
  const std::string termination = session.optimize();
  const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - begin;
  if (screen != nullptr) screen->end_status();
  ModelAnswer answer = read_answer(session, model, termination);
  take_conflict(answer, watch.log);
  answer.seconds = elapsed.count();
  if (!request.report.empty()) {
    add_end(watch.course, session, answer);
    put_file(report_page({answer, read_model_data(session), watch.course, watch.log}),
             request.report);
  }
  return answer;
}

ModelAnswer solve_model(const std::string& model, const SolveRequest& request, Screen* screen) {
  Watch watch;
  watch.screen = screen;
  try {
    return solve_watched(model, request, watch);
  } catch (const LibraryRefusal&) {
    if (screen == nullptr) report_refusal(watch.log);
    throw;
  }
}

void put(const std::string& text, const std::string& file) {
  if (file.empty()) {
    put_stdout(text);
  } else {
    put_file(text, file);
  }
}

std::string check_text(const CheckRequest& request, const PointCheck& found, int missing) {
  std::vector<Violation> counted;
  std::string text = fmt::format("{} for {}: objective {:.10g}\n", printable(request.solution),
                                 printable(request.model), found.objective);
  if (missing > 0)
    text += count(missing, "variable") + " without a value in the file: taken as 0\n";
  for (const std::string& part : found.unchecked_parts) text += "not checked: " + part + "\n";
  for (const Violation& violation : found.violations) {
    if (counts(violation, request.tolerance)) counted.push_back(violation);
  }
  return text + violation_table(counted, request.tolerance);
}

std::string check_json(const CheckRequest& request, const PointCheck& found, int missing) {
  nlohmann::ordered_json object = {{"model", request.model},
                                   {"solution", request.solution},
                                   {"objective", found.objective},
                                   {"missing", missing},
                                   {"not checked", found.unchecked_parts}};
  nlohmann::ordered_json list = nlohmann::ordered_json::array();
  for (const Violation& violation : found.violations) {
    if (!counts(violation, request.tolerance)) continue;
    list.push_back({{"kind", word(violation.requirement)},
                    {"name", violation.name},
                    {"value", violation.value},
                    {"side", violation.side},
                    {"violation", violation.amount}});
  }
  object["violations"] = list;
  return object.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n";
}

}  // namespace

void put_stdout(const std::string& text) {
  if (std::fputs(text.c_str(), stdout) < 0 || std::fflush(stdout) != 0) {
    throw CommandFailure(std::string("standard output: ") + std::strerror(errno));
  }
}

SolveOutcome solve(const SolveRequest& request) {
  if (!request.report.empty() && request.models.size() > 1) {
    throw UsageError("--report is for one model");
  }
  const StopOnSignals signals;
  Screen screen;
  SolveOutcome worst = SolveOutcome::kOptimal;
  std::string texts;
  bool has_failed = false;
  for (const std::string& model : request.models) {
    ModelAnswer answer;
    try {
      answer = solve_model(model, request, request.quiet ? nullptr : &screen);
    } catch (const LibraryRefusal&) {
      // The answers of the other models are not lost.
      if (request.models.size() == 1) throw;
      has_failed = true;
      continue;
    }
    if (answer.outcome != SolveOutcome::kOptimal) worst = answer.outcome;
    if (!texts.empty() && request.form == Form::kTable) texts += '\n';
    texts += text(answer, request.form);
    if (request.output.empty()) {
      put(texts, "");
      texts.clear();
    }
    if (stop_requested != 0) break;
  }
  if (!request.output.empty()) put(texts, request.output);
  return has_failed ? SolveOutcome::kFailed : worst;
}

void convert(const std::string& from, const std::string& to) {
  Screen screen;
  Session session;
  session.send_log(show_log, &screen);
  {
    const FileWatch reading(screen, "reading", from);
    session.read(from);
  }
  const FileWatch writing(screen, "writing", to);
  session.write(to);
}

SolveOutcome check(const CheckRequest& request) {
  Session session;
  session.read(request.model);
  const ModelData model = read_model_data(session);
  const NamedPoint named = read_point(session, model, request.solution);
  const PointCheck found = check_point(model, named.point);
  put_stdout(request.as_json ? check_json(request, found, named.missing)
                             : check_text(request, found, named.missing));
  for (const Violation& violation : found.violations) {
    if (counts(violation, request.tolerance)) return SolveOutcome::kInfeasible;
  }
  return SolveOutcome::kOptimal;
}

}  // namespace vorlan::companion
