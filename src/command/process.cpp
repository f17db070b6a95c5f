// A calling process uses "-d" and "-no-solutions" to prepare the task, and "-pid-file" and
// "-indicator-file" to observe the run.
//
// Nothing checks that the two files were written. A service reads the text of the indicator file:
// on a full disk the file is there and empty.
#include <unistd.h>

#include <fstream>
#include <string>

#include "commands.h"
#include "keywordargparser.h"
#include "vlnexception.h"

void runparameter(RunState& run, std::string_view /*args*/) {
  const auto name = run.words.take();
  const auto value = run.words.take();
  if (!name || !value) return;
  CHKR_(kDriverSource, 456, run.task.putparam(*name, *value));
}

void runnosolutions(RunState& run, std::string_view /*args*/) {
  const auto word = run.words.take();
  if (!word) return;
  if (*word == "yes" || *word == "on" || *word == "true") run.include_solutions = false;
  if (*word == "no" || *word == "off" || *word == "false") run.include_solutions = true;
}

void runpidfile(RunState& run, std::string_view /*args*/) {
  const auto file = run.words.take();
  if (!file) return;
  const std::string pid = std::to_string(getpid());
  run.task.echoview("Write PID file: %s\n", run.shownname(*file));
  std::ofstream(*file) << pid;
}

void runindicatorfile(RunState& run, std::string_view args) {
  const auto file = run.words.take();
  if (!file) return;
  run.task.echoview("Write indicator file: %s\n", run.shownname(*file));
  std::ofstream out(*file);
  KeywordArgParser items{args};
  if (items.next()) out << items.key;
}
