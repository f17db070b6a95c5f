// The sums of a model at given values, each with the size of its terms: activities of constraints,
// the objective, and what must vanish, or be a multiplier, for every variable and every element of
// a matrix variable. All residuals are differences of these.
#pragma once

#include <algorithm>
#include <cmath>
#include <span>
#include <vector>

#include "solve/backend.h"
#include "solve/check/definiteness.h"

namespace vorlan {

// A sum together with what its terms say about it.
struct Sum {
  double value = 0.0;
  double size = 0.0;   // the largest term
  double total = 0.0;  // of the absolute values, in the unit of the terms
  int64_t count = 0;   // of terms that are not 0

  void add(double term) {
    value += term;
    size = std::max(size, std::fabs(term));
    total += std::fabs(term);
    count += term != 0.0;
  }

  // A bound of the value's error, if each term is a product rounded once (Higham, Accuracy and
  // Stability of Numerical Algorithms, section 4.2).
  double rounding() const { return 0x1p-53 * static_cast<double>(count + 2) * total; }
};

// The quadratic terms Q_i of one constraint.
struct QuadraticForm {
  int32_t con;
  std::vector<TriangleEntry> entries;
};
std::vector<QuadraticForm> quadratic_forms(const Model& model);

// A x + 1/2 x'Q_i x + <A_i, X>; without barx as if it were 0.
std::vector<Sum> row_sums(const Model& model, const std::vector<double>& x,
                          const std::vector<double>& barx);

// Likewise without the quadratic terms.
std::vector<Sum> linear_row_sums(const Model& model, const std::vector<double>& x,
                                 const std::vector<double>& barx);

// cost'x + 1/2 x'Qx + <C, X> of the minimization; without barx as if it were 0.
Sum objective_sum(const MinimizeProblem& problem, const std::vector<double>& x,
                  const std::vector<double>& barx);

// Likewise without the quadratic terms.
Sum linear_objective_sum(const MinimizeProblem& problem, const std::vector<double>& x,
                         const std::vector<double>& barx);

// The Hessian of the Lagrangian, with the multipliers y of the constraints: Q - sum_i y_i Q_i. For
// a ray there is no Q.
enum class WithCost { kNo, kYes };
std::vector<SymmetricElement> lagrangian_hessian(const MinimizeProblem& problem,
                                                 const std::vector<double>& y, WithCost with_cost);

// cost + H x - A'y - snx, for each variable, with H as above; cost is left out as Q is. Empty x and
// snx count as 0.
std::vector<Sum> column_sums(const MinimizeProblem& problem, const BackendResult& values,
                             const std::vector<SymmetricElement>& hessian, WithCost with_cost);

// C - sum_i y_i A_i, packed.
std::vector<Sum> matrix_column_sums(const MinimizeProblem& problem, const std::vector<double>& y,
                                    WithCost with_cost);

// 1/2 x'Mx.
double half_quadratic_form(const std::vector<SymmetricElement>& elements,
                           const std::vector<double>& x);

}  // namespace vorlan
