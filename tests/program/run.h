// run.h - runs the program once, in a new empty folder, against the recording library.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "casefile.h"

namespace program {

struct Outcome {
  long pid = 0;
  Exit exit;
  bool timed_out = false;
  std::string standard_output;
  std::string standard_error;
  std::vector<std::string> trace;
  std::map<std::string, std::string> left;  // every file in the folder and below, by relative name
};

// Runs the case; more_script is put after its script.
Outcome run(const Case& what, const std::string& more_script = {});

}  // namespace program
