// Builds models, scales them, and judges their solves.
#include "known_model.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>

#include "random_count.h"
#include "task/numeric.h"

namespace vorlan::test {

int32_t Builder::add(double cost, double lower, double upper, VarKind kind) {
  model_.cost.push_back(cost);
  model_.var_lower.push_back(lower);
  model_.var_upper.push_back(upper);
  model_.var_kind.push_back(kind);
  return model_.num_var() - 1;
}

int32_t Builder::add_row(double lower, double upper,
                         const std::vector<std::pair<int32_t, double>>& terms) {
  for (const auto& [var, value] : terms) elements_.push_back({model_.num_con(), var, value});
  model_.con_lower.push_back(lower);
  model_.con_upper.push_back(upper);
  return model_.num_con() - 1;
}

Model Builder::make() {
  model_.matrix = make_columns(elements_, model_.cost.size());
  return model_;
}

void scale_at_random(Known* known, Random* random) {
  Model& model = known->model;
  const auto power = [&] { return std::ldexp(1.0, random->whole(-12, 12)); };
  std::vector<double> row_factor(model.con_lower.size());
  for (size_t i = 0; i < row_factor.size(); ++i) {
    row_factor[i] = power();
    model.con_lower[i] *= row_factor[i];
    model.con_upper[i] *= row_factor[i];
  }
  for (ConQuadraticEntry& e : model.quadratic_coefficients)
    e.entry.value *= row_factor[index(e.con)];
  const double cost_factor = power();
  for (TriangleEntry& e : model.quadratic_cost) e.value *= cost_factor;
  for (MatrixCoefficient& e : model.matrix_coefficients) e.entry.value *= row_factor[index(e.con)];
  for (MatrixCostEntry& e : model.matrix_cost) e.entry.value *= cost_factor;
  for (size_t j = 0; j < model.cost.size(); ++j) {
    const bool stays = !model.is_linear() || model.var_kind[j] != VarKind::kContinuous;
    const double column = stays ? 1.0 : power();
    model.cost[j] *= cost_factor * column;
    model.var_lower[j] /= column;
    model.var_upper[j] /= column;
    for (size_t k = index(model.matrix.start[j]); k < index(model.matrix.start[j + 1]); ++k) {
      model.matrix.value[k] *= column * row_factor[index(model.matrix.row[k])];
    }
  }
  model.constant *= cost_factor;
  known->optimum *= cost_factor;
}

Verdict judge(const Known& known, const MixedSolve& mixed) {
  constexpr double kTolerance = 1e-5;
  const Solution& s = mixed.solution();
  const double allowed = kTolerance * std::fabs(known.optimum);
  const double sense = known.model.maximize ? -1.0 : 1.0;
  if (sense * (mixed.figure("bound") - known.optimum) > allowed) return Verdict::kWrong;
  if (s.problem_status != ProblemStatus::kPrimalFeasible &&
      s.problem_status != ProblemStatus::kUnknown) {
    return Verdict::kWrong;
  }
  if (s.status == SolutionStatus::kUnknown) return Verdict::kUnsolved;
  if (sense * (s.primal_objective - known.optimum) < -allowed) return Verdict::kWrong;
  for (size_t j = 0; j < s.xx.size(); ++j) {
    if (known.model.var_kind[j] == VarKind::kInteger && s.xx[j] != std::round(s.xx[j])) {
      return Verdict::kWrong;
    }
  }
  if (s.status != SolutionStatus::kIntegerOptimal) return Verdict::kUnsolved;
  const bool is_best = std::fabs(s.primal_objective - known.optimum) <= allowed;
  return is_best ? Verdict::kRight : Verdict::kWrong;
}

void expect_right_answers(const std::vector<double>& sizes, const MakeKnown& make) {
#if defined(__SANITIZE_ADDRESS__)
  constexpr uint32_t kDefaultCount = 1;
#else
  constexpr uint32_t kDefaultCount = 2;
#endif
  const uint32_t first = number_from("VORLAN_RANDOM_FIRST", 1);
  const uint32_t count = number_from("VORLAN_RANDOM_MODELS", kDefaultCount);
  int verdicts[3] = {};
  for (const double size : sizes) {
    for (uint32_t seed = first; seed < first + count; ++seed) {
      Random random(seed);
      Known known = make(size, &random);
      if (seed % 2 == 0) scale_at_random(&known, &random);
      MixedSolve mixed(known.model);
      mixed.put("VLN_IPAR_CHILD_PROCESS", "off");
      mixed.put("VLN_DPAR_MIP_RELATIVE_GAP", "1e-6");
      mixed.put("VLN_DPAR_MIP_ABSOLUTE_GAP", "0");
      mixed.write_where_asked();
      mixed.solve();
      const Verdict verdict = mixed.status().ok() ? judge(known, mixed) : Verdict::kUnsolved;
      ++verdicts[static_cast<int>(verdict)];
      EXPECT_EQ(verdict, Verdict::kRight)
          << "size " << size << ", seed " << seed << ": the optimum is " << known.optimum << '\n'
          << mixed.log() << mixed.status().message();
    }
  }
  std::printf("%d right, %d wrong, %d not solved\n", verdicts[0], verdicts[1], verdicts[2]);
}

}  // namespace vorlan::test
