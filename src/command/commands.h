// The command handlers, grouped by the file that holds them.
//
// A handler receives the ARGS of its command word and takes its following words from run.words.
// When a word is missing, the handler does nothing further. The list is then at its end, and so is
// the run.
#pragma once

#include <string_view>

#include "runstate.h"

// help.cpp
void print_help();
void runhelp(RunState& run, std::string_view args);
void runlicense(RunState& run, std::string_view args);

// log.cpp
void runloganonymous(RunState& run, std::string_view args);
void runlog(RunState& run, std::string_view args);

// process.cpp
void runparameter(RunState& run, std::string_view args);
void runnosolutions(RunState& run, std::string_view args);
void runpidfile(RunState& run, std::string_view args);
void runindicatorfile(RunState& run, std::string_view args);

// problemfiles.cpp
void runread(RunState& run, std::string_view args);
void runwrite(RunState& run, std::string_view args);

// solutionfiles.cpp
void runreadsolution(RunState& run, std::string_view args);
void runwritesolution(RunState& run, std::string_view args);

// solve.cpp
void runsolve(RunState& run, std::string_view args);
