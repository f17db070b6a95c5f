// A task of the optimizer library that tells what its solves cost.
#pragma once

#include <string>

#include "vorlan.h"

class TimedTask {
 public:
  // Reads a model given as the text of a file with this suffix; ends the program if that fails.
  TimedTask(const std::string& text, const std::string& suffix);
  ~TimedTask();
  TimedTask(const TimedTask&) = delete;
  TimedTask& operator=(const TimedTask&) = delete;

  struct Figures {
    double seconds;
    int iterations;
    double objective;
  };
  // Solves; ends the program if there is no optimal solution.
  Figures solve();

 private:
  void check(VLNrescode_enum code) const;

  vlntaskt* task_ = nullptr;
  std::string log_;
};
