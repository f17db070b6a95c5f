// What tests of the C interface share: a task that is released, models as text, arrays as vectors.
#pragma once

#include <string>
#include <vector>

#include "scratch_folder.h"
#include "vorlan.h"

using vorlan::test::read_all;

// A task with its log collected in memory.
class TestTask {
 public:
  TestTask();
  ~TestTask();
  TestTask(const TestTask&) = delete;
  TestTask& operator=(const TestTask&) = delete;

  operator vlntaskt*() const { return task_; }
  const std::string& log() const { return log_; }

  // Reads a model given as the text of an MPS file.
  VLNrescode_enum read(const std::string& mps);
  // The same of a file whose name says its format.
  VLNrescode_enum read_as(const std::string& name, const std::string& content);
  // Solves; a failing solve fails the test.
  VLNrescode_enum solve();

  bool defined(int32_t whichsol) const;
  int32_t solution_status(int32_t whichsol) const;
  int32_t problem_status(int32_t whichsol) const;
  double objective(int32_t whichsol) const;

  using IntQuery = VLNrescode_enum (*)(vlntaskt*, int32_t, int32_t*);
  using DoubleQuery = VLNrescode_enum (*)(vlntaskt*, int32_t, double*);
  std::vector<int32_t> var_ints(IntQuery query, int32_t whichsol) const;
  std::vector<int32_t> con_ints(IntQuery query, int32_t whichsol) const;
  std::vector<double> var_doubles(DoubleQuery query, int32_t whichsol) const;
  std::vector<double> con_doubles(DoubleQuery query, int32_t whichsol) const;

  std::string last_message() const;

 private:
  size_t count(VLNrescode_enum (*query)(vlntaskt*, int32_t*)) const;
  template <class Value, class Query>
  std::vector<Value> values(size_t count, Query query, int32_t whichsol) const;

  vlntaskt* task_ = nullptr;
  std::string log_;
};

// A file of the given name and content in the scratch folder of the running test.
std::string write_test_file(const std::string& name, const std::string& content);
std::string test_file_path(const std::string& name);

// The model of two_products.mps with the cost's sign and the objective sense to choose.
std::string two_products(int sign);

// A model whose solve takes minutes, with feasible points found at once.
std::string hard_integer_model();

// A log without the lines that tell a time, progress lines among them.
std::string without_times(const std::string& log);

std::string code_name(VLNrescode_enum code);
