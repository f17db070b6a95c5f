// vorlan: the optimizer for a person at a terminal. It reads a model, shows the log while it solves,
// and ends with what a person wants to know and an exit status by outcome. The program for services
// and scripts is vorlancli, whose texts never change.

#include <CLI/CLI.hpp>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>

#include "companion_commands.h"
#include "session.h"

namespace vorlan::companion {

namespace {

constexpr const char* kFooter =
    "Exit status: 0 optimal, 1 failed, 2 wrong words, 3 infeasible, 4 unbounded, 5 a point that is "
    "not\n"
    "proved optimal, 6 stopped without a point, 7 no answer. Ctrl-C ends a solve and keeps what it "
    "found.\n"
    "\n"
    "vorlan convert FROM TO    writes a model in another format\n"
    "vorlan params [WORD]      shows the parameters that --set takes";

// A check of CLI11: empty where the word is right, else what is wrong with it.
std::string is_duration(const std::string& word) {
  char* end = nullptr;
  const double seconds = std::strtod(word.c_str(), &end);
  const bool is_number = end != word.c_str() && *end == '\0';
  return is_number && seconds > 0.0 ? "" : "'" + word + "' is not a number of seconds above 0";
}

int status(SolveOutcome outcome) { return static_cast<int>(outcome); }

// The words of a solve. The subcommands are told apart by the first word before this parser sees any,
// so that a model may have any name.
void describe(CLI::App& app, SolveRequest& request, bool& as_json, bool& as_csv) {
  app.set_version_flag("--version", "vorlan " VORLAN_VERSION);
  app.footer(kFooter);
  app.add_option("MODEL", request.models,
                 "Model files; the suffix says the format, - is standard input")
      ->required();
  app.add_option("--time-limit", request.time_limit, "Seconds for each solve")->check(is_duration);
  app.add_option("--set", request.settings, "NAME=VALUE: sets a parameter of the optimizer")
      ->allow_extra_args(false);
  app.add_option("--output", request.output, "Write the answer to this file");
  CLI::Option* json = app.add_flag("--json", as_json, "The answer as JSON, an object a line");
  app.add_flag("--csv", as_csv, "The answer as CSV")->excludes(json);
  app.add_flag("--quiet", request.quiet, "Show no log");
}

int run_solve(int argc, char** argv) {
  SolveRequest request;
  bool as_json = false;
  bool as_csv = false;
  CLI::App app("Solves optimization models and shows the answer.", "vorlan");
  describe(app, request, as_json, as_csv);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : status(SolveOutcome::kUsage);
  }
  if (as_json) request.form = Form::kJson;
  if (as_csv) request.form = Form::kCsv;
  return status(solve(request));
}

int run_convert(int argc, char** argv) {
  if (argc != 4) throw UsageError("usage: vorlan convert FROM TO");
  convert(argv[2], argv[3]);
  return 0;
}

int run_params(int argc, char** argv) {
  if (argc > 3) throw UsageError("usage: vorlan params [WORD]");
  const std::string found = parameters(argc == 3 ? argv[2] : "");
  if (found.empty()) throw CommandFailure(std::string("no parameter has the word ") + argv[2]);
  return std::fputs(found.c_str(), stdout) < 0 ? status(SolveOutcome::kFailed) : 0;
}

int run(int argc, char** argv) {
  const std::string first = argc > 1 ? argv[1] : "";
  if (first == "convert") return run_convert(argc, argv);
  if (first == "params") return run_params(argc, argv);
  return run_solve(argc, argv);
}

}  // namespace

}  // namespace vorlan::companion

int main(int argc, char** argv) {
  using vorlan::companion::SolveOutcome;
  try {
    return vorlan::companion::run(argc, argv);
  } catch (const vorlan::companion::UsageError& error) {
    std::fprintf(stderr, "vorlan: %s\n", error.what());
    return static_cast<int>(SolveOutcome::kUsage);
  } catch (const vorlan::companion::LibraryRefusal&) {
    return static_cast<int>(SolveOutcome::kFailed);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "vorlan: %s\n", error.what());
    return static_cast<int>(SolveOutcome::kFailed);
  }
}
