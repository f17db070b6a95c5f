// Rows and columns are one thing seen from two sides: a row with the side b makes x_j as large as b /
// a_ij, and a column with the cost c makes y_i as large as c / a_ij. So one estimate does both.
#include "sizes.h"

#include <algorithm>
#include <cmath>

namespace proofs {
namespace {

constexpr int kMostSweeps = 100;
// The exponential function of more is no size that data mean.
constexpr double kLargestExponent = 10.0;

struct Element {
  size_t from, to;  // of the equation, and of the unknown
  double value;     // absolute
};

void raise(double* size, double to) {
  if (std::isfinite(to)) *size = std::max(*size, to);
}

double finite_size(double lower, double upper) {
  double size = 0.0;
  raise(&size, std::fabs(lower));
  raise(&size, std::fabs(upper));
  return size;
}

// The rows' terms without the specks that rounding leaves where 0 is meant, which tell of no size:
// elements far smaller than others in their row and in their column.
std::vector<std::vector<Term>> terms_of(const Model& model) {
  constexpr double kSpeck = 1e-10;
  std::vector<double> in_row(model.rows.size());
  std::vector<double> in_column(model.cost.size());
  for (size_t i = 0; i < model.rows.size(); ++i) {
    for (const Term& t : model.rows[i].terms) {
      raise(&in_row[i], std::fabs(t.value));
      raise(&in_column[t.var], std::fabs(t.value));
    }
  }
  std::vector<std::vector<Term>> terms;
  for (size_t i = 0; i < model.rows.size(); ++i) {
    terms.emplace_back();
    for (const Term& t : model.rows[i].terms) {
      const double most = std::min(in_row[i], in_column[t.var]);
      if (std::fabs(t.value) > kSpeck * most) terms.back().push_back(t);
    }
  }
  return terms;
}

std::vector<Element> elements_of(const std::vector<std::vector<Term>>& terms, bool transposed) {
  std::vector<Element> elements;
  for (size_t i = 0; i < terms.size(); ++i) {
    for (const Term& term : terms[i]) {
      elements.push_back(
          {transposed ? term.var : i, transposed ? i : term.var, std::fabs(term.value)});
    }
  }
  return elements;
}

// Unknowns of no size take one from the other unknowns in their equations, until none is left that
// can.
void spread(const std::vector<Element>& elements, std::vector<double>* equations,
            std::vector<double>* unknowns) {
  for (int sweep = 0; sweep < kMostSweeps; ++sweep) {
    for (const Element& e : elements) raise(&(*equations)[e.from], e.value * (*unknowns)[e.to]);
    std::vector<double> next = *unknowns;
    for (const Element& e : elements) {
      if ((*unknowns)[e.to] == 0.0) raise(&next[e.to], (*equations)[e.from] / e.value);
    }
    if (next == *unknowns) return;
    *unknowns = std::move(next);
  }
}

// Diagonals from elements: |X_kl|^2 <= X_kk X_ll.
void raise_diagonals(const std::vector<MatrixTerm>& terms, double side,
                     std::vector<std::vector<double>>* diagonals, bool of_value) {
  for (const bool diagonal : {true, false}) {
    for (const MatrixTerm& t : terms) {
      if ((t.element.row == t.element.col) != diagonal || t.element.value == 0.0) continue;
      const double value = std::fabs(t.element.value);
      const double size = of_value ? value : side / value / (diagonal ? 1.0 : 2.0);
      double& row = (*diagonals)[t.matrix][t.element.row];
      double& col = (*diagonals)[t.matrix][t.element.col];
      if (diagonal) {
        raise(&row, size);
        continue;
      }
      const double known_row = row > 0.0 ? row : size;
      const double known_col = col > 0.0 ? col : size;
      raise(&row, size * (size / known_col));
      raise(&col, size * (size / known_row));
    }
  }
}

void set_to_one_where_unknown(std::vector<double>* sizes) {
  for (double& size : *sizes) {
    if (size == 0.0) size = 1.0;
  }
}

void raise_members(const Cone& cone, std::vector<double>* sizes) {
  const auto size = [&](size_t k) -> double& { return (*sizes)[cone.vars[k]]; };
  double largest = 0.0;
  for (const size_t var : cone.vars) largest = std::max(largest, (*sizes)[var]);
  if (cone.kind == ConeKind::rotated) {
    double tail = 0.0;
    for (size_t k = 2; k < cone.vars.size(); ++k) tail = std::max(tail, size(k));
    if (size(1) > 0.0) raise(&size(0), tail * (tail / size(1)));
    if (size(0) > 0.0) raise(&size(1), tail * (tail / size(0)));
  }
  if (cone.kind == ConeKind::exponential && size(1) > 0.0) {
    raise(&size(0), size(1) * std::exp(std::min(size(2) / size(1), kLargestExponent)));
  }
  if (cone.kind == ConeKind::quadratic) raise(&size(0), largest);
  for (const size_t var : cone.vars) {
    if ((*sizes)[var] == 0.0) (*sizes)[var] = largest;
  }
}

// The largest term of a row.
double size_of_terms(const Row& row, const Sizes& sizes) {
  double size = 0.0;
  for (const Term& t : row.terms) raise(&size, std::fabs(t.value) * sizes.var[t.var]);
  for (const Square& q : row.squares) {
    raise(&size, std::fabs(q.value) * sizes.var[q.row] * sizes.var[q.col]);
  }
  for (const MatrixTerm& t : row.matrix_terms) {
    const auto& diagonal = sizes.diagonal[t.matrix];
    raise(&size, std::fabs(t.element.value) * std::sqrt(diagonal[t.element.row]) *
                     std::sqrt(diagonal[t.element.col]));
  }
  return size;
}

}  // namespace

Sizes::Sizes(const Model& model)
    : var(model.cost.size()),
      row(model.rows.size()),
      multiplier(model.rows.size()),
      gradient(model.cost.size()) {
  for (const size_t dimension : model.dimensions) diagonal.emplace_back(dimension);
  diagonal_gradient = diagonal;
  const std::vector<std::vector<Term>> terms = terms_of(model);

  for (size_t j = 0; j < var.size(); ++j) {
    var[j] = finite_size(model.lower[j], model.upper[j]);
    gradient[j] = std::fabs(model.cost[j]);
  }
  for (size_t i = 0; i < row.size(); ++i) {
    const Row& r = model.rows[i];
    row[i] = finite_size(r.lower, r.upper);
    for (const Term& t : r.terms) raise(&row[i], std::fabs(t.value) * var[t.var]);
  }
  for (size_t i = 0; i < row.size(); ++i) {
    const Row& r = model.rows[i];
    for (const Term& t : terms[i]) raise(&var[t.var], row[i] / std::fabs(t.value));
    for (const Square& q : r.squares) {
      if (q.row == q.col && q.value != 0.0) {
        raise(&var[q.row], std::sqrt(row[i] / std::fabs(q.value)));
      }
    }
    raise_diagonals(r.matrix_terms, row[i], &diagonal, false);
  }
  for (const Square& q : model.squares) {
    if (q.row == q.col && q.value != 0.0) raise(&var[q.row], gradient[q.row] / std::fabs(q.value));
  }
  for (const Cone& cone : model.cones) raise_members(cone, &var);
  spread(elements_of(terms, false), &row, &var);
  for (const Cone& cone : model.cones) raise_members(cone, &var);
  set_to_one_where_unknown(&var);
  for (auto& sizes : diagonal) set_to_one_where_unknown(&sizes);
  for (size_t i = 0; i < row.size(); ++i) raise(&row[i], size_of_terms(model.rows[i], *this));

  for (const Square& q : model.squares) {
    raise(&gradient[q.row], std::fabs(q.value) * var[q.col]);
    raise(&gradient[q.col], std::fabs(q.value) * var[q.row]);
  }
  raise_diagonals(model.matrix_cost, 0.0, &diagonal_gradient, true);
  for (size_t i = 0; i < row.size(); ++i) {
    for (const Term& t : terms[i]) raise(&multiplier[i], gradient[t.var] / std::fabs(t.value));
    for (const MatrixTerm& t : model.rows[i].matrix_terms) {
      const auto& sizes = diagonal_gradient[t.matrix];
      const double size = std::sqrt(sizes[t.element.row]) * std::sqrt(sizes[t.element.col]);
      if (t.element.value != 0.0) raise(&multiplier[i], size / std::fabs(t.element.value));
    }
  }
  spread(elements_of(terms, true), &gradient, &multiplier);
  set_to_one_where_unknown(&multiplier);
  set_to_one_where_unknown(&gradient);
  for (auto& sizes : diagonal_gradient) set_to_one_where_unknown(&sizes);
}

}  // namespace proofs
