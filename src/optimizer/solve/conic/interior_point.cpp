// The iteration, and how it ends: with an answer that meets the tolerances, by a limit, or where no
// step leads further.
#include "solve/conic/interior_point.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <utility>

#include "solve/check/rays.h"
#include "solve/check/vectors.h"
#include "solve/conic/measures.h"
#include "solve/conic/starting_point.h"
#include "task/machine.h"
#include "task/text.h"

namespace vorlan::conic {
namespace {

// Added to the least share of the way to the boundary that a step goes, in proportion to the length
// of the affine step.
constexpr double kMoreToBoundary = 0.09;
// No step goes nearer to the boundary than this.
constexpr double kMostToBoundary = 1.0 - 1e-6;
// Products of pairs that a step leaves far from the others are corrected where it is shorter than
// kGoodLength. The other step is to be longer by kMoreLength, and counts when it is by this share.
constexpr double kGoodLength = 0.9;
constexpr double kMoreLength = 0.3;
constexpr double kMuchOfIt = 0.1;
// That costs a solve, and saves about a tenth of the iterations: it pays where a factorization has
// so many multiplications for each element of the factor and each operation on a variable outside
// of it.
constexpr double kWorkForCentring = 20.0;
constexpr double kOperationsOfVariable = 20.0;
// A run ends after this many iterations in which no step was longer than kShortStep.
constexpr double kShortStep = 1e-4;
constexpr int kMostShortSteps = 8;
// A run that can go no further still claims what holds to this tolerance.
constexpr double kLooseTolerance = 1e-6;
// Rays count at this violation, and at the loose one when the run can go no further.
constexpr double kRayViolation = 1e-8;
// A run that can go on takes an objective for unlimited only when it falls by so much, since an
// optimum far out looks like a ray for a while.
constexpr double kCertainFall = 1e13;
// Tau is held from iterates within this multiple of what the tolerances allow.
constexpr double kNearSolution = 1e6;
// The least order at which the dense end of the factor repays the loading of fast dense algebra.
constexpr int32_t kLargeDenseOrder = 200;
// Threads are made where an iteration has so many multiplications, some milliseconds; a matrix
// variable takes about so many products of matrices of its order.
constexpr double kWorkForThreads = 3e7;
constexpr double kProductsOfMatrix = 20.0;
// What dense algebra maps for each thread that calls it, in bytes, and as much again for its stack
// and for what is in the work.
constexpr double kSpaceOfThread = 0x1p28;

}  // namespace

InteriorPointMethod::InteriorPointMethod(const ConicProblem& problem, const Equilibration& scaling,
                                         const Tolerances& tolerances, RayProof proves,
                                         BackendMonitor* monitor)
    : problem_(problem),
      scaling_(scaling),
      tolerances_(tolerances),
      monitor_(monitor),
      best_(tolerances),
      accurate_(tolerances),
      most_feasible_(tolerances),
      claims_(problem, std::move(proves)) {}

Status InteriorPointMethod::run(InteriorPoint* result) {
  Status status = prepare();
  if (!status.ok()) return status;
  now_ = scalings_->start();
  if (is_in_haste_) improve_start(problem_, *scalings_, system_.get(), &now_);
  log_heading();
  if (!iterate(Direction::Tau::kFree, result) && !iterate_with_tau_held(result)) conclude(result);
  const bool is_solution = measures_.worst(tolerances_) <= 1.0;
  if (problem_.has_quadratic_rows && iteration_ > 0 && is_solution) center();
  result->iterations = iteration_;
  const bool is_ray = result->certificate != Certificate::kNone;
  result->measures = is_ray ? measures_ : best_.measures();
  // Their memory is as good for the answer, and for what is made of it.
  system_.reset();
  scalings_.reset();
  if (is_ray) now_.write(problem_, 1.0, result);
  now_ = {};
  if (!is_ray) best_.iterate().write(problem_, 1.0 / best_.iterate().tau, result);
  best_ = BestPoint(tolerances_);
  return {};
}

Status InteriorPointMethod::load_algebra(double multiplications) {
  Status failure;
  const DenseAlgebra* const loaded = DenseAlgebra::for_work(multiplications, &failure);
  if (loaded != nullptr) algebra_ = std::make_unique<DenseAlgebra>(*loaded);
  return failure;
}

Status InteriorPointMethod::prepare() {
  if (!problem_.matrices.empty()) {
    Status failure = load_algebra(work_of_matrices() + std::pow(problem_.rhs.size(), 3) / 3.0);
    if (algebra_ == nullptr) return failure;
  }
  scalings_ = std::make_unique<Scalings>(problem_, algebra_.get());
  system_ = std::make_unique<NewtonSystem>(problem_, *scalings_, algebra_.get());
  const bool is_dense = system_->dense_order() >= kLargeDenseOrder || system_->has_supernodes();
  if (algebra_ == nullptr && is_dense) {
    static_cast<void>(load_algebra(kInfinity));  // it is only slower without
    system_->use(algebra_.get());
  }
  gather_team();
  const double operations = static_cast<double>(system_->num_factor_elements()) +
                            kOperationsOfVariable * problem_.num_var();
  corrects_centrality_ =
      is_in_haste_ && system_->num_multiplications() >= kWorkForCentring * operations;
  allow_residuals();
  return {};
}

// The corrections of matrix variables add up, while what a step of a linear model leaves is taken
// off by the next one.
void InteriorPointMethod::allow_residuals() {
  const double share = problem_.is_linear() ? 3e-2 : 1e-3;
  allowed_residuals_ = {&scaling_, share * tolerances_.feasibility, share * tolerances_.gap};
}

// Multiplications of an iteration with matrix variables, but for the equations.
double InteriorPointMethod::work_of_matrices() const {
  double work = 0.0;
  for (const MatrixBlock& block : problem_.matrices) {
    work += kProductsOfMatrix * std::pow(block.dimension, 3);
  }
  return work;
}

bool InteriorPointMethod::is_worth_threads() const {
  return num_threads_ > 1 && system_->num_multiplications() + work_of_matrices() >= kWorkForThreads;
}

// Threads join where the address space has room for what dense algebra takes for each of them: it
// does not bear a failure there.
void InteriorPointMethod::gather_team() {
  if (algebra_ == nullptr || !algebra_->bears_threads() || !is_worth_threads()) return;
  const auto has_room = [](size_t threads) {
    return has_address_space(kSpaceOfThread * static_cast<double>(threads));
  };
  while (num_threads_ > 1 && !has_room(num_threads_)) --num_threads_;
  if (num_threads_ == 1) return;
  team_ = std::make_unique<ThreadTeam>(num_threads_);
  *algebra_ = algebra_->with_team(team_.get());
}

// True: the iteration ended with an answer. False: no step leads further.
bool InteriorPointMethod::iterate(Direction::Tau tau, InteriorPoint* result) {
  if (!scalings_->update(now_)) return false;
  double length = 0.0;
  int short_steps = 0;
  while (true) {
    look_at_iterate();
    keep_if_sound();
    log_iteration(length);
    if (is_finished(tau, result)) return true;
    if (is_stalled()) return false;
    if (is_stopped(result)) return true;
    offer_point();
    length = make_step(tau);
    ++iteration_;
    short_steps = length < kShortStep ? short_steps + 1 : 0;
    if (!(length > 0.0) || short_steps >= kMostShortSteps) return false;
  }
}

// Near the optimum of a linear model the affine step is nearly the whole way, and so is the step
// then: the last iterations gain more than two digits each.
double InteriorPointMethod::share_to_boundary(double affine_length) const {
  const double share = Scalings::kLeastToBoundary + kMoreToBoundary * affine_length;
  return is_in_haste_ ? std::max(share, std::min(affine_length, kMostToBoundary)) : share;
}

// Returns the length of the step taken; 0: there is none.
double InteriorPointMethod::make_step(Direction::Tau tau) {
  system_->factor(*scalings_);
  Direction direction(problem_, now_, residuals_, allowed_residuals_, scalings_.get(),
                      system_.get(), tau);
  Step affine = direction.find_affine();
  const double affine_length = std::min(1.0, scalings_->step_length(now_, affine));
  const double sigma = (1.0 - affine_length) * (1.0 - affine_length);
  Step step = direction.find(1.0 - sigma, sigma * scalings_->mu(now_), std::move(affine));
  const double share = share_to_boundary(affine_length);
  double length = std::min(1.0, share * scalings_->step_length(now_, step));
  if (corrects_centrality_ && length < kGoodLength) {
    const double mu = sigma * scalings_->mu(now_);
    Step other = direction.correct_centrality(step, length + kMoreLength, mu);
    const double other_length = std::min(1.0, share * scalings_->step_length(now_, other));
    if (other_length >= length + kMuchOfIt * kMoreLength) {
      step = std::move(other);
      length = other_length;
    }
  }
  step.drop_scaled_terms();
  if (!std::isfinite(length) || !(length > 0.0) || !advance(step, &length)) return 0.0;
  if (tau == Direction::Tau::kHeld) {
    balance_kappa();
  } else {
    watch_last_equation((1.0 - length * step.reduction) * std::fabs(residuals_.gap));
  }
  return length;
}

// Goes on from where the embedding was still right, and then from the most feasible iterate: the
// best one may be of a plateau that the residuals left behind. A start's own best point counts only
// when it is a solution: short of that the embedding's says more. Matrix variables stall by the
// rounding of their own products, which this does not mend.
bool InteriorPointMethod::iterate_with_tau_held(InteriorPoint* result) {
  if (!problem_.matrices.empty() || !(scalings_->degree() > 1.0)) return false;
  const std::shared_ptr<const Iterate> end = keep();
  const BestPoint best = best_;
  for (const BestPoint* start : {&accurate_, &most_feasible_}) {
    if (!(start->worst() <= kNearSolution)) continue;
    best_ = BestPoint(tolerances_);
    const bool is_ended = iterate_from(start->iterate(), result);
    if (best_.worst() <= 1.0) {
      result->outcome = Outcome::kOptimal;
      result->was_scale_held = true;
      return true;
    }
    best_ = best;
    now_ = *end;
    look_at_iterate();
    if (is_ended) return true;
  }
  return false;
}

bool InteriorPointMethod::iterate_from(const Iterate& start, InteriorPoint* result) {
  monitor_->log("Going on from a point near the optimum, with its scale held\n");
  now_ = start;
  now_.multiply(1.0 / start.tau);
  balance_kappa();
  stall_ = {};
  return iterate(Direction::Tau::kHeld, result);
}

// While tau is held kappa has no part in steps: it is what all other products are in the mean.
void InteriorPointMethod::balance_kappa() {
  now_.kappa = 0.0;
  now_.kappa = now_.complementarity() / ((scalings_->degree() - 1.0) * now_.tau);
}

// The last equation's residual shrinks as the others do where it is linear. When it stays it is
// rounding that fills it.
void InteriorPointMethod::watch_last_equation(double expected) {
  constexpr double kClearlyMore = 2.0;
  if (!problem_.quadratic.row.empty() || !problem_.matrices.empty()) return;
  if (accurate_.worst() < kInfinity || !(measures_.worst(tolerances_) <= kNearSolution)) return;
  const Residuals next = find_residuals(problem_, now_);
  const double noise = tolerances_.gap * std::max(std::fabs(next.cost), std::fabs(next.value));
  const bool has_jumped = std::fabs(next.gap) > std::max(kClearlyMore * expected, noise);
  if (has_jumped) accurate_.hold(before_, measures_);
}

void InteriorPointMethod::look_at_iterate() {
  kept_.reset();
  residuals_ = find_residuals(problem_, now_);
  measures_ = measure(problem_, scaling_, now_, residuals_);
}

// In exact arithmetic the residuals are the share of the first ones that the dual residual of
// matrix variables is by definition. Rounding has shown once they are more, at a size that matters.
void InteriorPointMethod::keep_if_sound() {
  constexpr double kMore = 1.2;
  constexpr double kMatters = 0.1;
  if (!sound_ || has_rounding_shown_) return;
  const double residual = std::max(largest(residuals_.primal), largest(residuals_.dual));
  if (iteration_ == 0) first_residual_ = residual;
  const bool matters =
      std::max(measures_.primal, measures_.dual) > kMatters * tolerances_.feasibility;
  has_rounding_shown_ = matters && residual > kMore * now_.matrix_residual * first_residual_;
  if (!has_rounding_shown_) sound_->hold(keep(), measures_);
}

// A copy of the iterate, without the duals of matrix variables. Those who hold one share it: large
// models have no room for a copy each.
std::shared_ptr<const Iterate> InteriorPointMethod::keep() {
  if (kept_ != nullptr) return kept_;
  const auto copy = std::make_shared<Iterate>();
  copy->take_scalars(now_);
  copy->matrices.resize(now_.matrices.size());
  for (size_t m = 0; m < now_.matrices.size(); ++m) copy->matrices[m].x = now_.matrices[m].x;
  kept_ = copy;
  return kept_;
}

// Keeps what a step that turns out to be too long is taken back to.
void InteriorPointMethod::remember() {
  if (problem_.matrices.empty()) {
    before_ = keep();
    return;
  }
  const auto scalars = std::make_shared<Iterate>();
  scalars->take_scalars(now_);
  before_ = scalars;
}

// Takes the step, shorter where rounding or the neighbourhood asks for it, to a point from which
// the next one can be found.
bool InteriorPointMethod::advance(const Step& step, double* length) {
  constexpr int kMostTries = 30;
  constexpr double kShortening = 0.8;
  remember();
  for (int attempt = 0; attempt < kMostTries; ++attempt) {
    now_.take(problem_, step, *length);
    if (now_.tau > 0.0 && now_.kappa > 0.0 && scalings_->update(now_)) {
      kept_.reset();
      return true;
    }
    now_.take_back(problem_, *before_, step, *length);
    *length *= kShortening;
  }
  return false;
}

// An iterate that meets the tolerances is bettered as long as that goes fast, until it is well
// within them and its gap small even beside objectives that are.
bool InteriorPointMethod::is_finished(Direction::Tau tau, InteriorPoint* result) {
  constexpr double kWellWithin = 0.1;
  // A step that leaves more than this share of the distance is a slow one; where the objectives'
  // own digits are at stake, one that leaves more than the other.
  constexpr double kSlow = 0.2;
  constexpr double kSlowForDigits = 0.7;
  const double before = best_.worst();
  const double worst = measures_.worst(tolerances_);
  if (best_.is_farther_than(measures_)) best_.hold(keep(), measures_);
  if (tau == Direction::Tau::kFree && problem_.matrices.empty() &&
      most_feasible_.is_less_feasible_than(measures_)) {
    most_feasible_.hold(keep(), measures_);
  }
  const bool has_digits = measures_.gap_of_objectives <= tolerances_.gap;
  const double slow = has_digits ? kSlow : kSlowForDigits;
  if ((has_digits && worst <= kWellWithin) || (before <= 1.0 && worst > slow * before)) {
    result->outcome = Outcome::kOptimal;
    return true;
  }
  if (before <= 1.0 || tau == Direction::Tau::kHeld) return false;
  if (measures_.dual_ray <= kRayViolation &&
      claims_.claim(Certificate::kDualRay, measures_.dual_ray, now_, result)) {
    return true;
  }
  return measures_.primal_ray <= kRayViolation && measures_.fall >= kCertainFall &&
         claims_.claim(Certificate::kPrimalRay, measures_.primal_ray, now_, result);
}

bool InteriorPointMethod::is_stalled() {
  const double distance =
      std::min({measures_.worst(tolerances_), measures_.dual_ray / kRayViolation,
                measures_.primal_ray / kRayViolation});
  return stall_.is_stalled(iteration_, distance, scalings_->mu(now_)) || is_for_successor();
}

// What rounding keeps from its tolerances is not waited for where more digits go on, unless it may
// yet turn out to be ill-posed.
bool InteriorPointMethod::is_for_successor() const {
  constexpr int32_t kMostIdleIterations = 2;
  constexpr double kFarFromRay = 1e-4;
  const double direction = std::min(measures_.dual_direction, measures_.primal_direction);
  return has_rounding_shown_ && best_.worst() <= kNearSolution && direction > kFarFromRay &&
         stall_.idle_iterations(iteration_) > kMostIdleIterations;
}

bool InteriorPointMethod::is_stopped(InteriorPoint* result) {
  Progress progress;
  progress.objective = measures_.primal_objective;
  progress.bound = measures_.dual_objective;
  progress.interior_iterations = iteration_;
  const bool is_asked = monitor_->should_stop(progress);
  if (!is_asked && iteration_ < tolerances_.iteration_limit) return false;
  result->outcome = Outcome::kStopped;
  if (!is_asked) result->termination = Code::kTrmIterationLimit;
  return true;
}

// Newton steps to a point of the central path ahead, tau held: at a solution it is nearly free. The
// last one whose residuals hold is the answer.
void InteriorPointMethod::center() {
  constexpr int kMostSteps = 20;
  // Relative to the cones' largest dual; rounding leaves about as much.
  constexpr double kCentral = 1e-8;
  // The gap of a point off the path can be less than that of its mu.
  constexpr double kAhead = 0.1;
  const double mu = kAhead * scalings_->mu(now_);
  const Step no_affine = zero_step(problem_);
  const AllowedResiduals none_allowed;
  for (int k = 0; k < kMostSteps; ++k) {
    system_->factor(*scalings_);
    Direction direction(problem_, now_, residuals_, none_allowed, scalings_.get(), system_.get(),
                        Direction::Tau::kHeld);
    const Step step = direction.find(1.0, mu, no_affine);
    const double size = std::max(1.0, largest(now_.cone_dual));
    if (direction.distance_of_cones() <= kCentral * size) return;
    double length = std::min(1.0, Scalings::kLeastToBoundary * scalings_->step_length(now_, step));
    if (!(length > 0.0) || !advance(step, &length)) return;
    look_at_iterate();
    if (measures_.worst(tolerances_) <= 1.0) best_.hold(keep(), measures_);
  }
}

// A run that can go no further claims what holds less exactly.
void InteriorPointMethod::conclude(InteriorPoint* result) {
  // Half of a solution is more than none.
  const auto is_half = [](const Measures& m) {
    return std::min(m.primal, m.dual) <= kLooseTolerance;
  };
  if (!is_half(best_.measures()) && is_half(measures_)) best_.hold(keep(), measures_);
  const Tolerances loose{kLooseTolerance, kLooseTolerance, 0};
  // An iterate is far from a solution beyond this multiple of the loose tolerance.
  constexpr double kFarFromOptimal = 100.0;
  result->is_far = best_.measures().worst(loose) > kFarFromOptimal;
  if (claims_loosely(result)) return;
  const double direction = std::min(measures_.dual_direction, measures_.primal_direction);
  if (result->is_far && direction <= kIllPosedTolerance) {
    result->outcome = Outcome::kIllPosed;
    const bool dual = measures_.dual_direction <= measures_.primal_direction;
    result->certificate = dual ? Certificate::kDualRay : Certificate::kPrimalRay;
  } else {
    result->outcome = Outcome::kStopped;
    result->termination = Code::kTrmStall;
  }
}

bool InteriorPointMethod::claims_loosely(InteriorPoint* result) {
  // A gap of no more than this counts relative to the terms of the objectives, which cancel.
  constexpr double kTolerableGap = 1e-4;
  const auto is_solution = [](const Measures& m) {
    const double gap = m.gap <= kTolerableGap ? m.gap_of_terms : m.gap;
    return std::max({m.primal, m.dual, gap}) <= kLooseTolerance;
  };
  if (!is_solution(best_.measures()) && is_solution(measures_)) best_.hold(keep(), measures_);
  if (is_solution(best_.measures())) {
    result->outcome = Outcome::kOptimal;
    return true;
  }
  return (measures_.dual_ray <= kLooseTolerance &&
          claims_.claim(Certificate::kDualRay, measures_.dual_ray, now_, result)) ||
         (measures_.primal_ray <= kLooseTolerance &&
          claims_.claim(Certificate::kPrimalRay, measures_.primal_ray, now_, result));
}

// The next iteration may take longer than anybody waits.
void InteriorPointMethod::offer_point() const {
  if (!offer_ || !monitor_->wants_point()) return;
  InteriorPoint point;
  point.outcome = Outcome::kStopped;
  point.measures = best_.measures();
  best_.iterate().write(problem_, 1.0 / best_.iterate().tau, &point);
  offer_(std::move(point));
}

void InteriorPointMethod::log_heading() const {
  const auto count = [](auto number, const char* noun) {
    return counted(static_cast<int64_t>(number), noun);
  };
  std::string text = "Interior-point method: " + count(problem_.num_var(), "variable") + ", " +
                     count(problem_.num_row(), "equation") + ", " +
                     count(problem_.bounds.size(), "bound") + ", " +
                     count(problem_.cones.size(), "cone") + ", " +
                     count(problem_.matrices.size(), "matrix variable") + "; " +
                     count(system_->num_factor_elements(), "element") + " in the factor" +
                     (system_->is_dissected() ? ", ordered by nested dissection\n" : "\n");
  if (algebra_ != nullptr) {
    text += "Dense algebra: " + algebra_->description();
    if (team_ != nullptr) text += ", in " + count(team_->num_threads(), "thread");
    if (!algebra_->bears_threads() && is_worth_threads()) text += ", built for one thread";
    text += "\n";
  }
  text +=
      " iteration   primal objective     dual objective   primal     dual      gap       mu   step"
      "     time\n";
  monitor_->log(text);
}

double InteriorPointMethod::stated(double objective) const {
  return shown_ == nullptr ? objective : shown_->stated_objective(objective) + 0.0;
}

void InteriorPointMethod::log_iteration(double length) const {
  const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start_;
  monitor_->log(format_text("%10d %18.9e %18.9e %8.1e %8.1e %8.1e %8.1e %6.4f %6.2f s\n",
                            iteration_, stated(measures_.primal_objective),
                            stated(measures_.dual_objective), measures_.primal, measures_.dual,
                            measures_.gap, scalings_->mu(now_), length, elapsed.count()));
}

}  // namespace vorlan::conic
