// Each binary variable is probed at both values. A coefficient moves by the room that all rows
// together leave in its row.
#include "solve/outer/lifted_rows.h"

#include <algorithm>
#include <cmath>

#include "solve/outer/bound_propagation.h"
#include "task/numeric.h"

namespace vorlan::outer {
namespace {

constexpr double kMostWork = 1e7;  // binary variables times elements
// Room that is less than this share of the row's largest coefficient is left.
constexpr double kLeastRoom = 1e-3;
// Activities are sums with rounding.
constexpr double kOutward = 1e-8;

class Lifting {
 public:
  Lifting(const Model& linear, std::vector<LinearRow>* rows) : rows_(rows), bounds_(linear) {
    rows_of_.resize(linear.cost.size());
    for (size_t i = 0; i < rows->size(); ++i) {
      const LinearRow& row = (*rows)[i];
      if (std::isfinite(row.lower) == std::isfinite(row.upper)) continue;
      const bool is_mixed = std::any_of(row.terms.begin(), row.terms.end(), [&](const auto& term) {
        return linear.var_kind[index(term.first)] == VarKind::kContinuous;
      });
      if (!is_mixed) continue;
      elements_ += static_cast<double>(row.terms.size());
      for (const auto& [column, value] : row.terms) rows_of_[index(column)].push_back(i);
    }
    for (int32_t j = 0; j < linear.num_var(); ++j) {
      if (linear.var_kind[index(j)] == VarKind::kInteger) integers_.push_back(j);
    }
  }

  int run() {
    if (static_cast<double>(integers_.size()) * elements_ > kMostWork) return 0;
    if (!bounds_.tighten_all()) return 0;
    int changed = 0;
    for (const int32_t var : integers_) {
      if (bounds_.lower(var) != 0.0 || bounds_.upper(var) != 1.0) continue;
      for (const bool on : {false, true}) changed += probe(var, on);
    }
    return changed;
  }

 private:
  int probe(int32_t var, bool on) {
    const size_t mark = bounds_.mark();
    const double value = on ? 1.0 : 0.0;
    int changed = 0;
    if (bounds_.tighten(var, value, value)) {
      for (const size_t i : rows_of_[index(var)]) changed += lift(&(*rows_)[i], var, on) ? 1 : 0;
    }
    bounds_.undo(mark);
    return changed;
  }

  // While the variable is at the value, the row has room to spare: that room times its distance
  // from the other value is added to the terms of a row terms <= upper.
  bool lift(LinearRow* row, int32_t var, bool on) {
    const bool has_upper = std::isfinite(row->upper);
    const double sign = has_upper ? 1.0 : -1.0;
    double& side = has_upper ? row->upper : row->lower;
    double most = 0.0;
    double size = std::fabs(side);
    for (const auto& [column, value] : row->terms) {
      const double a = sign * value;
      if (a == 0.0) continue;
      const double term = a * (a > 0.0 ? bounds_.upper(column) : bounds_.lower(column));
      most += term;
      size = std::max({size, std::fabs(a), std::fabs(term)});
    }
    const double room = sign * side - most - kOutward * std::max(1.0, size);
    if (!(room > kLeastRoom * size) || !std::isfinite(room)) return false;
    if (!on) side -= sign * room;
    for (auto& [column, value] : row->terms) {
      if (column == var) {
        value += sign * (on ? room : -room);
        break;
      }
    }
    return true;
  }

  std::vector<LinearRow>* rows_;
  BoundPropagation bounds_;
  std::vector<std::vector<size_t>> rows_of_;
  std::vector<int32_t> integers_;
  double elements_ = 0.0;
};

}  // namespace

int lift_rows(const Model& linear, std::vector<LinearRow>* rows) {
  return Lifting(linear, rows).run();
}

}  // namespace vorlan::outer
