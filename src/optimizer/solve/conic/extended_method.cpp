// A step is found as in direction.cpp, by a dense system of x and y in which the bounds and the
// matrix variables are eliminated.
#include "solve/conic/extended_method.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <utility>

#include "solve/check/vectors.h"
#include "solve/conic/matrix_block.h"
#include "solve/conic/measures.h"

namespace vorlan::conic {
namespace {

// An iteration of so many multiplications takes a tenth of a second at most.
constexpr double kMostMultiplications = 1e7;
constexpr double kShortStep = 1e-6;
// Of a number that is rounded to a double.
constexpr double kRounding = 0x1p-53;
// A run that can go no further claims an optimum that is as exact as this.
constexpr Tolerances kLoose{1e-6, 1e-6, 0};

ExtendedVector to_extended(const std::vector<double>& values) {
  ExtendedVector out(static_cast<Eigen::Index>(values.size()));
  for (size_t i = 0; i < values.size(); ++i) out[static_cast<Eigen::Index>(i)] = values[i];
  return out;
}

ExtendedMatrix to_extended(const Columns& columns, Eigen::Index num_row) {
  ExtendedMatrix out = ExtendedMatrix::Zero(num_row, columns.num_col());
  for (int32_t j = 0; j < columns.num_col(); ++j) {
    for (size_t k = index(columns.start[index(j)]); k < index(columns.start[index(j) + 1]); ++k) {
      out(columns.row[k], j) += columns.value[k];
    }
  }
  return out;
}

std::vector<double> to_doubles(const ExtendedVector& values, DoubleDouble tau) {
  std::vector<double> out;
  for (const DoubleDouble& value : values) out.push_back(static_cast<double>(value / tau));
  return out;
}

double largest_of(const ExtendedVector& values) {
  double size = 0.0;
  for (const DoubleDouble& value : values) {
    size = std::max(size, std::fabs(static_cast<double>(value)));
  }
  return size;
}

// The sum of the absolute terms of <A, X>.
double size_of_product(const std::vector<TriangleEntry>& entries, const DenseMatrix& x) {
  double size = 0.0;
  for (const TriangleEntry& e : entries) {
    size += std::fabs((e.row == e.col ? 1.0 : 2.0) * e.value * x(index(e.row), index(e.col)));
  }
  return size;
}

// The longest step at most `limit` that keeps positive values so.
DoubleDouble step_to_zero(const ExtendedVector& values, const ExtendedVector& step,
                          DoubleDouble limit) {
  for (Eigen::Index i = 0; i < values.size(); ++i) {
    if (step[i] < 0.0) limit = std::min(limit, -values[i] / step[i]);
  }
  return limit;
}

}  // namespace

ExtendedMethod::ExtendedMethod(const ConicProblem& problem, const Equilibration& scaling,
                               const Tolerances& tolerances, BackendMonitor* monitor)
    : problem_(problem),
      scaling_(scaling),
      tolerances_(tolerances),
      monitor_(monitor),
      num_var_(problem.num_var()),
      num_row_(problem.num_row()),
      num_bound_(static_cast<Eigen::Index>(problem.bounds.size())),
      cost_(to_extended(problem.cost)),
      rhs_(to_extended(problem.rhs)),
      bound_(num_bound_),
      quadratic_(to_extended(problem.quadratic, num_var_)),
      matrix_(to_extended(problem.matrix, num_row_)),
      best_(tolerances) {
  for (Eigen::Index k = 0; k < num_bound_; ++k) bound_[k] = problem.bounds[index(k)].value;
  for (const ConeBlock& block : problem.cones) cones_.emplace_back(block);
  for (const MatrixBlock& block : problem.matrices) matrices_.emplace_back(block);
  begin();
}

// All products of pairs are 1.
void ExtendedMethod::begin() {
  x_ = ExtendedVector::Zero(num_var_);
  y_ = ExtendedVector::Zero(num_row_);
  s_ = ExtendedVector::Ones(num_bound_);
  z_ = ExtendedVector::Ones(num_bound_);
  tau_ = kappa_ = matrix_residual_ = 1.0;
  for (ExtendedCone& cone : cones_) cone.begin(&x_);
  for (ExtendedMatrixVariable& matrix : matrices_) matrix.begin();
}

bool ExtendedMethod::can_solve(const ConicProblem& problem) {
  return is_small(problem) &&
         std::all_of(problem.cones.begin(), problem.cones.end(), ExtendedCone::is_supported);
}

bool ExtendedMethod::is_small(const ConicProblem& problem) {
  double work = std::pow(problem.num_var() + problem.num_row(), 3);
  for (const MatrixBlock& block : problem.matrices) {
    work += ExtendedMatrixVariable::count_multiplications(block);
  }
  return work <= kMostMultiplications;
}

bool ExtendedMethod::begin_at(const Iterate& at) {
  x_ = to_extended(at.x);
  y_ = to_extended(at.y);
  s_ = to_extended(at.s);
  z_ = to_extended(at.z);
  tau_ = at.tau;
  kappa_ = at.kappa;
  matrix_residual_ = at.matrix_residual;
  const ExtendedVector cone_dual = to_extended(at.cone_dual);
  for (ExtendedCone& cone : cones_) cone.set_dual(cone_dual);
  for (size_t m = 0; m < matrices_.size(); ++m) matrices_[m].set(at.matrices[m].x);
  if (is_interior()) return true;
  begin();
  return false;
}

void ExtendedMethod::run(InteriorPoint* result) {
  iterate();
  if (problem_.has_quadratic_rows && best_.worst() <= 1.0) center();
  best_.iterate().write(problem_, 1.0, result);
  result->measures = best_.measures();
  result->iterations = iteration_;
  if (result->measures.worst(kLoose) <= 1.0) {
    result->outcome = Outcome::kOptimal;
    return;
  }
  result->outcome = Outcome::kStopped;
  if (is_stopped_) return;
  const bool is_limited = iteration_ >= tolerances_.iteration_limit;
  result->termination = is_limited ? Code::kTrmIterationLimit : Code::kTrmStall;
}

void ExtendedMethod::iterate() {
  if (!is_interior()) return;
  while (look_at_iterate()) {
    factor_system();
    const Step affine = find_step(1.0, 0.0, nullptr);
    const DoubleDouble reach = std::min(DoubleDouble(1.0), step_length(affine));
    const DoubleDouble left = DoubleDouble(1.0) - reach;
    const DoubleDouble sigma = std::max(DoubleDouble(1e-6), left * left * left);
    const DoubleDouble share = DoubleDouble(1.0) - sigma;
    const DoubleDouble target = sigma * mu();
    Step step = find_step(share, target, &affine);
    refine(share, target, &affine, &step);
    DoubleDouble length = (DoubleDouble(0.9) + DoubleDouble(0.08) * reach) * step_length(step);
    length = std::min(DoubleDouble(1.0), length);
    ++iteration_;
    if (!(length > kShortStep) || !take(step, share, &length)) return;
  }
}

// False: the run ends with what it has.
bool ExtendedMethod::look_at_iterate() {
  find_residuals();
  const Iterate at = rounded();
  const double before = best_.worst();
  const Measures measures = measure(problem_, scaling_, at, conic::find_residuals(problem_, at));
  if (best_.is_farther_than(measures)) best_.hold(std::make_shared<const Iterate>(at), measures);
  const double worst = measures.worst(tolerances_);
  // Nearer than doubles go, since the way back to the model's terms adds to the residuals.
  constexpr double kWellWithin = 1e-3;
  constexpr double kSlow = 0.2;
  if (worst <= kWellWithin || (before <= 1.0 && worst > kSlow * before)) return false;
  if (is_lost_in_rounding(at, measures)) return false;
  if (is_stopped(measures) || iteration_ >= tolerances_.iteration_limit) return false;
  return !stall_.is_stalled(iteration_, worst, static_cast<double>(mu()));
}

bool ExtendedMethod::is_stopped(const Measures& measures) {
  Progress progress;
  progress.objective = measures.primal_objective;
  progress.bound = measures.dual_objective;
  progress.interior_iterations = iteration_;
  is_stopped_ = monitor_->should_stop(progress);
  return is_stopped_;
}

// Newton steps to a point of the central path ahead. It tells the multipliers of quadratic rows, of
// which another point as near to the optimum has half of the digits.
void ExtendedMethod::center() {
  constexpr int kSteps = 6;
  constexpr double kAhead = 0.1;
  constexpr double kToBoundary = 0.99;
  const DoubleDouble target = DoubleDouble(kAhead) * mu();
  for (int k = 0; k < kSteps; ++k) {
    factor_system();
    const Step step = find_step(1.0, target, nullptr);
    DoubleDouble length = std::min(DoubleDouble(1.0), kToBoundary * step_length(step));
    ++iteration_;
    if (!(length > kShortStep) || !take(step, 1.0, &length)) return;
    find_residuals();
    const Iterate at = rounded();
    const Measures measures = measure(problem_, scaling_, at, conic::find_residuals(problem_, at));
    if (is_stopped(measures)) return;
    if (measures.worst(tolerances_) <= 1.0)
      best_.hold(std::make_shared<const Iterate>(at), measures);
  }
}

Iterate ExtendedMethod::rounded() const {
  Iterate at;
  at.x = to_doubles(x_, tau_);
  at.y = to_doubles(y_, tau_);
  at.s = to_doubles(s_, tau_);
  at.z = to_doubles(z_, tau_);
  ExtendedVector cone_dual = ExtendedVector::Zero(num_var_);
  for (const ExtendedCone& cone : cones_) cone.add_dual(1.0, &cone_dual);
  at.cone_dual = to_doubles(cone_dual, tau_);
  at.tau = 1.0;
  at.kappa = static_cast<double>(kappa_ / tau_);
  at.matrix_residual = static_cast<double>(matrix_residual_ / tau_);
  for (size_t m = 0; m < matrices_.size(); ++m) {
    MatrixPoint matrix;
    matrix.x = matrices_[m].rounded(tau_);
    matrix.z = DenseMatrix(matrix.x.rows(), matrix.x.cols());
    combine(problem_.matrices[m], 1.0 - at.matrix_residual, at.y, at.matrix_residual, &matrix.z);
    at.matrices.push_back(std::move(matrix));
  }
  return at;
}

// Says whether nearer points would be those of another model. Multipliers that are large for a
// while on the way are no sign of it.
bool ExtendedMethod::is_lost_in_rounding(const Iterate& at, const Measures& measures) {
  constexpr double kMuchMore = 30.0;
  const double before = std::exchange(rounding_, rounding_of_objectives(at));
  const bool is_feasible = std::max(measures.primal, measures.dual) <= tolerances_.feasibility;
  if (!is_feasible) return false;
  return rounding_ > std::max(tolerances_.gap, before) ||
         rounding_of_bound(at) > kMuchMore * std::max(tolerances_.gap, measures.gap);
}

// The tolerance of the gap and the gap itself are relative to this objective at least, which is
// here in the units of the scaled problem. So is what rounding leaves open, to be compared with
// them.
double ExtendedMethod::relative_to(double objective, double rounding) const {
  const double least = scaling_.cost * scaling_.least_objective;
  return rounding / std::max(least, std::fabs(objective));
}

// What the rounding of multipliers may take from the bound that these prove, relative to the
// objective: dual matrices move by it, and count by their products with X.
double ExtendedMethod::rounding_of_bound(const Iterate& at) const {
  double terms = 0.0;
  for (size_t m = 0; m < at.matrices.size(); ++m) {
    for (const MatrixPart& part : problem_.matrices[m].parts) {
      terms += std::fabs(at.y[index(part.row)]) * size_of_product(part.entries, at.matrices[m].x);
    }
  }
  double objective = 0.0;
  for (size_t i = 0; i < at.y.size(); ++i) objective += problem_.rhs[i] * at.y[i];
  for (size_t k = 0; k < at.z.size(); ++k) objective += problem_.bounds[k].value * at.z[k];
  return relative_to(objective, kRounding * terms);
}

// What the rounding of an answer's numbers leaves open of its objectives, relative to these.
double ExtendedMethod::rounding_of_objectives(const Iterate& at) const {
  double terms = 0.0;
  double objective = 0.0;
  const auto take = [&](double term) {
    terms += std::fabs(term);
    objective += term;
  };
  for (size_t j = 0; j < at.x.size(); ++j) terms += std::fabs(problem_.cost[j] * at.x[j]);
  for (size_t i = 0; i < at.y.size(); ++i) take(problem_.rhs[i] * at.y[i]);
  for (size_t k = 0; k < at.z.size(); ++k) take(problem_.bounds[k].value * at.z[k]);
  for (size_t m = 0; m < at.matrices.size(); ++m) {
    terms += size_of_product(problem_.matrices[m].cost, at.matrices[m].x);
  }
  return relative_to(objective, kRounding * terms);
}

void ExtendedMethod::find_residuals() {
  px_ = quadratic_ * x_;
  dual_ = px_ + tau_ * cost_ - matrix_.transpose() * y_;
  primal_ = matrix_ * x_ - tau_ * rhs_;
  slack_ = -tau_ * bound_ - s_;
  for (Eigen::Index k = 0; k < num_bound_; ++k) {
    const Bound& bound = problem_.bounds[index(k)];
    dual_[bound.var] -= bound.sign * z_[k];
    slack_[k] += bound.sign * x_[bound.var];
  }
  gap_ = kappa_ + cost_.dot(x_) + x_.dot(px_) / tau_ - rhs_.dot(y_) - bound_.dot(z_);
  for (const ExtendedCone& cone : cones_) cone.add_dual(-1.0, &dual_);
  for (const ExtendedMatrixVariable& matrix : matrices_) {
    matrix.add_products(&primal_);
    gap_ += matrix.cost();
  }
}

// P + G'diag(z / s)G + E'H E.
ExtendedMatrix ExtendedMethod::quadratic_part() const {
  ExtendedMatrix part = quadratic_;
  for (Eigen::Index k = 0; k < num_bound_; ++k) {
    const int32_t j = problem_.bounds[index(k)].var;
    part(j, j) += z_[k] / s_[k];
  }
  for (const ExtendedCone& cone : cones_) cone.add_to_system(&part);
  return part;
}

// The system is [P + G'diag(z / s)G + E'H E, -A'; A, <A_i, K(A_j)>].
void ExtendedMethod::factor_system() {
  const Eigen::Index size = num_var_ + num_row_;
  ExtendedMatrix system(size, size);
  system.topLeftCorner(num_var_, num_var_) = quadratic_part();
  system.bottomLeftCorner(num_row_, num_var_) = matrix_;
  system.topRightCorner(num_var_, num_row_) = -matrix_.transpose();
  ExtendedMatrix schur = ExtendedMatrix::Zero(num_row_, num_row_);
  ExtendedVector products = ExtendedVector::Zero(num_row_);  // <A_i, K(C)>
  gap_of_tau_ = -kappa_ / tau_ - x_.dot(px_) / (tau_ * tau_);
  for (ExtendedMatrixVariable& matrix : matrices_) {
    gap_of_tau_ -= matrix.add_to_system(&schur, &products);
  }
  // The equation of a face holds by itself.
  for (const MatrixBlock& block : problem_.matrices) {
    if (block.null.row >= 0) schur(block.null.row, block.null.row) = 1.0;
  }
  system.bottomRightCorner(num_row_, num_row_) = schur;
  system_.compute(std::move(system));

  ExtendedVector offset(size);
  gap_row_.resize(size);
  offset << -cost_, rhs_ + products;
  gap_row_ << cost_ + DoubleDouble(2.0) / tau_ * px_, products - rhs_;
  for (Eigen::Index k = 0; k < num_bound_; ++k) {
    const Bound& bound = problem_.bounds[index(k)];
    const DoubleDouble term = z_[k] / s_[k] * bound_[k];
    offset[bound.var] += bound.sign * term;
    gap_row_[bound.var] += bound.sign * term;
    gap_of_tau_ -= term * bound_[k];
  }
  tau_answer_ = system_.solve(offset);
  gap_of_tau_ += gap_row_.dot(tau_answer_);
}

// The right-hand sides of a step that takes the share off all residuals, towards mu, with the
// second-order terms of an affine step.
ExtendedMethod::RightHandSide ExtendedMethod::aim(DoubleDouble share, DoubleDouble mu,
                                                  const Step* affine) {
  RightHandSide rhs;
  ExtendedVector rows = share * primal_;
  DoubleDouble kappa_rhs = mu - tau_ * kappa_;
  if (affine != nullptr) kappa_rhs -= affine->tau * affine->kappa;
  rhs.gap = -share * gap_ - kappa_rhs / tau_;
  const ExtendedMatrixVariable::Target target{mu, affine != nullptr, share * matrix_residual_,
                                              -share * matrix_residual_};
  for (ExtendedMatrixVariable& matrix : matrices_) rhs.gap -= matrix.aim(target, &rows);
  ExtendedVector columns = -share * dual_;
  for (Eigen::Index k = 0; k < num_bound_; ++k) {
    const Bound& bound = problem_.bounds[index(k)];
    DoubleDouble product = mu - s_[k] * z_[k];
    if (affine != nullptr) product -= affine->s[k] * affine->z[k];
    const DoubleDouble term = (product - z_[k] * share * slack_[k]) / s_[k];
    columns[bound.var] += bound.sign * term;
    rhs.gap += bound_[k] * term;
  }
  for (ExtendedCone& cone : cones_) cone.aim(mu, affine != nullptr, &columns);
  rhs.values.resize(num_var_ + num_row_);
  rhs.values << columns, -rows;
  return rhs;
}

ExtendedMethod::Step ExtendedMethod::find_step(DoubleDouble share, DoubleDouble mu,
                                               const Step* affine) {
  const RightHandSide rhs = aim(share, mu, affine);
  ExtendedVector answer = system_.solve(rhs.values);
  Step step;
  step.tau = (rhs.gap - gap_row_.dot(answer)) / gap_of_tau_;
  answer += step.tau * tau_answer_;
  step.x = answer.head(num_var_);
  step.y = answer.tail(num_row_);
  complete(share, mu, affine, &step);
  return step;
}

// The other variables follow from x, y and tau.
void ExtendedMethod::complete(DoubleDouble share, DoubleDouble mu, const Step* affine, Step* step) {
  DoubleDouble kappa_rhs = mu - tau_ * kappa_ - kappa_ * step->tau;
  if (affine != nullptr) kappa_rhs -= affine->tau * affine->kappa;
  step->kappa = kappa_rhs / tau_;
  step->s = share * slack_ - step->tau * bound_;
  step->z.resize(num_bound_);
  for (Eigen::Index k = 0; k < num_bound_; ++k) {
    const Bound& bound = problem_.bounds[index(k)];
    step->s[k] += bound.sign * step->x[bound.var];
    DoubleDouble product = mu - s_[k] * z_[k] - z_[k] * step->s[k];
    if (affine != nullptr) product -= affine->s[k] * affine->z[k];
    step->z[k] = product / s_[k];
  }
  for (ExtendedCone& cone : cones_) cone.find_step(step->x);
  for (ExtendedMatrixVariable& matrix : matrices_) matrix.find_step(step->y, step->tau);
}

// What the step leaves of the equations is solved for again where it is no small part of them: near
// the end products with the scaling lose the digits that these have as well.
void ExtendedMethod::refine(DoubleDouble share, DoubleDouble mu, const Step* affine, Step* step) {
  constexpr int kMostCorrections = 3;
  constexpr double kSmallPart = 1e-2;
  constexpr double kSlowCorrection = 0.5;
  const double size = kSmallPart * largest_of(primal_);
  double before = kInfinity;
  Step last;
  for (int k = 0; k <= kMostCorrections; ++k) {
    ExtendedVector left = matrix_ * step->x - step->tau * rhs_ + share * primal_;
    for (const ExtendedMatrixVariable& matrix : matrices_) matrix.add_step_products(&left);
    const double error = largest_of(left);
    if (error > before) {
      *step = last;
      complete(share, mu, affine, step);
      return;
    }
    if (error <= size || error > kSlowCorrection * before || k == kMostCorrections) return;
    before = error;
    last = *step;
    ExtendedVector rhs = ExtendedVector::Zero(num_var_ + num_row_);
    rhs.tail(num_row_) = -left;
    const ExtendedVector correction = system_.solve(rhs);
    step->x += correction.head(num_var_);
    step->y += correction.tail(num_row_);
    complete(share, mu, affine, step);
  }
}

DoubleDouble ExtendedMethod::step_length(const Step& step) const {
  DoubleDouble length = Eigen::NumTraits<DoubleDouble>::highest();
  length = step_to_zero(s_, step.s, length);
  length = step_to_zero(z_, step.z, length);
  if (step.tau < 0.0) length = std::min(length, -tau_ / step.tau);
  if (step.kappa < 0.0) length = std::min(length, -kappa_ / step.kappa);
  for (const ExtendedCone& cone : cones_) length = cone.step_length(length);
  for (const ExtendedMatrixVariable& matrix : matrices_) {
    length = std::min(length, matrix.step_length());
  }
  return length;
}

bool ExtendedMethod::is_interior() {
  return std::all_of(cones_.begin(), cones_.end(),
                     [&](ExtendedCone& cone) { return cone.update(x_); }) &&
         std::all_of(matrices_.begin(), matrices_.end(), [&](ExtendedMatrixVariable& matrix) {
           return matrix.factor(tau_ - matrix_residual_, y_, matrix_residual_);
         });
}

// Takes the step, shorter where rounding asks for it.
bool ExtendedMethod::take(const Step& step, DoubleDouble share, DoubleDouble* length) {
  constexpr int kMostTries = 20;
  constexpr double kShortening = 0.8;
  const DoubleDouble residual = matrix_residual_;
  const auto move = [&](DoubleDouble by) {
    x_ += by * step.x;
    y_ += by * step.y;
    s_ += by * step.s;
    z_ += by * step.z;
    tau_ += by * step.tau;
    kappa_ += by * step.kappa;
    for (ExtendedCone& cone : cones_) cone.take(by);
    for (ExtendedMatrixVariable& matrix : matrices_) matrix.take(by);
  };
  for (int attempt = 0; attempt < kMostTries; ++attempt) {
    move(*length);
    matrix_residual_ = residual * (DoubleDouble(1.0) - *length * share);
    if (is_interior()) return true;
    move(-*length);
    *length *= kShortening;
  }
  return false;
}

DoubleDouble ExtendedMethod::mu() const {
  DoubleDouble product = tau_ * kappa_ + s_.dot(z_);
  double degree = 1.0 + static_cast<double>(num_bound_) + static_cast<double>(cones_.size());
  for (const ExtendedCone& cone : cones_) product += cone.complementarity(x_);
  for (const ExtendedMatrixVariable& matrix : matrices_) {
    product += matrix.complementarity();
    degree += static_cast<double>(matrix.order());
  }
  return product / degree;
}

}  // namespace vorlan::conic
