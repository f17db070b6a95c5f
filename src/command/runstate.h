// RunState is what the driver holds for the whole run and every command may use.
#pragma once

#include <span>
#include <string>

#include "argumentwords.h"
#include "librarytask.h"

struct RunState {
  explicit RunState(std::span<char* const> argument_list) : words(argument_list) {}

  LibraryTask task;
  ArgumentWords words;
  /// True: the notes show file names. False: they show "<filename>". The sense is the reverse of
  /// what the command's name suggests, and the library's parameter 45 has the same one.
  bool log_anonymous = true;
  /// True when problem files written later carry solutions.
  bool include_solutions = true;

  /// The name as the notes may show it.
  const char* shownname(const std::string& file) const {
    return log_anonymous ? file.c_str() : "<filename>";
  }
};
