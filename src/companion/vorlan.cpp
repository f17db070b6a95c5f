// vorlan: the optimizer for a person at a terminal. It reads a model, shows the log while it solves,
// and ends with what a person wants to know and an exit status by outcome. The program for services
// and scripts is vorlancli, whose texts never change.

#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <new>
#include <string>
#include <system_error>

#include "command_table.h"
#include "session.h"

namespace vorlan::companion {

namespace {

int status(SolveOutcome outcome) { return static_cast<int>(outcome); }

// A misspelt command is the name of a model that is not there: its first letters tell.
void check_command(const CommandTable& table, const std::string& word) {
  constexpr std::size_t kTelling = 3;
  std::error_code ignored;
  if (word.size() < kTelling || word.find_first_of("./-") != std::string::npos) return;
  if (std::filesystem::exists(word, ignored)) return;
  for (const Command& command : table.commands()) {
    if (command.name.empty() || !command.name.starts_with(word.substr(0, kTelling))) continue;
    throw UsageError(word + ": there is no such file; did you mean the command '" + command.name +
                     "'?");
  }
}

int run(int argc, char** argv) {
  const CommandTable table;
  const Command& command = table.find(argc > 1 ? argv[1] : "");
  const int skipped = command.name.empty() ? 0 : 1;
  if (command.name.empty() && argc > 1) check_command(table, argv[1]);
  try {
    command.parser->parse(argc - skipped, argv + skipped);
  } catch (const CLI::ParseError& error) {
    return command.parser->exit(error) == 0 ? 0 : status(SolveOutcome::kUsage);
  }
  return status(command.run());
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
  } catch (const std::bad_alloc&) {
    std::fputs("vorlan: there is not enough memory\n", stderr);
    return static_cast<int>(SolveOutcome::kFailed);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "vorlan: %s\n", error.what());
    return static_cast<int>(SolveOutcome::kFailed);
  }
}
