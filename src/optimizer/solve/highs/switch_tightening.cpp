// Bound propagation and coefficients.
#include "solve/highs/switch_tightening.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "solve/check/vectors.h"
#include "solve/highs/implied_bounds.h"
#include "task/numeric.h"
#include "task/parameters.h"

namespace vorlan {
namespace {

constexpr int kRounds = 10;
// Activities are sums with rounding.
double outward(double activity) { return activity + 1e-8 * std::max(1.0, std::fabs(activity)); }

// The rows that have nothing but linear terms.
std::vector<bool> linear_rows(const Model& model, bool linear_cost) {
  std::vector<bool> linear(model.con_lower.size(), true);
  for (const ConQuadraticEntry& e : model.quadratic_coefficients) linear[index(e.con)] = false;
  for (const MatrixCoefficient& e : model.matrix_coefficients) linear[index(e.con)] = false;
  linear.push_back(linear_cost);
  return linear;
}

class Tightener {
 public:
  Tightener(const std::vector<double>& cost, double cutoff, Model* model)
      : model_(model),
        extended_(with_cutoff(*model, cost, cutoff)),
        used_(linear_rows(*model, model->quadratic_cost.empty() && model->matrix_cost.empty())),
        bounds_(extended_, semi_lower(*model), semi_upper(*model)) {}

  // Whether a coefficient has become smaller: then others of its row may, too.
  bool has_changed() const {
    return std::find(changed_.begin(), changed_.end(), true) != changed_.end();
  }

  bool run() {
    bounds_.use_rows(used_);
    for (int round = 0; round < kRounds; ++round) {
      bounds_.narrow();
      bounds_.round_integers();
    }
    bounds_.sum_activities();
    if (!take_bounds()) return false;
    for (size_t j = 0; j < model_->cost.size(); ++j) {
      const bool binary = model_->var_kind[j] == VarKind::kInteger && model_->var_lower[j] == 0.0 &&
                          model_->var_upper[j] == 1.0;
      if (binary) tighten(j);
    }
    return true;
  }

 private:
  static std::vector<double> semi_lower(const Model& model) {
    std::vector<double> lower = model.var_lower;
    for (size_t j = 0; j < lower.size(); ++j) {
      if (is_semi(model.var_kind[j])) lower[j] = std::min(0.0, lower[j]);
    }
    return lower;
  }
  static std::vector<double> semi_upper(const Model& model) {
    std::vector<double> upper = model.var_upper;
    for (size_t j = 0; j < upper.size(); ++j) {
      if (is_semi(model.var_kind[j])) upper[j] = std::max(0.0, upper[j]);
    }
    return upper;
  }

  // No point is left when a bound is crossed by more than rounding. Bounds of continuous variables
  // are only taken where there was none: they are implied, and would be rounding beside the others.
  bool take_bounds() {
    constexpr double kCrossed = 1e-6;
    for (size_t j = 0; j < model_->cost.size(); ++j) {
      const double lower = bounds_.lower()[j];
      const double upper = bounds_.upper()[j];
      const double size = std::max({1.0, std::fabs(lower), std::fabs(upper)});
      if (lower - upper > kCrossed * size) return false;
      if (is_semi(model_->var_kind[j]) || lower > upper) continue;
      const bool integer = model_->var_kind[j] == VarKind::kInteger;
      if (integer || !std::isfinite(model_->var_lower[j])) model_->var_lower[j] = lower;
      if (integer || !std::isfinite(model_->var_upper[j])) model_->var_upper[j] = upper;
    }
    return true;
  }

  // The coefficient of a binary variable in all rows that have one finite side.
  void tighten(size_t j) {
    for (size_t k = index(model_->matrix.start[j]); k < index(model_->matrix.start[j + 1]); ++k) {
      const size_t i = index(model_->matrix.row[k]);
      double* a = &model_->matrix.value[k];
      const bool has_lower = std::isfinite(model_->con_lower[i]);
      if (*a == 0.0 || !used_[i] || changed_[i] ||
          has_lower == std::isfinite(model_->con_upper[i])) {
        continue;
      }
      if (has_lower) {
        const double most = -bounds_.least_without(i, j, *a);
        double side = -model_->con_lower[i];
        double coefficient = -*a;
        changed_[i] = tighten(outward(most), &side, &coefficient);
        model_->con_lower[i] = -side;
        *a = -coefficient;
      } else {
        const double most = bounds_.most_without(i, j, *a);
        changed_[i] = tighten(outward(most), &model_->con_upper[i], a);
      }
    }
  }

  // A row rest + a z <= side, whose rest is at most `most`.
  static bool tighten(double most, double* side, double* a) {
    constexpr double kWorthWhile = 0.9;
    if (!std::isfinite(most)) return false;
    const double needed = *a < 0.0 ? most - *side : most - (*side - *a);
    if (needed <= 0.0 || needed >= kWorthWhile * std::fabs(*a)) return false;
    if (*a < 0.0) {
      *a = -needed;
    } else {
      *side = most;
      *a = needed;
    }
    return true;
  }

  Model* model_;
  Model extended_;
  std::vector<bool> used_;
  ImpliedBounds bounds_;
  // A row whose coefficient has changed has other activities than were summed.
  std::vector<bool> changed_ = std::vector<bool>(used_.size(), false);
};

}  // namespace

Model with_cutoff(const Model& model, const std::vector<double>& cost, double cutoff) {
  Model extended;
  extended.cost = model.cost;
  extended.var_kind = model.var_kind;
  extended.con_lower = model.con_lower;
  extended.con_upper = model.con_upper;
  const auto last = static_cast<int32_t>(model.con_lower.size());
  for (size_t j = 0; j < cost.size(); ++j) {
    for (size_t k = index(model.matrix.start[j]); k < index(model.matrix.start[j + 1]); ++k) {
      extended.matrix.row.push_back(model.matrix.row[k]);
      extended.matrix.value.push_back(model.matrix.value[k]);
    }
    if (std::isfinite(cutoff) && cost[j] != 0.0) {
      extended.matrix.row.push_back(last);
      extended.matrix.value.push_back(cost[j]);
    }
    extended.matrix.start.push_back(static_cast<int64_t>(extended.matrix.row.size()));
  }
  extended.con_lower.push_back(-kInfinity);
  extended.con_upper.push_back(cutoff);
  return extended;
}

bool tighten_switches(const std::vector<double>& cost, double cutoff, Model* model) {
  constexpr int kPasses = 6;
  for (int pass = 0; pass < kPasses; ++pass) {
    Tightener tightener(cost, cutoff, model);
    if (!tightener.run()) return false;
    if (!tightener.has_changed()) break;
  }
  return true;
}

}  // namespace vorlan
