// Models whose optimum is a formula: the answers of the conic method beside it, and of two forms of
// the same model beside each other. And one infeasible and one unbounded model of each cone.
#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <numeric>
#include <string>
#include <utility>
#include <vector>

#include "conic_solve.h"
#include "task/text.h"

namespace vorlan {
namespace {

using test::fill_in;
using test::proves_infeasible;
using test::proves_unbounded;
using test::solve_ptf;
using test::Solved;

constexpr double kTolerance = 1e-7;
// Of points: where the objective is flat, they are known only to the root of its tolerance.
constexpr double kPointTolerance = 3e-4;

std::string term(double coefficient, const std::string& variable) {
  return format_text(" %+.17g ", coefficient) + variable;
}

std::string indexed(const char* name, size_t index) { return name + std::to_string(index); }

std::string all_free(const char* name, size_t count) {
  std::string text;
  for (size_t k = 0; k < count; ++k) text += " " + indexed(name, k) + " free\n";
  return text;
}

// Solves and expects the optimum.
void expect_optimum(const std::string& ptf, double objective, Solved* solved) {
  solve_ptf(ptf, solved);
  const Solution& s = solved->solution();
  EXPECT_EQ(s.status, SolutionStatus::kOptimal) << ptf << solved->log;
  EXPECT_NEAR(s.primal_objective, objective, kTolerance * std::max(1.0, std::fabs(objective)));
  EXPECT_NEAR(s.dual_objective, objective, kTolerance * std::max(1.0, std::fabs(objective)));
}

void expect_optimum(const std::string& ptf, double objective) {
  Solved solved;
  expect_optimum(ptf, objective, &solved);
}

// ---- Quadratic constraints ---------------------------------------------------------------------

// The circle goes close by the origin and has its centre far away: x + 2 y + q (x^2 + y^2) / 2 <=
// 1. The largest x + y, both at least 0, is near, at y = 0; the least of x alone is far.
TEST(ClosedForm, CirclesOfHardlyAnyCurvature) {
  const char* row = "Subject To\n c: x + 2 y + [ $q x^2 + $q y^2 ] / 2 <= 1\n";
  for (const double q : {1e-2, 1e-3, 1e-4, 1e-5, 1e-6, 1e-8}) {
    SCOPED_TRACE(q);
    const std::string circle = fill_in(row, {{"q", format_text("%.17g", q)}});
    const double near = 2.0 / (1.0 + std::sqrt(1.0 + 2.0 * q));
    expect_optimum("Maximize\n x + y\n" + circle + "Bounds\n x >= 0\n y >= 0\nEnd\n", near);
    const double far = -(1.0 + std::sqrt(5.0 + 2.0 * q)) / q;
    expect_optimum("Minimize\n x\n" + circle + "Bounds\n x free\n y free\nEnd\n", far);
  }
}

// The disc of radius 3 around (-30000, 90000): the square of the radius is 1e-9 of what cancels.
TEST(ClosedForm, ADiscFarFromTheOrigin) {
  expect_optimum(
      "Maximize\n x + y\nSubject To\n c: 60000 x - 180000 y + [ x^2 + y^2 ] <= -8999999991\n"
      "Bounds\n x free\n y free\nEnd\n",
      60000.0 + 3.0 * std::numbers::sqrt2);
}

// ---- Portfolios and regression -----------------------------------------------------------------

// Independent assets are held in proportion to 1 / variance.
TEST(ClosedForm, PortfolioOfLeastVariance) {
  const std::vector<double> variance = {0.04, 0.01, 0.09, 0.25, 0.16};
  double sum = 0.0;
  std::string squares;
  std::string budget;
  for (size_t k = 0; k < variance.size(); ++k) {
    sum += 1.0 / variance[k];
    squares += term(2.0 * variance[k], indexed("x", k)) + "^2";
    budget += term(1.0, indexed("x", k));
  }
  Solved solved;
  const char* model = R"(
Minimize
 v: [$squares ] / 2
Subject To
 b: $budget = 1
End
)";
  expect_optimum(fill_in(model, {{"squares", squares}, {"budget", budget}}), 1.0 / sum, &solved);
  for (size_t k = 0; k < variance.size(); ++k) {
    EXPECT_NEAR(solved.solution().xx[k], 1.0 / (variance[k] * sum), kPointTolerance);
  }
}

// The same by its standard deviation.
TEST(ClosedForm, PortfolioOfLeastDeviation) {
  const std::vector<double> variance = {0.04, 0.01, 0.09, 0.25, 0.16};
  double sum = 0.0;
  std::string budget;
  std::string links;
  std::string cone = " k: quadratic t";
  for (size_t k = 0; k < variance.size(); ++k) {
    sum += 1.0 / variance[k];
    budget += term(1.0, indexed("x", k));
    links += " l" + std::to_string(k) + ":" + term(std::sqrt(variance[k]), indexed("x", k)) +
             term(-1.0, indexed("r", k)) + " = 0\n";
    cone += " " + indexed("r", k);
  }
  const char* model = R"(
Minimize
 d: t
Subject To
 b: $budget = 1
$links
Cones
$cone
End
)";
  expect_optimum(fill_in(model, {{"budget", budget}, {"links", links}, {"cone", cone}}),
                 std::sqrt(1.0 / sum));
}

// minimize (x - 1)^2 + (x + y - 2)^2 + (y - 4)^2 + lambda (x^2 + y^2): the normal equations are
// (2 + lambda) x + y = 3, x + (2 + lambda) y = 6.
TEST(ClosedForm, RidgeRegression) {
  for (const double lambda : {0.0, 0.5, 10.0}) {
    const double a = 2.0 + lambda;
    const double x = (3.0 * a - 6.0) / (a * a - 1.0);
    const double y = (6.0 * a - 3.0) / (a * a - 1.0);
    const auto square = [](double value) { return value * value; };
    const double objective =
        square(x - 1.0) + square(x + y - 2.0) + square(y - 4.0) + lambda * (square(x) + square(y));
    Solved solved;
    const char* model = R"(
Minimize
 o: [ 2 r0^2 + 2 r1^2 + 2 r2^2 + $weight x^2 + $weight y^2 ] / 2
Subject To
 a: x - r0 = 1
 b: x + y - r1 = 2
 c: y - r2 = 4
Bounds
 x free
 y free
 r0 free
 r1 free
 r2 free
End
)";
    expect_optimum(fill_in(model, {{"weight", format_text("%.17g", 2.0 * lambda)}}), objective,
                   &solved);
    const Solution& s = solved.solution();
    EXPECT_NEAR(s.xx[3], x, kPointTolerance);
    EXPECT_NEAR(s.xx[4], y, kPointTolerance);
  }
}

// ---- Exponential cones -------------------------------------------------------------------------

// maximize a'x - sum x log x over sum x = 1 is the logarithm of sum exp(a); x is in proportion to
// exp(a). Here t <= -x log x is 1 >= x exp(t / x).
TEST(ClosedForm, EntropyWithCosts) {
  const std::vector<double> a = {0.0, 1.5, -2.0, 0.3};
  double sum = 0.0;
  std::string objective;
  std::string budget;
  std::string ones;
  std::string cones;
  for (size_t k = 0; k < a.size(); ++k) {
    sum += std::exp(a[k]);
    objective += term(a[k], indexed("x", k)) + term(1.0, indexed("t", k));
    budget += term(1.0, indexed("x", k));
    ones += " " + indexed("e", k) + " = 1\n";
    cones += " " + indexed("k", k) + ": exponential " + indexed("e", k) + " " + indexed("x", k) +
             " " + indexed("t", k) + "\n";
  }
  Solved solved;
  const char* model = R"(
Maximize
 o: $objective
Subject To
 b: $budget = 1
Bounds
$ones
$free
Cones
$cones
End
)";
  expect_optimum(fill_in(model, {{"objective", objective},
                                 {"budget", budget},
                                 {"ones", ones},
                                 {"free", all_free("t", a.size())},
                                 {"cones", cones}}),
                 std::log(sum), &solved);
  for (size_t k = 0; k < a.size(); ++k) {
    EXPECT_NEAR(solved.solution().xx[2 * k], std::exp(a[k]) / sum, kPointTolerance);
  }
}

// The same number as the least t with sum exp(a - t) <= 1.
TEST(ClosedForm, LogarithmOfASumOfExponentials) {
  const std::vector<double> a = {0.0, 1.5, -2.0, 0.3};
  double sum = 0.0;
  std::string rows = " s:";
  std::string links;
  std::string ones;
  std::string cones;
  for (size_t k = 0; k < a.size(); ++k) {
    sum += std::exp(a[k]);
    rows += term(1.0, indexed("u", k));
    links +=
        " l" + std::to_string(k) + ": " + indexed("v", k) + format_text(" + t = %.17g\n", a[k]);
    ones += " " + indexed("e", k) + " = 1\n";
    cones += " " + indexed("k", k) + ": exponential " + indexed("u", k) + " " + indexed("e", k) +
             " " + indexed("v", k) + "\n";
  }
  const char* model = R"(
Minimize
 o: t
Subject To
$rows <= 1
$links
Bounds
 t free
$ones
$free
Cones
$cones
End
)";
  expect_optimum(fill_in(model, {{"rows", rows},
                                 {"links", links},
                                 {"ones", ones},
                                 {"free", all_free("v", a.size())},
                                 {"cones", cones}}),
                 std::log(sum));
}

// With an intercept b alone and p of n samples positive, the likeliest b is log(p / (n - p)).
// ---- Objectives far below the other data -------------------------------------------------------

// Digits of an objective that a tolerance beside 1 would take for 0.
void expect_digits(const std::string& ptf, double objective) {
  constexpr double kDigits = 1e-6;
  Solved solved;
  solve_ptf(ptf, &solved);
  const Solution& s = solved.solution();
  EXPECT_EQ(s.status, SolutionStatus::kOptimal) << ptf << solved.log;
  EXPECT_NEAR(s.primal_objective, objective, kDigits * objective) << solved.log;
  EXPECT_NEAR(s.dual_objective, objective, kDigits * objective);
}

// Walls of the costs c of a box whose logarithms of sides sum to that of its volume: each pair of
// walls costs the same, 2 (c1 c2 c3 V^2)^(1/3).
TEST(ClosedForm, TheCheapestBoxOfASmallVolume) {
  constexpr double kCost[] = {5e-6, 4e-6, 1e-5};
  for (const double volume : {1.0, 1e-3, 2e-9, 1e-12}) {
    const double product = kCost[0] * kCost[1] * kCost[2] * volume * volume;
    expect_digits(fill_in(R"(Minimize
 o: 1e-5 x + 8e-6 y + 2e-5 z
Subject To
 v: a + b + c = $volume
 ab: r - a - b = 0
 ac: s - a - c = 0
 bc: t - b - c = 0
Bounds
 a free
 b free
 c free
 r free
 s free
 t free
 u = 1
 v1 = 1
 w = 1
Cones
 k: exponential x u r
 l: exponential y v1 s
 m: exponential z w t
End
)",
                          {{"volume", format_text("%.17g", std::log(volume))}}),
                  6.0 * std::cbrt(product));
  }
}

// The least sum of c1 and c2 with (c f; f k) positive semidefinite for each bar, where k is
// stiffness by volume: (f1 + f2)^2 / (stiffness volume).
TEST(ClosedForm, TheStiffestTrussOfAVolume) {
  for (const double force : {1.0, 1e-2, 1e-4}) {
    expect_digits(fill_in(R"(
Matrix Variables
 X(2)
 Y(2)
Minimize
 o: X(1,1) + Y(1,1)
Subject To
 volume: x + y <= 0.1
 f: X(2,1) = $force
 k: X(2,2) - 400 x = 0
 g: Y(2,1) = $other
 l: Y(2,2) - 400 y = 0
End
)",
                          {{"force", format_text("%.17g", 9.0 * force)},
                           {"other", format_text("%.17g", force)}}),
                  100.0 * force * force / 40.0);
  }
}

TEST(ClosedForm, LogisticRegressionOfAnIntercept) {
  constexpr int kPositive = 3;
  constexpr int kNegative = 5;
  const double share = static_cast<double>(kPositive) / (kPositive + kNegative);
  std::string objective;
  std::string rows;
  std::string bounds;
  std::string cones;
  // t >= log(1 + exp(m)): u + v <= 1, u >= exp(-t), v >= exp(m - t).
  for (int k = 0; k < kPositive + kNegative; ++k) {
    const std::vector<std::pair<const char*, std::string>> names = {
        {"k", std::to_string(k)}, {"sign", k < kPositive ? "+" : "-"}};
    objective += fill_in(" + t$k", names);
    rows += fill_in(R"(
 s$k: u$k + v$k <= 1
 p$k: p$k + t$k = 0
 q$k: q$k + t$k $sign b = 0
)",
                    names);
    bounds += fill_in(R"(
 p$k free
 q$k free
 d$k = 1
 e$k = 1
)",
                      names);
    cones += fill_in(R"(
 k$k: exponential u$k d$k p$k
 l$k: exponential v$k e$k q$k
)",
                     names);
  }
  const char* page = R"(
Minimize
 o: $objective
Subject To
$rows
Bounds
 b free
$bounds
Cones
$cones
End
)";
  Solved solved;
  expect_optimum(
      fill_in(page,
              {{"objective", objective}, {"rows", rows}, {"bounds", bounds}, {"cones", cones}}),
      -kPositive * std::log(share) - kNegative * std::log(1.0 - share), &solved);
  const Model& model = solved.task.model;
  for (size_t j = 0; j < model.cost.size(); ++j) {
    if (model.var_names[j] == "b") {
      EXPECT_NEAR(solved.solution().xx[j], std::log(share / (1.0 - share)), kPointTolerance);
    }
  }
}

// ---- Power cones -------------------------------------------------------------------------------

// maximize prod x^w over sum x = 1: x = w.
TEST(ClosedForm, WeightedGeometricMean) {
  const std::vector<std::vector<double>> cases = {
      {0.5, 0.5}, {0.2, 0.8}, {0.25, 0.25, 0.5}, {0.1, 0.2, 0.3, 0.4}, {0.2, 0.2, 0.2, 0.2, 0.2}};
  for (const std::vector<double>& w : cases) {
    double objective = 1.0;
    std::string exponents;
    std::string members;
    std::string budget;
    for (size_t k = 0; k < w.size(); ++k) {
      objective *= std::pow(w[k], w[k]);
      exponents += format_text(" %.17g", w[k]);
      members += " " + indexed("x", k);
      budget += term(1.0, indexed("x", k));
    }
    Solved solved;
    const char* model = R"(
Maximize
 o: t
Subject To
 b: $budget = 1
Bounds
 t free
Cones
 k: power $exponents $members t
End
)";
    expect_optimum(
        fill_in(model, {{"budget", budget}, {"exponents", exponents}, {"members", members}}),
        objective, &solved);
    for (size_t k = 0; k < w.size(); ++k) {
      EXPECT_NEAR(solved.solution().xx[k + 1], w[k], kPointTolerance);
    }
  }
}

// The least p-norm with a'x = 1 is one over the norm of a with 1/p + 1/q = 1. The norm is the least
// t = sum r with r^(1/p) t^(1 - 1/p) >= |x|.
TEST(ClosedForm, LeastNorm) {
  const std::vector<double> a = {1.0, -2.0, 0.5};
  for (const double p : {1.25, 1.5, 2.0, 3.0, 7.0}) {
    const double q = p / (p - 1.0);
    double sum = 0.0;
    std::string normal;
    std::string radius;
    std::string equal;
    std::string cones;
    for (size_t k = 0; k < a.size(); ++k) {
      sum += std::pow(std::fabs(a[k]), q);
      normal += term(a[k], indexed("x", k));
      radius += term(1.0, indexed("r", k));
      equal += " " + indexed("e", k) + ": " + indexed("t", k) + " - t = 0\n";
      cones += " " + indexed("k", k) + format_text(": power %.17g %.17g ", 1.0 / p, 1.0 - 1.0 / p) +
               indexed("r", k) + " " + indexed("t", k) + " " + indexed("x", k) + "\n";
    }
    const char* model = R"(
Minimize
 o: t
Subject To
 n: $normal = 1
 r: $radius - t = 0
$equal
Bounds
$free
Cones
$cones
End
)";
    expect_optimum(fill_in(model, {{"normal", normal},
                                   {"radius", radius},
                                   {"equal", equal},
                                   {"free", all_free("x", a.size())},
                                   {"cones", cones}}),
                   std::pow(sum, -1.0 / q));
  }
}

// ---- Two forms of one model --------------------------------------------------------------------

// |(x, y, z)|^2 <= 2 u w with w = 1, in several forms.
TEST(ClosedForm, QuadraticPowerAndSecondOrderFormsAgree) {
  const char* model = R"(
Minimize
 o: 0.3 x + $objective
Subject To
 a: x + 2 y - z >= 3
 b: x - y + 0.5 z <= 1
 c: y + 2 z = 1.5
 d: w = 1
$rows
Bounds
 x free
 y free
 z free
 m free
$cone
End
)";
  const auto form = [&](const char* objective, const char* rows, const char* cone) {
    return fill_in(model, {{"objective", objective}, {"rows", rows}, {"cone", cone}});
  };
  const char* no_difference = " n: m = 0\n";
  Solved quadratic;
  solve_ptf(form("[ x^2 + y^2 + z^2 ] / 2", no_difference, ""), &quadratic);
  ASSERT_EQ(quadratic.solution().status, SolutionStatus::kOptimal);
  const double optimum = quadratic.solution().primal_objective;
  expect_optimum(form("u", R"(
 n: m = 0
 q: [ x^2 + y^2 + z^2 ] - 2 u <= 0
)",
                      ""),
                 optimum);
  expect_optimum(form("u", no_difference, R"(
Cones
 k: rotated_quadratic u w x y z
)"),
                 optimum);
  // sqrt(u v) >= |(x, y, z)| with v = 2 w
  expect_optimum(form("u", R"(
 n: m = 0
 e: v - 2 w = 0
)",
                      R"(
Cones
 k: power 1 1 u v x y z
)"),
                 optimum);
  // (u + w) / sqrt 2 >= |((u - w) / sqrt 2, x, y, z)|
  expect_optimum(form("u", R"(
 e: u + w - 1.4142135623730951 p = 0
 f: u - w - 1.4142135623730951 m = 0
)",
                      R"(
Cones
 k: quadratic p m x y z
)"),
                 optimum);
}

// Cones of two members with the norm of one: x0^(1/2) x1^(1/2) >= |x2| in primal and dual form.
TEST(ClosedForm, ADualPowerConeIsAPowerConeOfScaledMembers) {
  const char* model = R"(
Maximize
 o: x2
Subject To
 s: 3 x0 + 5 x1 = 4
Bounds
 x2 free
Cones
 k: $kind 1 1 x0 x1 x2
End
)";
  // With x = 2 s: the product is sqrt(4 s0 s1), at s0 = 2/3, s1 = 2/5.
  expect_optimum(fill_in(model, {{"kind", "power"}}), std::sqrt(4.0 / 15.0));
  expect_optimum(fill_in(model, {{"kind", "dual_power"}}), 2.0 * std::sqrt(4.0 / 15.0));
}

// ---- Matrix variables --------------------------------------------------------------------------

std::string unit_diagonal(int order) {
  std::string rows;
  for (int k = 1; k <= order; ++k) {
    rows += format_text(" d%d: X(%d,%d) = 1\n", k, k, k);
  }
  return rows;
}

// maximize sum over edges of (1 - X_ij) / 2 with a unit diagonal. On an odd cycle of n edges it is
// n (1 + cos(pi / n)) / 2; on the complete graph n^2 / 4.
TEST(ClosedForm, MaxCutOfCyclesAndCompleteGraphs) {
  for (const int n : {3, 5, 7}) {
    std::string cycle = format_text("%g", 0.5 * n);
    std::string complete = format_text("%g", 0.25 * n * (n - 1));
    for (int i = 1; i <= n; ++i) {
      const int next = i % n + 1;
      cycle += format_text(" - 0.5 X(%d,%d)", std::max(i, next), std::min(i, next));
      for (int j = 1; j < i; ++j) complete += format_text(" - 0.5 X(%d,%d)", i, j);
    }
    const auto model = [&](const std::string& cut) {
      return fill_in(R"(
Matrix Variables
 X($order)
Maximize
 cut: $cut
Subject To
$diagonal
End
)",
                     {{"order", std::to_string(n)}, {"cut", cut}, {"diagonal", unit_diagonal(n)}});
    };
    expect_optimum(model(cycle), 0.5 * n * (1.0 + std::cos(std::numbers::pi / n)));
    expect_optimum(model(complete), 0.25 * n * n);
  }
}

// The theta number of the cycle of five is the square root of 5.
TEST(ClosedForm, ThetaOfTheCycleOfFive) {
  std::string sum = " X(1,1) + X(2,2) + X(3,3) + X(4,4) + X(5,5)";
  const std::string trace = sum;
  for (int i = 2; i <= 5; ++i) {
    for (int j = 1; j < i; ++j) sum += format_text(" + 2 X(%d,%d)", i, j);
  }
  const char* model = R"(
Matrix Variables
 X(5)
Maximize
 o: $sum
Subject To
 t: $trace = 1
 a: X(2,1) = 0
 b: X(3,2) = 0
 c: X(4,3) = 0
 d: X(5,4) = 0
 e: X(5,1) = 0
End
)";
  expect_optimum(fill_in(model, {{"sum", sum}, {"trace", trace}}), std::sqrt(5.0));
}

// The least nuclear norm that completes [a b; b ?], |b| <= |a|, has the fourth element b^2 / a. It
// is half the trace of [W1 X; X' W2].
TEST(ClosedForm, MatrixCompletion) {
  const double a = 2.0;
  const double b = 1.5;
  Solved solved;
  const char* model = R"(
Matrix Variables
 W(4)
Minimize
 o: 0.5 W(1,1) + 0.5 W(2,2) + 0.5 W(3,3) + 0.5 W(4,4)
Subject To
 a: W(3,1) = 2
 b: W(4,1) = 1.5
 c: W(3,2) = 1.5
End
)";
  expect_optimum(model, a + b * b / a, &solved);
  EXPECT_NEAR(solved.solution().barx[6], b * b / a, kPointTolerance);  // W(4,2)
}

// ---- Infeasible and unbounded models of each cone ----------------------------------------------

// Each model has a cone, or quadratic terms. The infeasible one has no objective.
struct BadModel {
  const char* name;
  const char* infeasible;
  const char* unbounded;
};

const BadModel kBadModels[] = {
    {"quadratic", R"(
Minimize
 o: 0 x
Subject To
 a: x - y <= -1
Bounds
 y free
 z free
Cones
 k: quadratic x y z
End
)",
     R"(
Minimize
 o: - x - z
Subject To
 a: x - y = 1
Bounds
 y free
 z free
Cones
 k: quadratic x y z
End
)"},
    {"rotated quadratic", R"(
Minimize
 o: 0 x
Subject To
 a: x + y - 1.4142135 z <= -1
Bounds
 z free
Cones
 k: rotated_quadratic x y z
End
)",
     R"(
Minimize
 o: - x
Subject To
 a: y - z = 1
Bounds
 z free
Cones
 k: rotated_quadratic x y z
End
)"},
    {"exponential", R"(
Minimize
 o: 0 x
Subject To
 a: x - z <= 0
 b: y = 1
Bounds
 z free
Cones
 k: exponential x y z
End
)",
     R"(
Minimize
 o: - z
Subject To
 a: x - 3 y = 1
Bounds
 z free
Cones
 k: exponential x y z
End
)"},
    {"dual exponential", R"(
Minimize
 o: 0 x
Subject To
 a: x <= -1
Bounds
 y free
 z free
 -inf <= x
Cones
 k: dual_exponential x y z
End
)",
     R"(
Minimize
 o: - x
Subject To
 a: z = -1
Bounds
 y free
 z free
 -inf <= x
Cones
 k: dual_exponential x y z
End
)"},
    {"power", R"(
Minimize
 o: 0 x
Subject To
 a: 0.3 x + 0.7 y - 0.5 z <= -1
 b: x - y = 0
Bounds
 z free
Cones
 k: power 0.3 0.7 x y z
End
)",
     R"(
Minimize
 o: - z
Subject To
 a: x - y = 1
Bounds
 z free
Cones
 k: power 0.3 0.7 x y z
End
)"},
    {"dual power", R"(
Minimize
 o: 0 x
Subject To
 a: 2 x + 0.5 y - 0.1 z <= -1
Bounds
 z free
Cones
 k: dual_power 1 2 x y z
End
)",
     R"(
Minimize
 o: - z
Subject To
 a: x - y = 1
Bounds
 z free
Cones
 k: dual_power 1 2 x y z
End
)"},
    {"power of four", R"(
Minimize
 o: 0 x
Subject To
 a: x + y + u <= -1
Bounds
 z free
Cones
 k: power 1 2 3 x y u z
End
)",
     R"(
Minimize
 o: - z
Subject To
 a: x - y = 1
 b: u - x = 0
Bounds
 z free
Cones
 k: power 1 2 3 x y u z
End
)"},
    {"quadratic constraint", R"(
Minimize
 o: 0 x
Subject To
 a: [ x^2 + y^2 ] <= -1
Bounds
 y free
End
)",
     R"(
Minimize
 o: - x
Subject To
 a: [ y^2 ] - x <= 2
Bounds
 y free
End
)"},
    {"quadratic objective", nullptr,  // it is feasible
     R"(
Minimize
 o: - x + y + [ 2 y^2 ] / 2
Subject To
 a: y <= 2
Bounds
 y free
 -inf <= x
End
)"},
};

// The cone alone keeps x from being small, or the objective from being large.
TEST(BadModels, TheInfeasibleOnesAreProvedToBe) {
  for (const BadModel& bad : kBadModels) {
    if (bad.infeasible == nullptr) continue;
    Solved solved;
    solve_ptf(bad.infeasible, &solved);
    EXPECT_EQ(solved.solution().problem_status, ProblemStatus::kPrimalInfeasible) << bad.name;
    EXPECT_TRUE(proves_infeasible(solved)) << bad.name << '\n' << solved.log;
  }
}

TEST(BadModels, TheUnboundedOnesAreProvedToBe) {
  for (const BadModel& bad : kBadModels) {
    Solved solved;
    solve_ptf(bad.unbounded, &solved);
    EXPECT_EQ(solved.solution().problem_status, ProblemStatus::kDualInfeasible) << bad.name;
    EXPECT_TRUE(proves_unbounded(solved)) << bad.name << '\n' << solved.log;
  }
}

TEST(BadModels, OfMatrixVariables) {
  Solved infeasible;
  solve_ptf(R"(
Matrix Variables
 X(2)
Minimize
 o: X(1,1)
Subject To
 a: X(1,1) = 1
 b: X(2,2) = 1
 c: X(2,1) = 2
End
)",
            &infeasible);
  EXPECT_TRUE(proves_infeasible(infeasible)) << infeasible.log;
  Solved unbounded;
  solve_ptf(R"(
Matrix Variables
 X(2)
Maximize
 o: X(2,1)
Subject To
 a: X(1,1) - X(2,2) = 1
End
)",
            &unbounded);
  EXPECT_TRUE(proves_unbounded(unbounded)) << unbounded.log;
}

}  // namespace
}  // namespace vorlan
