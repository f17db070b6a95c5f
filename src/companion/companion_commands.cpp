#include "companion_commands.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "parameter_table.h"
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

int stop_requested_now(vlntaskt*, void*, VLNcallbackcode_enum, const double*, const int*,
                       const long*) {
  return stop_requested != 0 ? 1 : 0;
}

// Standard error as a person sees it: the log is dimmer than the rest where it is a terminal.
bool is_coloured() {
  static const bool coloured = isatty(STDERR_FILENO) != 0 && std::getenv("NO_COLOR") == nullptr;
  return coloured;
}

void show_log(void* /*handle*/, const char* text) {
  if (is_coloured()) {
    std::fprintf(stderr, "\033[2m%s\033[0m", text);
  } else {
    std::fputs(text, stderr);
  }
}

void apply(Session& session, const SolveRequest& request) {
  for (const std::string& setting : request.settings) {
    const std::size_t equals = setting.find('=');
    if (equals == std::string::npos || equals == 0) {
      throw UsageError("--set " + setting + ": NAME=VALUE was expected");
    }
    session.set(setting.substr(0, equals), setting.substr(equals + 1));
  }
  if (request.time_limit > 0.0) {
    session.set("VLN_DPAR_TIME_LIMIT", fmt::format("{}", request.time_limit));
  }
}

ModelAnswer solve_model(const std::string& model, const SolveRequest& request) {
  Session session;
  if (!request.quiet) session.send_log(show_log, nullptr);
  session.ask_to_stop(stop_requested_now, nullptr);
  session.read(model);
  // After the read: a task file brings parameters of its own.
  apply(session, request);
  const auto begin = std::chrono::steady_clock::now();
  const std::string termination = session.optimize();
  const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - begin;
  ModelAnswer answer = read_answer(session, model, termination);
  answer.seconds = elapsed.count();
  return answer;
}

void put_stdout(const std::string& text) {
  if (std::fputs(text.c_str(), stdout) < 0 || std::fflush(stdout) != 0) {
    throw CommandFailure(std::string("standard output: ") + std::strerror(errno));
  }
}

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

void put(const std::string& text, const std::string& file) {
  if (file.empty()) {
    put_stdout(text);
  } else {
    put_file(text, file);
  }
}

std::string lower(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
  return text;
}

}  // namespace

SolveOutcome solve(const SolveRequest& request) {
  const StopOnSignals signals;
  SolveOutcome worst = SolveOutcome::kOptimal;
  std::string texts;
  for (const std::string& model : request.models) {
    const ModelAnswer answer = solve_model(model, request);
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
  return worst;
}

void convert(const std::string& from, const std::string& to) {
  Session session;
  session.send_log(show_log, nullptr);
  session.read(from);
  session.write(to);
}

std::string parameters(const std::string& word) {
  std::istringstream lines{std::string(kParameterTable)};
  std::string shown;
  for (std::string line; std::getline(lines, line);) {
    if (lower(line).find(lower(word)) != std::string::npos) shown += line + '\n';
  }
  return shown;
}

}  // namespace vorlan::companion
