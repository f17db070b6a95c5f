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

struct BoundCase {
  const char* what;
  const char* lp;
  double objective;
};

constexpr BoundCase kCases[] = {
    {"positive, off", R"(min
 x
st
 c: x + y <= 5
bounds
 2 <= x <= 4
semis
 x
end
)",
     0.0},
    {"positive, on", R"(min
 x
st
 c: x >= 1
bounds
 2 <= x <= 4
semis
 x
end
)",
     2.0},
    {"negative, at its far bound",
     R"(min
 x
st
 c: x + y <= 5
bounds
 -10 <= x <= -4
semis
 x
end
)",
     -10.0},
    {"negative, at its near bound",
     R"(max
 x
st
 c: x + y <= -1
bounds
 -10 <= x <= -4
semis
 x
end
)",
     -4.0},
    {"around 0, and nothing else to branch on",
     R"(min
 x
st
 c: x + y <= 5
bounds
 -10 <= x <= 4
semis
 x
end
)",
     -10.0},
    {"no lower bound",
     R"(min
 x
st
 c: x + y >= 2.5
bounds
 -inf <= x <= 9
 y <= 2
semis
 x
end
)",
     0.5},
    {"crossed bounds leave 0",
     R"(min
 - x
st
 c: x + y <= 5
bounds
 5 <= x <= 4
semis
 x
end
)",
     0.0},
    {"bounds of one value", R"(min
 x
st
 c: x >= 1
bounds
 3 <= x <= 3
semis
 x
end
)",
     3.0},
    {"a far bound that is met",
     R"(min
 - x
st
 c: x + y <= 1e7
bounds
 3 <= x <= 1e6
semis
 x
end
)",
     -1e6},
    {"a best point far from 0, and a good one near to it",
     R"(min
 0.000001 x + 10 b
st
 c: x + 1000000 b >= 500000
bounds
 3 <= x <= 1e6
binaries
 b
semis
 x
end
)",
     0.5},
    {"no far bound but that of a constraint",
     R"(max
 x - y
st
 c: x + y <= 5
bounds
 2 <= x <= inf
semis
 x
end
)",
     5.0},
    {"no far bound but that of constraints together, from below",
     R"(min
 x
st
 c: x + y >= 0
 d: y - z <= 0
 e: z <= 7
bounds
 -inf <= x <= -2
semis
 x
end
)",
     -7.0},
    {"an implied bound short of the near one",
     R"(max
 x
st
 c: x + y <= 1
bounds
 2 <= x <= inf
semis
 x
end
)",
     0.0},
    {"semi-integer",
     R"(min
 - x
st
 c: x + y <= 100
bounds
 3.5 <= x <= 17.5
generals
 x
semis
 x
end
)",
     -17.0},
};

TEST(SemiContinuous, EveryKindOfBound) {
  for (const BoundCase& c : kCases) {
    TestTask task;
    ASSERT_EQ(task.read_as("model.lp", c.lp), VLN_RES_OK) << c.what << task.last_message();
    EXPECT_EQ(task.solve(), VLN_RES_OK) << c.what;
    ASSERT_TRUE(task.defined(kInteger)) << c.what;
    EXPECT_EQ(task.solution_status(kInteger), solsta::kIntegerOptimal) << c.what << '\n'
                                                                       << task.log();
    EXPECT_NEAR(task.objective(kInteger), c.objective, 1e-7 * std::max(1.0, std::fabs(c.objective)))
        << c.what;
    // The second solve starts from where the first ended, switches and all.
    EXPECT_EQ(task.solve(), VLN_RES_OK) << c.what;
    EXPECT_NEAR(task.objective(kInteger), c.objective, 1e-7 * std::max(1.0, std::fabs(c.objective)))
        << c.what;
  }
}

// A switch that counts as off leaves 0.001 of a bound this far away, which is neither 0 nor within
// the bounds: no optimum.
TEST(SemiContinuous, ALittleOnIsNoOptimum) {
  TestTask task;
  ASSERT_EQ(task.read_as("model.lp",
                         R"(min
 x + y
st
 c: x + y >= 0.001
bounds
 2 <= x <= 1e7
 3 <= y <= 1e7
semis
 x y
end
)"),
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
                         R"(min
 - x
st
 c: y <= 5
bounds
 3 <= x <= inf
semis
 x
end
)"),
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

  // Each semi-continuous variable has a bit: on. Without bits, the model is solved as it is.
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
    if (status == solsta::kOptimal || status == solsta::kIntegerOptimal)
      return task.objective(kind);
    EXPECT_EQ(task.problem_status(kind), prosta::kPrimalInfeasible) << lp << task.log();
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
