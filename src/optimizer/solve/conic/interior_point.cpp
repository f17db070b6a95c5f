// The iteration; see interior_point.h for the embedding. All residuals shrink by the same factor in
// a step, 1 - length * rest.
#include "solve/conic/interior_point.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <utility>

#include "solve/checker.h"
#include "solve/conic/residual_sizes.h"
#include "solve/vectors.h"
#include "task/text.h"

namespace vorlan::conic {
namespace {

// The share of the way to the boundary that a step goes: more where the affine step could go far.
constexpr double kLeastToBoundary = 0.9;
constexpr double kMoreToBoundary = 0.09;
// With steps shorter than this for so many iterations nothing more comes.
constexpr double kShortStep = 1e-4;
constexpr int kMostShortSteps = 8;
// As long as that without coming nearer to any claim, neither; near to a claim sooner.
constexpr int kMostIdleIterations = 15;
constexpr int kMostIdleIterationsNear = 5;
constexpr double kNear = 100.0;
// A run that can go no further still claims what holds to this share of the tolerance's root.
constexpr double kLooseTolerance = 1e-6;
// Rays count at this violation, and at the loose one when the run can go no further.
constexpr double kRayViolation = 1e-8;
// A run that can go on takes an objective for unlimited only when it falls by so much, since an
// optimum far out looks like a ray for a while.
constexpr double kCertainFall = 1e13;

// The longest step that keeps a value positive.
double step_to_zero(double value, double change, double limit) {
  return change < 0.0 ? std::min(limit, -value / change) : limit;
}

// A cone's members in an array by variable.
void gather(const ConeBlock& block, const std::vector<double>& from, double* to) {
  for (size_t i = 0; i < block.vars.size(); ++i) to[i] = from[index(block.vars[i])];
}

void scatter(const ConeBlock& block, const double* from, std::vector<double>* to) {
  for (size_t i = 0; i < block.vars.size(); ++i) (*to)[index(block.vars[i])] = from[i];
}

}  // namespace

double Measures::worst(const Tolerances& tolerances) const {
  return std::max(
      {primal / tolerances.feasibility, dual / tolerances.feasibility, gap / tolerances.gap});
}

InteriorPointMethod::InteriorPointMethod(const ConicProblem& problem, const Equilibration& scaling,
                                         const Tolerances& tolerances, RayProof proves,
                                         BackendMonitor* monitor)
    : problem_(problem),
      scaling_(scaling),
      tolerances_(tolerances),
      proves_(std::move(proves)),
      monitor_(monitor) {
  size_t members = 0;
  for (const ConeBlock& block : problem.cones) {
    cones_.push_back(make_cone(block));
    cone_start_.push_back(members);
    members += block.vars.size();
    degree_ += cones_.back()->degree();
  }
  cone_rhs_.assign(members, 0.0);
  degree_ += static_cast<double>(problem.bounds.size());
}

Status InteriorPointMethod::prepare() {
  std::string message;
  if (!problem_.matrices.empty()) {
    algebra_ = DenseAlgebra::load(&message);
    if (algebra_ == nullptr) return {Code::kErrOptimizer, message};
  }
  for (const MatrixBlock& block : problem_.matrices) {
    matrices_.emplace_back(block, *algebra_);
    degree_ += block.dimension;
  }
  system_ = std::make_unique<NewtonSystem>(problem_, cones_);
  system_->analyze(algebra_);
  // From this order on the dense end of the factor repays the loading of fast dense algebra.
  constexpr int32_t kLargeDenseOrder = 200;
  if (algebra_ == nullptr && system_->dense_order() >= kLargeDenseOrder) {
    system_->use(DenseAlgebra::load(&message));
  }
  return {};
}

void InteriorPointMethod::start() {
  now_.tau = now_.kappa = 1.0;
  now_.x.assign(num_var(), 0.0);
  now_.y.assign(num_row(), 0.0);
  now_.s.assign(problem_.bounds.size(), 1.0);
  now_.z.assign(problem_.bounds.size(), 1.0);
  now_.cone_dual.assign(num_var(), 0.0);
  for (size_t c = 0; c < cones_.size(); ++c) {
    std::vector<double> s(index(cones_[c]->size()));
    std::vector<double> z(s.size());
    cones_[c]->start(s.data(), z.data());
    scatter(problem_.cones[c], s.data(), &now_.x);
    scatter(problem_.cones[c], z.data(), &now_.cone_dual);
  }
  for (MatrixCone& matrix : matrices_) matrix.start();
  bound_scaling_.assign(problem_.bounds.size(), 1.0);
  bound_rhs_.assign(problem_.bounds.size(), 0.0);
  f_.assign(num_var(), 0.0);
  g_.assign(num_row(), 0.0);
  turn_x_ = tau_turn_x_ = f_;
  turn_y_ = tau_turn_y_ = g_;
}

double InteriorPointMethod::complementarity() const {
  double product = now_.tau * now_.kappa + dot(now_.s, now_.z) + dot(now_.x, now_.cone_dual);
  for (const MatrixCone& matrix : matrices_) product += matrix.inner_product();
  return product / degree_;
}

bool InteriorPointMethod::update_scaling() {
  for (size_t k = 0; k < bound_scaling_.size(); ++k) {
    if (!(now_.s[k] > 0.0) || !(now_.z[k] > 0.0)) return false;
    bound_scaling_[k] = now_.z[k] / now_.s[k];
  }
  const double mu = complementarity();
  std::vector<double> s;
  std::vector<double> z;
  for (size_t c = 0; c < cones_.size(); ++c) {
    s.resize(index(cones_[c]->size()));
    z.resize(s.size());
    gather(problem_.cones[c], now_.x, s.data());
    gather(problem_.cones[c], now_.cone_dual, z.data());
    if (!cones_[c]->update(s.data(), z.data(), mu)) return false;
  }
  return std::all_of(matrices_.begin(), matrices_.end(),
                     [](MatrixCone& matrix) { return matrix.update(); });
}

void InteriorPointMethod::compute_residuals() {
  Residuals& r = residuals_;
  r.px.assign(num_var(), 0.0);
  add_product(problem_.quadratic, 1.0, now_.x.data(), r.px.data());
  r.quadratic = dot(now_.x, r.px);
  r.dual = r.px;
  add(now_.tau, problem_.cost, &r.dual);
  add_transposed_product(problem_.matrix, -1.0, now_.y.data(), r.dual.data());
  add(-1.0, now_.cone_dual, &r.dual);
  r.bound.resize(problem_.bounds.size());
  double bound_value = 0.0;
  for (size_t k = 0; k < problem_.bounds.size(); ++k) {
    const Bound& bound = problem_.bounds[k];
    r.dual[index(bound.var)] -= bound.sign * now_.z[k];
    r.bound[k] = bound.sign * now_.x[index(bound.var)] - bound.value * now_.tau - now_.s[k];
    bound_value += bound.value * now_.z[k];
  }
  r.primal.assign(num_row(), 0.0);
  add_product(problem_.matrix, 1.0, now_.x.data(), r.primal.data());
  double matrix_cost = 0.0;
  for (const MatrixCone& matrix : matrices_) {
    matrix.add_products(matrix.x(), 1.0, r.primal.data());
    matrix_cost += matrix.cost_product(matrix.x());
  }
  add(-now_.tau, problem_.rhs, &r.primal);
  const double cost = dot(problem_.cost, now_.x) + matrix_cost;
  const double value = dot(problem_.rhs, now_.y) + bound_value;
  r.gap = now_.kappa + cost + r.quadratic / now_.tau - value;
  measures_ = {};
  const double half = 0.5 * r.quadratic / now_.tau;
  const double factor = 1.0 / (now_.tau * scaling_.cost);
  measures_.primal_objective = factor * (cost + half);
  measures_.dual_objective = factor * (value - half);
  measure();
  measure_rays(cost, value);
}

void InteriorPointMethod::measure() {
  const double tau = now_.tau;
  const ResidualSizes sizes = residual_sizes(problem_, scaling_, matrices_, now_.x, now_.y, tau);
  double primal = 0.0;
  for (size_t i = 0; i < num_row(); ++i) {
    const double error = std::fabs(residuals_.primal[i]) / (scaling_.row[i] * tau);
    primal = std::max(primal, error / sizes.row[i]);
  }
  for (size_t k = 0; k < problem_.bounds.size(); ++k) {
    const Bound& bound = problem_.bounds[k];
    const double factor = scaling_.var[index(bound.var)];
    const double size = std::max(
        {1.0, factor * std::fabs(bound.value), factor * std::fabs(now_.x[index(bound.var)]) / tau});
    primal = std::max(primal, factor * std::fabs(residuals_.bound[k]) / tau / size);
  }
  double dual = 0.0;
  for (size_t j = 0; j < num_var(); ++j) {
    const double error = std::fabs(residuals_.dual[j]) / (scaling_.cost * scaling_.var[j] * tau);
    dual = std::max(dual, error / sizes.var[j]);
  }
  for (size_t m = 0; m < matrices_.size(); ++m) {
    const double factor = 1.0 / (scaling_.cost * scaling_.matrix[m] * tau);
    const double error = factor * now_.matrix_residual * std::max(1.0, sizes.matrix_cost[m]);
    dual = std::max(dual, error / std::max(1.0, factor * tau * sizes.matrix_cost[m]));
  }
  measures_.primal = primal;
  measures_.dual = dual;
  const double distance = std::fabs(measures_.primal_objective - measures_.dual_objective);
  const double size =
      std::max({1.0, std::fabs(measures_.primal_objective), std::fabs(measures_.dual_objective)});
  measures_.gap = distance / size;
  measures_.gap_of_terms = distance / std::max(size, largest_term());
}

// Of the objectives.
double InteriorPointMethod::largest_term() const {
  double size = 0.0;
  for (size_t j = 0; j < num_var(); ++j) {
    size = std::max(size, std::fabs(problem_.cost[j] * now_.x[j]));
  }
  for (size_t i = 0; i < num_row(); ++i) {
    size = std::max(size, std::fabs(problem_.rhs[i] * now_.y[i]));
  }
  for (size_t k = 0; k < problem_.bounds.size(); ++k) {
    size = std::max(size, std::fabs(problem_.bounds[k].value * now_.z[k]));
  }
  return size / (now_.tau * scaling_.cost);
}

// Cost and value are q'x + <C, X> and b'y + h'z. Both rays are judged by what is left of their
// conditions once tau is taken out.
void InteriorPointMethod::measure_rays(double cost, double value) {
  const double dual = dual_ray_violation();
  const double primal = primal_ray_violation();
  measures_.dual_direction = dual / std::max(largest(now_.y), largest(now_.z));
  measures_.primal_direction = primal / largest(now_.x);
  if (value > 0.0) measures_.dual_ray = dual / value;
  if (cost >= 0.0) return;
  // Along the ray the objective falls by cost^2 / (2 x'Px) before curvature stops it.
  measures_.fall = cost * cost / (2.0 * residuals_.quadratic * scaling_.cost);
  if (measures_.fall < kUnlimitedFall) return;
  measures_.primal_ray = primal * scaling_.cost / -cost;
}

double InteriorPointMethod::dual_ray_violation() const {
  const double tau = now_.tau;
  double violation = 0.0;
  for (size_t j = 0; j < num_var(); ++j) {
    const double left = residuals_.dual[j] - residuals_.px[j] - tau * problem_.cost[j];
    violation = std::max(violation, std::fabs(left) / scaling_.var[j]);
  }
  for (size_t m = 0; m < matrices_.size(); ++m) {
    const double left =
        std::fabs(tau - now_.matrix_residual) * largest_element(problem_.matrices[m].cost) +
        now_.matrix_residual;
    violation = std::max(violation, left / scaling_.matrix[m]);
  }
  return violation;
}

double InteriorPointMethod::primal_ray_violation() const {
  const double tau = now_.tau;
  double violation = 0.0;
  for (size_t i = 0; i < num_row(); ++i) {
    const double left = residuals_.primal[i] + tau * problem_.rhs[i];
    violation = std::max(violation, std::fabs(left) / scaling_.row[i]);
  }
  for (size_t k = 0; k < problem_.bounds.size(); ++k) {
    const Bound& bound = problem_.bounds[k];
    const double left = residuals_.bound[k] + tau * bound.value;
    violation = std::max(violation, std::fabs(left) * scaling_.var[index(bound.var)]);
  }
  for (size_t j = 0; j < num_var(); ++j) {
    const double left = std::fabs(residuals_.px[j]) / (scaling_.cost * scaling_.var[j]);
    violation = std::max(violation, left);
  }
  return violation;
}

// A step is the iterate's own multiple dtau / tau and a turn beside it. The system's answer to a
// unit of dtau, right-hand sides -q + G'diag(h)h and b + <A_i, W C W>, is solved for less x / tau
// and y / tau: of the sides, which the scalings of active bounds and cones make huge, that leaves
//
//   -(residual + 2 G'z + 2 E'z_J + G'diag(h) residual) / tau,   (2 <A_i, X> - residual) / tau,
//
// where nothing is large that cancels later.
void InteriorPointMethod::solve_turn_of_tau() {
  const double factor = 1.0 / now_.tau;
  for (size_t j = 0; j < num_var(); ++j) {
    f_[j] = -factor * (residuals_.dual[j] + 2.0 * now_.cone_dual[j]);
  }
  for (size_t k = 0; k < problem_.bounds.size(); ++k) {
    const Bound& bound = problem_.bounds[k];
    const double term = 2.0 * now_.z[k] + bound_scaling_[k] * residuals_.bound[k];
    f_[index(bound.var)] -= factor * bound.sign * term;
  }
  for (size_t i = 0; i < num_row(); ++i) g_[i] = -factor * residuals_.primal[i];
  const double share = factor * now_.matrix_residual;
  for (const MatrixCone& matrix : matrices_) {
    matrix.add_products(matrix.x(), 2.0 * factor, g_.data());
    for (size_t p = 0; p < matrix.parts().size(); ++p) {
      g_[index(matrix.parts()[p].row)] +=
          share * (matrix.cost_column()[p] - matrix.identity_column()[p]);
    }
  }
  system_->solve(f_.data(), g_.data(), tau_turn_x_.data(), tau_turn_y_.data());
  set_tau_factor();
}

// The factor of dtau in the last equation, as the sum of squares that it is:
//
//   kappa / tau + |u|_P^2 + |(s + residual) / tau + G u|^2 + |x / tau + u|_H^2
//               + |C - sum_i (v_i + y_i / tau) A_i|_W^2
//
// with the turn (u, v) of tau, since its terms multiplied out cancel, once W is large, to nothing
// but rounding errors.
void InteriorPointMethod::set_tau_factor() {
  std::vector<double> product(num_var(), 0.0);
  add_product(problem_.quadratic, 1.0, tau_turn_x_.data(), product.data());
  tau_factor_ = now_.kappa / now_.tau + std::max(0.0, dot(tau_turn_x_, product));
  for (size_t k = 0; k < problem_.bounds.size(); ++k) {
    const Bound& bound = problem_.bounds[k];
    const double distance =
        (now_.s[k] + residuals_.bound[k]) / now_.tau + bound.sign * tau_turn_x_[index(bound.var)];
    tau_factor_ += bound_scaling_[k] * distance * distance;
  }
  std::vector<double> column = now_.x;
  for (size_t j = 0; j < num_var(); ++j) column[j] = column[j] / now_.tau + tau_turn_x_[j];
  std::vector<double> members;
  std::vector<double> image;
  for (size_t c = 0; c < cones_.size(); ++c) {
    members.resize(problem_.cones[c].vars.size());
    image.resize(members.size());
    gather(problem_.cones[c], column, members.data());
    cones_[c]->multiply(members.data(), image.data());
    tau_factor_ += dot(members, image);
  }
  column = tau_turn_y_;
  add(1.0 / now_.tau, now_.y, &column);
  for (MatrixCone& matrix : matrices_) tau_factor_ += matrix.column_square(column.data());
}

// Right-hand sides of the complementarity conditions and with them of the system.
void InteriorPointMethod::set_rhs(double rest, double mu_target, bool affine) {
  for (size_t k = 0; k < bound_rhs_.size(); ++k) {
    bound_rhs_[k] = -now_.z[k];
    if (!affine) bound_rhs_[k] += (mu_target - affine_.s[k] * affine_.z[k]) / now_.s[k];
  }
  std::vector<double> s, z, ds, dz;
  for (size_t c = 0; c < cones_.size(); ++c) {
    const ConeBlock& block = problem_.cones[c];
    const size_t size = block.vars.size();
    double* out = &cone_rhs_[cone_start_[c]];
    z.resize(size);
    gather(block, now_.cone_dual, z.data());
    for (size_t i = 0; i < size; ++i) out[i] = -z[i];
    if (affine) continue;
    for (auto* space : {&s, &ds, &dz}) space->resize(size);
    gather(block, now_.x, s.data());
    gather(block, affine_.x, ds.data());
    gather(block, affine_.cone_dual, dz.data());
    cones_[c]->centering_rhs(s.data(), z.data(), mu_target, ds.data(), dz.data(), out);
  }
  complementarity_rhs_ = -now_.tau * now_.kappa;
  if (!affine) complementarity_rhs_ += mu_target - affine_.tau * affine_.kappa;

  for (size_t j = 0; j < num_var(); ++j) f_[j] = -rest * residuals_.dual[j];
  for (size_t k = 0; k < problem_.bounds.size(); ++k) {
    const Bound& bound = problem_.bounds[k];
    f_[index(bound.var)] +=
        bound.sign * (bound_rhs_[k] - bound_scaling_[k] * rest * residuals_.bound[k]);
  }
  for (size_t c = 0; c < cones_.size(); ++c) {
    const ConeBlock& block = problem_.cones[c];
    for (size_t i = 0; i < block.vars.size(); ++i) {
      f_[index(block.vars[i])] += cone_rhs_[cone_start_[c] + i];
    }
  }
  for (size_t i = 0; i < num_row(); ++i) g_[i] = -rest * residuals_.primal[i];
  const double share = rest * now_.matrix_residual;
  for (MatrixCone& matrix : matrices_) {
    if (affine) {
      matrix.set_affine_rhs();
    } else {
      matrix.set_centering_rhs(mu_target);
    }
    matrix.add_products(matrix.unscaled_rhs(), -1.0, g_.data());
    for (size_t p = 0; p < matrix.parts().size(); ++p) {
      g_[index(matrix.parts()[p].row)] +=
          share * (matrix.cost_column()[p] - matrix.identity_column()[p]);
    }
  }
}

// The last equation of the embedding as it stands, with everything else as a function of dtau: what
// tau_factor_ dtau must be. It holds whatever the other equations leave, but its terms can be much
// larger than what is left of them: `rounding` is what that may be wrong by.
double InteriorPointMethod::last_equation(double rest, double* rounding) const {
  constexpr double kRounding = 1e-15;
  double sum = 0.0;
  double size = 0.0;
  const auto take = [&](double term) {
    sum += term;
    size += std::fabs(term);
  };
  take(rest * residuals_.gap);
  take(complementarity_rhs_ / now_.tau);
  for (size_t j = 0; j < num_var(); ++j) {
    take((problem_.cost[j] + 2.0 / now_.tau * residuals_.px[j]) * turn_x_[j]);
  }
  for (size_t i = 0; i < num_row(); ++i) take(-problem_.rhs[i] * turn_y_[i]);
  for (size_t k = 0; k < problem_.bounds.size(); ++k) {
    const Bound& bound = problem_.bounds[k];
    const double change = bound.sign * turn_x_[index(bound.var)] + rest * residuals_.bound[k];
    take(bound.value * bound_scaling_[k] * change);
    take(-bound.value * bound_rhs_[k]);
  }
  const double share = rest * now_.matrix_residual;
  for (const MatrixCone& matrix : matrices_) {
    for (size_t p = 0; p < matrix.parts().size(); ++p) {
      take(matrix.cost_column()[p] * turn_y_[index(matrix.parts()[p].row)]);
    }
    take(matrix.cost_product(matrix.unscaled_rhs()));
    take(-share * matrix.cost_residual());
  }
  *rounding = kRounding * size;
  return sum;
}

// The same without matrix variables, with q, b and h expressed by the residuals and the iterate:
// the large terms are each other's opposites then, and what is left are products of residuals with
// the turn, and complementarity. Nothing cancels where tau is small, but it relies on the turn to
// solve its system.
double InteriorPointMethod::last_equation_by_residuals(double rest) const {
  double sum = rest * degree_ * complementarity() + complementarity_rhs_ +
               dot(residuals_.dual, turn_x_) + dot(residuals_.primal, turn_y_);
  for (size_t k = 0; k < problem_.bounds.size(); ++k) {
    const Bound& bound = problem_.bounds[k];
    const double residual = residuals_.bound[k];
    const double scaled = bound_scaling_[k] * residual;
    sum -= scaled * (bound.sign * turn_x_[index(bound.var)] + rest * residual);
    sum += (now_.s[k] + residual) * bound_rhs_[k];
  }
  for (size_t c = 0; c < cones_.size(); ++c) {
    const ConeBlock& block = problem_.cones[c];
    for (size_t i = 0; i < block.vars.size(); ++i) {
      sum += now_.x[index(block.vars[i])] * cone_rhs_[cone_start_[c] + i];
    }
  }
  return sum / now_.tau;
}

// Of the two forms the first, unless it is rounding by which they differ.
double InteriorPointMethod::tau_step(double rest) const {
  double rounding = 0.0;
  const double sum = last_equation(rest, &rounding);
  if (!matrices_.empty()) return sum / tau_factor_;
  const double by_residuals = last_equation_by_residuals(rest);
  return (std::fabs(sum - by_residuals) > rounding ? sum : by_residuals) / tau_factor_;
}

void InteriorPointMethod::find_step(double rest, double mu_target, bool affine, Step* step) {
  set_rhs(rest, mu_target, affine);
  system_->solve(f_.data(), g_.data(), turn_x_.data(), turn_y_.data());
  step->tau = holds_tau_ ? 0.0 : tau_step(rest);
  add(step->tau, tau_turn_x_, &turn_x_);
  add(step->tau, tau_turn_y_, &turn_y_);
  finish_step(rest, step);
  const double ratio = step->tau / now_.tau;
  for (MatrixCone& matrix : matrices_) {
    matrix.set_step(turn_y_.data(), ratio, (ratio + rest) * now_.matrix_residual, affine);
  }
}

// What the turn and tau's step imply for the whole one.
void InteriorPointMethod::finish_step(double rest, Step* step) {
  const double ratio = step->tau / now_.tau;
  step->x = turn_x_;
  step->y = turn_y_;
  add(ratio, now_.x, &step->x);
  add(ratio, now_.y, &step->y);
  step->kappa = holds_tau_ ? 0.0 : (complementarity_rhs_ - now_.kappa * step->tau) / now_.tau;
  step->s.resize(bound_rhs_.size());
  step->z.resize(bound_rhs_.size());
  for (size_t k = 0; k < problem_.bounds.size(); ++k) {
    const Bound& bound = problem_.bounds[k];
    step->s[k] = bound.sign * turn_x_[index(bound.var)] + ratio * now_.s[k] +
                 (ratio + rest) * residuals_.bound[k];
    step->z[k] = bound_rhs_[k] - bound_scaling_[k] * step->s[k];
  }
  // The cone's scaling takes the iterate's members to their duals.
  step->cone_dual.assign(num_var(), 0.0);
  std::vector<double> ds, z, dz;
  for (size_t c = 0; c < cones_.size(); ++c) {
    const ConeBlock& block = problem_.cones[c];
    for (auto* space : {&ds, &z, &dz}) space->resize(block.vars.size());
    gather(block, turn_x_, ds.data());
    gather(block, now_.cone_dual, z.data());
    cones_[c]->multiply(ds.data(), dz.data());
    for (size_t i = 0; i < dz.size(); ++i) {
      dz[i] = cone_rhs_[cone_start_[c] + i] - ratio * z[i] - dz[i];
    }
    scatter(block, dz.data(), &step->cone_dual);
  }
}

// Whether a residual of the equations matters to the gap, to which it adds its product with y.
bool InteriorPointMethod::moves_gap(const std::vector<double>& residual) const {
  constexpr double kShare = 0.1;
  double product = 0.0;
  for (size_t i = 0; i < num_row(); ++i) product += std::fabs(residual[i] * now_.y[i]);
  return product > kShare * degree_ * complementarity();
}

// What the step leaves of the equations is solved for once more, with a right-hand side as small as
// that. It is more than it should be where tau is small, and always of matrix variables: their step
// is computed from dy through products with W, whose rounding errors grow as W's condition does.
void InteriorPointMethod::correct_primal(double rest, Step* step) {
  constexpr int kMostCorrections = 4;
  constexpr double kGoodShare = 0.1;
  std::vector<double> dx;
  std::vector<double> dy;
  const auto apply = [&](double factor) {
    add(factor, dx, &turn_x_);
    add(factor, dy, &turn_y_);
    for (double& value : dy) value *= factor;
    for (MatrixCone& matrix : matrices_) matrix.correct_step(dy.data());
    finish_step(rest, step);
  };
  double before = kInfinity;
  for (int k = 0; k < kMostCorrections; ++k) {
    // Minus the residual of A dx + <A_i, dX> - b dtau = -rest * residual.
    for (size_t i = 0; i < num_row(); ++i) {
      g_[i] = problem_.rhs[i] * step->tau - rest * residuals_.primal[i];
    }
    add_product(problem_.matrix, -1.0, step->x.data(), g_.data());
    for (const MatrixCone& matrix : matrices_) matrix.add_step_products(-1.0, g_.data());
    const double error = largest(g_);
    if (error > before) {
      apply(-1.0);
      return;
    }
    if (error <= kGoodShare * rest * largest(residuals_.primal) || error > 0.5 * before) return;
    if (matrices_.empty() && !moves_gap(g_)) return;
    before = error;
    dx.resize(num_var());
    dy.resize(num_row());
    std::fill(f_.begin(), f_.end(), 0.0);
    system_->solve(f_.data(), g_.data(), dx.data(), dy.data());
    apply(1.0);
  }
}

double InteriorPointMethod::step_length(const Step& step) const {
  // Beyond 1 the residuals would change their sign.
  double limit = 1.0 / kLeastToBoundary;
  limit = step_to_zero(now_.tau, step.tau, limit);
  limit = step_to_zero(now_.kappa, step.kappa, limit);
  for (size_t k = 0; k < step.s.size(); ++k) {
    limit = step_to_zero(now_.s[k], step.s[k], limit);
    limit = step_to_zero(now_.z[k], step.z[k], limit);
  }
  for (const MatrixCone& matrix : matrices_) limit = matrix.step_length(limit);
  std::vector<double> s, ds, z, dz;
  for (size_t c = 0; c < cones_.size(); ++c) {
    const ConeBlock& block = problem_.cones[c];
    for (auto* space : {&s, &ds, &z, &dz}) space->resize(block.vars.size());
    gather(block, now_.x, s.data());
    gather(block, step.x, ds.data());
    gather(block, now_.cone_dual, z.data());
    gather(block, step.cone_dual, dz.data());
    limit = cones_[c]->step_length(s.data(), ds.data(), z.data(), dz.data(), limit);
  }
  return limit;
}

void InteriorPointMethod::take(const Step& step, double length, double rest) {
  add(length, step.x, &now_.x);
  add(length, step.y, &now_.y);
  add(length, step.s, &now_.s);
  add(length, step.z, &now_.z);
  add(length, step.cone_dual, &now_.cone_dual);
  now_.tau += length * step.tau;
  now_.kappa += length * step.kappa;
  now_.matrix_residual *= 1.0 - length * rest;
  for (MatrixCone& matrix : matrices_) {
    matrix.take_step(length);
    matrix.set_dual(now_.y.data(), now_.tau, now_.matrix_residual);
  }
}

// Takes the step, shorter where rounding or the neighbourhood asks for it, to a point from which
// the next one can be found.
bool InteriorPointMethod::advance(const Step& step, double length, double rest) {
  saved_ = now_;
  for (MatrixCone& matrix : matrices_) matrix.save();
  constexpr int kMostTries = 30;
  for (int attempt = 0; attempt < kMostTries; ++attempt) {
    take(step, length, rest);
    if (now_.tau > 0.0 && now_.kappa > 0.0 && update_scaling()) return true;
    now_ = saved_;
    for (MatrixCone& matrix : matrices_) matrix.restore();
    length *= 0.8;
  }
  return false;
}

void InteriorPointMethod::keep_best() {
  if (measures_.worst(tolerances_) < best_measures_.worst(tolerances_)) hold_as_best();
}

void InteriorPointMethod::hold_as_best() {
  best_measures_ = measures_;
  best_ = now_;
  best_matrices_.clear();
  best_duals_.clear();
  for (const MatrixCone& matrix : matrices_) {
    best_matrices_.push_back(matrix.x());
    best_duals_.push_back(matrix.z());
  }
}

bool InteriorPointMethod::is_idle() {
  const double distance =
      std::min({measures_.worst(tolerances_), measures_.dual_ray / kRayViolation,
                measures_.primal_ray / kRayViolation});
  constexpr double kNearer = 0.9;
  constexpr double kExhaustedMu = 1e-12;
  const double mu = complementarity();
  const bool is_near = nearest_ < kNear;
  const bool advances = !is_near && mu > kExhaustedMu && mu < kNearer * nearest_mu_;
  if (distance < kNearer * nearest_ || advances) nearest_iteration_ = iteration_;
  nearest_ = std::min(nearest_, distance);
  nearest_mu_ = std::min(nearest_mu_, mu);
  return iteration_ - nearest_iteration_ >
         (is_near ? kMostIdleIterationsNear : kMostIdleIterations);
}

// An iterate that meets the tolerances is bettered as long as that goes fast.
bool InteriorPointMethod::finished(InteriorPoint* result) {
  constexpr double kWellWithin = 0.1;
  const double before = best_measures_.worst(tolerances_);
  const double worst = measures_.worst(tolerances_);
  keep_best();
  if (worst <= kWellWithin || (before <= 1.0 && worst > 0.2 * before)) {
    result->outcome = Outcome::kOptimal;
    return true;
  }
  if (before <= 1.0) return false;
  if (measures_.dual_ray <= kRayViolation &&
      claim_ray(Certificate::kDualRay, measures_.dual_ray, result)) {
    return true;
  }
  return measures_.primal_ray <= kRayViolation && measures_.fall >= kCertainFall &&
         claim_ray(Certificate::kPrimalRay, measures_.primal_ray, result);
}

// A ray that was no proof is looked at again when its violation is much smaller.
bool InteriorPointMethod::claim_ray(Certificate certificate, double violation,
                                    InteriorPoint* result) {
  constexpr double kMuchSmaller = 0.1;
  const bool dual = certificate == Certificate::kDualRay;
  double& refuted = dual ? refuted_dual_ : refuted_primal_;
  if (violation > kMuchSmaller * refuted) return false;
  InteriorPoint ray;
  ray.outcome = dual ? Outcome::kInfeasible : Outcome::kUnbounded;
  ray.certificate = certificate;
  store_point(&ray, now_, false);
  if (!proves_(ray)) {
    refuted = violation;
    return false;
  }
  result->outcome = ray.outcome;
  result->certificate = certificate;
  return true;
}

// Newton steps to a point of the central path ahead, tau held: at a solution it is nearly free. The
// last one whose residuals hold is the answer.
void InteriorPointMethod::center() {
  constexpr int kMostSteps = 20;
  // Relative to the cones' largest dual; rounding leaves about as much.
  constexpr double kCentral = 1e-8;
  // The gap of a point off the path can be less than that of its mu.
  const double mu = 0.1 * complementarity();
  holds_tau_ = true;
  Step step;
  for (int k = 0; k < kMostSteps; ++k) {
    system_->factor(bound_scaling_, &matrices_);
    solve_turn_of_tau();
    for (auto* part : {&affine_.x, &affine_.y, &affine_.s, &affine_.z, &affine_.cone_dual}) {
      std::fill(part->begin(), part->end(), 0.0);
    }
    affine_.tau = affine_.kappa = 0.0;
    for (MatrixCone& matrix : matrices_) matrix.clear_affine_step();
    find_step(1.0, mu, false, &step);
    if (largest(cone_rhs_) <= kCentral * std::max(1.0, largest(now_.cone_dual))) return;
    correct_primal(1.0, &step);
    const double length = std::min(1.0, kLeastToBoundary * step_length(step));
    if (!(length > 0.0) || !advance(step, length, 1.0)) return;
    compute_residuals();
    if (measures_.worst(tolerances_) <= 1.0) hold_as_best();
  }
}

// Where no step leads further: what holds less exactly.
void InteriorPointMethod::conclude(InteriorPoint* result) {
  const Tolerances loose{kLooseTolerance, kLooseTolerance, 0};
  // Multiples of that.
  constexpr double kFarFromOptimal = 100.0;
  // Of objectives whose terms cancel.
  constexpr double kTolerableGap = 1e-4;
  result->is_far = best_measures_.worst(loose) > kFarFromOptimal;
  const auto is_solution = [&](const Measures& m) {
    const double gap = m.gap <= kTolerableGap ? m.gap_of_terms : m.gap;
    return std::max({m.primal, m.dual, gap}) <= kLooseTolerance;
  };
  if (is_solution(best_measures_)) {
    result->outcome = Outcome::kOptimal;
  } else if (is_solution(measures_)) {
    hold_as_best();
    result->outcome = Outcome::kOptimal;
  } else if ((measures_.dual_ray <= kLooseTolerance &&
              claim_ray(Certificate::kDualRay, measures_.dual_ray, result)) ||
             (measures_.primal_ray <= kLooseTolerance &&
              claim_ray(Certificate::kPrimalRay, measures_.primal_ray, result))) {
    return;
  } else if (result->is_far &&
             std::min(measures_.dual_direction, measures_.primal_direction) <= kIllPosedTolerance) {
    result->outcome = Outcome::kIllPosed;
    const bool dual = measures_.dual_direction <= measures_.primal_direction;
    result->certificate = dual ? Certificate::kDualRay : Certificate::kPrimalRay;
  } else {
    result->outcome = Outcome::kStopped;
    result->termination = Code::kTrmStall;
  }
}

void InteriorPointMethod::store_point(InteriorPoint* result, const Iterate& iterate,
                                      bool best) const {
  const double factor = result->certificate == Certificate::kNone ? 1.0 / iterate.tau : 1.0;
  const auto scaled = [factor](std::vector<double> values) {
    for (double& value : values) value *= factor;
    return values;
  };
  result->x = scaled(iterate.x);
  result->y = scaled(iterate.y);
  result->z = scaled(iterate.z);
  result->cone_dual = scaled(iterate.cone_dual);
  for (size_t m = 0; m < matrices_.size(); ++m) {
    result->matrices.push_back(scaled(best ? best_matrices_[m] : matrices_[m].x()));
    result->matrix_duals.push_back(scaled(best ? best_duals_[m] : matrices_[m].z()));
  }
}

void InteriorPointMethod::log_heading() {
  std::string text = format_text(
      "Interior-point method: %d variables, %d equations, %zu bounds, %zu cones, %zu matrix "
      "variables; %lld elements in the factor\n",
      problem_.num_var(), problem_.num_row(), problem_.bounds.size(), problem_.cones.size(),
      problem_.matrices.size(), static_cast<long long>(system_->num_factor_elements()));
  text +=
      " iteration   primal objective     dual objective   primal     dual      gap       mu   step"
      "     time\n";
  monitor_->log(text);
}

void InteriorPointMethod::log_iteration(double length, double mu) {
  const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start_;
  monitor_->log(format_text("%10d %18.9e %18.9e %8.1e %8.1e %8.1e %8.1e %6.4f %6.2f s\n",
                            iteration_, measures_.primal_objective, measures_.dual_objective,
                            measures_.primal, measures_.dual, measures_.gap, mu, length,
                            elapsed.count()));
}

Status InteriorPointMethod::run(InteriorPoint* result) {
  Status status = prepare();
  if (!status.ok()) return status;
  start();
  log_heading();
  Step step;
  double length = 0.0;
  int short_steps = 0;
  bool can_go_on = update_scaling();
  bool ended = false;
  while (can_go_on) {
    compute_residuals();
    const double mu = complementarity();
    log_iteration(length, mu);
    ended = finished(result);
    if (ended || is_idle()) break;
    Progress progress;
    progress.objective = measures_.primal_objective;
    progress.bound = measures_.dual_objective;
    progress.interior_iterations = iteration_;
    if (monitor_->should_stop(progress)) {
      result->outcome = Outcome::kStopped;
      ended = true;
      break;
    }
    if (iteration_ >= tolerances_.iteration_limit) {
      result->outcome = Outcome::kStopped;
      result->termination = Code::kTrmIterationLimit;
      ended = true;
      break;
    }
    system_->factor(bound_scaling_, &matrices_);
    solve_turn_of_tau();
    find_step(1.0, 0.0, true, &affine_);
    const double affine_length = std::min(1.0, step_length(affine_));
    const double sigma = (1.0 - affine_length) * (1.0 - affine_length);
    const double rest = 1.0 - sigma;
    find_step(rest, sigma * mu, false, &step);
    correct_primal(rest, &step);
    const double share = kLeastToBoundary + kMoreToBoundary * affine_length;
    length = std::min(1.0, share * step_length(step));
    ++iteration_;
    short_steps = length < kShortStep ? short_steps + 1 : 0;
    can_go_on = std::isfinite(length) && length > 0.0 && short_steps < kMostShortSteps &&
                advance(step, length, rest);
  }
  if (!ended) conclude(result);
  if (problem_.has_quadratic_rows && iteration_ > 0 && measures_.worst(tolerances_) <= 1.0)
    center();
  result->iterations = iteration_;
  const bool ray = result->certificate != Certificate::kNone;
  result->measures = ray ? measures_ : best_measures_;
  store_point(result, ray ? now_ : best_, !ray);
  return {};
}

}  // namespace vorlan::conic
