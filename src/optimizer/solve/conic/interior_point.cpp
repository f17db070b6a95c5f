// The iteration; see interior_point.h for the embedding. All residuals shrink by the same factor in
// a step, 1 - length * rest.
#include "solve/conic/interior_point.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <utility>

#include "solve/check/rays.h"
#include "solve/check/vectors.h"
#include "task/text.h"

namespace vorlan::conic {
namespace {

// Added to the share of the way to the boundary that a step goes, where the affine one could go
// far.
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
    algebra_ = DenseAlgebra::load(&message);
    system_->use(algebra_);
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

// The next iteration may take longer than anybody waits.
void InteriorPointMethod::offer_point() const {
  if (!offer_ || !monitor_->wants_point()) return;
  InteriorPoint point;
  point.outcome = Outcome::kStopped;
  store_point(&point, best_, true);
  offer_(point);
}

void InteriorPointMethod::log_heading() {
  std::string text = format_text(
      "Interior-point method: %d variables, %d equations, %zu bounds, %zu cones, %zu matrix "
      "variables; %lld elements in the factor\n",
      problem_.num_var(), problem_.num_row(), problem_.bounds.size(), problem_.cones.size(),
      problem_.matrices.size(), static_cast<long long>(system_->num_factor_elements()));
  if (algebra_ != nullptr) text += "Dense algebra: " + algebra_->description() + "\n";
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
    offer_point();
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
