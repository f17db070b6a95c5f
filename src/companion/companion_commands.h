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
  std::string report;                 // a page for browsers; empty: none
  Form form = Form::kTable;
  bool quiet = false;  // no log
};

struct CheckRequest {
  std::string model;
  std::string solution;
  double tolerance = 1e-6;  // relative to 1 + the size of the side
  bool as_json = false;
};

// Solves each model and writes its answer. The outcome is the worst of them: the last that is not
// optimal. An interrupt (Ctrl-C) or SIGTERM ends the solve in progress, and what it found is written.
SolveOutcome solve(const SolveRequest& request);

// Writes the model of one file to another, each in the format of its suffix.
void convert(const std::string& from, const std::string& to);

// Holds the point of a file against a model and writes what is violated: kOptimal where nothing is,
// else kInfeasible.
SolveOutcome check(const CheckRequest& request);

// Writes text to standard output; throws a CommandFailure where that fails.
void put_stdout(const std::string& text);

}  // namespace vorlan::companion
