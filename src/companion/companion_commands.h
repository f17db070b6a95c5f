// One run of the companion: what its words ask for, and the commands that carry it out.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

#include "answer_text.h"
#include "model_answer.h"

namespace vorlan::companion {

// A mistake in the words of the command line.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// A file or stream that could not be written, or a word that nothing matches.
class CommandFailure : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct SolveRequest {
  std::vector<std::string> models;
  std::vector<std::string> settings;  // NAME=VALUE
  double time_limit = 0.0;            // seconds; 0: none
  std::string output;                 // empty: standard output
  Form form = Form::kTable;
  bool quiet = false;  // no log
};

// Solves each model and writes its answer. The outcome is the worst of them: the last that is not
// optimal. An interrupt (Ctrl-C) or SIGTERM ends the solve in progress, and what it found is written.
SolveOutcome solve(const SolveRequest& request);

// Writes the model of one file to another, each in the format of its suffix.
void convert(const std::string& from, const std::string& to);

// The lines of the parameter table whose name or text has the word, in any case; all without a word.
std::string parameters(const std::string& word);

}  // namespace vorlan::companion
