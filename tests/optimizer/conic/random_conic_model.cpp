// The construction. All unknowns are coordinates of one long vector: the variables, then the
// elements of the matrix variables. An element off a diagonal weighs twice in an inner product.
#include "random_conic_model.h"

#include <algorithm>
#include <cmath>

#include "cone_points.h"
#include "task/parameters.h"

namespace vorlan::test {
namespace {

using Vector = std::vector<double>;

// What a variable outside of cones is bounded by, and with what dual.
enum class Box { kFree, kAtLower, kAtUpper, kBetween, kAboveLower, kFixed, kNumber };

// Where a constraint has its sides.
enum class Side { kEqual, kAtLower, kAtUpper, kBetween, kFree, kNumber };

struct Row {
  Vector linear;
  Vector factor;  // f of 1/2 (f'x)^2 over the variables, or empty
  double lower = -kInfinity;
  double upper = kInfinity;
};

class Builder {
 public:
  Builder(ConicFamily family, uint32_t seed) : family_(family), random_(seed) {}

  KnownConicModel make() {
    choose_shape();
    if (family_ == ConicFamily::kPrimalInfeasible) {
      make_infeasible();
    } else if (family_ == ConicFamily::kDualInfeasible) {
      make_unbounded();
    } else {
      make_optimal();
    }
    if (family_ == ConicFamily::kScaled) scale();
    emit();
    return known_;
  }

 private:
  // ---- Shape -----------------------------------------------------------------------------------

  void choose_shape() {
    num_var_ = static_cast<size_t>(random_.whole(0, 4));
    const size_t num_scalar = num_var_;
    const int num_cone = random_.whole(num_var_ == 0 ? 1 : 0, 3);
    for (int k = 0; k < num_cone; ++k) {
      const auto kind = static_cast<ConeKind>(random_.whole(0, 5));
      cones_.push_back(random_cone(kind, static_cast<int32_t>(num_var_), &random_));
      num_var_ += cones_.back().vars.size();
    }
    weight_.assign(num_var_, 1.0);
    for (int k = random_.chance(40) ? random_.whole(1, 2) : 0; k > 0; --k) add_matrix();
    for (size_t j = 0; j < num_scalar; ++j) {
      box_.push_back(static_cast<Box>(random_.whole(0, static_cast<int>(Box::kNumber) - 1)));
    }
    lower_.assign(num_var_, -kInfinity);
    upper_.assign(num_var_, kInfinity);
    cost_.assign(size(), 0.0);
  }

  void add_matrix() {
    const int32_t dimension = random_.whole(1, 4);
    dimensions_.push_back(dimension);
    for (int32_t col = 0; col < dimension; ++col) {
      for (int32_t row = col; row < dimension; ++row) weight_.push_back(row == col ? 1.0 : 2.0);
    }
  }

  size_t size() const { return weight_.size(); }

  // Cones and matrices of a vector, each filled by its function.
  template <class OfCone, class OfMatrix>
  void fill(const OfCone& of_cone, const OfMatrix& of_matrix) {
    size_t next = box_.size();
    for (const Cone& cone : cones_) {
      of_cone(cone, next);
      next += cone.vars.size();
    }
    for (const int32_t dimension : dimensions_) {
      of_matrix(dimension, next);
      next += static_cast<size_t>(dimension) * static_cast<size_t>(dimension + 1) / 2;
    }
  }

  static void put(const Vector& values, size_t first, Vector* all) {
    std::copy(values.begin(), values.end(), all->begin() + static_cast<std::ptrdiff_t>(first));
  }

  void fill_interior(bool dual, Vector* x) {
    fill([&](const Cone& cone, size_t at) { put(interior_point(cone, dual, &random_), at, x); },
         [&](int32_t dimension, size_t at) { put(positive_definite(dimension, &random_), at, x); });
  }

  // ---- Rows ------------------------------------------------------------------------------------

  double product(const Vector& a, const Vector& x) const {
    double sum = 0.0;
    for (size_t k = 0; k < a.size(); ++k) sum += weight_[k] * a[k] * x[k];
    return sum;
  }

  double value(const Row& row, const Vector& x) const {
    const double f = product(row.factor, x);
    return product(row.linear, x) + 0.5 * f * f;
  }

  Vector random_linear() {
    Vector a(size(), 0.0);
    const int density = random_.whole(30, 90);
    for (double& value : a) {
      if (random_.chance(density)) value = random_.away_from_zero();
    }
    a[static_cast<size_t>(random_.whole(0, static_cast<int>(size()) - 1))] = 1.0;
    return a;
  }

  Vector random_factor() {
    Vector f(num_var_, 0.0);
    for (double& value : f) {
      if (random_.chance(40)) value = random_.between(-1.0, 1.0);
    }
    return f;
  }

  // The coordinate in which x is largest.
  static size_t largest(const Vector& x) {
    size_t at = 0;
    for (size_t k = 1; k < x.size(); ++k) {
      if (std::fabs(x[k]) > std::fabs(x[at])) at = k;
    }
    return at;
  }

  // Changes one coefficient so that a'x = target. What only rounding leaves of it is none.
  void turn(const Vector& x, double target, Vector* a) const {
    const size_t k = largest(x);
    (*a)[k] += (target - product(*a, x)) / (weight_[k] * x[k]);
    if (std::fabs((*a)[k]) < 1e-12) (*a)[k] = 0.0;
  }

  // 1/2 x'Qx = 1/2 sum (f'x)^2 and its gradient.
  double quadratic_value(const Vector& x) const {
    double sum = 0.0;
    for (const Vector& f : objective_factors_) sum += 0.5 * product(f, x) * product(f, x);
    return sum;
  }
  void add_gradient(const Vector& f, const Vector& x, double factor, Vector* gradient) const {
    const double f_x = product(f, x);
    for (size_t k = 0; k < f.size(); ++k) (*gradient)[k] += factor * f_x * f[k];
  }

  void choose_objective_factors() {
    if (num_var_ == 0 || !random_.chance(35)) return;
    for (int k = random_.whole(1, 4); k > 0; --k) objective_factors_.push_back(random_factor());
  }

  // cost = z + sum y_i (a_i + Q_i x) - Q x makes x and (y, z) satisfy the stationarity conditions.
  void set_cost(const Vector& x, const Vector& y, const Vector& z) {
    cost_ = z;
    for (size_t i = 0; i < y.size(); ++i) {
      for (size_t k = 0; k < size(); ++k) cost_[k] += y[i] * rows_[i].linear[k];
      add_gradient(rows_[i].factor, x, y[i], &cost_);
    }
    for (const Vector& f : objective_factors_) add_gradient(f, x, -1.0, &cost_);
  }

  bool has_primal_interior() const { return family_ != ConicFamily::kNoInterior; }
  bool has_dual_interior() const {
    return family_ == ConicFamily::kRegular || family_ == ConicFamily::kScaled;
  }

  // ---- A model with an optimum -----------------------------------------------------------------

  void make_optimal() {
    Vector x(size(), 0.0);
    Vector z(size(), 0.0);
    Vector inside(size(), 0.0);
    choose_boxes(&x, &z, &inside);
    fill(
        [&](const Cone& cone, size_t at) {
          const ComplementaryPair pair = complementary_pair(cone, &random_);
          put(pair.s, at, &x);
          put(pair.z, at, &z);
        },
        [&](int32_t dimension, size_t at) {
          const ComplementaryPair pair = complementary_matrices(dimension, &random_);
          put(pair.s, at, &x);
          put(pair.z, at, &z);
        });
    fill_interior(false, &inside);
    choose_objective_factors();
    Vector y;
    for (int i = random_.whole(0, 6); i > 0; --i) add_optimal_row(x, inside, &y);
    if (has_dual_interior()) add_enclosing_row(x, inside, &y);
    add_redundant_rows(&y);
    bound_cone_members(x, inside, &z);
    set_cost(x, y, z);
    known_.objective = product(cost_, x) + quadratic_value(x);
    known_.size = std::max(1.0, quadratic_value(x));
    for (size_t k = 0; k < size(); ++k) {
      known_.size = std::max(known_.size, std::fabs(weight_[k] * cost_[k] * x[k]));
    }
  }

  void choose_boxes(Vector* x, Vector* z, Vector* inside) {
    for (size_t j = 0; j < box_.size(); ++j) {
      (*x)[j] = random_.between(-2.0, 2.0);
      (*inside)[j] = (*x)[j] + (random_.chance(50) ? 0.0 : random_.away_from_zero());
      const double dual = random_.chance(90) ? random_.between(0.3, 2.0) : 0.0;
      const double step = random_.between(0.3, 2.0);
      switch (box_[j]) {
        case Box::kAtLower:
          lower_[j] = (*x)[j];
          if (random_.chance(50)) upper_[j] = lower_[j] + 2.0 * step;
          (*inside)[j] = lower_[j] + step;
          (*z)[j] = dual;
          break;
        case Box::kAtUpper:
          upper_[j] = (*x)[j];
          if (random_.chance(50)) lower_[j] = upper_[j] - 2.0 * step;
          (*inside)[j] = upper_[j] - step;
          (*z)[j] = -dual;
          break;
        case Box::kBetween:
          lower_[j] = std::min((*x)[j], (*inside)[j]) - step;
          upper_[j] = std::max((*x)[j], (*inside)[j]) + step;
          break;
        case Box::kAboveLower:
          lower_[j] = std::min((*x)[j], (*inside)[j]) - step;
          break;
        case Box::kFixed:
          lower_[j] = upper_[j] = (*inside)[j] = (*x)[j];
          (*z)[j] = random_.between(-2.0, 2.0);
          break;
        default:
          break;
      }
    }
  }

  // A constraint that x meets, at a side with a multiplier; and that a point inside meets with room
  // to spare, if there is to be one.
  void add_optimal_row(const Vector& x, const Vector& inside, Vector* y) {
    Row row;
    row.linear = random_linear();
    auto side = static_cast<Side>(random_.whole(0, static_cast<int>(Side::kNumber) - 1));
    if (random_.chance(40)) side = Side::kEqual;
    if (num_var_ > 0 && random_.chance(15)) {
      row.factor = random_factor();
      if (side == Side::kEqual || side == Side::kAtLower) side = Side::kAtUpper;
    }
    if (has_primal_interior()) give_room(side, x, inside, &row);
    const double activity = value(row, x);
    const double multiplier = random_.between(0.3, 2.0);
    const double room = random_.between(1.0, 4.0) + std::fabs(value(row, inside) - activity);
    y->push_back(0.0);
    switch (side) {
      case Side::kEqual:
        row.lower = row.upper = activity;
        y->back() = random_.chance(50) ? multiplier : -multiplier;
        break;
      case Side::kAtLower:
        row.lower = activity;
        if (random_.chance(30)) row.upper = activity + room;
        y->back() = random_.chance(90) ? multiplier : 0.0;
        break;
      case Side::kAtUpper:
        row.upper = activity;
        if (row.factor.empty() && random_.chance(30)) row.lower = activity - room;
        y->back() = random_.chance(90) ? -multiplier : 0.0;
        break;
      case Side::kBetween:
        if (row.factor.empty()) row.lower = activity - room;
        row.upper = activity + room;
        break;
      default:
        break;
    }
    rows_.push_back(row);
  }

  void give_room(Side side, const Vector& x, const Vector& inside, Row* row) {
    Vector way = inside;
    for (size_t k = 0; k < size(); ++k) way[k] -= x[k];
    if (std::fabs(way[largest(way)]) < 0.1) return;
    const double curved = value(*row, inside) - value(*row, x) - product(row->linear, way);
    if (side == Side::kEqual) turn(way, 0.0, &row->linear);
    if (side == Side::kAtLower) turn(way, random_.between(0.3, 2.0) - curved, &row->linear);
    if (side == Side::kAtUpper) turn(way, -random_.between(0.3, 2.0) - curved, &row->linear);
  }

  // Far bounds around all points, so that the dual has an interior.
  void add_enclosing_row(const Vector& x, const Vector& inside, Vector* y) {
    Row row;
    row.linear.assign(size(), 0.0);
    fill_interior(true, &row.linear);
    const double reach = std::max(product(row.linear, x), product(row.linear, inside));
    row.upper = reach + random_.between(2.0, 20.0);
    for (size_t j = 0; j < box_.size(); ++j) {
      lower_[j] = std::max(lower_[j], std::min(x[j], inside[j]) - 20.0);
      upper_[j] = std::min(upper_[j], std::max(x[j], inside[j]) + 20.0);
    }
    rows_.push_back(row);
    y->push_back(0.0);
  }

  // Sums of equations that are there already.
  void add_redundant_rows(Vector* y) {
    if (!random_.chance(20)) return;
    Row sum;
    sum.linear.assign(size(), 0.0);
    sum.lower = 0.0;
    for (const Row& row : rows_) {
      if (row.lower != row.upper) continue;
      const double factor = random_.away_from_zero();
      for (size_t k = 0; k < size(); ++k) sum.linear[k] += factor * row.linear[k];
      sum.lower += factor * row.lower;
    }
    sum.upper = sum.lower;
    rows_.push_back(sum);
    y->push_back(0.0);
  }

  // Bounds on members of cones hold besides; with a multiplier where they are active.
  void bound_cone_members(const Vector& x, const Vector& inside, Vector* z) {
    for (size_t j = box_.size(); j < num_var_; ++j) {
      if (!random_.chance(8)) continue;
      const bool active = std::fabs(inside[j] - x[j]) > 0.1 && random_.chance(50);
      if (active && inside[j] < x[j]) {
        upper_[j] = x[j];
        (*z)[j] -= random_.between(0.3, 2.0);
      } else if (active) {
        lower_[j] = x[j];
        (*z)[j] += random_.between(0.3, 2.0);
      } else {
        lower_[j] = std::min(x[j], inside[j]) - 1.0;
      }
    }
  }

  // ---- An infeasible model ---------------------------------------------------------------------

  // Multipliers of the sign that the finite bounds allow; bounds are chosen here if they are not.
  Vector bound_duals(bool choose) {
    Vector d(size(), 0.0);
    for (size_t j = 0; j < box_.size(); ++j) {
      const double dual = random_.between(0.3, 2.0);
      const double bound = random_.between(-2.0, 2.0);
      if (choose && box_[j] != Box::kFree) {
        if (box_[j] != Box::kAtUpper) lower_[j] = bound;
        if (box_[j] == Box::kAtUpper || box_[j] == Box::kBetween) upper_[j] = bound + 1.0;
        if (box_[j] == Box::kFixed) upper_[j] = bound;
      }
      const bool has_lower = std::isfinite(lower_[j]);
      const bool has_upper = std::isfinite(upper_[j]);
      if (has_lower && (!has_upper || random_.chance(50))) {
        d[j] = dual;
      } else if (has_upper) {
        d[j] = -dual;
      }
    }
    return d;
  }

  void make_infeasible() {
    Vector z = bound_duals(true);
    fill_interior(true, &z);
    choose_objective_factors();
    Vector x(size(), 0.0);
    for (size_t j = 0; j < num_var_; ++j) x[j] = random_.between(-2.0, 2.0);
    Vector y;
    for (int i = random_.whole(0, 5); i > 0; --i) add_infeasible_row(&y);
    add_proving_row(x, z, &y);
    // Other multipliers make it dual feasible.
    Vector dual = bound_duals(false);
    fill_interior(true, &dual);
    for (double& multiplier : y) multiplier *= random_.between(0.3, 1.0);
    set_cost(x, y, dual);
  }

  void add_infeasible_row(Vector* y) {
    Row row;
    row.linear = random_linear();
    if (num_var_ > 0 && random_.chance(15)) row.factor = random_factor();
    const double side = random_.between(-2.0, 2.0);
    const int form = row.factor.empty() ? random_.whole(0, 4) : 1;
    const double multiplier = random_.chance(80) ? random_.between(0.3, 2.0) : 0.0;
    const bool at_lower = form == 0 || (form >= 2 && random_.chance(50));
    if (form == 0 || form >= 3) row.lower = side;
    if (form == 1 || form == 2) row.upper = side;
    if (form == 2) row.lower = side - random_.between(0.0, 2.0);
    if (form >= 3) row.upper = side;
    rows_.push_back(row);
    y->push_back(at_lower ? multiplier : -multiplier);
  }

  // Makes y and z a dual ray at x: its coefficients close A'y = H x - z, its side the margin.
  void add_proving_row(const Vector& x, const Vector& z, Vector* y) {
    Row row;
    row.linear.assign(size(), 0.0);
    for (size_t k = 0; k < size(); ++k) row.linear[k] -= z[k];
    double proof = 0.0;
    for (size_t i = 0; i < rows_.size(); ++i) {
      for (size_t k = 0; k < size(); ++k) row.linear[k] -= (*y)[i] * rows_[i].linear[k];
      add_gradient(rows_[i].factor, x, -(*y)[i], &row.linear);
      proof += bound_term((*y)[i], rows_[i].lower, rows_[i].upper);
      const double f = product(rows_[i].factor, x);
      proof += 0.5 * (*y)[i] * f * f;
    }
    for (size_t j = 0; j < num_var_; ++j) proof += bound_term(z[j], lower_[j], upper_[j]);
    const double multiplier = random_.away_from_zero();
    for (double& value : row.linear) value /= multiplier;
    const double side = (random_.between(0.5, 2.0) - proof) / multiplier;
    if (multiplier > 0.0) row.lower = side;
    if (multiplier < 0.0) row.upper = side;
    if (random_.chance(50)) row.lower = row.upper = side;
    rows_.push_back(row);
    y->push_back(multiplier);
  }

  static double bound_term(double multiplier, double lower, double upper) {
    if (multiplier == 0.0) return 0.0;
    const double bound = multiplier > 0.0 ? lower : upper;
    return std::isfinite(bound) ? multiplier * bound : 0.0;
  }

  // ---- An unbounded model ----------------------------------------------------------------------

  void make_unbounded() {
    Vector ray(size(), 0.0);
    Vector x(size(), 0.0);
    for (size_t j = 0; j < box_.size(); ++j) choose_unbounded_box(j, &x, &ray);
    fill_interior(false, &ray);
    fill_interior(false, &x);
    if (std::fabs(ray[largest(ray)]) < 0.1) make_free(0, &ray);
    for (int i = random_.whole(0, 5); i > 0; --i) add_unbounded_row(x, ray);
    choose_objective_factors();
    for (Vector& f : objective_factors_) keep_along(ray, &f);
    cost_ = random_linear();
    turn(ray, -random_.between(0.5, 2.0), &cost_);
  }

  void make_free(size_t j, Vector* ray) {
    lower_[j] = -kInfinity;
    upper_[j] = kInfinity;
    (*ray)[j] = 1.0;
  }

  void choose_unbounded_box(size_t j, Vector* x, Vector* ray) {
    (*x)[j] = random_.between(-2.0, 2.0);
    const double step = random_.between(0.3, 2.0);
    const bool has_lower = box_[j] != Box::kFree && box_[j] != Box::kAtUpper;
    const bool has_upper = box_[j] != Box::kFree && box_[j] != Box::kAtLower;
    if (has_lower) lower_[j] = (*x)[j] - step;
    if (has_upper) upper_[j] = (*x)[j] + step;
    if (box_[j] == Box::kFixed) lower_[j] = upper_[j] = (*x)[j];
    if (has_lower && has_upper) return;
    (*ray)[j] = has_lower ? step : has_upper ? -step : random_.away_from_zero();
  }

  void add_unbounded_row(const Vector& x, const Vector& ray) {
    Row row;
    row.linear = random_linear();
    auto side = static_cast<Side>(random_.whole(0, static_cast<int>(Side::kNumber) - 1));
    if (num_var_ > 0 && random_.chance(15)) {
      row.factor = random_factor();
      keep_along(ray, &row.factor);
      if (side == Side::kEqual || side == Side::kAtLower) side = Side::kAtUpper;
    }
    const double slope = random_.between(0.0, 1.0);
    if (side == Side::kAtLower) turn(ray, slope, &row.linear);
    if (side == Side::kAtUpper) turn(ray, -slope, &row.linear);
    if (side == Side::kEqual || side == Side::kBetween) turn(ray, 0.0, &row.linear);
    const double activity = value(row, x);
    const double room = random_.between(0.3, 2.0);
    const bool between = side == Side::kBetween;
    if (side == Side::kEqual) row.lower = row.upper = activity;
    if (side == Side::kAtLower || (between && row.factor.empty())) row.lower = activity - room;
    if (side == Side::kAtUpper || between) row.upper = activity + room;
    rows_.push_back(row);
  }

  // f'ray = 0, so that the square does not change along the ray.
  void keep_along(const Vector& ray, Vector* f) const {
    const Vector scalars(ray.begin(), ray.begin() + static_cast<std::ptrdiff_t>(num_var_));
    if (std::fabs(scalars[largest(scalars)]) < 0.1) return;  // all of them are 0
    turn(scalars, 0.0, f);
  }

  // ---- Scaling ---------------------------------------------------------------------------------

  double random_scale() { return std::pow(10.0, random_.between(-6.0, 6.0)); }

  // x_k = scale_k times the new x_k: one scale a cone, products of scales in a matrix.
  void scale() {
    Vector scales(size(), 1.0);
    for (size_t j = 0; j < box_.size(); ++j) scales[j] = random_scale();
    fill([&](const Cone& cone,
             size_t at) { put(Vector(cone.vars.size(), random_scale()), at, &scales); },
         [&](int32_t dimension, size_t at) {
           Vector roots(static_cast<size_t>(dimension));
           for (double& root : roots) root = std::sqrt(random_scale());
           for (size_t col = 0; col < roots.size(); ++col) {
             for (size_t row = col; row < roots.size(); ++row)
               scales[at++] = roots[row] * roots[col];
           }
         });
    const auto apply = [&scales](Vector* values) {
      for (size_t k = 0; k < values->size(); ++k) (*values)[k] *= scales[k];
    };
    for (Row& row : rows_) {
      apply(&row.linear);
      apply(&row.factor);
      scale_row(random_scale(), &row);
    }
    for (Vector& f : objective_factors_) apply(&f);
    apply(&cost_);
    for (size_t j = 0; j < num_var_; ++j) {
      lower_[j] /= scales[j];
      upper_[j] /= scales[j];
    }
  }

  static void scale_row(double factor, Row* row) {
    for (double& value : row->linear) value *= factor;
    for (double& value : row->factor) value *= std::sqrt(factor);
    row->lower *= factor;
    row->upper *= factor;
  }

  // ---- The model -------------------------------------------------------------------------------

  void emit() {
    Model& model = known_.model;
    model.cost.assign(cost_.begin(), cost_.begin() + static_cast<std::ptrdiff_t>(num_var_));
    model.var_lower = lower_;
    model.var_upper = upper_;
    model.var_kind.assign(num_var_, VarKind::kContinuous);
    model.cones = cones_;
    for (const int32_t dimension : dimensions_) model.matrix_vars.push_back({dimension});
    for (const Row& row : rows_) {
      model.con_lower.push_back(row.lower);
      model.con_upper.push_back(row.upper);
    }
    emit_matrix(&model);
    emit_matrix_elements(&model);
    emit_quadratic(&model);
    model.constant = random_.chance(30) ? random_.between(-5.0, 5.0) : 0.0;
    known_.objective += model.constant;
    if (random_.chance(50)) negate_objective();
  }

  void emit_matrix(Model* model) const {
    for (size_t j = 0; j < num_var_; ++j) {
      for (size_t i = 0; i < rows_.size(); ++i) {
        if (rows_[i].linear[j] == 0.0) continue;
        model->matrix.row.push_back(static_cast<int32_t>(i));
        model->matrix.value.push_back(rows_[i].linear[j]);
      }
      model->matrix.start.push_back(static_cast<int64_t>(model->matrix.row.size()));
    }
  }

  // Calls back with matrix variable and entry of all nonzero elements of a vector.
  template <class Add>
  void for_elements(const Vector& values, const Add& add) const {
    size_t k = num_var_;
    for (size_t var = 0; var < dimensions_.size(); ++var) {
      for (int32_t col = 0; col < dimensions_[var]; ++col) {
        for (int32_t row = col; row < dimensions_[var]; ++row, ++k) {
          if (values[k] != 0.0) {
            add(static_cast<int32_t>(var), TriangleEntry{row, col, values[k]});
          }
        }
      }
    }
  }

  void emit_matrix_elements(Model* model) const {
    for_elements(cost_, [model](int32_t var, const TriangleEntry& entry) {
      model->matrix_cost.push_back({var, entry});
    });
    for (size_t i = 0; i < rows_.size(); ++i) {
      for_elements(rows_[i].linear, [model, i](int32_t var, const TriangleEntry& entry) {
        model->matrix_coefficients.push_back({static_cast<int32_t>(i), var, entry});
      });
    }
  }

  // The lower triangle of the sum of f f'.
  std::vector<TriangleEntry> triangle(const std::vector<Vector>& factors) const {
    std::vector<TriangleEntry> entries;
    for (size_t col = 0; col < num_var_; ++col) {
      for (size_t row = col; row < num_var_; ++row) {
        double sum = 0.0;
        for (const Vector& f : factors) sum += f[row] * f[col];
        if (sum == 0.0) continue;
        entries.push_back({static_cast<int32_t>(row), static_cast<int32_t>(col), sum});
      }
    }
    return entries;
  }

  void emit_quadratic(Model* model) const {
    model->quadratic_cost = triangle(objective_factors_);
    for (size_t i = 0; i < rows_.size(); ++i) {
      if (rows_[i].factor.empty()) continue;
      for (const TriangleEntry& entry : triangle({rows_[i].factor})) {
        model->quadratic_coefficients.push_back({static_cast<int32_t>(i), entry});
      }
    }
  }

  void negate_objective() {
    Model& model = known_.model;
    model.maximize = true;
    model.constant = -model.constant;
    known_.objective = -known_.objective;
    for (double& c : model.cost) c = -c;
    for (TriangleEntry& q : model.quadratic_cost) q.value = -q.value;
    for (MatrixCostEntry& c : model.matrix_cost) c.entry.value = -c.entry.value;
  }

  ConicFamily family_;
  Random random_;
  KnownConicModel known_;
  size_t num_var_ = 0;
  std::vector<Box> box_;  // of the variables outside of cones, which come first
  std::vector<Cone> cones_;
  std::vector<int32_t> dimensions_;
  Vector weight_;  // of each coordinate in inner products
  Vector lower_, upper_, cost_;
  std::vector<Vector> objective_factors_;
  std::vector<Row> rows_;
};

}  // namespace

KnownConicModel make_conic_model(ConicFamily family, uint32_t seed) {
  return Builder(family, seed).make();
}

}  // namespace vorlan::test
