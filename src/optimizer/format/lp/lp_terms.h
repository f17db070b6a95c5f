// Quadratic terms, and coefficients of matrix variables, of an LP or PTF file: collected as they
// come, in the end put into the order of the model, those at one place summed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>

#include "task/model.h"

namespace vorlan {

class LpTerms {
 public:
  static constexpr int32_t kObjective = -1;

  // A value at (row, col) of the symmetric matrix Q of a constraint or the objective.
  void add_quadratic(int32_t con, int32_t row, int32_t col, double value) {
    add(&quadratic_, {con, 0, row, col, value});
  }
  void add_matrix(int32_t con, int32_t matrix_var, int32_t row, int32_t col, double value) {
    add(&matrix_, {con, matrix_var, row, col, value});
  }

  // Terms of quadratics so far, and their change by what stands behind a bracket: within it, the
  // terms are a x^2 and b x * y; the model's are 1/2 Qxx x^2 and Qxy x y.
  size_t num_quadratic() const { return quadratic_.size(); }
  void end_bracket(size_t begin, bool halved);

  // False if a sum is not finite.
  bool finish(Model* model);

 private:
  struct Term {
    int32_t con, matrix_var, row, col;
    double value;
  };
  // A queue does not hold everything twice while it grows.
  using Terms = std::deque<Term>;
  static void add(Terms* terms, Term term);
  static bool before(const Term& a, const Term& b);
  static bool put_in_order(Terms* terms);
  static size_t num_in_objective(const Terms& terms);

  Terms quadratic_, matrix_;
};

}  // namespace vorlan
