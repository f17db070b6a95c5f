// One task of the optimizer library, as the companion uses it: its operations as C++ functions that
// throw a LibraryRefusal where the library refuses.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

#include "vorlan.h"

namespace vorlan::companion {

// An operation that the library refused. The library has said why: in its log, or on standard error
// where the log goes nowhere.
class LibraryRefusal : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// The sizes of a model.
struct ModelSizes {
  int variables = 0;
  int constraints = 0;
  int matrix_variables = 0;
};

class Session {
 public:
  Session();
  ~Session();
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  // Sends the log to a function, called with each piece of text.
  void send_log(vlnstreamfunc func, void* handle);
  // Lets a function that returns other than 0 stop the optimization.
  void ask_to_stop(vlncallbackfunc func, void* handle);

  void read(const std::string& file);
  void write(const std::string& file);
  // Writes the model without a line in the log, and without its solutions.
  void write_quietly(const std::string& file);
  // Writes the solutions and the figures of the last optimization as JSON, without a line in the log.
  void write_solution_quietly(const std::string& file);
  // Reads a b solution in place of the solutions; the compression is one of the interface's.
  void read_solution(const std::string& file, unsigned compression);
  // Sets a parameter by its name; the value is a number or one of the parameter's words.
  void set(const std::string& name, const std::string& value);
  // Optimizes; the symbolic name of the termination code, empty when the solve ran to its end.
  std::string optimize();

  ModelSizes sizes() const;
  bool has_solution(int which) const;
  int solution_status(int which) const;
  int problem_status(int which) const;
  double objective(int which) const;
  std::vector<double> values(int which) const;
  // The dual of each variable's bounds, that of the lower less that of the upper one.
  std::vector<double> reduced_costs(int which) const;
  std::vector<double> activities(int which) const;
  std::vector<double> duals(int which) const;
  int matrix_dimension(int j) const;
  // The packed lower triangle of matrix variable j, column by column.
  std::vector<double> matrix_value(int which, int j) const;

  // Names; an unnamed item has "x", "c" or "X" and its index.
  std::string variable_name(int j) const;
  std::string constraint_name(int i) const;
  std::string matrix_variable_name(int j) const;

 private:
  using NameQuery = VLNrescode_enum (*)(vlntaskt*, int32_t, int32_t, char*);
  using VectorQuery = VLNrescode_enum (*)(vlntaskt*, int32_t, double*);

  void expect(VLNrescode_enum code) const;
  std::string name(NameQuery query, char prefix, int index) const;
  std::vector<double> vector(VectorQuery query, int which, int size) const;

  vlntaskt* task_ = nullptr;
  vlnstreamfunc log_ = nullptr;
  void* log_handle_ = nullptr;
  int longest_name_ = 0;  // in bytes, of the model that was read
};

}  // namespace vorlan::companion
