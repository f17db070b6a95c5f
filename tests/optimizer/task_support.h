// Tests of the C interface share this: a task that is released, models as text, arrays as vectors,
// names for the numbers of statuses.
#pragma once

#include <string>
#include <vector>

#include "scratch_folder.h"
#include "vorlan.h"

using vorlan::test::read_all;

// The kinds of solutions.
inline constexpr int32_t kInterior = VLN_SOLUTION_INTERIOR;
inline constexpr int32_t kBasic = VLN_SOLUTION_BASIC;
inline constexpr int32_t kInteger = VLN_SOLUTION_INTEGER;

// The statuses that vorlan.h lists for VLN_getsolsta.
namespace solsta {
enum : int32_t {
  kUnknown = 0,
  kOptimal = 1,
  kPrimalFeasible = 2,
  kDualFeasible = 3,
  kPrimalAndDualFeasible = 4,
  kPrimalInfeasibleCertificate = 5,
  kDualInfeasibleCertificate = 6,
  kPrimalIllPosedCertificate = 7,
  kDualIllPosedCertificate = 8,
  kIntegerOptimal = 9
};
}  // namespace solsta

// The statuses that vorlan.h lists for VLN_getprosta.
namespace prosta {
enum : int32_t {
  kUnknown = 0,
  kPrimalAndDualFeasible = 1,
  kPrimalFeasible = 2,
  kDualFeasible = 3,
  kPrimalInfeasible = 4,
  kDualInfeasible = 5,
  kPrimalAndDualInfeasible = 6,
  kIllPosed = 7,
  kPrimalInfeasibleOrUnbounded = 8
};
}  // namespace prosta

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
