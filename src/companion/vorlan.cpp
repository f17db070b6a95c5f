// vorlan: the optimizer for a person at a terminal. It reads a model, shows the log while it solves,
// and ends with what a person wants to know and an exit status by outcome. The program for services
// and scripts is vorlancli, whose texts never change.

#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <new>
#include <string>

#include "command_table.h"
#include "session.h"

namespace vorlan::companion {

namespace {

int status(SolveOutcome outcome) { return static_cast<int>(outcome); }

int run(int argc, char** argv) {
  const CommandTable table;
  const Command& command = table.find(argc > 1 ? argv[1] : "");
  const int skipped = command.name.empty() ? 0 : 1;
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
