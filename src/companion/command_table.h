// The words of the command line: one CLI11 parser for each command. What is told about them
// elsewhere, the completions of the shells and the manual page, is made from this table.
#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "companion_commands.h"

namespace vorlan::companion {

struct Command {
  std::string name;  // empty of the solve, which no word names
  std::unique_ptr<CLI::App> parser;
  std::function<SolveOutcome()> run;  // once the parser has seen the words
};

class CommandTable {
 public:
  CommandTable();
  CommandTable(const CommandTable&) = delete;
  CommandTable& operator=(const CommandTable&) = delete;

  const std::vector<Command>& commands() const { return commands_; }
  // The command of that name; the solve for every other word, so that a model may have any name.
  const Command& find(const std::string& word) const;

 private:
  void add(const char* name, const char* text, std::function<SolveOutcome()> run);
  void add_solve();
  void add_check();
  void add_others();

  // Where the parsers put what they read.
  SolveRequest solve_;
  CheckRequest check_;
  std::string from_, to_, word_, shell_;
  std::vector<Command> commands_;
};

// What an argument is, for completions, from the name that the table gives it.
enum class ArgumentKind { kFile, kSetting, kShell, kFree };
ArgumentKind kind_of(const CLI::Option& option);

// "NAME=VALUE" of --set, "MODEL" of a positional; empty of a flag.
std::string argument_name(const CLI::Option& option);

// The shells for which there are completions.
inline constexpr const char* kShells[] = {"bash", "zsh", "fish"};

// What each exit status means, in the order of SolveOutcome.
struct ExitStatus {
  SolveOutcome outcome;
  const char* text;
};
inline constexpr ExitStatus kExitStatuses[] = {
    {SolveOutcome::kOptimal, "optimal; of check: the point satisfies the model"},
    {SolveOutcome::kFailed,
     "a file could not be read or written, or the library refused something"},
    {SolveOutcome::kUsage, "wrong words on the command line"},
    {SolveOutcome::kInfeasible, "infeasible; of check: the point violates the model"},
    {SolveOutcome::kUnbounded, "unbounded"},
    {SolveOutcome::kStoppedWithPoint, "a point that is not proved optimal"},
    {SolveOutcome::kStoppedWithoutPoint, "stopped without a point"},
    {SolveOutcome::kUnknown, "no answer"},
};

}  // namespace vorlan::companion
