// The parts of outer approximation: supporting hyperplanes, and models with fixed integers.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "cone_points.h"
#include "conic_models.h"
#include "solve/check/checker.h"
#include "solve/check/cone_violation.h"
#include "solve/highs/highs_backend.h"
#include "solve/outer/canonical_cone.h"
#include "solve/outer/diagonal_part.h"
#include "solve/outer/fixed_model.h"
#include "solve/outer/relaxation.h"
#include "solve/outer/switches.h"

namespace vorlan {
namespace {

using outer::FixedModel;
using outer::Relaxation;
using outer::RowView;

constexpr int kNumKinds = static_cast<int>(ConeKind::kDualPower) + 1;

// A cone by itself, over free variables.
Model model_of(const Cone& cone) {
  Model model = test::free_variables(std::vector<double>(cone.vars.size(), 0.0));
  model.cones = {cone};
  return model;
}

double row_violation(Model linear, const std::vector<double>& x) {
  linear.var_kind.assign(x.size(), VarKind::kContinuous);
  return primal_violation(linear, x);
}

class Silent : public BackendMonitor {
 public:
  void log(std::string_view) override {}
  bool should_stop(const Progress&) override { return false; }
  void incumbent(std::span<const double>, std::span<const double>) override {}
};

Outcome solve_linear(const Model& linear) {
  Silent monitor;
  BackendResult result;
  const Status status =
      kHighsBackend.solve(MinimizeProblem(linear), Parameters(), kInfinity, &monitor, &result);
  EXPECT_TRUE(status.ok()) << status.message();
  return result.outcome;
}

// Whether no point of the relaxation has these values first.
bool is_cut_off(Model linear, const std::vector<double>& values) {
  for (size_t j = 0; j < values.size(); ++j) {
    linear.var_lower[j] = linear.var_upper[j] = values[j];
  }
  return solve_linear(linear) == Outcome::kInfeasible;
}

// Whether z'x can be -1 in the relaxation, which is a cone as its model is.
bool can_be_negative(Model linear, std::vector<double> z) {
  double size = 0.0;
  for (const double value : z) size = std::max(size, std::fabs(value));
  if (size == 0.0) return false;
  for (double& value : z) value /= size;
  z.resize(linear.cost.size(), 0.0);
  test::add_constraint(&linear, -1.0, -1.0, z);
  // With coefficients no larger than 1 it takes members of this size at least to get there, where
  // rounding is all that helps.
  for (size_t j = 0; j < z.size(); ++j) {
    linear.var_lower[j] = std::max(linear.var_lower[j], -1e4);
    linear.var_upper[j] = std::min(linear.var_upper[j], 1e4);
  }
  return solve_linear(linear) != Outcome::kInfeasible;
}

class ConeCuts : public testing::TestWithParam<int> {
 protected:
  ConeKind kind() const { return static_cast<ConeKind>(GetParam()); }
};

// Points of the cone satisfy all cuts that duals and points outside of it give.
TEST_P(ConeCuts, HoldInTheCone) {
  for (uint32_t seed = 1; seed <= 200; ++seed) {
    SCOPED_TRACE(seed);
    test::Random random(seed);
    const Cone cone = test::random_cone(kind(), 0, &random);
    const Model model = model_of(cone);
    const MinimizeProblem problem(model);
    Relaxation relaxation(problem);
    BackendResult multipliers;
    multipliers.snx = test::complementary_pair(cone, &random).z;
    relaxation.cut_by_duals(multipliers);
    std::vector<double> anywhere(cone.vars.size());
    for (double& value : anywhere) value = random.between(-3.0, 3.0);
    relaxation.cut_cone_at(0, anywhere);
    const Model linear = relaxation.make_model();
    for (int k = 0; k < 10; ++k) {
      const std::vector<double> inside = test::interior_point(cone, false, &random);
      const std::vector<double> border = test::complementary_pair(cone, &random).s;
      EXPECT_LE(row_violation(linear, relaxation.lift(inside, {})), 1e-9);
      EXPECT_LE(row_violation(linear, relaxation.lift(border, {})), 1e-9);
    }
  }
}

// The second member is an integer factor from 0 to 3, the others are within 4 of 0: at 0 it leaves the
// third member no room but, in an exponential cone, below 0. No tangents are needed to know that.
// Some formats have bounds of variables only as constraints.
TEST(Relaxation, ConstraintsOfOneVariableBecomeBounds) {
  Model model = test::free_variables({1.0, 1.0, 1.0});
  model.var_kind[1] = VarKind::kInteger;
  test::add_constraint(&model, -1.0, 3.0, {-2.0, 0.0, 0.0});
  test::add_constraint(&model, 0.5, 7.0, {0.0, 2.0, 0.0});
  test::add_constraint(&model, 0.0, kInfinity, {1.0, 1.0, 1.0});
  model.cones = {Cone{ConeKind::kQuadratic, {2, 0, 1}, {}}};
  const Model linear = Relaxation(MinimizeProblem(model)).make_model();
  EXPECT_EQ(linear.var_lower[0], -1.5);
  EXPECT_EQ(linear.var_upper[0], 0.5);
  EXPECT_EQ(linear.var_lower[1], 1.0);
  EXPECT_EQ(linear.var_upper[1], 3.0);
  EXPECT_EQ(linear.con_lower[0], 0.0) << "the constraint of three variables is the first";
}

// A constraint of one variable that has other terms as well is none.
TEST(Relaxation, ConstraintsWithOtherTermsStay) {
  Model model = test::free_variables({-1.0, 0.0});
  test::add_constraint(&model, -kInfinity, 4.0, {1.0, 0.0});
  model.quadratic_coefficients = {{0, {1, 1, 2.0}}};
  const Model linear = Relaxation(MinimizeProblem(model)).make_model();
  EXPECT_EQ(linear.var_upper[0], kInfinity);
  ASSERT_FALSE(linear.con_upper.empty());
  EXPECT_EQ(linear.con_upper[0], 4.0);
}

// No integer is left between the sides: the constraint stays, since bounds must not cross.
TEST(Relaxation, ConstraintsWithoutAnIntegerStay) {
  Model model = test::free_variables({1.0, 0.0});
  model.var_kind[0] = VarKind::kInteger;
  test::add_constraint(&model, 0.3, 0.7, {1.0, 0.0});
  model.cones = {Cone{ConeKind::kQuadratic, {1, 0}, {}}};
  const Model linear = Relaxation(MinimizeProblem(model)).make_model();
  EXPECT_EQ(linear.var_lower[0], -kInfinity);
  EXPECT_EQ(linear.con_lower[0], 0.3);
  EXPECT_EQ(linear.con_upper[0], 0.7);
}

TEST(IntegerFaces, SayWhatAFactorAtZeroLeaves) {
  for (const ConeKind kind :
       {ConeKind::kRotatedQuadratic, ConeKind::kPower, ConeKind::kExponential}) {
    SCOPED_TRACE(static_cast<int>(kind));
    Model model = test::free_variables({0.0, 0.0, 0.0});
    model.cones = {{kind, {0, 1, 2}, {}}};
    if (kind == ConeKind::kPower) model.cones[0].exponents = {0.3, 0.7};
    model.var_lower = {-4.0, 0.0, -4.0};
    model.var_upper = {4.0, 3.0, 4.0};
    model.var_kind[1] = VarKind::kInteger;
    const MinimizeProblem problem(model);
    const Model linear = Relaxation(problem).make_model();
    const bool exponential = kind == ConeKind::kExponential;
    EXPECT_TRUE(is_cut_off(linear, {4.0, 0.0, 0.001}));
    EXPECT_EQ(is_cut_off(linear, {4.0, 0.0, -0.001}), !exponential);
    EXPECT_FALSE(is_cut_off(linear, {4.0, 0.0, 0.0}));
    EXPECT_FALSE(is_cut_off(linear, {4.0, 1.0, 1.3}));
    EXPECT_FALSE(is_cut_off(linear, {4.0, 3.0, exponential ? 0.8 : -3.2}));
  }
}

// A point outside, with the best that the other columns can be, is cut off.
TEST_P(ConeCuts, CutOffWhatIsOutside) {
  int tried = 0;
  for (uint32_t seed = 1; seed <= 200; ++seed) {
    SCOPED_TRACE(seed);
    test::Random random(seed);
    const Cone cone = test::random_cone(kind(), 0, &random);
    std::vector<double> point(cone.vars.size());
    for (double& value : point) value = random.between(-1.0, 3.0);
    if (cone_violation(cone, point) < 1e-3) continue;
    const Model model = model_of(cone);
    const MinimizeProblem problem(model);
    Relaxation relaxation(problem);
    relaxation.cut_cone_at(0, point);
    EXPECT_TRUE(is_cut_off(relaxation.make_model(), point));
    ++tried;
  }
  EXPECT_GT(tried, 50);
}

// The hyperplane at the complement of z is as strong as z'x >= 0: where it holds, that holds.
TEST_P(ConeCuts, AreAsStrongAsTheDual) {
  for (uint32_t seed = 1; seed <= 200; ++seed) {
    SCOPED_TRACE(seed);
    test::Random random(seed);
    const Cone cone = test::random_cone(kind(), 0, &random);
    const test::ComplementaryPair pair = test::complementary_pair(cone, &random);
    const Model model = model_of(cone);
    const MinimizeProblem problem(model);
    Relaxation relaxation(problem);
    BackendResult multipliers;
    multipliers.snx = pair.z;
    relaxation.cut_by_duals(multipliers);
    EXPECT_FALSE(can_be_negative(relaxation.make_model(), pair.z));
  }
}

INSTANTIATE_TEST_SUITE_P(Kinds, ConeCuts, testing::Range(0, kNumKinds));

// Half of 3 x^2 + (x + y)^2, x an integer and y not: all points satisfy the tangents and chords at
// any other, and one at a whole x is where they touch.
TEST(Cuts, OfSquares) {
  Model model = test::free_variables({0.0, 0.0});
  model.var_kind[0] = VarKind::kInteger;
  model.quadratic_cost = {{0, 0, 4.0}, {1, 0, 1.0}, {1, 1, 1.0}};
  const MinimizeProblem problem(model);
  Relaxation relaxation(problem);
  for (double x = -3.0; x <= 3.0; x += 0.5) relaxation.cut_by_curvature({x, 1.5 - x});
  EXPECT_GT(relaxation.num_cuts(), 10);
  const Model linear = relaxation.make_model();
  for (double x = -6.0; x <= 6.0; x += 1.0) {
    for (double y = -4.0; y <= 4.0; y += 0.25) {
      EXPECT_LE(row_violation(linear, relaxation.lift({x, y}, {})), 1e-12) << x << ' ' << y;
    }
  }
}

// At 1.5 the chord of half the square between 1 and 2 is 1.25, half the square only 1.125.
TEST(Cuts, OfAnIntegerSquareAreChords) {
  Model model = test::free_variables({0.0});
  model.var_kind[0] = VarKind::kInteger;
  model.quadratic_cost = {{0, 0, 1.0}};
  const MinimizeProblem problem(model);
  Relaxation relaxation(problem);
  EXPECT_EQ(relaxation.cut_by_curvature({1.5}), 1);
  EXPECT_EQ(relaxation.cut_by_curvature({1.2}), 0) << "the same chord";
  const Model linear = relaxation.make_model();
  const auto holds = [&](double x, double r) { return row_violation(linear, {x, r}) <= 1e-9; };
  for (int x = -4; x <= 4; ++x) EXPECT_TRUE(holds(x, 0.5 * x * x)) << x;
  EXPECT_TRUE(holds(1.5, 1.25));
  EXPECT_FALSE(holds(1.5, 1.2));
}

// A binary variable z (x3) with 0 <= x0 <= 4 z, x1 = 2 x0; -3 z <= x2 <= 3 - z does not hold x2 at
// 0.
Model switched_model() {
  Model model = test::free_variables({0.0, 0.0, 0.0, 0.0});
  model.var_lower[0] = 0.0;
  model.var_kind[3] = VarKind::kInteger;
  model.var_lower[3] = 0.0;
  model.var_upper[3] = 1.0;
  test::add_constraint(&model, -kInfinity, 0.0, {1.0, 0.0, 0.0, -4.0});
  test::add_constraint(&model, 0.0, 0.0, {2.0, -1.0, 0.0, 0.0});
  test::add_constraint(&model, 0.0, kInfinity, {0.0, 0.0, 1.0, 3.0});
  test::add_constraint(&model, -kInfinity, 3.0, {0.0, 0.0, 1.0, 1.0});
  return model;
}

std::vector<int32_t> switches_of(const Model& model) {
  std::vector<int32_t> binaries;
  for (const outer::Switch& found : outer::find_switches(model, RowView(model))) {
    binaries.push_back(found.binary);
  }
  return binaries;
}

TEST(Switches, ComeFromPairsAndEquations) {
  Model model = switched_model();
  EXPECT_EQ(switches_of(model), (std::vector<int32_t>{3, 3, -1, -1}));
  model.con_upper[3] = 0.0;
  EXPECT_EQ(switches_of(model)[2], 3);
  model.quadratic_coefficients = {{1, {1, 1, 1.0}}};
  EXPECT_EQ(switches_of(model)[1], -1) << "2 x0 = x1 - x1^2 / 2";
  model.var_upper[3] = 2.0;
  EXPECT_EQ(switches_of(model)[0], -1) << "no binary variable";
}

// A constraint of one variable is as good as a bound.
TEST(Switches, HaveBoundsInConstraints) {
  Model model = switched_model();
  model.var_lower[0] = -kInfinity;
  model.var_upper[3] = kInfinity;
  test::add_constraint(&model, -kInfinity, 2.0, {0.0, 0.0, 0.0, 2.0});
  test::add_constraint(&model, -kInfinity, 0.0, {-3.0, 0.0, 0.0, 0.0});
  EXPECT_EQ(switches_of(model), (std::vector<int32_t>{3, 3, -1, -1}));
}

// x0 <= 4 (1 - z), and x1 = 3 + 2 x0 + z: z = 1 has x0 = 0 and x1 = 4.
TEST(Switches, HaveValues) {
  Model model = test::free_variables({0.0, 0.0, 0.0});
  model.var_lower[0] = 0.0;
  model.var_kind[2] = VarKind::kInteger;
  model.var_lower[2] = 0.0;
  model.var_upper[2] = 1.0;
  test::add_constraint(&model, -kInfinity, 4.0, {1.0, 0.0, 4.0});
  test::add_constraint(&model, -3.0, -3.0, {2.0, -1.0, 1.0});
  const std::vector<outer::Switch> found = outer::find_switches(model, RowView(model));
  EXPECT_TRUE(found[0].off_at_one);
  EXPECT_EQ(found[0].value, 0.0);
  EXPECT_EQ(found[1].binary, 2);
  EXPECT_TRUE(found[1].off_at_one);
  EXPECT_EQ(found[1].value, 4.0);
}

// Half a square of a variable that is switched: all points satisfy the cuts, but z = 1/2, x0 = 2
// needs 4^2 / 4, twice what the square of 2 is.
TEST(Cuts, OfASwitchedSquare) {
  Model model = switched_model();
  model.quadratic_cost = {{0, 0, 1.0}};
  const MinimizeProblem problem(model);
  Relaxation relaxation(problem);
  relaxation.separate({2.0, 4.0, 0.0, 0.5, 0.0});
  relaxation.separate({1.0, 2.0, 0.0, 1.0, 0.0});
  EXPECT_EQ(relaxation.num_cuts(), 2);
  const Model linear = relaxation.make_model();
  for (double x = 0.0; x <= 4.0; x += 0.25) {
    EXPECT_LE(row_violation(linear, relaxation.lift({x, 2.0 * x, 0.0, 1.0}, {})), 1e-12) << x;
  }
  EXPECT_LE(row_violation(linear, relaxation.lift({0.0, 0.0, 0.0, 0.0}, {})), 1e-12);
  EXPECT_TRUE(is_cut_off(linear, {2.0, 4.0, 0.0, 0.5, 3.9}));
}

// The same of a cone whose head an equation fixes: 2 >= |(x0, x1)|.
TEST(Cuts, OfASwitchedMemberUnderAFixedHead) {
  Model model = switched_model();
  model.cones = {{ConeKind::kQuadratic, {2, 0, 1}, {}}};
  test::add_constraint(&model, 2.0, 2.0, {0.0, 0.0, 1.0, 0.0});
  const MinimizeProblem problem(model);
  Relaxation relaxation(problem);
  const double most = 2.0 / std::sqrt(5.0);  // of x0
  relaxation.separate({0.7, 1.4, 2.0, 0.4, 0.0, 0.0});
  const Model linear = relaxation.make_model();
  for (double x = 0.0; x <= most; x += 0.05) {
    EXPECT_LE(row_violation(linear, relaxation.lift({x, 2.0 * x, 2.0, 1.0}, {})), 1e-12) << x;
  }
  EXPECT_TRUE(is_cut_off(linear, {0.7, 1.4, 2.0, 0.4})) << "5 x0^2 / z is 6.1, and 4 the most";
}

// While z is 0, x0 is, too, and the logarithm of x1 = 1 + x0: then x3 <= log x1 is x3 <= 0. At z =
// 1/2 it is x3 <= 1/2 log(1 + 2 x0), less than log(1 + x0).
Model switched_logarithm() {
  Model model = test::free_variables({0.0, 0.0, 0.0, 0.0, 0.0});
  model.var_lower[0] = 0.0;
  model.var_kind[4] = VarKind::kInteger;
  model.var_lower[4] = 0.0;
  model.var_upper[4] = 1.0;
  test::add_constraint(&model, -kInfinity, 0.0, {1.0, 0.0, 0.0, 0.0, -4.0});
  test::add_constraint(&model, 1.0, 1.0, {-1.0, 1.0, 0.0, 0.0, 0.0});
  test::add_constraint(&model, 1.0, 1.0, {0.0, 0.0, 1.0, 0.0, 0.0});
  model.cones = {{ConeKind::kExponential, {1, 2, 3}, {}}};
  return model;
}

TEST(Cuts, OfASwitchedLogarithm) {
  const Model model = switched_logarithm();
  const MinimizeProblem problem(model);
  Relaxation relaxation(problem);
  relaxation.cut_cone_at(0, {2.0, 3.0, 1.0, 4.0, 1.0});
  relaxation.cut_cone_at(0, {0.5, 1.5, 1.0, 1.0, 1.0});
  const Model linear = relaxation.make_model();
  for (double x = 0.0; x <= 4.0; x += 0.25) {
    EXPECT_LE(row_violation(linear, {x, 1.0 + x, 1.0, std::log1p(x), 1.0}), 1e-12) << x;
  }
  EXPECT_LE(row_violation(linear, {0.0, 1.0, 1.0, 0.0, 0.0}), 1e-12);
  EXPECT_GT(row_violation(linear, {1.0, 2.0, 1.0, std::log(2.0), 0.5}), 0.01);
}

// The tangents follow the logarithm from x1 = 1 to 5, wherever the continuous optimum is.
TEST(Cuts, AlongALogarithm) {
  const Model model = switched_logarithm();
  const MinimizeProblem problem(model);
  Relaxation relaxation(problem);
  EXPECT_EQ(relaxation.cut_along_exponentials(), 8);
  const Model linear = relaxation.make_model();
  for (double x = 0.0; x <= 4.0; x += 0.25) {
    const double most = std::log1p(x);
    EXPECT_LE(row_violation(linear, {x, 1.0 + x, 1.0, most, 1.0}), 1e-12) << x;
    EXPECT_GT(row_violation(linear, {x, 1.0 + x, 1.0, most + 0.02, 1.0}), 1e-3) << x;
  }
  EXPECT_LE(row_violation(linear, {0.0, 1.0, 1.0, 0.0, 0.0}), 1e-12);
  EXPECT_GT(row_violation(linear, {1.0, 2.0, 1.0, std::log(2.0), 0.5}), 0.01);
}

TEST(Cuts, AlongALogarithmWantBounds) {
  Model model = switched_logarithm();
  model.con_upper[0] = kInfinity;
  const MinimizeProblem problem(model);
  Relaxation relaxation(problem);
  EXPECT_EQ(relaxation.cut_along_exponentials(), 0);
}

// x2 >= |(x0, x1)| where x2 is 1 at least, and x0 and x1 are 0 while z is: with z = 0.3 they are
// for what x2 is above 0.7. In the cone itself are x2 = 1.3 and |(0.55, 1.1)| = 1.23.
TEST(Cuts, OfSwitchedMembersUnderAHeadThatIsLarge) {
  Model model = switched_model();
  model.cones = {{ConeKind::kQuadratic, {2, 0, 1}, {}}};
  const MinimizeProblem problem(model);
  Relaxation relaxation(problem);
  ASSERT_EQ(relaxation.heads_to_bound(), (std::vector<int32_t>{2}));
  relaxation.raise_head_floor(2, 1.0);
  relaxation.separate({0.3, 0.6, 1.0, 0.5, 0.0, 0.0});
  const Model linear = relaxation.make_model();
  for (double x = 0.0; x <= 4.0; x += 0.25) {
    const double head = std::max(1.0, std::sqrt(5.0) * x);
    if (head > 2.0) continue;  // x2 + z is no more than 3
    EXPECT_LE(row_violation(linear, relaxation.lift({x, 2.0 * x, head, 1.0}, {})), 1e-12) << x;
  }
  EXPECT_LE(row_violation(linear, relaxation.lift({0.0, 0.0, 1.0, 0.0}, {})), 1e-12);
  EXPECT_TRUE(is_cut_off(linear, {0.55, 1.1, 1.3, 0.3}));
}

// Of x0^2 + x0 x1 + x1^2, what can be taken out of the diagonal of Q = (2 1; 1 2), nearly: 1 of
// each, or 3/2 of one alone.
TEST(DiagonalPart, IsTheLargestOfSwitchedVariables) {
  const std::vector<TriangleEntry> form = {{0, 0, 2.0}, {1, 0, 1.0}, {1, 1, 2.0}};
  const outer::Switch on{2, false, 0.0};
  const std::vector<TriangleEntry> both = outer::find_diagonal_part(form, 1.0, {on, on});
  ASSERT_EQ(both.size(), 2U);
  for (const TriangleEntry& e : both) {
    EXPECT_EQ(e.row, e.col);
    EXPECT_NEAR(e.value, 1.0, 0.01);
    EXPECT_LT(e.value, 1.0);
  }
  const std::vector<TriangleEntry> one = outer::find_diagonal_part(form, 1.0, {on, {}});
  ASSERT_EQ(one.size(), 1U);
  EXPECT_NEAR(one[0].value, 1.5, 0.01);
  EXPECT_TRUE(outer::find_diagonal_part(form, 1.0, {{}, {}}).empty());
  EXPECT_TRUE(outer::find_diagonal_part({{0, 0, 2.0}}, 1.0, {on}).empty()) << "is a square already";
  EXPECT_TRUE(
      outer::find_diagonal_part({{0, 0, 1.0}, {1, 0, 1.0}, {1, 1, 1.0}}, 1.0, {on, on}).empty())
      << "a square of a sum";
}

// Loose cuts are forgotten, and can be found again.
// 2 r h >= x^2 with x <= z; h = g and 2 g = 1 say that h is 1/2. The least r at x = 1/4 is then
// 1/16, and x^2 / z = 1/4 where z is 1/4, too.
TEST(Perspective, IsThatOfASquareWhoseHeadIsFixedByEquations) {
  enum { kR, kH, kX, kZ, kG };
  Model model = test::free_variables({1.0, 0.0, 0.0, 0.25, 0.0});
  model.cones = {{ConeKind::kRotatedQuadratic, {kR, kH, kX}, {}}};
  model.var_kind[kZ] = VarKind::kInteger;
  model.var_lower[kX] = model.var_lower[kZ] = 0.0;
  model.var_upper[kZ] = 1.0;
  test::add_constraint(&model, -kInfinity, 0.0, {0.0, 0.0, 1.0, -1.0, 0.0});
  test::add_constraint(&model, 0.0, 0.0, {0.0, 1.0, 0.0, 0.0, -1.0});
  test::add_constraint(&model, 1.0, 1.0, {0.0, 0.0, 0.0, 0.0, 2.0});
  EXPECT_EQ(outer::fixed_value(model, RowView(model), kH), 0.5);
  const Model strong = Relaxation(MinimizeProblem(model)).perspective_model();
  ASSERT_EQ(strong.num_var(), 6);
  EXPECT_EQ(strong.cones[0].vars[1], 5);
  const auto violation = [&](double r, double x, double z) {
    return primal_violation(strong, {r, 0.5, x, z, 0.5, 0.5 * z});
  };
  EXPECT_GT(violation(1.0 / 16.0, 0.25, 0.25), 1e-3);
  EXPECT_LE(violation(0.25, 0.25, 0.25), 1e-12);
  EXPECT_LE(violation(1.0, 1.0, 1.0), 1e-12);
  EXPECT_LE(violation(0.0, 0.0, 0.0), 1e-12);
  model.var_kind[kZ] = VarKind::kContinuous;
  EXPECT_EQ(Relaxation(MinimizeProblem(model)).perspective_model().num_var(), model.num_var());
}

// 2 r z >= x^2 has columns enough: r itself is cut.
TEST(Relaxation, ConesOfOneSquareNeedNoColumns) {
  Model model = test::free_variables({1.0, 0.0, 0.0});
  model.cones = {{ConeKind::kRotatedQuadratic, {0, 1, 2}, {}}};
  const MinimizeProblem problem(model);
  Relaxation relaxation(problem);
  EXPECT_EQ(relaxation.num_columns(), 3U);
  ASSERT_GT(relaxation.separate({0.5, 1.0, 2.0}), 0);
  const Relaxation::Row& cut = relaxation.row(relaxation.num_rows() - 1);
  const auto slack = [&](const std::vector<double>& x) {
    double sum = -cut.lower;
    for (const auto& [column, value] : cut.terms) sum += value * x[index(column)];
    return sum;
  };
  EXPECT_LT(slack({0.5, 1.0, 2.0}), -0.1);
  for (const double x : {-1.0, 0.5, 1.0, 2.0, 3.0}) {
    EXPECT_GE(slack({0.5 * x * x, 1.0, x}), -1e-12);
  }
  EXPECT_EQ(relaxation.lift({3.0, 1.0, 2.0}, {}), (std::vector<double>{3.0, 1.0, 2.0}));
}

// 1/2 x^2 - x for x in {0, 1, 2}: a row that puts all points but 0 at 4 or more is wrong.
TEST(Cuts, AreDroppedWhereAPointOfTheModelViolatesThem) {
  Model model = test::free_variables({-1.0});
  model.quadratic_cost = {{0, 0, 1.0}};
  model.var_lower[0] = 0.0;
  model.var_upper[0] = 2.0;
  model.var_kind[0] = VarKind::kInteger;
  const MinimizeProblem problem(model);
  Relaxation relaxation(problem);
  relaxation.cut_by_curvature({1.0});
  const int right = relaxation.num_cuts();
  EXPECT_EQ(relaxation.drop_violated_cuts(relaxation.lift({1.0}, {})), 0);
  ASSERT_TRUE(relaxation.settle_integers({0.0}, 5.0, 4.0));
  EXPECT_EQ(relaxation.drop_violated_cuts(relaxation.lift({1.0}, {})), 1);
  EXPECT_EQ(relaxation.num_cuts(), right);
}

TEST(Cuts, AreDroppedWhereTheyAreLoose) {
  Model model = test::free_variables({0.0});
  model.quadratic_cost = {{0, 0, 1.0}};
  const MinimizeProblem problem(model);
  Relaxation relaxation(problem);
  relaxation.cut_by_curvature({-2.0});
  const size_t first = relaxation.num_rows();
  relaxation.cut_by_curvature({1.0});
  relaxation.cut_by_curvature({-1.0});
  relaxation.drop_loose_cuts(first, {1.0, 0.5});
  EXPECT_EQ(relaxation.num_cuts(), 2);
  EXPECT_EQ(relaxation.cut_by_curvature({-2.0}), 0) << "is from before";
  EXPECT_EQ(relaxation.cut_by_curvature({1.0}), 0) << "is not loose";
  EXPECT_EQ(relaxation.cut_by_curvature({-1.0}), 1);
}

// x0 is an integer and fixes x1 by an equation, and both the cone.
TEST(FixedModel, FollowsEquations) {
  Model model = test::free_variables({0.0, 0.0, 1.0});
  model.var_kind[0] = VarKind::kInteger;
  model.cones = {{ConeKind::kQuadratic, {2, 1}, {}}};
  test::add_constraint(&model, 1.0, 1.0, {2.0, -1.0, 0.0});
  const FixedModel fixed(model, RowView(model), {2.0}, 1e-7);
  ASSERT_FALSE(fixed.infeasible());
  EXPECT_FALSE(fixed.determined());
  EXPECT_EQ(fixed.model().var_lower[1], 3.0);
  EXPECT_EQ(fixed.model().var_upper[1], 3.0);
  EXPECT_EQ(fixed.model().cones.size(), 1U);
  EXPECT_EQ(fixed.model().con_lower[0], -kInfinity) << "the equation has done its part";
}

// -5 x0 <= x1 <= 5 x0 as two rows, with x0 = 0: no bound of x1 itself says that it is 0.
TEST(FixedModel, FixesWhatTwoInequalitiesLeaveAlone) {
  Model model = test::free_variables({0.0, 0.0});
  model.var_kind[0] = VarKind::kInteger;
  test::add_constraint(&model, -kInfinity, 0.0, {-5.0, 1.0});
  test::add_constraint(&model, 0.0, kInfinity, {5.0, 1.0});
  const FixedModel off(model, RowView(model), {0.0}, 1e-7);
  ASSERT_FALSE(off.infeasible());
  EXPECT_TRUE(off.determined());
  EXPECT_EQ(off.model().var_upper[1], 0.0);
  EXPECT_FALSE(FixedModel(model, RowView(model), {1.0}, 1e-7).determined());
  EXPECT_TRUE(FixedModel(model, RowView(model), {-1.0}, 1e-7).infeasible());
}

// 2 x0 x1 >= x2^2 with x1 = 0 leaves x0 >= 0, x2 = 0.
TEST(FixedModel, TakesTheFaceOfACone) {
  Model model = test::free_variables({1.0, 0.0, 0.0});
  model.var_kind[1] = VarKind::kInteger;
  model.cones = {{ConeKind::kRotatedQuadratic, {0, 1, 2}, {}}};
  const FixedModel off(model, RowView(model), {0.0}, 1e-7);
  ASSERT_FALSE(off.infeasible());
  EXPECT_EQ(off.model().var_lower[0], 0.0);
  EXPECT_EQ(off.model().var_lower[2], 0.0);
  EXPECT_EQ(off.model().var_upper[2], 0.0);
  EXPECT_TRUE(off.model().cones.empty());
  const FixedModel on(model, RowView(model), {1.0}, 1e-7);
  EXPECT_EQ(on.model().cones.size(), 1U);
  const FixedModel negative(model, RowView(model), {-1.0}, 1e-7);
  EXPECT_EQ(negative.model().cones.size(), 1U) << "what has an interior is left to the solve";
}

// x0 x1 + x1^2 <= 7 with x0 = 3: 3 x1 + x1^2 <= 7; with x1 = 1 as well it is a constant.
TEST(FixedModel, SubstitutesProducts) {
  Model model = test::free_variables({0.0, 0.0});
  model.var_kind[0] = VarKind::kInteger;
  test::add_constraint(&model, -kInfinity, 7.0, {0.0, 0.0});
  model.quadratic_coefficients = {{0, {1, 0, 1.0}}, {0, {1, 1, 2.0}}};
  const FixedModel fixed(model, RowView(model), {3.0}, 1e-7);
  EXPECT_EQ(fixed.model().quadratic_coefficients.size(), 1U);
  ASSERT_EQ(fixed.model().matrix.num_elements(), 1);
  EXPECT_EQ(fixed.model().matrix.value[0], 3.0);
  model.var_kind[1] = VarKind::kInteger;
  EXPECT_TRUE(FixedModel(model, RowView(model), {3.0, 1.0}, 1e-7).determined());
  EXPECT_TRUE(FixedModel(model, RowView(model), {3.0, 2.0}, 1e-7).infeasible());
}

// The nearest values; a semi-continuous variable is 0 or on.
TEST(FixedModel, FindsTheAssignment) {
  Model model = test::free_variables({0.0, 0.0, 0.0, 0.0, 0.0});
  model.var_kind = {VarKind::kInteger, VarKind::kContinuous, VarKind::kSemiContinuous,
                    VarKind::kSemiContinuous, VarKind::kSemiInteger};
  for (const size_t j : {2, 3, 4}) {
    model.var_lower[j] = 2.0;
    model.var_upper[j] = 5.0;
  }
  const std::vector<double> expected = {1.0, 0.0, kInfinity, 4.0};
  EXPECT_EQ(outer::find_assignment(model, {1.4, 0.3, 0.2, 1.9, 3.6}), expected);
}

}  // namespace
}  // namespace vorlan
