// Semi-continuous and semi-integer variables: 0 or within their bounds, whatever the bounds are.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include "random_model.h"
#include "task_support.h"

namespace {

constexpr int32_t kInteger = 2;

struct BoundCase {
  const char* what;
  const char* lp;
  double objective;
};

constexpr BoundCase kCases[] = {
    {"positive, off", "min\n x\nst\n c: x + y <= 5\nbounds\n 2 <= x <= 4\nsemis\n x\nend\n", 0.0},
    {"positive, on", "min\n x\nst\n c: x >= 1\nbounds\n 2 <= x <= 4\nsemis\n x\nend\n", 2.0},
    {"negative, at its far bound",
     "min\n x\nst\n c: x + y <= 5\nbounds\n -10 <= x <= -4\nsemis\n x\nend\n", -10.0},
    {"negative, at its near bound",
     "max\n x\nst\n c: x + y <= -1\nbounds\n -10 <= x <= -4\nsemis\n x\nend\n", -4.0},
    {"around 0, and nothing else to branch on",
     "min\n x\nst\n c: x + y <= 5\nbounds\n -10 <= x <= 4\nsemis\n x\nend\n", -10.0},
    {"no lower bound",
     "min\n x\nst\n c: x + y >= 2.5\nbounds\n -inf <= x <= 9\n y <= 2\nsemis\n x\nend\n", 0.5},
    {"crossed bounds leave 0",
     "min\n - x\nst\n c: x + y <= 5\nbounds\n 5 <= x <= 4\nsemis\n x\nend\n", 0.0},
    {"bounds of one value", "min\n x\nst\n c: x >= 1\nbounds\n 3 <= x <= 3\nsemis\n x\nend\n", 3.0},
    {"a far bound that is met",
     "min\n - x\nst\n c: x + y <= 1e7\nbounds\n 3 <= x <= 1e6\nsemis\n x\nend\n", -1e6},
    {"a best point far from 0, and a good one near to it",
     "min\n 0.000001 x + 10 b\nst\n c: x + 1000000 b >= 500000\nbounds\n 3 <= x <= 1e6\n"
     "binaries\n b\nsemis\n x\nend\n",
     0.5},
    {"no far bound but that of a constraint",
     "max\n x - y\nst\n c: x + y <= 5\nbounds\n 2 <= x <= inf\nsemis\n x\nend\n", 5.0},
    {"no far bound but that of constraints together, from below",
     "min\n x\nst\n c: x + y >= 0\n d: y - z <= 0\n e: z <= 7\nbounds\n -inf <= x <= -2\n"
     "semis\n x\nend\n",
     -7.0},
    {"an implied bound short of the near one",
     "max\n x\nst\n c: x + y <= 1\nbounds\n 2 <= x <= inf\nsemis\n x\nend\n", 0.0},
    {"semi-integer",
     "min\n - x\nst\n c: x + y <= 100\nbounds\n 3.5 <= x <= 17.5\ngenerals\n x\nsemis\n x\nend\n",
     -17.0},
};

TEST(SemiContinuous, EveryKindOfBound) {
  for (const BoundCase& c : kCases) {
    TestTask task;
    ASSERT_EQ(task.read_as("model.lp", c.lp), VLN_RES_OK) << c.what << task.last_message();
    EXPECT_EQ(task.solve(), VLN_RES_OK) << c.what;
    ASSERT_TRUE(task.defined(kInteger)) << c.what;
    EXPECT_EQ(task.solution_status(kInteger), 9) << c.what << '\n' << task.log();
    EXPECT_NEAR(task.objective(kInteger), c.objective, 1e-7 * std::max(1.0, std::fabs(c.objective)))
        << c.what;
    // From where it ended, switches and all.
    EXPECT_EQ(task.solve(), VLN_RES_OK) << c.what;
    EXPECT_NEAR(task.objective(kInteger), c.objective, 1e-7 * std::max(1.0, std::fabs(c.objective)))
        << c.what;
  }
}

// With a bound this far away, a switch that counts as off leaves 0.001 of it, which is neither 0
// nor within the bounds: no optimum.
TEST(SemiContinuous, ALittleOnIsNoOptimum) {
  TestTask task;
  ASSERT_EQ(task.read_as("model.lp",
                         "min\n x + y\nst\n c: x + y >= 0.001\nbounds\n 2 <= x <= 1e7\n"
                         " 3 <= y <= 1e7\nsemis\n x y\nend\n"),
            VLN_RES_OK);
  EXPECT_EQ(task.solve(), VLN_RES_OK);
  ASSERT_TRUE(task.defined(kInteger));
  if (task.solution_status(kInteger) == 9) {
    EXPECT_NEAR(task.objective(kInteger), 2.0, 1e-6) << task.log();
  }
}

TEST(SemiContinuous, AVariableThatNothingBoundsIsRefusedByName) {
  TestTask task;
  ASSERT_EQ(task.read_as("model.lp",
                         "min\n - x\nst\n c: y <= 5\nbounds\n 3 <= x <= inf\nsemis\n x\nend\n"),
            VLN_RES_OK);
  VLNrescode_enum termination = VLN_RES_OK;
  EXPECT_EQ(code_name(VLN_optimizetrm(task, &termination)), "VLN_RES_ERR_MODEL_NUMBER");
  EXPECT_NE(task.last_message().find("'x'"), std::string::npos) << task.last_message();
}

// ---- Random models ---------------------------------------------------------------------------

struct Variable {
  double cost, lower, upper;
  bool semi, whole;
};

// A model of few variables with small whole numbers.
struct SemiModel {
  std::vector<Variable> vars;
  std::vector<std::vector<int>> rows;
  std::vector<int> sides;

  // Of each semi-continuous variable a bit: on. Without bits, the model itself.
  std::string lp(const unsigned* on) const {
    const auto term = [](double a, size_t j) {
      char text[64];
      std::snprintf(text, sizeof text, " %+g x%zu", a, j);
      return std::string(text);
    };
    std::string text = "min\n";
    std::string bounds = "bounds\n";
    std::string whole = "generals\n";
    std::string semi = "semis\n";
    for (size_t j = 0; j < vars.size(); ++j) {
      const Variable& v = vars[j];
      const std::string name = "x" + std::to_string(j);
      const bool off = v.semi && on != nullptr && (*on >> j & 1u) == 0;
      char bound[96];
      std::snprintf(bound, sizeof bound, " %g <= %s <= %g\n", off ? 0.0 : v.lower, name.c_str(),
                    off ? 0.0 : v.upper);
      text += term(v.cost, j);
      bounds += bound;
      if (v.whole) whole += " " + name + "\n";
      if (v.semi && on == nullptr) semi += " " + name + "\n";
    }
    text += "\nst\n";
    for (size_t i = 0; i < rows.size(); ++i) {
      text += " c" + std::to_string(i) + ":";
      for (size_t j = 0; j < vars.size(); ++j) text += term(rows[i][j], j);
      text += " <= " + std::to_string(sides[i]) + "\n";
    }
    return text + bounds + whole + semi + "end\n";
  }
};

SemiModel make_semi_model(uint32_t seed) {
  std::mt19937 random(seed);
  const auto whole = [&random](int low, int high) {
    return low + static_cast<int>(random() % static_cast<uint32_t>(high - low + 1));
  };
  SemiModel model;
  const int num_var = whole(2, 4);
  for (int j = 0; j < num_var; ++j) {
    const double lower = whole(-6, 4);
    const bool semi = whole(0, 2) > 0;
    model.vars.push_back(
        {static_cast<double>(whole(-4, 4)), lower, lower + whole(0, 5), semi, whole(0, 2) == 0});
  }
  for (int i = whole(1, 4); i > 0; --i) {
    std::vector<int>& row = model.rows.emplace_back();
    for (int j = 0; j < num_var; ++j) row.push_back(whole(-3, 3));
    model.sides.push_back(whole(-6, 8));
  }
  return model;
}

// Infinite when there is no feasible point.
double best_objective(const std::string& lp) {
  TestTask task;
  EXPECT_EQ(task.read_as("model.lp", lp), VLN_RES_OK) << task.last_message() << lp;
  EXPECT_EQ(VLN_putparam(task, "VLN_DPAR_MIP_RELATIVE_GAP", "0"), VLN_RES_OK);
  EXPECT_EQ(task.solve(), VLN_RES_OK);
  for (const int32_t kind : {1, 2}) {
    if (!task.defined(kind)) continue;
    const int32_t status = task.solution_status(kind);
    if (status == 1 || status == 9) return task.objective(kind);
    EXPECT_EQ(task.problem_status(kind), 4) << lp << task.log();
  }
  return HUGE_VAL;
}

TEST(SemiContinuous, TheBestIsTheBestOfEveryChoiceOfWhatIsOn) {
  int num_feasible = 0;
  const uint32_t count = num_random_models();
  for (uint32_t seed = 0; seed < count / 5 + 1; ++seed) {
    const SemiModel model = make_semi_model(seed);
    double best = HUGE_VAL;
    for (unsigned on = 0; on < 1u << model.vars.size(); ++on) {
      best = std::min(best, best_objective(model.lp(&on)));
    }
    const double found = best_objective(model.lp(nullptr));
    num_feasible += std::isfinite(best) ? 1 : 0;
    if (found == best) continue;
    // An integer variable may be off by a tolerance, and its cost carries that into the objective.
    EXPECT_NEAR(found, best, 1e-5) << "seed " << seed << '\n' << model.lp(nullptr);
    ASSERT_FALSE(HasFailure());
  }
  EXPECT_GT(num_feasible, 0);
}

}  // namespace
