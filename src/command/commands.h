// The command handlers, grouped by the file that holds them.
//
// A handler receives the ARGS of its command word and takes its following words from run.words.
// When a word is missing it does nothing further; the list is then at its end and so is the run.
#pragma once

#include <string_view>

#include "runstate.h"

// help.cpp
void print_help();
void command_help(RunState& run, std::string_view args);
void command_license(RunState& run, std::string_view args);

// log.cpp
void command_log_anonymous(RunState& run, std::string_view args);
void command_log(RunState& run, std::string_view args);

// process.cpp
void command_parameter(RunState& run, std::string_view args);
void command_no_solutions(RunState& run, std::string_view args);
void command_pid_file(RunState& run, std::string_view args);
void command_indicator_file(RunState& run, std::string_view args);

// problemfiles.cpp
void command_read(RunState& run, std::string_view args);
void command_write(RunState& run, std::string_view args);

// solutionfiles.cpp
void command_read_solution(RunState& run, std::string_view args);
void command_write_solution(RunState& run, std::string_view args);

// solve.cpp
void command_solve(RunState& run, std::string_view args);
