#include "manual_page.h"

#include <fmt/format.h>

#include <sstream>

namespace vorlan::companion {

namespace {

constexpr const char* kHead = R"(.Dd November 22, 2026
.Dt VORLAN 1
.Os
.Sh NAME
.Nm vorlan
.Nd solve optimization models and show the answer
)";

constexpr const char* kDescription = R"(.Sh DESCRIPTION
.Nm
reads each
.Ar MODEL ,
shows the log on standard error while it solves, and writes the answer to
standard output: what came of the solve, the objective, the variables that are
not zero with their reduced costs, and the constraints that have a price.
Of an infeasible model it shows the constraints and bounds that contradict each
other with their multipliers; of an unbounded one the direction in which the
objective improves.
On a terminal a line below the log tells how far reading, solving and writing
are.
.Pp
.Xr vorlancli 1
is the program for services and scripts that need result files and commands in
a fixed order.
)";

constexpr const char* kSignals = R"(.Sh SIGNALS
SIGINT
.Pq Ctrl-C
and SIGTERM end the solve in progress, and its answer is written; a second one
ends the program.
.Sh ENVIRONMENT
.Bl -tag -width Ds
.It Ev NO_COLOR
shows the log without colour also on a terminal.
.El
)";

constexpr const char* kEnd = R"(.Sh EXAMPLES
.Dl vorlan --time-limit 60 plan.mps.gz
.Dl vorlan --report plan.html plan.lp
.Dl vorlan --json --quiet plan.lp | python3 -m json.tool
.Dl vorlan check plan.lp plan.sol
.Dl vorlan convert plan.lp plan.task.zst
.Dl vorlan completion bash > ~/.local/share/bash-completion/completions/vorlan
.Sh SEE ALSO
.Xr vorlancli 1 ,
.Xr vorlan-formats 5 ,
.Xr vorlan-codes 7 ,
.Xr vorlan-parameters 7
)";

// A dot or an apostrophe at the beginning of a line would make it a request.
std::string safe_line(const std::string& line) {
  const bool is_request = line.starts_with('.') || line.starts_with('\'');
  return (is_request ? "\\&" : "") + line + "\n";
}

// Text in lines of a width that every tool for manual pages takes.
std::string text_lines(const std::string& text) {
  constexpr std::size_t kWidth = 78;
  std::string lines;
  std::string line;
  std::istringstream words(text);
  for (std::string word; words >> word;) {
    if (!line.empty() && line.size() + word.size() >= kWidth) {
      lines += safe_line(line);
      line.clear();
    }
    line += (line.empty() ? "" : " ") + word;
  }
  return lines + safe_line(line);
}

// "NAME=VALUE" as two arguments with the sign between them.
std::string argument(const std::string& name) {
  const std::size_t equals = name.find('=');
  if (equals == std::string::npos) return "Ar " + name;
  return "Ar " + name.substr(0, equals) + " Ns = Ns Ar " + name.substr(equals + 1);
}

bool is_flag(const CLI::Option& option) { return !option.get_lnames().empty(); }

std::string words(const CLI::Option& option) {
  const std::string name = argument_name(option);
  if (!is_flag(option)) return argument(name);
  const std::string flag = "Fl -" + option.get_lnames().front();
  return name.empty() ? flag : flag + " " + argument(name);
}

std::string synopsis(const Command& command) {
  std::string text = ".Nm\n";
  if (!command.name.empty()) text += ".Cm " + command.name + "\n";
  for (const CLI::Option* option : command.parser->get_options()) {
    if (is_flag(*option)) text += ".Op " + words(*option) + "\n";
  }
  for (const CLI::Option* option : command.parser->get_options()) {
    if (is_flag(*option)) continue;
    const char* more = option->get_expected_max() > 1 ? " ..." : "";
    text += (option->get_required() ? "." : ".Op ") + words(*option) + more + "\n";
  }
  return text;
}

std::string items(const Command& command) {
  std::string text;
  for (const CLI::Option* option : command.parser->get_options()) {
    text += ".It " + words(*option) + "\n" + text_lines(option->get_description() + ".");
  }
  return text.empty() ? text : ".Bl -tag -width Ds\n" + text + ".El\n";
}

std::string command_section(const Command& command) {
  std::string text = command.name.empty() ? ".Ss Solving\n" : ".Ss vorlan " + command.name + "\n";
  return text + text_lines(command.parser->get_description() + ".") + items(command);
}

std::string exit_statuses() {
  std::string text =
      ".Sh EXIT STATUS\nThat of the last model without an optimum.\n"
      ".Bl -tag -width Ds -compact\n";
  for (const ExitStatus& status : kExitStatuses) {
    text += fmt::format(".It {}\n{}\n", static_cast<int>(status.outcome), status.text);
  }
  return text + ".El\n";
}

}  // namespace

std::string manual_page(const CommandTable& table) {
  std::string text = std::string(".\\\" Made by \"vorlan manual\".\n") + kHead + ".Sh SYNOPSIS\n";
  for (const Command& command : table.commands()) text += synopsis(command);
  text += kDescription;
  for (const Command& command : table.commands()) text += command_section(command);
  return text + kSignals + exit_statuses() + kEnd;
}

}  // namespace vorlan::companion
