// A model without special ordered sets, indicators and products of binary variables that has the
// same solutions: the first variables are those of the model that it is made from, and the first
// constraints are its constraints. Binary variables are added as switches behind them:
//
//   SOS1     x_j <= u_j z_j, x_j >= l_j z_j, sum of z_j <= 1
//   SOS2     x_j <= u_j (z_j-1 + z_j), x_j >= l_j (z_j-1 + z_j), sum of z_j = 1
//   if z = 1 then a'x <= b:   a'x + M z <= b + M, where M is the most of a'x, less b
//   w = z x:   l z <= w <= u z, x - u (1 - z) <= w <= x - l (1 - z)
//
// SOS2 sets whose members have a fixed sum have two forms that cut off no more than they must:
//
//   M. Padberg, Approximating separable nonlinear functions via mixed zero-one programs, Operations
//   Research Letters 27, 2000.
//   J. Vielma, G. Nemhauser, Modeling disjunctive constraints with a logarithmic number of binary
//   variables and constraints, Mathematical Programming 128, 2011.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "solve/backend.h"
#include "solve/reformulate/growing_model.h"
#include "solve/reformulate/variable_bounds.h"

namespace vorlan::reformulate {

class Reformulation {
 public:
  // All are borrowed. The end is a time of the monotonic clock.
  Reformulation(const MinimizeProblem& problem, const Parameters& parameters, double end,
                BackendMonitor* monitor);

  // Fails for a variable that has no bound where one is needed. Nothing has changed where the model
  // needs no other form.
  [[nodiscard]] Status make();
  bool has_changed() const { return changed_; }

  // The new model; once.
  Model take_model();
  // What was done, in a line for the log.
  std::string description() const;
  // The largest number that a switch multiplies.
  double farthest() const { return farthest_; }
  // Adds what the new variables are at a point of the old model, where its sets hold.
  void complete(std::vector<double>* x) const;

 private:
  using Completion = std::function<void(std::vector<double>* x)>;

  // Special ordered sets: ordered_sets.cpp.
  Status add_sets();
  Status add_set(size_t place);
  Status add_sos1(const OrderedSet& set, size_t place);
  Status add_sos2(const OrderedSet& set, size_t place);
  void add_segments(const OrderedSet& set, double sum);
  void add_codes(const OrderedSet& set, double sum);
  bool find_sum(const OrderedSet& set, double* sum);
  std::vector<int32_t> add_segment_switches(const OrderedSet& set);
  int32_t add_switch_of(int32_t var);
  void tie(int32_t var, const std::vector<int32_t>& switches);
  Status check_member(size_t place, int32_t var);

  // Indicators: indicator_rows.cpp.
  Status add_indicators();
  Status add_indicator(const Indicator& indicator, const std::vector<Term>& row);
  Status add_indicator_side(const Indicator& indicator, int32_t con, const std::vector<Term>& terms,
                            double side);

  // Products of binary variables: binary_products.cpp.
  Status add_products();
  bool is_convex(const std::vector<TriangleEntry>& entries, double lower, double upper) const;
  Status replace_products(int32_t con, std::vector<TriangleEntry>* entries);
  Status add_product(int32_t first, int32_t second, int32_t* product);
  void add_linear(int32_t con, int32_t var, double coefficient);
  bool is_fixed(int32_t var, double* value) const;

  Status refuse(const std::string& what, int32_t var);
  std::string variable(int32_t var) const;
  void note_size(double size);

  const MinimizeProblem& problem_;
  const Model& user_;
  VariableBounds bounds_;
  GrowingModel model_;
  bool changed_ = false;
  size_t num_var_ = 0;  // of the model that was taken
  double farthest_ = 0.0;
  std::vector<Completion> completions_;
  std::map<std::pair<int32_t, int32_t>, int32_t> products_;
  std::vector<int32_t> row_sizes_;  // of the user's constraints; empty until needed
};

}  // namespace vorlan::reformulate
