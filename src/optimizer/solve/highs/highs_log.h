// The log of HiGHS in the terms of the model that the user has. HiGHS is given a minimization, its
// table of branch and bound and its report repeat what the library tells, and further solves on the
// way to an answer would each print a log of their own.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "solve/backend.h"

namespace vorlan {

// A row of HiGHS's table of branch and bound, or a line before it that tells an origin.
struct HighsTableRow {
  std::string_view origin;  // of a better point; empty in a row without one
  int64_t open_nodes;       // -1 where it is not known
  int64_t cuts;             // in the relaxation
};

class HighsLog {
 public:
  using OnRow = std::function<void(const HighsTableRow& row)>;

  HighsLog(const MinimizeProblem& problem, BackendMonitor* monitor, OnRow on_row);

  // Takes text as HiGHS gives it, whole lines or pieces of them.
  void take(std::string_view text);

  // From here on a solve is only counted, and summed up in a line by tell_further_solves.
  void be_quiet() { is_quiet_ = true; }
  // "Solved again PURPOSE: 12 iterations", if there was such a solve since the last call.
  void tell_further_solves(const char* purpose);

 private:
  void take_line(const std::string& line);
  bool take_table_row(std::string_view line);
  void tell_origin(std::string_view line);
  void count(const std::string& line);
  std::string translate(const std::string& line);
  std::string translate_simplex_row(const std::string& line) const;
  std::string translate_interior_row(const std::string& line) const;
  double stated(double shown) const;

  enum class Table { kNone, kSimplex, kInterior };

  const MinimizeProblem& problem_;
  BackendMonitor* monitor_;
  OnRow on_row_;
  std::string rest_;  // a line that has not ended yet
  bool is_quiet_ = false;
  bool in_tree_ = false;
  Table table_ = Table::kNone;
  int64_t solves_ = 0;      // that were only counted
  int64_t iterations_ = 0;  // of those that ended
  int64_t iteration_ = 0;   // of the one that runs
};

}  // namespace vorlan
