// Adding variables and judging doubtful ones; see lp_variables.h.
#include "format/lp/lp_variables.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "format/common/nearest.h"

namespace vorlan {

LpVariables::LpVariables(LpTokens* tokens, Model* model)
    : tokens_(*tokens), model_(*model), table_(&model->var_names) {}

bool LpVariables::add(std::string_view word, int32_t* var) {
  *var = model_.num_var();
  if (*var == std::numeric_limits<int32_t>::max()) return tokens_.fail("too many variables");
  if (word.back() == ';') semicolons_.push_back({*var, tokens_.place()});
  table_.insert(word, *var);
  model_.var_names.add(word);
  model_.cost.push_back(0.0);
  model_.var_lower.push_back(0.0);
  model_.var_upper.push_back(kInfinity);
  model_.var_kind.push_back(VarKind::kContinuous);
  marks_.push_back(0);
  return true;
}

// The first cost replaces the zero, so that its sign stays if it is a zero itself.
bool LpVariables::add_cost(int32_t var, double cost, std::string_view word) {
  double& sum = model_.cost[index(var)];
  if (!has(var, kHasCost)) {
    mark(var, kHasCost);
    sum = cost;
    return true;
  }
  tokens_.warn(word, "the objective has the variable more than once, the coefficients are summed");
  sum += cost;
  return std::isfinite(sum) || tokens_.fail(word, "a coefficient must be finite");
}

namespace {

constexpr std::string_view kMemberAlone = "a member of a cone that is nowhere else in the model";
constexpr std::string_view kRightAlone =
    "a variable that is right of this relation and nowhere else in the model";

}  // namespace

void LpVariables::soften_doubts(size_t first) {
  for (size_t k = first; k < doubtful_.size(); ++k) doubtful_[k].doubt = Doubt::kRight;
}

bool LpVariables::check_doubtful() {
  for (const Doubtful& doubtful : doubtful_) {
    if (has(doubtful.var, kSettled)) continue;
    const std::string_view word = model_.var_names[index(doubtful.var)];
    const std::string help = nearest_settled(word);
    if (doubtful.doubt == Doubt::kMember && !help.empty()) {
      return tokens_.fail_at(doubtful.place, word, kMemberAlone, help);
    }
    if (doubtful.doubt != Doubt::kUnit) {
      tokens_.warn_at(doubtful.place, word,
                      doubtful.doubt == Doubt::kMember ? kMemberAlone : kRightAlone, help);
      continue;
    }
    return tokens_.fail_at(doubtful.place, word,
                           "a number has no unit; a variable that is only behind numbers right of "
                           "relations must be in the objective, in Bounds or in a list, too",
                           help);
  }
  for (const Doubtful& doubtful : semicolons_) {
    const std::string_view word = model_.var_names[index(doubtful.var)];
    if (find(word.substr(0, word.size() - 1)) < 0) continue;
    return tokens_.fail_at(doubtful.place, word, "a line ends without ';'");
  }
  return true;
}

// The advice among the variables that are in no doubt themselves.
std::string LpVariables::nearest_settled(std::string_view word) const {
  std::vector<int32_t> others;
  for (const Doubtful& doubtful : doubtful_) {
    if (!has(doubtful.var, kSettled)) others.push_back(doubtful.var);
  }
  Nearest nearest(word);
  for (int32_t var = 0; var < model_.num_var(); ++var) {
    if (std::binary_search(others.begin(), others.end(), var)) continue;
    nearest.consider(model_.var_names[index(var)]);
  }
  return nearest.advice();
}

std::string LpVariables::nearest(std::string_view word) const {
  return advice_on(model_.var_names, model_.cost.size(), word);
}

}  // namespace vorlan
