// A model that gets further variables and constraints, and terms in them, behind those that it has.
#pragma once

#include <cstdint>
#include <vector>

#include "task/model.h"

namespace vorlan::reformulate {

class GrowingModel {
 public:
  // Begins with all of a model but its sets and its indicators.
  explicit GrowingModel(const Model& model);

  // The number of the new variable or constraint.
  int32_t add_variable(double lower, double upper, VarKind kind);
  int32_t add_switch() { return add_variable(0.0, 1.0, VarKind::kInteger); }
  int32_t add_row(double lower, double upper);

  // Adds to the coefficient of a variable in a constraint, both old or new.
  void add_term(int32_t con, int32_t var, double coefficient);
  void add_cost(int32_t var, double cost) { model_.cost[static_cast<size_t>(var)] += cost; }

  // The parts that may be changed while the model grows.
  std::vector<double>& con_lower() { return model_.con_lower; }
  std::vector<double>& con_upper() { return model_.con_upper; }
  std::vector<TriangleEntry>& quadratic_cost() { return model_.quadratic_cost; }
  std::vector<ConQuadraticEntry>& quadratic_coefficients() { return model_.quadratic_coefficients; }

  int32_t num_var() const { return model_.num_var(); }
  int32_t num_con() const { return model_.num_con(); }

  // The model with all that was added.
  Model take();

 private:
  struct Term {
    int32_t con, var;
    double coefficient;
  };

  Model model_;
  std::vector<Term> terms_;
};

}  // namespace vorlan::reformulate
