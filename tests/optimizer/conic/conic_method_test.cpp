// What the conic method does before and around its iterations: equations that say nothing new,
// models that are neither feasible nor provably infeasible, terms that are not convex, many small
// matrix variables, those without an interior; and how it goes on where its embedding stalls.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "conic_solve.h"
#include "log_words.h"
#include "random_conic_model.h"
#include "small_models.h"
#include "solve/backend.h"
#include "solve/conic/conic_backend.h"
#include "solve/optimize.h"

namespace vorlan {
namespace {

using test::fill_in;
using test::proves_infeasible;
using test::proves_unbounded;
using test::solve_conic;
using test::solve_ptf;
using test::Solved;

std::string three_equations(const char* last_side) {
  return fill_in(R"(
Minimize
 o: x + y + z
Subject To
 a: x + y = 2
 b: y + z = 3
 c: x + 2 y + z = $side
End
)",
                 {{"side", last_side}});
}

// The point nearest to a noisy sine wave whose third differences are all at least 0 (W. Li, J.
// Swetits, A new algorithm for solving strictly convex quadratic programs, SIAM J. Optim. 7, 1997).
// Multipliers are about 1e6 times as large as the point.
Model wave_with_third_differences(int32_t num_con) {
  constexpr std::array<double, 4> kDifference = {-1.0, 3.0, -3.0, 1.0};
  const int32_t num_var = num_con + 3;
  Model model;
  for (int32_t j = 0; j < num_var; ++j) {
    const double time = static_cast<double>(j) / (num_var - 1);
    model.cost.push_back(-std::sin(4.0 * std::acos(-1.0) * time) - 0.1 * std::sin(j + 1.0));
    model.quadratic_cost.push_back({j, j, 1.0});
    model.var_lower.push_back(-kInfinity);
    model.var_upper.push_back(kInfinity);
    model.var_kind.push_back(VarKind::kContinuous);
    for (int32_t i = std::max(0, j - 3); i <= std::min(j, num_con - 1); ++i) {
      model.matrix.row.push_back(i);
      model.matrix.value.push_back(kDifference[index(j - i)]);
    }
    model.matrix.start.push_back(static_cast<int64_t>(model.matrix.row.size()));
  }
  model.con_lower.assign(index(num_con), 0.0);
  model.con_upper.assign(index(num_con), kInfinity);
  return model;
}

TEST(ConicMethod, GoesOnWhereTheEmbeddingLosesItsScale) {
  Solved solved;
  solved.task.model = wave_with_third_differences(1000);
  solve_conic(&solved);
  EXPECT_NE(solved.log.find("with its scale held"), std::string::npos) << solved.log;
  EXPECT_EQ(solved.solution().status, SolutionStatus::kOptimal) << solved.log;
  EXPECT_EQ(solved.log.find("misses its tolerance"), std::string::npos) << solved.log;
}

// A matrix variable with the diagonal given, and v'Xv = 0 with v of ones.
Model matrix_without_interior(const std::vector<double>& diagonal) {
  const auto order = static_cast<int32_t>(diagonal.size());
  Model model;
  model.matrix_vars.push_back({order});
  for (int32_t k = 0; k < order; ++k) model.matrix_coefficients.push_back({k, 0, {k, k, 1.0}});
  for (int32_t col = 0; col < order; ++col) {
    for (int32_t row = col; row < order; ++row) {
      model.matrix_coefficients.push_back({order, 0, {row, col, 1.0}});
    }
  }
  model.con_lower = diagonal;
  model.con_lower.push_back(0.0);
  model.con_upper = model.con_lower;
  return model;
}

// The relaxation of the partition of a cycle into halves. By symmetry its optimum is the second
// eigenvalue of the cycle's Laplacian times the number of nodes.
TEST(ConicMethod, FindsTheFaceOfAMatrixWithoutInterior) {
  constexpr int32_t kNodes = 12;
  Solved solved;
  Model& model = solved.task.model;
  model = matrix_without_interior(std::vector<double>(kNodes, 1.0));
  for (int32_t k = 0; k < kNodes; ++k) {
    model.matrix_cost.push_back({0, {k, k, 2.0}});
    const int32_t next = (k + 1) % kNodes;
    model.matrix_cost.push_back({0, {std::max(k, next), std::min(k, next), -1.0}});
  }
  solve_conic(&solved);
  EXPECT_NE(solved.log.find("took an order off 1 matrix variable "), std::string::npos)
      << solved.log;
  EXPECT_EQ(solved.solution().status, SolutionStatus::kOptimal) << solved.log;
  EXPECT_EQ(solved.log.find("misses its tolerance"), std::string::npos) << solved.log;
  const double eigenvalue = 2.0 - 2.0 * std::cos(2.0 * std::acos(-1.0) / kNodes);
  EXPECT_NEAR(solved.solution().primal_objective, kNodes * eigenvalue, 1e-6);
}

// Both elements of the diagonal are equal where the rows add up to 0.
TEST(ConicMethod, ProvesAFaceInfeasible) {
  Solved solved;
  solved.task.model = matrix_without_interior({1.0, 2.0});
  solve_conic(&solved);
  EXPECT_TRUE(proves_infeasible(solved)) << solved.log;
}

TEST(ConicMethod, RemovesDependentEquations) {
  Solved solved;
  solve_ptf(three_equations("5"), &solved);
  EXPECT_EQ(solved.solution().status, SolutionStatus::kOptimal) << solved.log;
  EXPECT_NEAR(solved.solution().primal_objective, 3.0, 1e-7);
  EXPECT_NE(solved.log.find("removed 1 equation "), std::string::npos) << solved.log;
}

TEST(ConicMethod, ProvesContradictingEquationsInfeasible) {
  Solved solved;
  solve_ptf(three_equations("6"), &solved);
  EXPECT_TRUE(proves_infeasible(solved)) << solved.log;
  EXPECT_NE(solved.log.find("contradict"), std::string::npos) << solved.log;
}

// Rounding of 3e11 * 7e-6, where the variable is fixed, is no contradiction.
TEST(ConicMethod, DoesNotTakeRoundingForAContradiction) {
  Solved solved;
  solve_ptf(R"(
Minimize
 o: y
Subject To
 a: 148757381138.9183 x = 1141033.8851152782
 b: y >= 3
Bounds
 x = 7.670435418930335e-06
End
)",
            &solved);
  EXPECT_EQ(solved.solution().status, SolutionStatus::kOptimal) << solved.log;
  EXPECT_NEAR(solved.solution().primal_objective, 3.0, 1e-7);
}

// A disc and a half-plane that do not meet: the proof needs a point of the disc's boundary.
TEST(ConicMethod, ProvesQuadraticConstraintsInfeasible) {
  Solved solved;
  solve_ptf(R"(
Minimize
 o: x
Subject To
 a: [ x^2 + 2 y^2 ] - z <= 1
 b: x + y >= 4
Bounds
 x free
 y free
 z = 1
End
)",
            &solved);
  EXPECT_TRUE(proves_infeasible(solved)) << solved.log;
}

// Along x no term curves; the iterates go to infinity along a parabola.
TEST(ConicMethod, ProvesQuadraticConstraintsUnbounded) {
  Solved solved;
  solve_ptf(R"(
Minimize
 o: y - x
Subject To
 a: [ y^2 ] - 3 x <= 5
 b: [ z^2 - x * z ] <= 1e30
Bounds
 x free
 y free
 z free
End
)",
            &solved);
  EXPECT_TRUE(proves_unbounded(solved)) << solved.log;
}

// x0 = x1 and x0^2 >= x1^2 + 1 come arbitrarily near to each other and never meet.
TEST(ConicMethod, RecognizesAnIllPosedModel) {
  Solved solved;
  solve_ptf(R"(
Minimize
 o: x2
Subject To
 a: x0 - x1 = 0
 b: x2 = 1
Bounds
 x1 free
 x2 free
Cones
 k: quadratic x0 x1 x2
End
)",
            &solved);
  EXPECT_EQ(solved.solution().problem_status, ProblemStatus::kIllPosed) << solved.log;
  EXPECT_EQ(solved.solution().status, SolutionStatus::kDualIllPosedCertificate) << solved.log;
}

// For each k the least off-diagonal element of [1 x; x k] is -sqrt(k).
// Elements from 1e-8 to 1e9 look like no interior to a method that does not find the units.
TEST(ConicMethod, SolvesWhatIsOnlyBadlyScaled) {
  Solved solved;
  solve_ptf(R"(Minimize
 obj: t + 1e-9 x
Subject To
 c2: 1e9 x + y >= 2
 c3: 1e-8 z + x >= 1e-7
Bounds
 x >= -1e8
Cones
 k: quadratic t x y
End
)",
            &solved);
  EXPECT_EQ(solved.solution().status, SolutionStatus::kOptimal) << solved.log;
  EXPECT_NEAR(solved.solution().primal_objective, 2e-9, 1e-16);
}

TEST(ConicMethod, SolvesManySmallMatrixVariables) {
  constexpr int kCount = 40;
  std::string variables;
  std::string objective;
  std::string rows;
  double optimum = 0.0;
  for (int k = 1; k <= kCount; ++k) {
    const std::vector<std::pair<const char*, std::string>> number = {{"k", std::to_string(k)}};
    variables += fill_in("\n X$k(2)", number);
    objective += fill_in(" + 2 X$k(2,1)", number);
    rows += fill_in(R"(
 a$k: X$k(1,1) = 1
 b$k: X$k(2,2) = $k
)",
                    number);
    optimum -= 2.0 * std::sqrt(k);
  }
  const char* model = R"(
Matrix Variables
$variables
Minimize
 o: $objective
Subject To
$rows
End
)";
  Solved solved;
  solve_ptf(fill_in(model, {{"variables", variables}, {"objective", objective}, {"rows", rows}}),
            &solved);
  EXPECT_EQ(solved.solution().status, SolutionStatus::kOptimal) << solved.log;
  EXPECT_NEAR(solved.solution().primal_objective, optimum, 1e-6 * std::fabs(optimum));
  // Elements of different matrix variables do not meet: one pivot a constraint, and the pair of
  // constraints on one matrix variable.
  EXPECT_NE(solved.log.find("80 equations"), std::string::npos) << solved.log;
}

TEST(ConicMethod, NamesWhatIsNotConvex) {
  Solved solved;
  solved.task.model.cost = {0.0, 0.0};
  solved.task.model.var_lower = {0.0, 0.0};
  solved.task.model.var_upper = {1.0, 1.0};
  solved.task.model.var_kind.assign(2, VarKind::kContinuous);
  solved.task.model.matrix.start.assign(3, 0);
  solved.task.model.var_names.add("left");
  solved.task.model.var_names.add("right");
  // x^2 + y^2 + 6 x y over 2.
  solved.task.model.quadratic_cost = {{0, 0, 1.0}, {1, 0, 3.0}, {1, 1, 1.0}};
  test::solve_conic(&solved);
  EXPECT_EQ(solved.status.code(), Code::kErrNotConvex);
  const std::string& message = solved.status.message();
  EXPECT_NE(message.find("left"), std::string::npos) << message;
  EXPECT_NE(message.find("right"), std::string::npos) << message;
}

// Keeps points, and asks to stop when more iterations are done than there are in a first run and
// some more.
class StoppingMonitor : public BackendMonitor {
 public:
  StoppingMonitor(int64_t of_first_run, int64_t more)
      : of_first_run_(of_first_run), most_(of_first_run + more) {}
  void log(std::string_view text) override { text_ += text; }
  bool should_stop(const Progress& progress) override {
    EXPECT_GE(progress.interior_iterations, done_) << "counts never fall";
    done_ = progress.interior_iterations;
    return done_ > most_;
  }
  void incumbent(std::span<const double>, std::span<const double>) override {}
  bool wants_point() override { return true; }
  void keep(const BackendResult& point, double) override {
    kept_ = point.x;
    if (done_ < of_first_run_) kept_of_first_run_ = point.x;
  }

  const std::string& text() const { return text_; }
  int64_t done() const { return done_; }
  const std::vector<double>& kept() const { return kept_; }
  const std::vector<double>& kept_of_first_run() const { return kept_of_first_run_; }

 private:
  int64_t of_first_run_;
  int64_t most_;
  int64_t done_ = 0;
  std::string text_;
  std::vector<double> kept_, kept_of_first_run_;
};

TEST(ConicMethod, ASecondRunObeysStopsAndTheBetterPointIsKept) {
  Solved solved;
  solve_ptf(kLargeExponentials, &solved);
  const size_t first_line = solved.log.find("Solved again ");
  ASSERT_NE(first_line, std::string::npos) << solved.log;
  const MinimizeProblem problem(solved.task.model);
  // The rows of the first run's table begin with their iterations.
  const size_t last_row = solved.log.rfind('\n', first_line - 2) + 1;
  const int64_t of_first_run = std::stoll(solved.log.substr(last_row));
  for (const int64_t more : {0, 3}) {
    StoppingMonitor monitor(of_first_run, more);
    BackendResult result;
    ASSERT_TRUE(
        kConicBackend.solve(problem, solved.task.parameters, kInfinity, &monitor, &result).ok());
    EXPECT_NE(result.outcome, Outcome::kOptimal);
    EXPECT_EQ(monitor.done(), of_first_run + more + 1) << monitor.text();
    // No further solve begins after the stop, and the points of the one that was stopped were worse
    // than the first run's.
    EXPECT_EQ(occurrences(monitor.text(), "Solved again "), 1u) << monitor.text();
    EXPECT_EQ(occurrences(monitor.text(), "Looking for "), 0u) << monitor.text();
    EXPECT_FALSE(monitor.kept().empty());
    EXPECT_EQ(monitor.kept(), monitor.kept_of_first_run()) << monitor.text();
  }
}

// A quadratic row with a term of 1e-5 is nearly linear: its sphere has its centre 1e4 times farther
// away than its nearest points.
TEST(ConicMethod, SeesFlatQuadraticRowsFromTheOrigin) {
  for (const auto family : {test::ConicFamily::kNoDualInterior, test::ConicFamily::kNoInterior}) {
    const test::KnownConicModel known = make_conic_model(family, 770848);
    Solved solved;
    solved.task.model = known.model;
    solve_conic(&solved);
    EXPECT_EQ(solved.solution().status, SolutionStatus::kOptimal) << solved.log;
    EXPECT_NEAR(solved.solution().primal_objective, known.objective, 1e-5 * known.size);
  }
}

}  // namespace
}  // namespace vorlan
