// Bounds are derived in the order of what they cost. Those of linear programs are widened a little,
// since these are solved up to a tolerance.
#include "solve/reformulate/variable_bounds.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <utility>

#include "solve/highs/highs_backend.h"
#include "solve/highs/implied_bounds.h"
#include "solve/run/listener.h"
#include "task/numeric.h"

namespace vorlan::reformulate {
namespace {

constexpr int kRounds = 5;          // of looks at all constraints
constexpr int kRoundsOfUnions = 3;  // after bounds that two indicators give together
constexpr double kRoom = 1e-6;      // relative to the bound, or to 1
// A bound as near as this is used as it is; a nearer one is worth no linear program.
constexpr double kNearEnough = 1e4;
// Linear programs of one reformulation; what needs more is refused.
constexpr int64_t kMostSolves = 1000;

// The constraints of which the linear part says all, and which always hold.
std::vector<bool> plain_rows(const Model& model) {
  std::vector<bool> plain(model.con_lower.size(), true);
  for (const ConQuadraticEntry& entry : model.quadratic_coefficients) {
    plain[index(entry.con)] = false;
  }
  for (const MatrixCoefficient& entry : model.matrix_coefficients) plain[index(entry.con)] = false;
  for (const Indicator& indicator : model.indicators) plain[index(indicator.con)] = false;
  return plain;
}

// The linear constraints that always hold, without integers and without an objective.
std::unique_ptr<Model> make_relaxation(const Model& model) {
  auto relaxation = std::make_unique<Model>();
  const std::vector<bool> plain = plain_rows(model);
  relaxation->cost.assign(model.cost.size(), 0.0);
  relaxation->var_lower = model.var_lower;
  relaxation->var_upper = model.var_upper;
  relaxation->var_kind.assign(model.cost.size(), VarKind::kContinuous);
  relaxation->con_lower = model.con_lower;
  relaxation->con_upper = model.con_upper;
  relaxation->matrix = model.matrix;
  for (size_t i = 0; i < plain.size(); ++i) {
    if (plain[i]) continue;
    relaxation->con_lower[i] = -kInfinity;
    relaxation->con_upper[i] = kInfinity;
  }
  return relaxation;
}

}  // namespace

VariableBounds::VariableBounds(const Model& model, const Parameters& parameters, double end,
                               BackendMonitor* monitor)
    : model_(model),
      parameters_(parameters),
      end_(end),
      monitor_(monitor),
      lower_(model.var_lower),
      upper_(model.var_upper),
      solved_lower_(model.cost.size(), false),
      solved_upper_(model.cost.size(), false) {
  for (size_t j = 0; j < lower_.size(); ++j) {
    if (is_integer(model.var_kind[j])) {
      lower_[j] = std::ceil(lower_[j]);
      upper_[j] = std::floor(upper_[j]);
    }
    if (!is_semi(model.var_kind[j])) continue;
    lower_[j] = std::min(0.0, lower_[j]);
    upper_[j] = std::max(0.0, upper_[j]);
  }
}

double VariableBounds::lower(int32_t var) {
  if (lower_[index(var)] < -kNearEnough) tighten(var, -1.0);
  return lower_[index(var)];
}

double VariableBounds::upper(int32_t var) {
  if (upper_[index(var)] > kNearEnough) tighten(var, 1.0);
  return upper_[index(var)];
}

// The constraints first, and a linear program where they leave too much.
void VariableBounds::tighten(int32_t var, double sign) {
  const auto j = index(var);
  derive();
  std::vector<bool>& solved = sign > 0.0 ? solved_upper_ : solved_lower_;
  double& bound = sign > 0.0 ? upper_[j] : lower_[j];
  if (sign * bound <= kFar || solved[j]) return;
  solved[j] = true;
  const double most = relaxed_most({{var, sign}});
  if (most < sign * bound) bound = sign * most;
}

void VariableBounds::derive() {
  if (std::exchange(derived_, true)) return;
  ImpliedBounds implied(model_, lower_, upper_);
  implied.use_rows(plain_rows(model_));
  for (int round = 0; round < kRounds; ++round) implied.narrow();
  std::vector<double> lower = implied.lower();
  std::vector<double> upper = implied.upper();
  if (!model_.indicators.empty()) {
    join_indicators(&lower, &upper);
    ImpliedBounds again(model_, std::move(lower), std::move(upper));
    again.use_rows(plain_rows(model_));
    for (int round = 0; round < kRoundsOfUnions; ++round) again.narrow();
    lower = again.lower();
    upper = again.upper();
  }
  for (size_t j = 0; j < lower.size(); ++j) {
    lower_[j] = std::max(lower_[j], lower[j]);
    upper_[j] = std::min(upper_[j], upper[j]);
    if (!is_integer(model_.var_kind[j]) || is_semi(model_.var_kind[j])) continue;
    lower_[j] = std::ceil(lower_[j] - kRoom);
    upper_[j] = std::floor(upper_[j] + kRoom);
  }
}

// One of two constraints holds where one is active at 0 and the other at 1 of the same variable: what
// both say of a variable holds in any case.
void VariableBounds::join_indicators(std::vector<double>* lower, std::vector<double>* upper) const {
  struct Interval {
    double lower = -kInfinity;
    double upper = kInfinity;
  };
  ImpliedBounds sums(model_, *lower, *upper);
  sums.sum_activities();
  std::vector<const Indicator*> by_con(model_.con_lower.size(), nullptr);
  for (const Indicator& indicator : model_.indicators) by_con[index(indicator.con)] = &indicator;
  std::map<std::pair<int32_t, int32_t>, Interval> at[2];  // by binary variable and variable
  for (int32_t var = 0; var < model_.num_var(); ++var) {
    const size_t end = index(model_.matrix.start[index(var) + 1]);
    for (size_t k = index(model_.matrix.start[index(var)]); k < end; ++k) {
      const size_t con = index(model_.matrix.row[k]);
      const double a = model_.matrix.value[k];
      if (by_con[con] == nullptr || a == 0.0) continue;
      const double most = (model_.con_upper[con] - sums.least_without(con, index(var), a)) / a;
      const double least = (model_.con_lower[con] - sums.most_without(con, index(var), a)) / a;
      Interval& interval = at[by_con[con]->active ? 1 : 0][{by_con[con]->binary, var}];
      interval.upper = std::fmin(interval.upper, a > 0.0 ? most : least);
      interval.lower = std::fmax(interval.lower, a > 0.0 ? least : most);
    }
  }
  for (const auto& [key, off] : at[0]) {
    const auto on = at[1].find(key);
    if (on == at[1].end()) continue;
    const auto j = index(key.second);
    (*upper)[j] = std::min((*upper)[j], std::max(off.upper, on->second.upper));
    (*lower)[j] = std::max((*lower)[j], std::min(off.lower, on->second.lower));
  }
}

double VariableBounds::most(const std::vector<Term>& terms) {
  const auto sum = [&] {
    double total = 0.0;
    for (const Term& term : terms) {
      const auto j = index(term.var);
      if (term.coefficient == 0.0) continue;
      total += term.coefficient * (term.coefficient > 0.0 ? upper_[j] : lower_[j]);
    }
    return total;
  };
  double total = sum();
  if (total <= kNearEnough) return total;
  derive();
  total = sum();
  return total <= kFar ? total : std::min(total, relaxed_most(terms));
}

int32_t VariableBounds::culprit(const std::vector<Term>& terms) {
  int32_t worst = -1;
  double size = -1.0;
  for (const Term& term : terms) {
    if (term.coefficient == 0.0) continue;
    const double bound = term.coefficient > 0.0 ? upper(term.var) : lower(term.var);
    if (std::fabs(term.coefficient * bound) <= size) continue;
    size = std::fabs(term.coefficient * bound);
    worst = term.var;
  }
  return worst;
}

// Infinite where the linear program is unbounded, or says nothing.
double VariableBounds::relaxed_most(const std::vector<Term>& terms) {
  const double seconds = end_ - monotonic_seconds();
  if (num_solves_ == kMostSolves || seconds <= 0.0 || monitor_->should_stop({})) return kInfinity;
  if (num_solves_++ == 0) {
    monitor_->log("Solving linear programs for bounds that no constraint gives by itself\n");
  }
  if (relaxation_ == nullptr) relaxation_ = make_relaxation(model_);
  relaxation_->var_lower = lower_;
  relaxation_->var_upper = upper_;
  std::fill(relaxation_->cost.begin(), relaxation_->cost.end(), 0.0);
  for (const Term& term : terms) relaxation_->cost[index(term.var)] -= term.coefficient;
  SilentMonitor silent(monitor_);
  BackendResult result;
  const MinimizeProblem problem(*relaxation_);
  const Status status = kHighsBackend.solve(problem, parameters_, seconds, &silent, &result);
  if (!status.ok()) return kInfinity;
  if (result.outcome == Outcome::kInfeasible) return 0.0;  // and so is the model, with any bound
  if (result.outcome != Outcome::kOptimal) return kInfinity;
  double least = 0.0;
  for (size_t j = 0; j < result.x.size(); ++j) least += relaxation_->cost[j] * result.x[j];
  return -least + kRoom * std::max(1.0, std::fabs(least));
}

}  // namespace vorlan::reformulate
