// expectedrun.h - what a run must do: the program's rules once more, over words and texts, as a
// plain list of calls, files and lines. It shares no code with the program.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "generator.h"

namespace random_runs {

struct Expected {
  int status = 0;        // of the exit
  bool aborted = false;  // by an uncaught exception, SIGABRT
  std::string standard_output;
  std::string standard_error;
  std::vector<std::string> trace;
  std::map<std::string, std::string> files;  // "{pid}" stands for the process id
};

Expected expect(const Run& run);

}  // namespace random_runs
