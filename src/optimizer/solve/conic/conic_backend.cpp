// A solve takes the model to the method's form, runs the method, and brings the answer back. Claims
// that the model has no optimum are held against the model itself before they are made, and looked
// for by a further solve where the method's own ray proves nothing.
#include "solve/conic/conic_backend.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "solve/check/checker.h"
#include "solve/check/clean_rays.h"
#include "solve/check/rays.h"
#include "solve/conic/conic_form.h"
#include "solve/conic/dense_algebra.h"
#include "solve/conic/dependent_rows.h"
#include "solve/conic/dual_ray.h"
#include "solve/conic/exponential_units.h"
#include "solve/conic/extended_method.h"
#include "solve/conic/facial_reduction.h"
#include "solve/conic/interior_point.h"
#include "solve/conic/matrix_split.h"
#include "solve/conic/recession.h"
#include "solve/conic/violations.h"
#include "solve/second_solve.h"
#include "solve/solve_plan.h"
#include "task/machine.h"
#include "task/parameter_index.h"
#include "task/text.h"

namespace vorlan {
namespace {

// Spreads values of the rows kept over all rows.
std::vector<double> spread(const std::vector<double>& values, const std::vector<int32_t>& kept,
                           size_t num_row, double elsewhere) {
  std::vector<double> all(num_row, elsewhere);
  for (size_t k = 0; k < kept.size(); ++k) all[index(kept[k])] = values[k];
  return all;
}

// One model on its way through the method's form and back.
class ConicRun {
 public:
  ConicRun(const MinimizeProblem& problem, const Parameters& parameters, BackendMonitor* monitor)
      : problem_(problem), parameters_(parameters), monitor_(monitor) {}

  // A model that has no ray is known to have an optimum.
  Status solve(bool may_have_ray, BackendResult* result);

 private:
  using Run = std::function<Status(conic::InteriorPoint* point)>;
  using Method = Status (ConicRun::*)(bool may_have_ray, conic::InteriorPoint* point);

  // What the way from an answer back to the model goes by.
  struct WayBack {
    conic::ConicForm form;
    conic::Equilibration scaling;
    conic::MatrixSplit split;
  };
  WayBack take_way_back() { return {std::move(form_), scaling_, split_}; }
  void go_back(WayBack way);

  Status make_form();
  Status run_method(bool may_have_ray, conic::InteriorPoint* point);
  Status run_in_extended_precision(bool may_have_ray, const conic::Equilibration& scaling,
                                   const conic::Iterate* begin, conic::InteriorPoint* point);
  Status run_in_units_of_exponentials(bool may_have_ray, conic::InteriorPoint* point);
  Status run_in_cliques(bool may_have_ray, conic::InteriorPoint* point);
  Status run_by_both_scalings(bool may_have_ray, conic::InteriorPoint* point);
  Status run_from_form(const char* how, Method method, bool may_have_ray,
                       conic::InteriorPoint* point);
  Status run_again(const char* how, const Run& run, bool may_have_ray,
                   const conic::InteriorPoint& first, conic::InteriorPoint* other, bool* is_better);
  void keep_if_nearer(conic::InteriorPoint iterate) const;
  bool prove_by_contradiction(const std::vector<double>& multipliers);
  bool prove(const conic::InteriorPoint& ray);
  bool find_primal_ray();
  bool find_dual_ray();
  bool solve_search(const MinimizeProblem& search, const char* what, BackendResult* found);
  bool shows_ill_posed();
  void measure_in_terms_of_model(conic::InteriorPoint* point) const;
  conic::Tolerances tolerances() const;
  BackendResult restore(conic::InteriorPoint point) const;

  const MinimizeProblem& problem_;
  const Parameters& parameters_;
  BackendMonitor* monitor_;
  conic::ConicForm form_;
  conic::Cover cover_ = conic::Cover::kCliques;
  conic::MatrixSplit split_;
  conic::ScalingRule rule_ = conic::ScalingRule::kByNorms;
  conic::Equilibration scaling_;       // of all rows
  std::vector<int32_t> kept_;          // rows
  size_t num_row_ = 0;                 // with those that were not kept
  std::vector<double> contradiction_;  // of equations that contradict each other
  BackendResult proof_;                // the ray that is proven
  bool looked_for_ray_ = false;
  bool is_hasty_ = true;     // which leads some runs astray
  bool is_stopped_ = false;  // in a second run, after which no other one begins
  int64_t iterations_ = 0;   // of further solves
  // What a second run has to be better than; nullptr in the first one.
  const conic::InteriorPoint* first_ = nullptr;
};

conic::Tolerances ConicRun::tolerances() const {
  conic::Tolerances tolerances;
  tolerances.feasibility = parameters_.get(DoubleParam::kConicFeasibilityTolerance);
  tolerances.gap = parameters_.get(DoubleParam::kConicGapTolerance);
  tolerances.iteration_limit =
      std::min(tolerances.iteration_limit, parameters_.get(IntParam::kInteriorIterationLimit));
  return tolerances;
}

BackendResult ConicRun::restore(conic::InteriorPoint point) const {
  BackendResult result;
  conic::restore_from_faces(form_.problem(), &point);
  conic::Equilibration scaling = scaling_;
  split_.restore(&scaling, &point);
  point.y = spread(point.y, kept_, scaling.row.size(), 0.0);
  form_.restore(problem_, scaling, point, &result);
  return result;
}

// Says whether the multipliers of contradicting equations prove the model infeasible.
bool ConicRun::prove_by_contradiction(const std::vector<double>& multipliers) {
  if (multipliers.empty()) return false;
  const conic::ConicProblem& form = form_.problem();
  conic::InteriorPoint ray;
  ray.outcome = Outcome::kInfeasible;
  ray.certificate = Certificate::kDualRay;
  ray.y = multipliers;
  ray.z.resize(form.bounds.size());
  ray.cone_dual.resize(form.cost.size());
  for (const conic::MatrixBlock& block : form.matrices) {
    ray.matrix_duals.emplace_back(index(block.dimension), index(block.dimension));
  }
  conic::Equilibration scaling = conic::identity_scaling(form, multipliers.size());
  split_.restore(&scaling, &ray);
  form_.restore(problem_, scaling, ray, &proof_);
  normalize_ray(&proof_.y, &proof_.snx);
  return complete_dual_ray(problem_.model, &proof_);
}

// Says whether the model's form of a ray is a proof, which is left in proof_. Another primal ray is
// looked for where curvature makes this one inexact.
bool ConicRun::prove(const conic::InteriorPoint& ray) {
  proof_ = restore(ray);
  if (proof_.certificate == Certificate::kDualRay) {
    proof_.x = conic::point_of_dual_ray(problem_, proof_);
    normalize_ray(&proof_.y, &proof_.snx);
    return complete_dual_ray(problem_.model, &proof_);
  }
  normalize_ray(&proof_.x, &proof_.barx);
  return complete_primal_ray(problem_, &proof_) || find_primal_ray();
}

// Solves the model of a search for a ray without a word of its own, and says whether it has an
// optimum; the log tells what it was a model of.
bool ConicRun::solve_search(const MinimizeProblem& search, const char* what, BackendResult* found) {
  SilentMonitor silent(monitor_);
  ConicRun run(search, parameters_, &silent);
  const Status status = run.solve(false, found);
  iterations_ += found->progress.interior_iterations;
  monitor_->log(format_text("Solved a model of %s: %s\n", what,
                            counted(found->progress.interior_iterations, "iteration").c_str()));
  return status.ok() && found->outcome == Outcome::kOptimal;
}

// Looks for a primal ray by a solve of its own, once: leaves in proof_ the direction in which the
// objective falls most, clear of the tolerance by which bounds were left.
bool ConicRun::find_primal_ray() {
  if (looked_for_ray_) return false;
  looked_for_ray_ = true;
  proof_ = {};
  const Model directions = conic::model_of_directions(problem_);
  monitor_->log("Looking for a direction in which the objective improves for ever\n");
  BackendResult found;
  if (!solve_search(MinimizeProblem(directions), "directions", &found)) return false;
  for (size_t j = 0; j < found.x.size(); ++j) {
    found.x[j] = std::clamp(found.x[j], directions.var_lower[j], directions.var_upper[j]);
  }
  normalize_ray(&found.x, &found.barx);
  proof_.outcome = Outcome::kUnbounded;
  proof_.certificate = Certificate::kPrimalRay;
  proof_.x = std::move(found.x);
  proof_.barx = std::move(found.barx);
  return complete_primal_ray(problem_, &proof_);
}

// Looks for a dual ray by a solve of its own, for the point that violates the constraints least:
// leaves it in proof_ if it is a proof.
bool ConicRun::find_dual_ray() {
  const Model violations = conic::model_of_violations(problem_);
  monitor_->log("Looking for the least violation of the constraints\n");
  const MinimizeProblem search(violations);
  BackendResult found;
  if (!solve_search(search, "violations", &found)) return false;
  // A violation that gets as small as one likes, at points further and further out, is none: the
  // multipliers are near to a ray of a model that has none.
  constexpr double kClear = 1e-4;
  if (!(std::min(found.x.back(), dual_objective(search, found)) > kClear)) return false;
  BackendResult ray = conic::ray_of_violations(problem_.model, found);
  normalize_ray(&ray.y, &ray.snx);
  if (!complete_dual_ray(problem_.model, &ray)) return false;
  proof_ = std::move(ray);
  return true;
}

// Says whether the direction found, in which the objective does not fall after all, shows at least
// that the model is ill-posed. It is interior to all such directions, and so not 0 if there is one.
bool ConicRun::shows_ill_posed() {
  if (proof_.certificate != Certificate::kPrimalRay) return false;
  proof_.outcome = Outcome::kIllPosed;
  return complete_ill_posed_primal_ray(problem_, &proof_);
}

// A run that ended without an answer, or as ill-posed, may be one of a model whose objective has no
// limit. So may one whose embedding stalled: rounding can hide a small cost beside large quadratic
// terms.
bool may_be_unbounded(const conic::InteriorPoint& point) {
  return point.outcome == Outcome::kIllPosed || point.termination == Code::kTrmStall ||
         point.was_scale_held;
}

bool is_proven(const conic::InteriorPoint& point) {
  return point.outcome == Outcome::kInfeasible || point.outcome == Outcome::kUnbounded;
}

// Says whether rounding kept the run from the tolerances.
bool ends_short(const conic::InteriorPoint& point, const conic::Tolerances& asked) {
  if (is_proven(point)) return false;
  if (point.outcome == Outcome::kOptimal) return point.measures.worst(asked) > 1.0;
  return point.outcome == Outcome::kIllPosed || point.termination == Code::kTrmStall;
}

// Says whether somebody asked the run to stop.
bool is_interrupted(const conic::InteriorPoint& point) {
  return point.outcome == Outcome::kStopped && point.termination == Code::kOk;
}

// Says whether the first of two answers is worth more than the other one. Answers that miss their
// tolerances by about the same are of one worth: which of them misses less hangs on the kernels.
bool is_nearer(const conic::InteriorPoint& a, const conic::InteriorPoint& b,
               const conic::Tolerances& asked) {
  const auto rank = [](const conic::InteriorPoint& point) {
    return is_proven(point) ? 2 : point.outcome == Outcome::kOptimal ? 1 : 0;
  };
  if (rank(a) != rank(b)) return rank(a) > rank(b);
  constexpr double kClearlyLess = 0.5;
  return a.measures.worst(asked) < kClearlyLess * b.measures.worst(asked);
}

// Runs the method on the form, which it leaves scaled.
Status ConicRun::run_method(bool may_have_ray, conic::InteriorPoint* point) {
  conic::Equilibration scaling = conic::equilibrate(rule_, &form_.problem());
  scaling.least_objective = std::min(scaling.least_objective, sizes_of_model(problem_).objective);
  scaling_ = scaling;
  scaling_.row = spread(scaling.row, kept_, num_row_, 1.0);
  const int32_t faces = conic::reduce_to_faces(&form_.problem());
  if (faces > 0) {
    monitor_->log(format_text("Presolve took an order off %s by the equation v'Xv = 0\n",
                              counted(faces, "matrix variable").c_str()));
  }
  const auto proves = [&](const conic::InteriorPoint& ray) { return may_have_ray && prove(ray); };
  conic::InteriorPointMethod method(form_.problem(), scaling, tolerances(), proves, monitor_);
  method.show_objectives_of(problem_.model);
  // What a limit of memory allows for one thread is the same with and without others.
  const bool is_memory_limited = std::isfinite(parameters_.get(DoubleParam::kMemoryLimit));
  const int32_t asked = parameters_.get(IntParam::kNumThreads);
  method.use_threads(is_memory_limited ? 1 : continuous_threads(asked));
  // The caller has no use for a point of another model than its own, which is to be central: its
  // answer is a direction clear of all tolerances.
  if (may_have_ray) {
    if (is_hasty_) method.make_haste();
    method.offer_points(
        [this](conic::InteriorPoint iterate) { keep_if_nearer(std::move(iterate)); });
  }
  if (conic::ExtendedMethod::can_solve(form_.problem())) method.prepare_successor();
  Status status = method.run(point);
  if (!status.ok()) return status;
  return run_in_extended_precision(may_have_ray, scaling, method.sound_iterate(), point);
}

// Residuals that are relative to the sizes, in parts of what is allowed.
Residuals residuals_of(const MinimizeProblem& problem, const BackendResult& result,
                       const LeastSizes& least, double allowed) {
  return {primal_violation(problem.model, least, result.x, result.barx) / allowed,
          dual_violation(problem, least, result) / allowed,
          duality_gap(problem, least, result) / allowed};
}

void raise_to(const Residuals& residuals, conic::Measures* measures) {
  measures->primal = std::max(measures->primal, residuals.primal);
  measures->dual = std::max(measures->dual, residuals.dual);
  measures->gap = std::max(measures->gap, residuals.gap);
}

// The way back to the model's terms can add to what an optimum misses. An optimum that misses small
// parts of the model by more than a claim allows is none of the model in the units of these parts.
void ConicRun::measure_in_terms_of_model(conic::InteriorPoint* point) const {
  if (point->outcome != Outcome::kOptimal) return;
  const ClaimTolerances claim(problem_.model, parameters_);
  const conic::Tolerances asked = tolerances();
  const double allowed = claim.primal / asked.feasibility;
  const BackendResult result = restore(*point);
  raise_to(residuals_of(problem_, result, sizes_of_model(problem_), 1.0), &point->measures);
  const Residuals parts = residuals_of(problem_, result, sizes_of_parts(problem_), allowed);
  point->misses_parts =
      std::max(parts.primal, parts.dual) > asked.feasibility || parts.gap > asked.gap;
  if (point->misses_parts) raise_to(parts, &point->measures);
}

// Goes on with a small model where rounding keeps it from its tolerances: from the iterate given,
// and from the first one where that ends little short of them.
Status ConicRun::run_in_extended_precision(bool may_have_ray, const conic::Equilibration& scaling,
                                           const conic::Iterate* begin,
                                           conic::InteriorPoint* point) {
  conic::Tolerances left = tolerances();
  measure_in_terms_of_model(point);
  if (begin == nullptr) return {};
  if (point->outcome == Outcome::kIllPosed || !ends_short(*point, left)) return {};
  left.iteration_limit -= point->iterations;
  const auto run = [&](conic::InteriorPoint* other) {
    conic::ExtendedMethod further(form_.problem(), scaling, left, monitor_);
    const bool is_further = further.begin_at(*begin);
    further.run(other);
    measure_in_terms_of_model(other);
    if (!is_further || is_interrupted(*other) || !ends_short(*other, left)) return Status{};
    // Another path to a point that is so far from its tolerances ends about there, too.
    constexpr double kLittle = 3.0;
    const bool is_optimum = other->outcome == Outcome::kOptimal;
    if (is_optimum && other->measures.worst(left) > kLittle) return Status{};
    conic::InteriorPoint from_start;
    left.iteration_limit -= other->iterations;
    conic::ExtendedMethod(form_.problem(), scaling, left, monitor_).run(&from_start);
    measure_in_terms_of_model(&from_start);
    const int32_t iterations = other->iterations + from_start.iterations;
    if (!is_nearer(*other, from_start, left)) *other = std::move(from_start);
    other->iterations = iterations;
    return Status{};
  };
  conic::InteriorPoint other;
  bool is_better = false;
  Status status = run_again("in extended precision", run, may_have_ray, *point, &other, &is_better);
  iterations_ += is_better ? point->iterations : other.iterations;
  if (is_better) *point = std::move(other);
  return status;
}

// The first iterates of a second run are worth less than what the first one came to.
void ConicRun::keep_if_nearer(conic::InteriorPoint iterate) const {
  if (first_ != nullptr && !is_nearer(iterate, *first_, tolerances())) return;
  monitor_->keep(restore(std::move(iterate)), kInfinity);
}

// The words that the log has for what a run came to.
std::string describe(const Model& model, const conic::InteriorPoint& point) {
  if (is_proven(point)) return words_of(point.outcome);
  const conic::Measures& measures = point.measures;
  return format_text("objective %.9e, primal %.1e, dual %.1e, gap %.1e",
                     model.stated_objective(measures.primal_objective) + 0.0, measures.primal,
                     measures.dual, measures.gap);
}

// Runs once more, silent but for a line, and says whether the other answer is the better one. A
// stop in between leaves the better of both.
Status ConicRun::run_again(const char* how, const Run& run, bool may_have_ray,
                           const conic::InteriorPoint& first, conic::InteriorPoint* other,
                           bool* is_better) {
  Progress before;
  before.interior_iterations = first.iterations + iterations_;
  const bool is_best = first_ == nullptr || is_nearer(first, *first_, tolerances());
  const bool is_point = first.certificate == Certificate::kNone;
  if (may_have_ray && is_point) keep_if_nearer(first);
  SecondSolve again(how, monitor_, before);
  BackendMonitor* const outside = std::exchange(monitor_, &again);
  const conic::InteriorPoint* const to_better = std::exchange(first_, is_best ? &first : first_);
  const int64_t iterations = iterations_;
  Status status = run(other);
  monitor_ = outside;
  first_ = to_better;
  if (!status.ok()) return status;
  is_stopped_ = is_interrupted(*other);
  *is_better = is_nearer(*other, first, tolerances());
  Progress work;
  work.interior_iterations = other->iterations + iterations_ - iterations;
  again.sum_up(describe(problem_.model, *other), work,
               *is_better ? SecondSolve::Stands::kSecond : SecondSolve::Stands::kFirst);
  return {};
}

bool has_exponentials(const conic::ConicProblem& problem) {
  return std::any_of(problem.cones.begin(), problem.cones.end(), conic::is_exponential);
}

// The values of exponentials can be far from all data of a model, since these are their logarithms.
// A run that ended short of its tolerances has come near enough to tell the values: another one
// takes them for units.
Status ConicRun::run_in_units_of_exponentials(bool may_have_ray, conic::InteriorPoint* point) {
  constexpr int kMostChanges = 3;
  const conic::Tolerances asked = tolerances();
  const bool may_change = has_exponentials(form_.problem());
  const conic::ConicProblem own = may_change ? form_.problem() : conic::ConicProblem();
  Status status = run_method(may_have_ray, point);
  if (!may_change) return status;
  conic::InteriorPoint last = *point;
  std::vector<conic::ConeBlock> cones = own.cones;
  for (int k = 0; k < kMostChanges && status.ok(); ++k) {
    if (!ends_short(last, asked) || !conic::choose_units_of_heads(last, &cones)) break;
    const conic::Equilibration before = scaling_;
    const auto run_in_units = [&](conic::InteriorPoint* other) {
      form_.problem() = own;
      form_.problem().cones = cones;
      return run_method(may_have_ray, other);
    };
    last = {};
    bool is_better = false;
    status = run_again("in units of the exponentials' values", run_in_units, may_have_ray, *point,
                       &last, &is_better);
    iterations_ += is_better ? point->iterations : last.iterations;
    if (is_better) {
      *point = last;
    } else {
      scaling_ = before;
    }
  }
  return status;
}

// Matrix variables in overlapping parts are another problem to rounding than whole ones. A run with
// parts that ends short of its tolerances is made again with matrices that are whole.
Status ConicRun::run_in_cliques(bool may_have_ray, conic::InteriorPoint* point) {
  Status status = run_in_units_of_exponentials(may_have_ray, point);
  if (!status.ok() || !split_.has_overlaps()) return status;
  if (is_stopped_ || !ends_short(*point, tolerances())) return status;
  cover_ = conic::Cover::kComponents;
  return run_from_form("with whole matrix variables", &ConicRun::run_in_units_of_exponentials,
                       may_have_ray, point);
}

// How far rounding lets a run come hangs on the scaling. A run that ends without an answer is made
// again by the other rule, and the better of both counts. So is one with an optimum that is less
// exact than asked, where that costs little, and where the optimum misses parts of the model.
Status ConicRun::run_by_both_scalings(bool may_have_ray, conic::InteriorPoint* point) {
  const conic::Tolerances asked = tolerances();
  rule_ = conic::choose_scaling_rule(form_.problem());
  Status status = run_in_cliques(may_have_ray, point);
  if (!status.ok() || is_stopped_ || !ends_short(*point, asked)) return status;
  const bool is_cheap = conic::ExtendedMethod::is_small(form_.problem());
  const bool is_optimum = point->outcome == Outcome::kOptimal;
  if (is_optimum && !point->misses_parts && !is_cheap) return status;
  if (!is_optimum && form_.problem().is_linear()) {
    is_hasty_ = false;
    status = run_from_form("without haste", &ConicRun::run_in_cliques, may_have_ray, point);
    is_hasty_ = true;
    if (!status.ok() || is_stopped_ || !ends_short(*point, asked)) return status;
  }
  rule_ = rule_ == conic::ScalingRule::kByNorms ? conic::ScalingRule::kByLogarithms
                                                : conic::ScalingRule::kByNorms;
  return run_from_form("with another scaling", &ConicRun::run_in_cliques, may_have_ray, point);
}

// Runs a method again from the model on, by the rules that are set. The better answer is left.
Status ConicRun::run_from_form(const char* how, Method method, bool may_have_ray,
                               conic::InteriorPoint* point) {
  WayBack first;
  const auto run = [&](conic::InteriorPoint* other) {
    // The form is made again rather than kept: few runs need a second one, and a large model has no
    // room for a copy.
    first = take_way_back();
    Status made = make_form();
    return made.ok() ? (this->*method)(may_have_ray, other) : made;
  };
  conic::InteriorPoint other;
  bool is_better = false;
  Status status = run_again(how, run, may_have_ray, *point, &other, &is_better);
  if (!status.ok()) return status;
  if (is_better) {
    iterations_ += point->iterations;
    *point = std::move(other);
  } else {
    iterations_ += other.iterations;
    go_back(std::move(first));
  }
  return {};
}

void ConicRun::go_back(WayBack way) {
  form_ = std::move(way.form);
  scaling_ = std::move(way.scaling);
  split_ = std::move(way.split);
}

// Makes the model's form without the equations that follow from others.
Status ConicRun::make_form() {
  form_ = {};
  Status status = conic::ConicForm::make(problem_, &form_);
  if (!status.ok()) return status;
  num_row_ = form_.problem().rhs.size();
  conic::RowReduction reduction = conic::remove_dependent_rows(&form_.problem());
  kept_ = std::move(reduction.kept);
  contradiction_ = std::move(reduction.contradiction);
  split_.apply(cover_, &form_.problem());
  return {};
}

Status ConicRun::solve(bool may_have_ray, BackendResult* result) {
  Status status = make_form();
  if (!status.ok()) return status;
  if (prove_by_contradiction(contradiction_)) {
    monitor_->log("Presolve found equations that contradict each other\n");
    *result = std::move(proof_);
    return {};
  }
  if (kept_.size() < num_row_) {
    monitor_->log(format_text("Presolve removed %s from others\n",
                              counted(static_cast<int64_t>(num_row_ - kept_.size()),
                                      "equation that follows", "equations that follow")
                                  .c_str()));
  }
  if (split_.is_split()) {
    monitor_->log("Presolve split " + split_.description() + "\n");
  }
  conic::InteriorPoint point;
  status = run_by_both_scalings(may_have_ray, &point);
  if (!status.ok()) return status;
  bool proven = is_proven(point);
  if (may_have_ray && !is_stopped_ && may_be_unbounded(point)) {
    const bool undecided = point.is_far && point.outcome == Outcome::kStopped;
    proven = find_primal_ray() || (point.outcome != Outcome::kOptimal && find_dual_ray()) ||
             (undecided && shows_ill_posed());
  }
  *result = proven ? std::move(proof_) : restore(point);
  result->progress.interior_iterations = point.iterations + iterations_;
  result->progress.objective = point.measures.primal_objective;
  result->progress.bound = point.measures.dual_objective;
  return {};
}

Status solve(const MinimizeProblem& problem, const Parameters& parameters, double /*seconds*/,
             BackendMonitor* monitor, BackendResult* result) {
  try {
    return ConicRun(problem, parameters, monitor).solve(true, result);
  } catch (const std::bad_alloc&) {
    return {Code::kErrMemory, "out of memory in the conic optimizer"};
  }
}

}  // namespace

const Backend kConicBackend = {"conic interior-point method", solve,
                               conic::DenseAlgebra::load_early};

}  // namespace vorlan
