// A task's model in the form of the conic method, and answers back in the model's terms.
//
// A two-sided or one-sided constraint becomes an equation with a variable for its distance from a
// side; a fixed variable becomes a number; a free constraint goes. A convex quadratic constraint
// a'x + 1/2 x'Qx <= u with F'F = Q is first centred: with a = F'g + r it is
//
//   t = (u + 1/2 g'g - r'x) / s,   w = s,   v = F x + g,   2 t w >= v'v,
//
// where the size s = sqrt(u + 1/2 g'g) makes t and w, the axes of the cone, equal at r'x = 0, so
// that a ball of any radius anywhere is as good as the unit ball.
//
// Where u is less than a thousandth of 1/2 g'g, the surface passes close by 0 and is nearly a plane
// there. Then g is 0, r = a, and s is between the sizes of near points and of far ones.
#pragma once

#include <span>
#include <vector>

#include "solve/backend.h"
#include "solve/check/terms.h"
#include "solve/conic/conic_answer.h"
#include "solve/conic/convexity.h"
#include "solve/conic/equilibration.h"

namespace vorlan::conic {

class ConicForm {
 public:
  // Fails for a quadratic term that is not convex, naming constraint and variables.
  static Status make(const MinimizeProblem& problem, ConicForm* form);

  ConicProblem& problem() { return problem_; }
  const ConicProblem& problem() const { return problem_; }
  // An answer for the scaled problem, in the model's terms.
  void restore(const MinimizeProblem& model_problem, const Equilibration& scaling,
               const InteriorPoint& point, BackendResult* result) const;

 private:
  struct Element {
    int32_t row, col;
    double value;
  };
  int32_t add_variable(double cost);
  int32_t add_row(double rhs);
  void add_bounds(int32_t var, double lower, double upper);
  void add_variables(const MinimizeProblem& problem);
  void add_constraints(const Model& model);
  Status add_quadratic_constraints(const Model& model);
  Status add_quadratic_row(const Model& model, const QuadraticForm& form,
                           const std::vector<LinearTerm>& linear);
  void add_square_cone(int32_t row, double sign, const ConvexFactor& factor,
                       const std::vector<LinearTerm>& linear);
  Status add_quadratic_cost(const MinimizeProblem& problem);
  void add_cones(const Model& model);
  void add_matrices(const MinimizeProblem& problem);
  // Columns of the elements, a column a variable; those of the same place are added. The elements go.
  void free_reserves();
  Columns take_columns(std::vector<Element>* elements, int32_t num_row) const;
  void add_element(int32_t row, int32_t model_var, double value);
  void restore_variables(const Equilibration& scaling, const InteriorPoint& point,
                         BackendResult* result) const;
  void restore_multipliers(const Model& model, const Equilibration& scaling,
                           const InteriorPoint& point, BackendResult* result) const;
  void restore_reduced_costs(const MinimizeProblem& model_problem, const Equilibration& scaling,
                             const InteriorPoint& point, BackendResult* result) const;

  ConicProblem problem_;
  std::vector<Element> elements_;
  std::vector<int32_t> var_place_;  // of each model variable, -1: fixed
  std::vector<double> fixed_value_;
  std::vector<int32_t> row_place_;  // of each constraint, -1: none
};

}  // namespace vorlan::conic
