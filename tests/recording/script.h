// script.h - the little language that tells the recording library what to answer. README.md beside
// this file is its manual; in short, one rule a line:
//
//   OPERATION [ARGUMENT=VALUE ...] [call=N]: ACTION; ACTION; ...
//   clock: SECONDS SECONDS ...
//
//   VLN_getnumvar: numvar = 2
//   VLN_getvarname: name = "x{j}"
//   VLN_getprimalobj whichsol=1 call=2: code 1234
//   VLN_optimizetrm: callback 4.5; signal TERM; callback 4.6; trm = 100001
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "operations.h"

namespace recording {

using Value = std::variant<double, std::string, std::vector<double>>;

enum class ActionKind {
  code,
  assign,
  signal,
  callback,
  callback_until_stop,
  log,
  write,
  show,
  sleep
};

struct Action {
  ActionKind kind{};
  std::string name;  // assign: the argument; write, show: the file
  Value value;       // assign: the value; code, signal, callback, sleep: the number
  std::string text() const { return std::get<std::string>(value); }
  double number() const { return std::get<double>(value); }
};

struct Rule {
  const Operation* operation = nullptr;
  std::vector<std::pair<std::string, Value>> conditions;
  int64_t call = 0;  // 0: every call
  std::vector<Action> actions;

  // call counts the operation's calls from 1.
  bool matches(const Operation& called, const std::vector<Argument>& arguments,
               int64_t call_number) const;
};

struct Script {
  std::vector<Rule> rules;
  std::vector<int64_t> clock;  // readings of the real-time clock in nanoseconds
};

// Throws std::runtime_error with the line and what is wrong with it.
Script parse_script(std::string_view text);

}  // namespace recording
