#include "command_table.h"

#include <fmt/format.h>

#include <cstdlib>
#include <utility>

#include "manual_page.h"
#include "parameter_table.h"
#include "shell_completion.h"

namespace vorlan::companion {

namespace {

// Checks of CLI11: empty where the word is right, else what is wrong with it.
bool is_number(const std::string& word, double& value) {
  char* end = nullptr;
  value = std::strtod(word.c_str(), &end);
  return end != word.c_str() && *end == '\0';
}

std::string is_duration(const std::string& word) {
  double seconds = 0.0;
  const bool is_right = is_number(word, seconds) && seconds > 0.0;
  return is_right ? "" : "'" + word + "' is not a number of seconds above 0";
}

std::string is_tolerance(const std::string& word) {
  double tolerance = 0.0;
  const bool is_right = is_number(word, tolerance) && tolerance >= 0.0;
  return is_right ? "" : "'" + word + "' is not a number of at least 0";
}

std::string is_shell(const std::string& word) {
  for (const char* shell : kShells) {
    if (word == shell) return "";
  }
  return "'" + word + "' is not bash, zsh or fish";
}

std::string footer(const std::vector<Command>& commands) {
  std::string text = "Other commands (each has --help):\n";
  for (const Command& command : commands) {
    if (command.name.empty()) continue;
    text += fmt::format("  vorlan {:<11} {}\n", command.name, command.parser->get_description());
  }
  text += "\nExit status, that of the last model without an optimum:\n";
  for (const ExitStatus& status : kExitStatuses) {
    text += fmt::format("  {} {}\n", static_cast<int>(status.outcome), status.text);
  }
  return text + "\nCtrl-C ends a solve and keeps what it found.";
}

SolveOutcome print_parameters(const std::string& word) {
  const std::string found = parameter_lines(word);
  if (found.empty()) throw CommandFailure("no parameter has the word " + word);
  put_stdout(found);
  return SolveOutcome::kOptimal;
}

}  // namespace

CommandTable::CommandTable() {
  add_solve();
  add_check();
  add_others();
  commands_.front().parser->footer(footer(commands_));
}

const Command& CommandTable::find(const std::string& word) const {
  for (const Command& command : commands_) {
    if (!command.name.empty() && command.name == word) return command;
  }
  return commands_.front();
}

void CommandTable::add(const char* name, const char* text, std::function<SolveOutcome()> run) {
  const std::string shown = *name == '\0' ? "vorlan" : std::string("vorlan ") + name;
  commands_.push_back({name, std::make_unique<CLI::App>(text, shown), std::move(run)});
}

void CommandTable::add_solve() {
  add("", "Solves optimization models and shows the answer", [this] { return solve(solve_); });
  CLI::App& parser = *commands_.back().parser;
  parser.set_version_flag("--version", "vorlan " VORLAN_VERSION, "Show the version and end");
  parser
      .add_option("MODEL", solve_.models,
                  "Model files; the suffix says the format, or the content where it does not; - is "
                  "standard input")
      ->required()
      ->type_name("MODEL");
  parser
      .add_option("--time-limit", solve_.time_limit,
                  "End each solve after this time and keep its best point")
      ->check(is_duration)
      ->type_name("SECONDS");
  parser
      .add_option("--set", solve_.settings,
                  "Set a parameter of the optimizer after the model was read, by its name or the "
                  "part behind VLN_IPAR_ and its like; may be given several times")
      ->allow_extra_args(false)
      ->type_name("NAME=VALUE");
  parser
      .add_option("--output", solve_.output,
                  "Write the answer to this file, in the form that --json or --csv names whatever "
                  "its suffix; it is replaced when the answer is complete")
      ->type_name("FILE");
  parser
      .add_option("--report", solve_.report,
                  "Write a page for browsers: statistics, the pattern of the matrix, the course of "
                  "the solve, violations, the solution; for one model")
      ->type_name("FILE.html");
  CLI::Option* json = parser.add_flag_function(
      "--json", [this](std::int64_t) { solve_.form = Form::kJson; },
      "The answer as JSON, an object a line for each model, with every variable and constraint, "
      "and as conflict what cannot hold together in an infeasible model");
  parser
      .add_flag_function(
          "--csv", [this](std::int64_t) { solve_.form = Form::kCsv; },
          "The answer as CSV with the columns kind, name, row, column, value and dual")
      ->excludes(json);
  parser.add_flag("--quiet", solve_.quiet, "Show no log and no progress");
}

void CommandTable::add_check() {
  add("check",
      "Holds a point against a model, without the optimizer: objective, violated constraints, "
      "bounds, "
      "integers and cones",
      [this] { return check(check_); });
  CLI::App& parser = *commands_.back().parser;
  parser.add_option("MODEL", check_.model, "Model file")->required()->type_name("MODEL");
  parser
      .add_option(
          "SOLUTION", check_.solution,
          "A JSON or b solution, what --json or --csv wrote, or lines NAME VALUE as in .sol "
          "files; variables that are not named are 0")
      ->required()
      ->type_name("SOLUTION");
  parser
      .add_option("--tolerance", check_.tolerance,
                  "How far a side may be violated, relative to 1 + its size; 1e-6 unless given")
      ->check(is_tolerance)
      ->type_name("NUMBER");
  parser.add_flag("--json", check_.as_json, "The result as one JSON object");
}

void CommandTable::add_others() {
  add("convert", "Writes the model of one file to another, each in the format of its suffix",
      [this] {
        convert(from_, to_);
        return SolveOutcome::kOptimal;
      });
  commands_.back().parser->add_option("FROM", from_, "Model file")->required()->type_name("FROM");
  commands_.back().parser->add_option("TO", to_, "Model file")->required()->type_name("TO");

  add("params", "Shows the parameters that --set takes, or those whose line has the word",
      [this] { return print_parameters(word_); });
  commands_.back()
      .parser->add_option("WORD", word_, "Part of a line, in any case")
      ->type_name("WORD");

  add("completion", "Writes the completion of these words for a shell", [this] {
    put_stdout(shell_completion(*this, shell_));
    return SolveOutcome::kOptimal;
  });
  commands_.back()
      .parser->add_option("SHELL", shell_, "bash, zsh or fish")
      ->required()
      ->check(is_shell)
      ->type_name("SHELL");

  add("manual", "Writes the manual page, for man -l -", [this] {
    put_stdout(manual_page(*this));
    return SolveOutcome::kOptimal;
  });
}

std::string argument_name(const CLI::Option& option) {
  return option.get_expected_max() == 0 ? std::string() : option.get_type_name();
}

ArgumentKind kind_of(const CLI::Option& option) {
  const std::string name = argument_name(option);
  for (const char* file : {"MODEL", "SOLUTION", "FROM", "TO", "FILE", "FILE.html"}) {
    if (name == file) return ArgumentKind::kFile;
  }
  if (name == "NAME=VALUE") return ArgumentKind::kSetting;
  return name == "SHELL" ? ArgumentKind::kShell : ArgumentKind::kFree;
}

}  // namespace vorlan::companion
