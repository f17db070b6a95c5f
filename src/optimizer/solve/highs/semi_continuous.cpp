// HiGHS gets each semi-continuous variable as a binary switch with two rows. The far bound in these
// rows is made as near as the constraints imply, since a small bound lets less leak through the
// switch.
#include "solve/highs/semi_continuous.h"

#include <algorithm>
#include <cmath>

#include "lp_data/HighsLp.h"
#include "solve/highs/implied_bounds.h"
#include "task/numeric.h"
#include "task/text.h"

namespace vorlan {
namespace {

// The farthest bound that a switch can hold: with the strictest tolerance of HiGHS, 1e-10, one that
// counts as off leaves its variable within a thousandth of 0.
constexpr double kFarthest = 1e7;
constexpr double kOffLeavesAtMost = 1e-3;
// Implied bounds are widened by this factor. They hold in place of the constraints nowhere: those
// are exact, and the implied bound is not.
constexpr double kRoom = 1.1;
// A bound as near as this needs no other than the caller's tolerance, and no search for a nearer.
constexpr double kNearEnough = 1e3;

std::string describe(const Model& model, int32_t var) {
  const std::string name(model.var_names[index(var)]);
  return name.empty() ? format_text("%d", var) : format_text("'%s'", name.c_str());
}

bool has_gap(double lower, double upper) { return lower <= upper && (lower > 0.0 || upper < 0.0); }

}  // namespace

Status SemiContinuous::replace(const Model& model, HighsLp* lp) {
  bool far_away = false;
  for (size_t j = 0; j < model.var_kind.size(); ++j) {
    if (!is_semi(model.var_kind[j])) continue;
    const double lower = model.var_lower[j];
    const double upper = model.var_upper[j];
    if (has_gap(lower, upper)) {
      const bool positive = lower > 0.0;
      switches_.push_back(
          {static_cast<int32_t>(j), positive ? lower : upper, positive ? upper : lower});
      far_away = far_away || std::fabs(switches_.back().far) > kNearEnough;
    }
    lp->col_lower_[j] = lower > upper ? 0.0 : std::min(lower, 0.0);
    lp->col_upper_[j] = lower > upper ? 0.0 : std::max(upper, 0.0);
  }
  if (switches_.empty()) return {};
  if (far_away) {
    constexpr int kRounds = 5;
    ImpliedBounds implied(model, lp->col_lower_, lp->col_upper_);
    for (int round = 0; round < kRounds; ++round) implied.narrow();
    for (Switch& s : switches_) {
      const auto j = index(s.var);
      // A variable whose near bound cannot be met is 0: the constraints say so.
      const double implied_far = kRoom * (s.near > 0.0 ? implied.upper()[j] : implied.lower()[j]);
      s.far = s.near > 0.0 ? std::max(s.near, std::min(s.far, implied_far))
                           : std::min(s.near, std::max(s.far, implied_far));
    }
  }
  for (const Switch& s : switches_) {
    if (std::fabs(s.far) <= kFarthest) continue;
    return {Code::kErrModelNumber,
            format_text("semi-continuous variable %s: its bounds and the constraints let it be as "
                        "far from 0 as %g; the optimizer takes %g at most",
                        describe(model, s.var).c_str(), s.far, kFarthest)};
  }
  add(lp);
  return {};
}

// near * on <= variable <= far * on, with the signs turned for negative ones.
void SemiContinuous::add(HighsLp* lp) const {
  const HighsInt num_var = lp->num_col_;
  const HighsInt num_con = lp->num_row_;
  const auto count = static_cast<HighsInt>(switches_.size());
  HighsSparseMatrix& matrix = lp->a_matrix_;
  std::vector<HighsInt> start = {0};
  std::vector<HighsInt> row;
  std::vector<double> value;
  const auto put = [&](HighsInt to, double coefficient) {
    row.push_back(to);
    value.push_back(coefficient);
  };
  auto next = switches_.begin();
  for (HighsInt j = 0; j < num_var; ++j) {
    const auto begin = matrix.start_[index(j)];
    const auto end = matrix.start_[index(j) + 1];
    row.insert(row.end(), matrix.index_.begin() + begin, matrix.index_.begin() + end);
    value.insert(value.end(), matrix.value_.begin() + begin, matrix.value_.begin() + end);
    if (next != switches_.end() && next->var == j) {
      const auto first = num_con + 2 * static_cast<HighsInt>(next - switches_.begin());
      put(first, 1.0);
      put(first + 1, 1.0);
      ++next;
    }
    start.push_back(static_cast<HighsInt>(row.size()));
  }
  for (HighsInt k = 0; k < count; ++k) {
    const Switch& s = switches_[index(k)];
    put(num_con + 2 * k, -s.near);
    put(num_con + 2 * k + 1, -s.far);
    start.push_back(static_cast<HighsInt>(row.size()));
    const bool positive = s.near > 0.0;
    for (const bool is_near : {true, false}) {
      lp->row_lower_.push_back(positive == is_near ? 0.0 : -kInfinity);
      lp->row_upper_.push_back(positive == is_near ? kInfinity : 0.0);
    }
    lp->col_lower_[index(s.var)] = std::min(s.far, 0.0);
    lp->col_upper_[index(s.var)] = std::max(s.far, 0.0);
    lp->col_cost_.push_back(0.0);
    lp->col_lower_.push_back(0.0);
    lp->col_upper_.push_back(1.0);
    lp->integrality_.push_back(HighsVarType::kInteger);
  }
  matrix.start_ = std::move(start);
  matrix.index_ = std::move(row);
  matrix.value_ = std::move(value);
  lp->num_col_ = matrix.num_col_ = num_var + count;
  lp->num_row_ = matrix.num_row_ = num_con + 2 * count;
}

double SemiContinuous::integrality_tolerance(double tolerance) const {
  constexpr double kStrictest = 1e-10;
  double far = kNearEnough;
  for (const Switch& s : switches_) far = std::max(far, std::fabs(s.far));
  if (far <= kNearEnough) return tolerance;
  return std::min(tolerance, std::max(kStrictest, kOffLeavesAtMost / far));
}

void SemiContinuous::append_switches(std::vector<double>* point) const {
  for (const Switch& s : switches_) {
    const double value = (*point)[index(s.var)];
    point->push_back(std::fabs(value) < std::fabs(value - s.near) ? 0.0 : 1.0);
  }
}

}  // namespace vorlan
