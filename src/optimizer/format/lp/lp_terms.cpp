// Ordering the terms; see lp_terms.h.
#include "format/lp/lp_terms.h"

#include <algorithm>
#include <cmath>
#include <tuple>
#include <utility>

namespace vorlan {

void LpTerms::add(Terms* terms, Term term) {
  if (term.row < term.col) std::swap(term.row, term.col);
  terms->push_back(term);
}

void LpTerms::end_bracket(size_t begin, bool halved) {
  for (size_t i = begin; i < quadratic_.size(); ++i) {
    Term& term = quadratic_[i];
    if (term.row == term.col) {
      term.value *= halved ? 1.0 : 2.0;
    } else {
      term.value *= halved ? 0.5 : 1.0;
    }
  }
}

bool LpTerms::before(const Term& a, const Term& b) {
  return std::tie(a.con, a.matrix_var, a.col, a.row) < std::tie(b.con, b.matrix_var, b.col, b.row);
}

// Sums what is at one place, in the order of the file.
bool LpTerms::put_in_order(Terms* terms) {
  if (!std::is_sorted(terms->begin(), terms->end(), before)) {
    std::stable_sort(terms->begin(), terms->end(), before);
  }
  size_t kept = 0;
  for (size_t i = 0; i < terms->size();) {
    Term term = (*terms)[i];
    for (++i; i < terms->size() && !before(term, (*terms)[i]); ++i) term.value += (*terms)[i].value;
    if (!std::isfinite(term.value)) return false;
    if (term.value != 0.0) (*terms)[kept++] = term;
  }
  terms->resize(kept);
  return true;
}

// These come first.
size_t LpTerms::num_in_objective(const Terms& terms) {
  const auto end = std::partition_point(terms.begin(), terms.end(),
                                        [](const Term& term) { return term.con == kObjective; });
  return static_cast<size_t>(end - terms.begin());
}

bool LpTerms::finish(Model* model) {
  if (!put_in_order(&quadratic_) || !put_in_order(&matrix_)) return false;
  const size_t num_quadratic_cost = num_in_objective(quadratic_);
  model->quadratic_cost.reserve(num_quadratic_cost);
  model->quadratic_coefficients.reserve(quadratic_.size() - num_quadratic_cost);
  for (const Term& term : quadratic_) {
    const TriangleEntry entry = {term.row, term.col, term.value};
    if (term.con == kObjective) {
      model->quadratic_cost.push_back(entry);
    } else {
      model->quadratic_coefficients.push_back({term.con, entry});
    }
  }
  quadratic_.clear();
  const size_t num_matrix_cost = num_in_objective(matrix_);
  model->matrix_cost.reserve(num_matrix_cost);
  model->matrix_coefficients.reserve(matrix_.size() - num_matrix_cost);
  for (const Term& term : matrix_) {
    const TriangleEntry entry = {term.row, term.col, term.value};
    if (term.con == kObjective) {
      model->matrix_cost.push_back({term.matrix_var, entry});
    } else {
      model->matrix_coefficients.push_back({term.con, term.matrix_var, entry});
    }
  }
  matrix_.clear();
  return true;
}

}  // namespace vorlan
