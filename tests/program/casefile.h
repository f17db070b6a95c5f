// casefile.h - reads the case files: what the program is started with and what it must do.
// README.md beside this file is the manual of their form.
#pragma once

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace program {

// A call of the expected trace. A checked call, whose failure ends the run, says where.
struct ExpectedCall {
  std::string text;
  std::string file;  // empty: a failure is ignored
  int line = 0;
};

struct Exit {
  int status = 0;
  int signal = 0;
  bool operator==(const Exit&) const = default;
};

// An exception that ends the run: the last line of the trace and the text that the runtime prints.
struct Uncaught {
  std::string trace_line;
  std::string runtime_text;
};

struct Case {
  std::string title;
  std::filesystem::path source;
  int first_line = 0;  // of the file, counted from 0
  int last_line = 0;   // one past the end

  std::vector<std::string> arguments;
  std::string script;
  std::map<std::string, std::string> files;
  std::vector<std::string> folders;
  int signal_to_send = 0;
  std::string signal_when;  // the trace text on whose appearance the signal is sent
  bool each_call_fails = false;

  std::string standard_output;
  std::string standard_error;
  Exit exit;
  std::optional<Uncaught> uncaught;
  std::vector<ExpectedCall> calls;
  std::map<std::string, std::string> left;
};

using Sequences = std::map<std::string, std::vector<ExpectedCall>>;

// The named sequences that every case file may use.
Sequences read_sequences(const std::filesystem::path& file);

// Throws std::runtime_error with file, line and what is wrong.
std::vector<Case> read_cases(const std::filesystem::path& file, const Sequences& shared);

// The text of an exception as the runtime prints it; a what() is empty if there is none.
std::string runtime_text(const std::string& type, const std::string& what);

// The words of a command line: blanks separate, '...' is literal, "..." knows escapes.
std::vector<std::string> split_words(const std::string& text);

}  // namespace program
