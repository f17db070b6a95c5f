// A mixed-integer model with what a solve of it gives: what the tests of outer approximation share.
#pragma once

#include <string>

#include "task/task.h"

namespace vorlan::test {

class MixedSolve {
 public:
  MixedSolve();
  explicit MixedSolve(const Model& model);
  MixedSolve(const MixedSolve&) = delete;
  MixedSolve& operator=(const MixedSolve&) = delete;

  // Sets a parameter by its name.
  void put(const char* name, const char* value);
  // Reads a model given as the text of a PTF file without its opening line.
  void read(const std::string& text);
  // Where VORLAN_RANDOM_FILE names a file, writes the model to it.
  void write_where_asked();
  void solve();

  Task& task() { return task_; }
  const Task& task() const { return task_; }
  const Status& status() const { return status_; }
  Code termination() const { return termination_; }
  const std::string& log() const { return log_; }
  const Solution& solution() const;  // the integer solution
  double value(size_t var) const { return solution().xx[var]; }
  // A figure of the result by its name; NaN where it has none.
  double figure(const std::string& name) const;

 private:
  Task task_;
  Status status_;
  Code termination_ = Code::kOk;
  std::string log_;
};

}  // namespace vorlan::test
