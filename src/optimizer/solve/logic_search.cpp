// A depth-first search. A node is a model whose bounds say what was decided; its relaxation leaves
// out the sets, and the rows whose indicators are open.
#include "solve/logic_search.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "solve/check/terms.h"
#include "task/numeric.h"

namespace vorlan {
namespace {

constexpr double kZero = 1e-7;  // a member as small as this is 0
constexpr int kMostNodes = 2000;

void fix_at_zero(int32_t var, Model* model) {
  const size_t j = index(var);
  if (is_semi(model->var_kind[j])) {
    model->var_kind[j] = is_integer(model->var_kind[j]) ? VarKind::kInteger : VarKind::kContinuous;
    model->var_lower[j] = model->var_upper[j] = 0.0;
    return;
  }
  model->var_lower[j] = std::max(0.0, model->var_lower[j]);
  model->var_upper[j] = std::min(0.0, model->var_upper[j]);
}

enum class Switch { kActive, kInactive, kOpen };

Switch state_of(const Indicator& indicator, const Model& model) {
  const size_t j = index(indicator.binary);
  const double active = indicator.active ? 1.0 : 0.0;
  if (model.var_lower[j] != model.var_upper[j]) return Switch::kOpen;
  return model.var_lower[j] == active ? Switch::kActive : Switch::kInactive;
}

Model relaxed(const Model& model) {
  Model plain = model;
  plain.sets.clear();
  plain.set_names = {};
  plain.indicators.clear();
  for (const Indicator& indicator : model.indicators) {
    if (state_of(indicator, model) == Switch::kActive) continue;
    plain.con_lower[index(indicator.con)] = -kInfinity;
    plain.con_upper[index(indicator.con)] = kInfinity;
  }
  return plain;
}

// The first and the last member of a set that are not 0; equal where none is.
std::pair<size_t, size_t> span_of(const OrderedSet& set, const std::vector<double>& x) {
  size_t first = set.vars.size();
  size_t last = 0;
  for (size_t k = 0; k < set.vars.size(); ++k) {
    if (std::fabs(x[index(set.vars[k])]) <= kZero) continue;
    first = std::min(first, k);
    last = k;
  }
  return {std::min(first, last), last};
}

// False where the binary variable is off, or the row holds.
bool may_be_violated(const Model& model, const Indicator& indicator, const std::vector<double>& x,
                     const std::vector<Sum>& rows) {
  constexpr double kTolerance = 1e-6;
  const double inactive = indicator.active ? 0.0 : 1.0;
  if (std::fabs(x[index(indicator.binary)] - inactive) <= kTolerance) return false;
  const size_t i = index(indicator.con);
  const double reach = kTolerance * std::max(1.0, std::fabs(rows[i].value));
  return rows[i].value < model.con_lower[i] - reach || rows[i].value > model.con_upper[i] + reach;
}

class Search {
 public:
  explicit Search(const DecidePlain& decide) : decide_(decide) {}

  Feasibility run(const Model& model) {
    if (++nodes_ > kMostNodes) return Feasibility::kUnknown;
    const PlainAnswer answer = decide_(relaxed(model));
    if (answer.feasibility != Feasibility::kFeasible) return answer.feasibility;
    for (const OrderedSet& set : model.sets) {
      const auto [first, last] = span_of(set, answer.x);
      if (last - first >= set.most_nonzeros()) return branch_on_set(model, set, first, last);
    }
    const std::vector<Sum> rows = linear_row_sums(model, answer.x, {});
    for (const Indicator& indicator : model.indicators) {
      const bool is_open = state_of(indicator, model) == Switch::kOpen;
      if (is_open && may_be_violated(model, indicator, answer.x, rows)) {
        return branch_on(model, indicator);
      }
    }
    return Feasibility::kFeasible;
  }

 private:
  // A set of kSos1 is divided between two members; one of kSos2 at a member, which both parts have.
  Feasibility branch_on_set(const Model& model, const OrderedSet& set, size_t first, size_t last) {
    const size_t middle = (first + last) / 2;
    const size_t end_of_left = middle + 1;
    const size_t begin_of_right = set.kind == SetKind::kSos1 ? middle + 1 : middle;
    Model left = model;
    Model right = model;
    for (size_t k = end_of_left; k < set.vars.size(); ++k) fix_at_zero(set.vars[k], &left);
    for (size_t k = 0; k < begin_of_right; ++k) fix_at_zero(set.vars[k], &right);
    return either(left, right);
  }

  Feasibility branch_on(const Model& model, const Indicator& indicator) {
    Model active = model;
    Model inactive = model;
    const size_t j = index(indicator.binary);
    active.var_lower[j] = active.var_upper[j] = indicator.active ? 1.0 : 0.0;
    inactive.var_lower[j] = inactive.var_upper[j] = indicator.active ? 0.0 : 1.0;
    return either(inactive, active);
  }

  Feasibility either(const Model& one, const Model& other) {
    const Feasibility first = run(one);
    if (first == Feasibility::kFeasible) return first;
    const Feasibility second = run(other);
    return second == Feasibility::kInfeasible ? first : second;
  }

  const DecidePlain& decide_;
  int nodes_ = 0;
};

}  // namespace

Feasibility decide_with_logic(const Model& model, const DecidePlain& decide) {
  return Search(decide).run(model);
}

}  // namespace vorlan
