// The parameters of each solve of the relaxation, and the repair of relaxations that say too
// little.
#include "solve/outer/relaxation_solver.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "solve/check/vectors.h"
#include "solve/outer/derived_models.h"
#include "task/parameter_index.h"

namespace vorlan::outer {
namespace {

constexpr double kLooseGap = 0.02;
// The share of the gap asked for that a solve of the relaxation may leave. It becomes smaller
// whenever a solve brings nothing new.
constexpr double kGapShares[] = {0.5, 0.1, 0.0};
constexpr int kMostExact = 2;

}  // namespace

RelaxationSolver::RelaxationSolver(const MinimizeProblem& problem, const Parameters& parameters,
                                   InnerSolver* solver, OptimumBounds* bounds,
                                   Relaxation* relaxation)
    : problem_(problem),
      parameters_(parameters),
      solver_(solver),
      bounds_(bounds),
      relaxation_(relaxation) {}

void RelaxationSolver::choose_objective_factor(double objective) {
  constexpr double kSmall = 16.0;
  constexpr int kSize = 10;
  constexpr double kMostCost = 1e6;
  const double size = std::fabs(objective + problem_.sense_factor() * problem_.model.constant);
  const double cost = std::max(largest(relaxation_->make_model().cost), 1e-300);
  if (!(size > 0.0) || size >= kSmall) return;
  const double wanted = std::ldexp(1.0, kSize - std::ilogb(size));
  const double most = std::ldexp(1.0, std::ilogb(kMostCost / cost));
  objective_factor_ = std::max(1.0, std::min(wanted, most));
}

bool RelaxationSolver::be_more_exact() {
  if (exactness_ == kMostExact) return false;
  ++exactness_;
  return true;
}

bool RelaxationSolver::be_careful() { return !std::exchange(careful_, true); }

Parameters RelaxationSolver::integer_parameters() const {
  Parameters parameters = careful_                   ? careful_parameters(parameters_)
                          : exactness_ == kMostExact ? with_strict_tolerances(parameters_)
                                                     : parameters_;
  const double share = kGapShares[exactness_];
  const double relative = share * parameters_.get(DoubleParam::kMipRelativeGap);
  const double absolute = share * parameters_.get(DoubleParam::kMipAbsoluteGap);
  parameters.set(DoubleParam::kMipRelativeGap, relative);
  parameters.set(DoubleParam::kMipAbsoluteGap, absolute * objective_factor_);
  parameters.set(IntParam::kMipSolutionLimit, kIntMax);
  const int64_t limit = parameters_.get(IntParam::kMipNodeLimit);
  if (limit < kIntMax) {
    const int64_t left = std::max<int64_t>(0, limit - solver_->nodes());
    parameters.set(IntParam::kMipNodeLimit, static_cast<int32_t>(left));
  }
  return parameters;
}

// The first relaxations need not be solved to the end: cuts are about to change them.
double RelaxationSolver::loose_gap() const {
  constexpr double kShare = 0.1;  // of the gap that is left
  if (exactness_ > 0) return 0.0;
  if (!bounds_->has_incumbent()) return kLooseGap;
  const double size = std::max(1e-10, std::fabs(bounds_->incumbent()));
  return std::min(kShare * bounds_->gap() / size, kLooseGap);
}

Solution RelaxationSolver::start(const Incumbent& best) const {
  Solution start;
  if (!bounds_->has_incumbent()) return start;
  start.defined = true;
  start.status = SolutionStatus::kPrimalFeasible;
  start.xx = relaxation_->lift(best.x, best.barx);
  return start;
}

Status RelaxationSolver::solve(IntegerTrials* trials, BackendResult* found) {
  Model model = relaxation_->make_model();
  for (double& cost : model.cost) cost *= objective_factor_;
  model.constant *= objective_factor_;
  cuts_in_solve_ = relaxation_->num_cuts();
  trials->begin_relaxation();
  const Solution from = start(trials->best());
  const MinimizeProblem problem(model, from.defined ? &from : nullptr);
  const auto on_point = [trials](std::span<const double> columns) {
    trials->try_on_the_way(columns);
  };
  Status status = solver_->solve_integer(problem, integer_parameters(), objective_factor_,
                                         loose_gap(), on_point, found);
  return status.ok() ? trials->failure() : status;
}

void RelaxationSolver::refine() {
  constexpr int kMostRefinements = 20;
  constexpr double kLeastShare = 0.02;  // of what all refinements have won so far
  const size_t first_row = relaxation_->num_rows();
  double first = 0.0;
  double last = 0.0;
  std::vector<double> point;
  for (int k = 0; k < kMostRefinements && solver_->seconds_left() > 0.0; ++k) {
    const Model linear = without_integers(relaxation_->make_model());
    BackendResult found;
    const Status status = solver_->solve_linear(linear, integer_parameters(), &found);
    if (!status.ok() || found.outcome != Outcome::kOptimal) return;
    point = std::move(found.x);
    const double objective = dot(linear.cost, point);
    relaxation_->use_bound(objective);
    const bool stalls = k > 1 && objective - last <= kLeastShare * (objective - first);
    if (k == 0) first = objective;
    last = objective;
    if (stalls || relaxation_->separate(point) == 0) break;
  }
  if (!point.empty()) relaxation_->drop_loose_cuts(first_row, point);
}

// Without integers the relaxation has a ray, which is cut off. Where it has none, only rounding
// bounds it, and tangents that are not parallel to the objective help. A row that keeps the
// objective above its bound is the last resort.
RelaxationSolver::Repair RelaxationSolver::bound_below(const std::vector<double>& relaxed_point) {
  const Model linear = without_integers(relaxation_->make_model());
  BackendResult found;
  if (!solver_->solve_linear(linear, integer_parameters(), &found).ok()) return Repair::kNothing;
  if (found.outcome == Outcome::kInfeasible && found.certificate == Certificate::kDualRay) {
    return Repair::kInfeasible;
  }
  if (found.certificate == Certificate::kPrimalRay) {
    const double size = largest(found.x);
    for (double& step : found.x) step /= size;
    if (relaxation_->separate_ray(found.x) > 0) return Repair::kChanged;
  }
  const bool optimal = found.outcome == Outcome::kOptimal;
  const std::vector<double>& point = optimal ? found.x : relaxed_point;
  if (!point.empty() && relaxation_->separate(point) + relaxation_->cut_around(point) > 0) {
    return Repair::kChanged;
  }
  if (has_floor_ || !std::isfinite(bounds_->bound())) return Repair::kNothing;
  has_floor_ = true;
  relaxation_->add_objective_floor(weaken_bound(bounds_->bound()));
  return Repair::kChanged;
}

}  // namespace vorlan::outer
