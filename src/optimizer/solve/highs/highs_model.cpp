// Columns, rows and elements for HiGHS.
#include "solve/highs/highs_model.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "Highs.h"
#include "solve/highs/semi_continuous.h"
#include "task/numeric.h"
#include "task/text.h"

namespace vorlan {
namespace {

// HiGHS's defaults of infinite_bound, infinite_cost, small_matrix_value and large_matrix_value.
constexpr double kInfiniteFrom = 1e20;
constexpr double kZeroUpTo = 1e-9;
constexpr double kTooLargeFrom = 1e15;

HighsVarType highs_kind(VarKind kind) {
  const bool whole = is_integer(kind);
  return whole ? HighsVarType::kInteger : HighsVarType::kContinuous;
}

// Semi-continuous variables as if they were not; see SemiContinuous.
HighsLp highs_model(const MinimizeProblem& problem) {
  const Model& model = problem.model;
  HighsLp lp;
  lp.num_col_ = model.num_var();
  lp.num_row_ = model.num_con();
  lp.sense_ = ObjSense::kMinimize;
  lp.offset_ = problem.sense_factor() * model.constant;
  lp.col_cost_ = problem.cost;
  lp.col_lower_ = model.var_lower;
  lp.col_upper_ = model.var_upper;
  lp.row_lower_ = model.con_lower;
  lp.row_upper_ = model.con_upper;
  lp.a_matrix_.format_ = MatrixFormat::kColwise;
  lp.a_matrix_.num_col_ = lp.num_col_;
  lp.a_matrix_.num_row_ = lp.num_row_;
  const auto narrow = [](int64_t start) { return static_cast<HighsInt>(start); };
  lp.a_matrix_.start_.resize(model.matrix.start.size());
  std::transform(model.matrix.start.begin(), model.matrix.start.end(), lp.a_matrix_.start_.begin(),
                 narrow);
  lp.a_matrix_.index_.assign(model.matrix.row.begin(), model.matrix.row.end());
  lp.a_matrix_.value_ = model.matrix.value;
  if (model.is_mixed_integer()) {
    lp.integrality_.resize(model.var_kind.size());
    std::transform(model.var_kind.begin(), model.var_kind.end(), lp.integrality_.begin(),
                   highs_kind);
  }
  return lp;
}

bool has_one(const std::vector<double>& values, bool (*is_extreme)(double)) {
  return std::any_of(values.begin(), values.end(), is_extreme);
}

}  // namespace

Status pass_model(const MinimizeProblem& problem, SemiContinuous* semi, Highs* highs) {
  // A switch of a semi-continuous variable has four elements.
  const int64_t room = std::numeric_limits<HighsInt>::max() - 4 * int64_t{problem.model.num_var()};
  if (problem.model.matrix.num_elements() > room) {
    return {Code::kErrModelSize, format_text("the optimizer takes %lld matrix elements at most",
                                             static_cast<long long>(room))};
  }
  HighsLp lp = highs_model(problem);
  Status status = semi->replace(problem.model, &lp);
  if (!status.ok()) return status;
  lp.branching_priority_.assign(problem.model.branching_priority.begin(),
                                problem.model.branching_priority.end());
  if (!lp.branching_priority_.empty()) lp.branching_priority_.resize(index(lp.num_col_), 0);
  if (highs->passModel(std::move(lp)) != HighsStatus::kError) return {};
  return {Code::kErrModelNumber,
          "the optimizer refuses the model: a coefficient, cost or bound is out of its range"};
}

bool has_extreme_numbers(const MinimizeProblem& problem) {
  const auto is_huge = [](double value) {
    return std::fabs(value) >= kInfiniteFrom && std::isfinite(value);
  };
  const auto is_extreme = [](double value) {
    const double size = std::fabs(value);
    return size >= kTooLargeFrom || (size <= kZeroUpTo && size > 0.0);
  };
  const Model& model = problem.model;
  return has_one(problem.cost, is_huge) || has_one(model.var_lower, is_huge) ||
         has_one(model.var_upper, is_huge) || has_one(model.con_lower, is_huge) ||
         has_one(model.con_upper, is_huge) || has_one(model.matrix.value, is_extreme);
}

}  // namespace vorlan
