// Whoever asks sees nothing of the other form: points and rays are cut to the model's own variables,
// and what concerns others, such as duals, is dropped.
#include "solve/reformulate/reformulating_backend.h"

#include <algorithm>
#include <cmath>
#include <new>
#include <utility>

#include "solve/check/checker.h"
#include "solve/conic/conic_backend.h"
#include "solve/conic/dense_algebra.h"
#include "solve/highs/highs_backend.h"
#include "solve/outer/outer_backend.h"
#include "solve/reformulate/reformulation.h"
#include "solve/run/listener.h"
#include "solve/solve_plan.h"
#include "task/numeric.h"
#include "task/parameter_index.h"

namespace vorlan {
namespace {

using reformulate::Reformulation;

// The nearest that a coefficient of a switch is to matter: what an integer may miss times the
// coefficient leaves this at most, down to the strictest tolerance.
constexpr double kOffLeavesAtMost = 1e-3;
constexpr double kNearEnough = 1e3;
constexpr double kStrictest = 1e-10;

// Shows the outside points of the model itself.
class CuttingMonitor : public BackendMonitor {
 public:
  CuttingMonitor(const Model& model, BackendMonitor* next) : model_(model), next_(next) {}
  void log(std::string_view text) override { next_->log(text); }
  bool should_stop(const Progress& progress) override { return next_->should_stop(progress); }
  void incumbent(std::span<const double> x, std::span<const double> barx) override {
    next_->incumbent(x.first(std::min(x.size(), model_.cost.size())), barx);
  }
  void milestone(const Progress& progress, std::string_view origin) override {
    next_->milestone(progress, origin);
  }
  bool wants_point() override { return next_->wants_point(); }
  void keep(const BackendResult& point, double /*primal_violation*/) override {
    BackendResult cut;
    cut.outcome = point.outcome;
    cut.x.assign(point.x.begin(), point.x.begin() + static_cast<std::ptrdiff_t>(std::min(
                                                        point.x.size(), model_.cost.size())));
    cut.barx = point.barx;
    const bool whole = cut.x.size() == model_.cost.size();
    next_->keep(cut, whole ? primal_violation(model_, cut.x, cut.barx) : kInfinity);
  }

 private:
  const Model& model_;
  BackendMonitor* next_;
};

const Backend& backend_for(const Model& model, const Parameters& parameters) {
  if (model.is_mixed_integer()) {
    return model.is_linear() ? kHighsBackend : kOuterApproximationBackend;
  }
  return wants_conic_method(model, parameters) ? kConicBackend : kHighsBackend;
}

// What a solve may start from, with the switches in their places.
Solution completed(const Solution& start, const Reformulation& reformulation, const Model& model) {
  Solution solution;
  solution.defined = start.defined;
  solution.problem_status = start.problem_status;
  solution.status = start.status;
  solution.xx = start.xx;
  solution.barx = start.barx;
  reformulation.complete(&solution.xx);
  solution.xc.assign(model.con_lower.size(), 0.0);
  return solution;
}

Parameters strict_enough(Parameters parameters, double farthest) {
  if (farthest <= kNearEnough) return parameters;
  const double tolerance = std::max(kStrictest, kOffLeavesAtMost / farthest);
  parameters.set(DoubleParam::kIntegralityTolerance,
                 std::min(tolerance, parameters.get(DoubleParam::kIntegralityTolerance)));
  return parameters;
}

// Makes the answer to the new model one to the old one, which is a mixed-integer model whatever the
// new one is.
void cut(const MinimizeProblem& problem, bool was_mixed, BackendResult* result) {
  const size_t num_var = problem.cost.size();
  if (result->x.size() > num_var) result->x.resize(num_var);
  for (auto array :
       {&BackendResult::y, &BackendResult::d, &BackendResult::snx, &BackendResult::bars}) {
    (result->*array).clear();
  }
  result->var_key.clear();
  result->con_key.clear();
  if (result->certificate != Certificate::kPrimalRay) result->certificate = Certificate::kNone;
  if (was_mixed || result->outcome != Outcome::kOptimal) return;
  result->progress.bound = result->progress.objective;
  result->progress.relative_gap = 0.0;
}

Status solve_new_form(const MinimizeProblem& problem, const Parameters& parameters,
                      const Reformulation& reformulation, const Model& model, double seconds,
                      BackendMonitor* monitor, BackendResult* result) {
  Solution start;
  if (problem.start != nullptr) start = completed(*problem.start, reformulation, model);
  const MinimizeProblem form(model, problem.start == nullptr ? nullptr : &start, problem.cutoffs);
  CuttingMonitor cutting(problem.model, monitor);
  Status status = backend_for(model, parameters)
                      .solve(form, strict_enough(parameters, reformulation.farthest()), seconds,
                             &cutting, result);
  if (status.ok()) cut(problem, model.is_mixed_integer(), result);
  return status;
}

Status solve(const MinimizeProblem& problem, const Parameters& parameters, double seconds,
             BackendMonitor* monitor, BackendResult* result) {
  try {
    const double end = monotonic_seconds() + seconds;
    Reformulation reformulation(problem, parameters, end, monitor);
    Status status = reformulation.make();
    if (!status.ok()) return status;
    if (!reformulation.has_changed()) {
      return kOuterApproximationBackend.solve(problem, parameters, end - monotonic_seconds(),
                                              monitor, result);
    }
    monitor->log(reformulation.description());
    const Model model = reformulation.take_model();
    return solve_new_form(problem, parameters, reformulation, model, end - monotonic_seconds(),
                          monitor, result);
  } catch (const std::bad_alloc&) {
    return {Code::kErrMemory, "out of memory in the reformulation"};
  }
}

}  // namespace

bool may_need_reformulation(const Model& model) {
  if (model.has_logic()) return true;
  const auto has_binary = [&model](const TriangleEntry& entry) {
    return model.is_binary(entry.row) || model.is_binary(entry.col);
  };
  return std::any_of(model.quadratic_cost.begin(), model.quadratic_cost.end(), has_binary) ||
         std::any_of(model.quadratic_coefficients.begin(), model.quadratic_coefficients.end(),
                     [&](const ConQuadraticEntry& term) { return has_binary(term.entry); });
}

const Backend kReformulatingBackend = {"reformulation", solve, conic::DenseAlgebra::load_early};

}  // namespace vorlan
