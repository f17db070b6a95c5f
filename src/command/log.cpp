// "-log" says where the task's log stream goes, "-log-anonymous" whether it shows file names.
#include <cstdio>

#include "commands.h"
#include "keywordargparser.h"
#include "vlnexception.h"

namespace {

// Copies a piece of log text to standard error as it is.
void logprint(void* /*handle*/, const char* text) { std::fputs(text, stderr); }

bool appendflag(std::string_view args) {
  bool append = false;
  KeywordArgParser items{args};
  while (items.next()) {
    if (items.key != "append") continue;
    if (items.value == "yes") append = true;
    if (items.value == "no" || items.value.empty()) append = false;
  }
  return append;
}

}  // namespace

void runloganonymous(RunState& run, std::string_view args) {
  KeywordArgParser items{args};
  while (items.next()) {
    if (items.key == "yes") run.log_anonymous = true;
    if (items.key == "no") run.log_anonymous = false;
  }
}

void runlog(RunState& run, std::string_view args) {
  const bool append = appendflag(args);
  const auto file = run.words.take();
  if (!file) return;

  // The note goes to where the stream went so far.
  run.task.echoview("Set log file: %s\n", run.shownname(*file));
  if (*file == "-") {
    CHKR_(kDriverSource, 444, run.task.linklogtofunc(logprint));
  } else {
    CHKR_(kDriverSource, 447, run.task.linklogtofile(*file, append));
  }
}
