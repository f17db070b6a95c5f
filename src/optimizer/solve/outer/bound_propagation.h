// Bounds that follow from linear constraints: where all other terms of a row are at the values that
// help it most, what is left bounds the remaining one.
//
// Bounds are set one after the other and can be taken back, as a search for integers needs it. They
// are used to choose integers and to rule them out, so that a bound that follows is weakened by more
// than the rounding of its row.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "task/model.h"
#include "task/numeric.h"

namespace vorlan::outer {

class BoundPropagation {
 public:
  // Of the linear part of a model; a semi-continuous variable can be 0, too.
  explicit BoundPropagation(const Model& model);

  double lower(int32_t var) const { return lower_[index(var)]; }
  double upper(int32_t var) const { return upper_[index(var)]; }

  // Tightens all bounds as far as the constraints allow; false as below.
  bool tighten_all();
  // Tightens the bounds of a variable, and then all that follows. False when no values are left for
  // some variable; the bounds mean nothing then until they are taken back.
  bool tighten(int32_t var, double lower, double upper);

  // What bounds are now, and a return to it.
  size_t mark() const { return changes_.size(); }
  void undo(size_t mark);
  // The variables whose bounds have changed since a mark, some of them more than once.
  std::vector<int32_t> changed_since(size_t mark) const;

 private:
  struct Change {
    int32_t var;
    double lower, upper;  // before it
  };
  // The least that a row can be, up to infinite terms, of which the number is counted.
  struct Activity {
    double sum = 0.0;
    double size = 0.0;  // of the largest term
    int infinite = 0;
  };

  bool set(int32_t var, double lower, double upper);
  bool propagate(int64_t passes);
  bool visit(int32_t row);
  // The same for terms <= rhs; sign -1 turns terms >= -rhs into it.
  bool visit_side(int32_t row, double sign, double rhs);
  double least_term(double coefficient, int32_t var) const;
  void queue_rows(int32_t var);
  bool is_worth_a_visit(size_t row) const;

  const SparseMatrix& columns_;
  std::vector<double> con_lower_, con_upper_;
  std::vector<size_t> row_start_;
  std::vector<int32_t> row_var_;
  std::vector<double> row_value_;
  std::vector<bool> integer_;
  std::vector<double> lower_, upper_;
  std::vector<Change> changes_;
  std::vector<int32_t> queue_;
  std::vector<bool> queued_;
  std::vector<bool> idle_;  // rows that are never visited
};

}  // namespace vorlan::outer
