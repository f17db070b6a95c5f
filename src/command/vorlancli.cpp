// vorlancli is a command interpreter whose program is its own argument list.
//
// It holds one optimization task and executes the commands strictly in the order written. This
// file is the driver: start, the walk over the words, dispatch, end. commands.h names the files of
// the commands.
//
// Errors are exceptions that nothing catches (see vlnexception.h): the process then ends by
// SIGABRT without releasing the task.
#include <array>
#include <csignal>
#include <cstdint>
#include <iostream>

#include "commands.h"
#include "solve.h"
#include "vlnexception.h"

namespace {

struct Command {
  std::string_view name;
  bool takes_args;  // else the whole word must be the name
  void (*run)(RunState& run, std::string_view args);
};

constexpr std::array<Command, 14> kCommands = {{
    {"-h", true, runhelp},
    {"-help", true, runhelp},
    {"-license", true, runlicense},
    {"-log-anonymous", true, runloganonymous},
    {"-log", true, runlog},
    {"-d", false, runparameter},
    {"-no-solutions", false, runnosolutions},
    {"-read", true, runread},
    {"-write", true, runwrite},
    {"-read-solution", true, runreadsolution},
    {"-write-solution", true, runwritesolution},
    {"-solve", true, runsolve},
    {"-pid-file", true, runpidfile},
    {"-indicator-file", true, runindicatorfile},
}};

// A word split at its first ':'.
struct CommandWord {
  explicit CommandWord(std::string_view word) : whole(word), name(word.substr(0, word.find(':'))) {
    if (name.size() < whole.size()) args = whole.substr(name.size() + 1);
  }

  // True when the word has a command's form: a single '-' and at least one more character.
  bool iscommand() const { return name.size() >= 2 && name[0] == '-' && name[1] != '-'; }

  std::string_view whole;
  std::string_view name;
  std::string_view args;
};

const Command* findcommand(const CommandWord& word) {
  for (const Command& command : kCommands) {
    if (command.name == (command.takes_args ? word.name : word.whole)) return &command;
  }
  return nullptr;
}

void reportunexpected(std::string_view word) {
  std::cerr << "Unexpected command: " << word << std::endl;
}

void start(LibraryTask& task) {
  // A limit on the size of files is an error of the write that meets it.
  std::signal(SIGXFSZ, SIG_IGN);
  if (const auto code = task.putcallbackfunc(usercallback); code != VLN_RES_OK) {
    throw VLNException{code, kDriverSource, 384};
  }
  std::signal(SIGTERM, sigterm_handler);
  if (const auto code = task.putintparam(VLN_IPAR_SHOW_FILE_NAMES, 1); code != VLN_RES_OK) {
    throw VLNException{code, kDriverSource, 387};
  }
}

void execute(RunState& run, const CommandWord& word) {
  const Command* command = findcommand(word);
  if (command == nullptr) {
    reportunexpected(word.whole);
    throw std::string("Unexpected command");
  }
  command->run(run, word.args);

  const auto code = run.task.putintparam(VLN_IPAR_SHOW_FILE_NAMES, run.log_anonymous ? 1 : 0);
  if (code != VLN_RES_OK) throw VLNException{code, kDriverSource, 920};
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    print_help();
    return 0;
  }
  RunState run(std::span<char* const>(argv, static_cast<std::size_t>(argc)));
  start(run.task);
  while (const auto text = run.words.take()) {
    const CommandWord word(*text);
    if (!word.iscommand()) {
      reportunexpected(word.whole);
      return 1;
    }
    execute(run, word);
  }
  return 0;
}
