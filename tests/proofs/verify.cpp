// For multipliers y with the right signs, every feasible point has
//
//   f(x) >= G(x) = f(x) - sum_i y_i (row_i(x) - side_i) = g + q'x + 1/2 x'Hx + <S, X>,
//
// and of a ray, where f counts as 0, 0 >= G(x). So one lower bound of G over bounds, cones and a box
// proves both: a bound, or a contradiction where it is above 0.
#include "verify.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>

#include "cones.h"
#include "matrices.h"
#include "sizes.h"

namespace proofs {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

Rational absolute(const Rational& x) { return abs(x); }

struct Box {
  Point lower, upper;            // of the variables
  std::vector<Point> diagonals;  // the upper bounds of those of the matrix variables
};

// The bounds, and where there are none the sizes.
Box box_of(const Model& model, const std::vector<double>& var,
           const std::vector<std::vector<double>>& diagonals) {
  Box box;
  for (size_t j = 0; j < var.size(); ++j) {
    box.lower.emplace_back(std::isfinite(model.lower[j]) ? model.lower[j] : -var[j]);
    box.upper.emplace_back(std::isfinite(model.upper[j]) ? model.upper[j] : var[j]);
  }
  for (const auto& sizes : diagonals) box.diagonals.emplace_back(sizes.begin(), sizes.end());
  return box;
}

std::vector<SymmetricMatrix> zero_matrices(const Model& model) {
  std::vector<SymmetricMatrix> matrices;
  for (const size_t dimension : model.dimensions) matrices.emplace_back(dimension);
  return matrices;
}

// G of the head of this file.
struct Lagrangian {
  Rational constant;
  Point linear;
  SymmetricMatrix hessian;
  std::vector<SymmetricMatrix> matrices;
};

Lagrangian lagrangian_of(const Model& model, const Point& y, bool with_objective) {
  Lagrangian g{0, Point(model.cost.size()), SymmetricMatrix(model.cost.size()),
               zero_matrices(model)};
  if (with_objective) {
    g.constant = model.constant;
    for (size_t j = 0; j < model.cost.size(); ++j) g.linear[j] = model.cost[j];
    for (const Square& q : model.squares) g.hessian.add(q, 1);
    for (const MatrixTerm& t : model.matrix_cost) g.matrices[t.matrix].add(t.element, 1);
  }
  for (size_t i = 0; i < y.size(); ++i) {
    if (y[i] == 0) continue;
    const Row& row = model.rows[i];
    const Rational factor = -y[i];
    g.constant -= factor * Rational(y[i] > 0 ? row.lower : row.upper);
    for (const Term& t : row.terms) g.linear[t.var] += factor * Rational(t.value);
    for (const Square& q : row.squares) g.hessian.add(q, factor);
    for (const MatrixTerm& t : row.matrix_terms) g.matrices[t.matrix].add(t.element, factor);
  }
  return g;
}

// The least value of r x for x in the interval.
Rational least_product(const Rational& r, const Rational& lower, const Rational& upper) {
  return r * (r > 0 ? lower : upper);
}

Rational largest_absolute(const Rational& lower, const Rational& upper) {
  return std::max<Rational>(absolute(lower), absolute(upper));
}

// By how much a matrix misses being positive semidefinite, as the least of the costs of two
// diagonals: by the sizes of its own rows, and by what a unit costs.
std::optional<Point> cheapest_shift(const SymmetricMatrix& matrix, const Point& prices) {
  Point own(prices.size());
  Point fair(prices.size());
  for (size_t k = 0; k < prices.size(); ++k) {
    for (size_t l = 0; l < prices.size(); ++l) own[k] += absolute(matrix.at(k, l));
    fair[k] = prices[k] > 0 ? near(1 / prices[k]) : Rational(0);
  }
  std::optional<Point> best;
  Rational least;
  for (const Point& weights : {own, fair}) {
    const Point shift = diagonal_shift(matrix, weights);
    if (shift.size() != prices.size()) continue;
    Rational cost;
    for (size_t k = 0; k < prices.size(); ++k) cost += shift[k] * prices[k];
    if (best && cost >= least) continue;
    best = shift;
    least = cost;
  }
  return best;
}

// Lower bounds of the parts of G, added up.
class LowerBound {
 public:
  LowerBound(const Model& model, const Multipliers& multipliers, const Box& box)
      : model_(model), multipliers_(multipliers), box_(box) {}

  // Nothing where the curvature has no bound.
  std::optional<Rational> of(Lagrangian g) {
    sum_ = g.constant;
    if (!g.hessian.is_zero() && !take_tangent(&g)) return std::nullopt;
    for (size_t k = 0; k < g.matrices.size(); ++k) {
      if (!add_matrix(g.matrices[k], box_.diagonals[k])) return std::nullopt;
    }
    for (const Cone& cone : model_.cones) take_member(cone, &g.linear);
    for (size_t j = 0; j < g.linear.size(); ++j) {
      sum_ += least_product(g.linear[j], box_.lower[j], box_.upper[j]);
    }
    return sum_;
  }

 private:
  // 1/2 x'Hx >= x'(H + D)w - 1/2 w'(H + D)w - 1/2 x'Dx for any w, where H + D is semidefinite.
  bool take_tangent(Lagrangian* g) {
    const size_t n = g->linear.size();
    Point prices(n);
    for (size_t j = 0; j < n; ++j) {
      const Rational most = largest_absolute(box_.lower[j], box_.upper[j]);
      prices[j] = most * most / 2;
    }
    const auto shift = cheapest_shift(g->hessian, prices);
    if (!shift) return false;
    for (size_t j = 0; j < n; ++j) sum_ -= (*shift)[j] * prices[j];
    g->hessian.add_to_diagonal(*shift);
    Point w(n);
    for (size_t j = 0; j < multipliers_.point.size(); ++j) w[j] = multipliers_.point[j];
    const Point gradient = g->hessian.times(w);
    for (size_t j = 0; j < n; ++j) {
      g->linear[j] += gradient[j];
      sum_ -= gradient[j] * w[j] / 2;
    }
    return true;
  }

  // <S, X> >= -<D, X> where S + D is semidefinite.
  bool add_matrix(const SymmetricMatrix& matrix, const Point& diagonal) {
    const auto shift = cheapest_shift(matrix, diagonal);
    if (!shift) return false;
    for (size_t k = 0; k < diagonal.size(); ++k) sum_ -= (*shift)[k] * diagonal[k];
    return true;
  }

  // q'x >= (q - s)'x for s in the dual cone. Moved there are the reported multipliers, and q itself.
  void take_member(const Cone& cone, Point* linear) {
    Point q, reported, weights;
    for (const size_t var : cone.vars) {
      q.push_back((*linear)[var]);
      reported.emplace_back(multipliers_.cone.empty() ? 0.0 : multipliers_.cone[var]);
      const Rational most = largest_absolute(box_.lower[var], box_.upper[var]);
      weights.push_back(most > 0 ? most : Rational(1));
    }
    std::optional<Rational> best;
    Point taken;
    for (const Point& point : {q, reported}) {
      for (const Point& member : members_near(cone, Side::dual, point, weights)) {
        Rational left;
        for (size_t k = 0; k < q.size(); ++k) {
          const size_t var = cone.vars[k];
          left += least_product(q[k] - member[k], box_.lower[var], box_.upper[var]);
        }
        if (best && left <= *best) continue;
        best = left;
        taken = member;
      }
    }
    for (size_t k = 0; k < q.size(); ++k) (*linear)[cone.vars[k]] -= taken[k];
  }

  const Model& model_;
  const Multipliers& multipliers_;
  const Box& box_;
  Rational sum_;
};

bool is_finite(const std::vector<double>& values) {
  return std::all_of(values.begin(), values.end(), [](double v) { return std::isfinite(v); });
}

Fault fault_of_signs(const Model& model, const Multipliers& multipliers) {
  const std::vector<double>& y = multipliers.y;
  if (y.size() != model.rows.size()) return "not a multiplier for each row";
  for (const auto* values : {&y, &multipliers.cone, &multipliers.point}) {
    if (!is_finite(*values)) return "a multiplier is no number";
  }
  for (size_t i = 0; i < y.size(); ++i) {
    const double side = y[i] > 0.0 ? model.rows[i].lower : model.rows[i].upper;
    if (y[i] != 0.0 && !std::isfinite(side)) {
      return "row " + std::to_string(i) + " has a multiplier on an infinite side";
    }
  }
  return {};
}

// Multipliers near y with which nothing is left over in the columns of free variables outside cones.
// Of all such changes it is the least one in parts of the plausible sizes, and multipliers of 0 stay.
// It is computed to 256 bits: what is left over then counts as before.
class Repair {
 public:
  Repair(const Model& model, const Multipliers& multipliers, const Sizes& sizes)
      : model_(model), sizes_(sizes), y_(multipliers.y.begin(), multipliers.y.end()) {
    point_.resize(model.cost.size());
    for (size_t j = 0; j < multipliers.point.size(); ++j) point_[j] = multipliers.point[j];
  }

  Point repaired(bool with_objective) {
    choose_columns();
    const Lagrangian g = lagrangian_of(model_, y_, with_objective);
    const Point gradient = g.hessian.times(point_);
    Point left;
    for (const size_t j : columns_) left.push_back(g.linear[j] + gradient[j]);
    const Point prices = solved(std::move(left));
    Point y = y_;
    for (size_t i = 0; i < y.size(); ++i) {
      for (size_t c = 0; c < columns_.size(); ++c) y[i] += weighted(i, c) * prices[c];
      y[i] = near(y[i]);
      const double side = y[i] > 0 ? model_.rows[i].lower : model_.rows[i].upper;
      if (y[i] != 0 && !std::isfinite(side)) y[i] = 0;
    }
    return y;
  }

 private:
  // The columns, and the gradients of the rows in them.
  void choose_columns() {
    std::vector<bool> in_cone(model_.cost.size());
    for (const Cone& cone : model_.cones) {
      for (const size_t var : cone.vars) in_cone[var] = true;
    }
    for (size_t j = 0; j < in_cone.size(); ++j) {
      const bool free = !std::isfinite(model_.lower[j]) && !std::isfinite(model_.upper[j]);
      if (free && !in_cone[j]) columns_.push_back(j);
    }
    for (const Row& row : model_.rows) {
      Point gradient(model_.cost.size());
      for (const Term& t : row.terms) gradient[t.var] += Rational(t.value);
      for (const Square& q : row.squares) {
        gradient[q.row] += Rational(q.value) * point_[q.col];
        if (q.row != q.col) gradient[q.col] += Rational(q.value) * point_[q.row];
      }
      gradients_.push_back(std::move(gradient));
    }
  }

  Rational weighted(size_t i, size_t c) const {
    if (y_[i] == 0) return 0;
    const Rational size(sizes_.multiplier[i]);
    return size * size * gradients_[i][columns_[c]];
  }

  // v with, nearly, B W B'v = left, where B are the gradients in the columns; dependent columns have 0.
  Point solved(Point left) const {
    const size_t n = columns_.size();
    std::vector<Point> a(n, Point(n));
    for (size_t r = 0; r < n; ++r) {
      for (size_t c = 0; c < n; ++c) {
        for (size_t i = 0; i < y_.size(); ++i) {
          if (gradients_[i][columns_[r]] == 0 || gradients_[i][columns_[c]] == 0) continue;
          a[r][c] += gradients_[i][columns_[r]] * weighted(i, c);
        }
      }
    }
    for (size_t k = 0; k < n; ++k) {
      if (a[k][k] == 0) continue;
      for (size_t r = 0; r < n; ++r) {
        if (r == k || a[r][k] == 0) continue;
        const Rational factor = near(a[r][k] / a[k][k]);
        a[r][k] = 0;
        for (size_t c = k + 1; c < n; ++c) {
          if (a[k][c] != 0) a[r][c] = near(a[r][c] - factor * a[k][c]);
        }
        left[r] = near(left[r] - factor * left[k]);
      }
    }
    for (size_t k = 0; k < n; ++k)
      left[k] = a[k][k] == 0 ? Rational(0) : Rational(left[k] / a[k][k]);
    return left;
  }

  const Model& model_;
  const Sizes& sizes_;
  Point y_, point_;
  std::vector<size_t> columns_;
  std::vector<Point> gradients_;
};

// Of the multipliers as they are. Where that is not enough, they are repaired in the columns of free
// variables, which may have kept them from a proof.
std::optional<Rational> best_bound(const Model& model, const Multipliers& multipliers,
                                   const Box& box, const Sizes& sizes, bool with_objective,
                                   double enough) {
  LowerBound lower(model, multipliers, box);
  const Point y(multipliers.y.begin(), multipliers.y.end());
  auto plain = lower.of(lagrangian_of(model, y, with_objective));
  if (plain && std::isfinite(enough) && *plain > Rational(enough)) return plain;
  const Point better = Repair(model, multipliers, sizes).repaired(with_objective);
  auto repaired = lower.of(lagrangian_of(model, better, with_objective));
  return repaired && (!plain || *repaired > *plain) ? repaired : plain;
}

std::vector<double> times(std::vector<double> values, double factor) {
  constexpr double kLargest = 1e300;
  for (double& value : values) value = std::min(factor * value, kLargest);
  return values;
}

std::vector<std::vector<double>> times(std::vector<std::vector<double>> values, double factor) {
  for (auto& part : values) part = times(part, factor);
  return values;
}

// The place of (row, col) in a packed triangle is found by going through it.
std::vector<SymmetricMatrix> unpacked(const Model& model, const std::vector<double>& packed) {
  std::vector<SymmetricMatrix> matrices = zero_matrices(model);
  size_t place = 0;
  for (SymmetricMatrix& matrix : matrices) {
    for (size_t col = 0; col < matrix.dimension(); ++col) {
      for (size_t row = col; row < matrix.dimension(); ++row) {
        matrix.add({row, col, packed.at(place++)}, 1);
      }
    }
  }
  return matrices;
}

Rational inner(const MatrixTerm& term, const std::vector<SymmetricMatrix>& matrices) {
  const Square& e = term.element;
  const Rational product = Rational(e.value) * matrices[term.matrix].at(e.row, e.col);
  return e.row == e.col ? product : Rational(2 * product);
}

// A sum with the size of its terms.
struct Sum {
  Rational value, terms;
  void add(const Rational& term) {
    value += term;
    terms += absolute(term);
  }
};

void add_linear(const std::vector<Term>& terms, const std::vector<MatrixTerm>& matrix_terms,
                const Point& x, const std::vector<SymmetricMatrix>& matrices, Sum* sum) {
  for (const Term& t : terms) sum->add(Rational(t.value) * x[t.var]);
  for (const MatrixTerm& t : matrix_terms) sum->add(inner(t, matrices));
}

void add_squares(const std::vector<Square>& squares, const Point& x, Sum* sum) {
  for (const Square& q : squares) {
    const Rational half = q.row == q.col ? Rational(1, 2) : Rational(1);
    sum->add(half * Rational(q.value) * x[q.row] * x[q.col]);
  }
}

// The sum of |(Qx)_j| size_j.
Rational bent(const std::vector<Square>& squares, const Point& x,
              const std::vector<double>& sizes) {
  Point product(x.size());
  for (const Square& q : squares) {
    product[q.row] += Rational(q.value) * x[q.col];
    if (q.row != q.col) product[q.col] += Rational(q.value) * x[q.row];
  }
  Rational sum;
  for (size_t j = 0; j < x.size(); ++j) sum += absolute(product[j]) * Rational(sizes[j]);
  return sum;
}

std::vector<Term> cost_terms(const Model& model) {
  std::vector<Term> terms;
  for (size_t j = 0; j < model.cost.size(); ++j) terms.push_back({j, model.cost[j]});
  return terms;
}

// Moves the part of x in a cone to the cheapest member.
void move_into(const Cone& cone, const std::vector<double>& prices, Point* x) {
  Point part, weights;
  for (const size_t var : cone.vars) {
    part.push_back((*x)[var]);
    weights.emplace_back(prices[var] > 0.0 ? prices[var] : 1.0);
  }
  std::optional<Rational> least;
  Point taken;
  for (const Point& member : members_near(cone, Side::primal, part, weights)) {
    Rational cost;
    for (size_t k = 0; k < part.size(); ++k) cost += absolute(member[k] - part[k]) * weights[k];
    if (least && cost >= *least) continue;
    least = cost;
    taken = member;
  }
  for (size_t k = 0; k < part.size(); ++k) (*x)[cone.vars[k]] = taken[k];
}

bool leaves(const Rational& direction, double lower, double upper) {
  return (direction > 0 && std::isfinite(upper)) || (direction < 0 && std::isfinite(lower));
}

// Multipliers on infinite sides, which an optimum may have by a tolerance, count for nothing.
void clear_wrong_signs(const Model& model, std::vector<double>* y) {
  for (size_t i = 0; i < std::min(y->size(), model.rows.size()); ++i) {
    const double side = (*y)[i] > 0.0 ? model.rows[i].lower : model.rows[i].upper;
    if (!std::isfinite(side)) (*y)[i] = 0.0;
  }
}

std::vector<std::vector<double>> diagonals_of(const Model& model,
                                              const std::vector<double>& packed) {
  std::vector<std::vector<double>> diagonals;
  size_t place = 0;
  for (const size_t dimension : model.dimensions) {
    diagonals.emplace_back();
    for (size_t k = 0; k < dimension; ++k) {
      diagonals.back().push_back(packed.at(place));
      place += dimension - k;
    }
  }
  return diagonals;
}

std::string shown(const Rational& value) {
  char text[32];
  std::snprintf(text, sizeof text, "%.3g", value.get_d());
  return text;
}

}  // namespace

Fault verify_infeasible(const Model& model, const Multipliers& ray, double far) {
  if (Fault fault = fault_of_signs(model, ray); !fault.empty()) return fault;
  const Sizes sizes(model);
  std::vector<double> reach = times(sizes.var, far);
  for (const Row& row : model.rows) {
    for (const Square& q : row.squares) {
      for (const size_t j : {q.row, q.col}) reach[j] = std::sqrt(far) * sizes.var[j];
    }
  }
  const Box box = box_of(model, reach, times(sizes.diagonal, far));
  const auto bound = best_bound(model, ray, box, sizes, false, 0.0);
  if (!bound) return "the quadratic terms are not convex";
  if (*bound > 0) return {};
  return "points within the box may be feasible: the ray has the margin " + shown(*bound);
}

Fault verify_unbounded(const Model& model, const std::vector<double>& x,
                       const std::vector<double>& matrices, double far) {
  if (x.size() != model.cost.size() || !is_finite(x) || !is_finite(matrices)) return "no ray";
  for (size_t j = 0; j < x.size(); ++j) {
    if (leaves(x[j], model.lower[j], model.upper[j])) return "the ray leaves a bound";
  }
  const Sizes sizes(model);
  Point ray(x.begin(), x.end());
  for (const Cone& cone : model.cones) move_into(cone, sizes.gradient, &ray);
  for (size_t j = 0; j < x.size(); ++j) {
    if (leaves(ray[j], model.lower[j], model.upper[j])) return "in its cone the ray leaves a bound";
  }
  std::vector<SymmetricMatrix> parts = unpacked(model, matrices);
  for (size_t k = 0; k < parts.size(); ++k) {
    const Point prices(sizes.diagonal_gradient[k].begin(), sizes.diagonal_gradient[k].end());
    const auto shift = cheapest_shift(parts[k], prices);
    if (!shift) return "a matrix of the ray is not semidefinite";
    parts[k].add_to_diagonal(*shift);
  }
  // For multipliers of the dual, c'd = y'A d + s'd - (Q w - sum y_i Q_i w)'d with s'd >= 0.
  Sum fall;
  add_linear(cost_terms(model), model.matrix_cost, ray, parts, &fall);
  const std::vector<double> reach = times(sizes.var, far);
  Rational left = bent(model.squares, ray, reach);
  for (size_t i = 0; i < model.rows.size(); ++i) {
    const Row& row = model.rows[i];
    if (!std::isfinite(row.lower) && !std::isfinite(row.upper)) continue;
    Sum change;
    add_linear(row.terms, row.matrix_terms, ray, parts, &change);
    Rational lack = bent(row.squares, ray, sizes.var);
    if (leaves(change.value, row.lower, row.upper)) lack += absolute(change.value);
    left += lack * Rational(sizes.multiplier[i] * far);
  }
  if (-fall.value > left) return {};
  return "multipliers within the box may be feasible: the objective falls by " +
         shown(-fall.value) + ", and " + shown(left) + " may hold it";
}

PointFigures figures_of_point(const Model& model, const std::vector<double>& x,
                              const std::vector<double>& matrices) {
  const Sizes sizes(model);
  const Point point(x.begin(), x.end());
  const std::vector<SymmetricMatrix> parts = unpacked(model, matrices);
  PointFigures figures;
  const auto note = [&figures](const Rational& lack, const Rational& size) {
    if (lack <= 0) return;
    const Rational relative = lack / size;
    figures.violation = std::max(figures.violation, size > 0 ? relative.get_d() : kInfinity);
  };
  const auto hold = [&note](const Rational& value, double lower, double upper,
                            const Rational& size) {
    if (std::isfinite(lower)) note(Rational(lower) - value, size);
    if (std::isfinite(upper)) note(value - Rational(upper), size);
  };
  for (size_t j = 0; j < x.size(); ++j) {
    hold(point[j], model.lower[j], model.upper[j],
         std::max<Rational>(absolute(point[j]), sizes.var[j]));
  }
  for (size_t i = 0; i < model.rows.size(); ++i) {
    const Row& row = model.rows[i];
    Sum sum;
    add_linear(row.terms, row.matrix_terms, point, parts, &sum);
    add_squares(row.squares, point, &sum);
    hold(sum.value, row.lower, row.upper, std::max<Rational>(sum.terms, sizes.row[i]));
  }
  for (const Cone& cone : model.cones) {
    std::vector<double> prices(x.size(), 1.0);
    Rational size;
    for (const size_t var : cone.vars) {
      const Rational own = std::max<Rational>(absolute(point[var]), sizes.var[var]);
      prices[var] = Rational(1 / own).get_d();
    }
    Point moved = point;
    move_into(cone, prices, &moved);
    for (const size_t var : cone.vars) {
      note(absolute(moved[var] - point[var]) * Rational(prices[var]), 1);
    }
  }
  for (size_t k = 0; k < parts.size(); ++k) {
    Point prices;
    for (size_t l = 0; l < parts[k].dimension(); ++l) {
      prices.push_back(1 / std::max<Rational>(absolute(parts[k].at(l, l)), sizes.diagonal[k][l]));
    }
    const auto shift = cheapest_shift(parts[k], prices);
    for (size_t l = 0; l < prices.size(); ++l) {
      note(shift ? Rational((*shift)[l] * prices[l]) : Rational(1), shift ? 1 : 0);
    }
  }
  Sum objective;
  objective.add(model.constant);
  add_linear(cost_terms(model), model.matrix_cost, point, parts, &objective);
  add_squares(model.squares, point, &objective);
  figures.objective = objective.value.get_d();
  figures.terms = objective.terms.get_d();
  return figures;
}

double proved_bound(const Model& model, const Multipliers& multipliers,
                    const std::vector<double>& matrices, double enough) {
  constexpr double kFactor = 2.0;
  Multipliers allowed = multipliers;
  clear_wrong_signs(model, &allowed.y);
  if (!fault_of_signs(model, allowed).empty()) return -kInfinity;
  const Sizes sizes(model);
  std::vector<double> values = multipliers.point;
  values.resize(model.cost.size());
  std::vector<std::vector<double>> diagonals = diagonals_of(model, matrices);
  double largest = 0.0;
  for (const double x : values) largest = std::max(largest, std::fabs(x));
  for (const auto& diagonal : diagonals) {
    for (const double x : diagonal) largest = std::max(largest, x);
  }
  const auto box_size = [largest](double value, double size) {
    return kFactor * std::max(std::fabs(value), largest > 0.0 ? std::min(size, largest) : size);
  };
  for (size_t j = 0; j < values.size(); ++j) values[j] = box_size(values[j], sizes.var[j]);
  for (size_t k = 0; k < diagonals.size(); ++k) {
    for (size_t l = 0; l < diagonals[k].size(); ++l) {
      diagonals[k][l] = box_size(diagonals[k][l], sizes.diagonal[k][l]);
    }
  }
  const Box box = box_of(model, values, diagonals);
  const auto bound = best_bound(model, allowed, box, sizes, true, enough);
  if (!bound) return -kInfinity;
  const double rounded = bound->get_d();
  return Rational(rounded) <= *bound ? rounded : std::nextafter(rounded, -kInfinity);
}

}  // namespace proofs
