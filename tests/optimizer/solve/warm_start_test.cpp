// Solves that start from what the task holds.
#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "small_models.h"
#include "task_support.h"

namespace {

void put(vlntaskt* task, const char* name, const char* value) {
  ASSERT_EQ(VLN_putparam(task, name, value), VLN_RES_OK) << name;
}

// When no iteration is allowed, only a solve from the optimal basis ends at the optimum.
TEST(WarmStart, SecondSolveOfAnUnchangedLinearModelTakesNoIterations) {
  for (const char* optimizer : {"free", "primal_simplex", "dual_simplex"}) {
    for (const char* child : {"on", "off"}) {
      TestTask task;
      ASSERT_EQ(task.read(two_products(-1)), VLN_RES_OK);
      put(task, "VLN_IPAR_OPTIMIZER", optimizer);
      put(task, "VLN_IPAR_CHILD_PROCESS", child);
      EXPECT_EQ(task.solve(), VLN_RES_OK);
      const auto x = task.var_doubles(VLN_getxx, kBasic);
      put(task, "VLN_IPAR_SIMPLEX_ITERATION_LIMIT", "0");
      EXPECT_EQ(task.solve(), VLN_RES_OK) << optimizer;
      EXPECT_EQ(task.solution_status(kBasic), solsta::kOptimal);
      EXPECT_EQ(task.var_doubles(VLN_getxx, kBasic), x);
      put(task, "VLN_IPAR_WARM_START", "off");
      put(task, "VLN_IPAR_PRESOLVE", "off");
      EXPECT_EQ(code_name(task.solve()), "VLN_RES_TRM_ITERATION_LIMIT") << optimizer;
    }
  }
}

// Interior-point methods cannot start from a point: the held optimum is checked, and stays.
TEST(WarmStart, SecondSolveByAnInteriorPointMethodTakesNoIterations) {
  struct Method {
    const char* optimizer;
    const char* crossover;
    int32_t kind;
  };
  for (const Method& m : {Method{"interior_point", "on", kBasic},
                          {"interior_point", "off", kInterior},
                          {"conic", "on", kInterior}}) {
    for (const int sign : {-1, 1}) {
      TestTask task;
      ASSERT_EQ(task.read(two_products(sign)), VLN_RES_OK);
      ASSERT_EQ(VLN_putobjsense(task, sign > 0 ? 1 : 0), VLN_RES_OK);
      put(task, "VLN_IPAR_OPTIMIZER", m.optimizer);
      put(task, "VLN_IPAR_CROSSOVER", m.crossover);
      put(task, "VLN_IPAR_PRESOLVE", "off");
      EXPECT_EQ(task.solve(), VLN_RES_OK);
      ASSERT_EQ(task.solution_status(m.kind), solsta::kOptimal);
      const auto x = task.var_doubles(VLN_getxx, m.kind);
      const auto y = task.con_doubles(VLN_gety, m.kind);
      const auto skx = task.var_ints(VLN_getskx, m.kind);
      put(task, "VLN_IPAR_INTERIOR_ITERATION_LIMIT", "0");
      EXPECT_EQ(task.solve(), VLN_RES_OK) << m.optimizer;
      EXPECT_NE(task.log().find("task holds is optimal"), std::string::npos);
      EXPECT_EQ(task.solution_status(m.kind), solsta::kOptimal);
      EXPECT_EQ(task.var_doubles(VLN_getxx, m.kind), x);
      EXPECT_EQ(task.con_doubles(VLN_gety, m.kind), y);
      EXPECT_EQ(task.var_ints(VLN_getskx, m.kind), skx);
      put(task, "VLN_IPAR_WARM_START", "off");
      EXPECT_NE(task.solve(), VLN_RES_OK) << m.optimizer << ": no iteration is allowed";
    }
  }
}

// The point was good enough for the tolerances of then.
TEST(WarmStart, AnOptimumOfLooserTolerancesIsImproved) {
  TestTask task;
  ASSERT_EQ(task.read(two_products(-1)), VLN_RES_OK);
  put(task, "VLN_IPAR_OPTIMIZER", "conic");
  put(task, "VLN_DPAR_CONIC_FEASIBILITY_TOLERANCE", "1e-2");
  put(task, "VLN_DPAR_CONIC_GAP_TOLERANCE", "1e-2");
  EXPECT_EQ(task.solve(), VLN_RES_OK);
  EXPECT_GT(std::fabs(task.objective(kInterior) + 11.0), 1e-6) << "too easy to show anything";
  put(task, "VLN_DPAR_CONIC_FEASIBILITY_TOLERANCE", "1e-8");
  put(task, "VLN_DPAR_CONIC_GAP_TOLERANCE", "1e-8");
  EXPECT_EQ(task.solve(), VLN_RES_OK);
  EXPECT_NEAR(task.objective(kInterior), -11.0, 1e-6);
}

// Another objective, by the other sense, makes the held optimum none.
TEST(WarmStart, AHeldOptimumMustBeOneOfTheModelAtHand) {
  TestTask task;
  ASSERT_EQ(task.read(two_products(-1)), VLN_RES_OK);
  put(task, "VLN_IPAR_OPTIMIZER", "conic");
  EXPECT_EQ(task.solve(), VLN_RES_OK);
  EXPECT_NEAR(task.objective(kInterior), -11.0, 1e-6);
  ASSERT_EQ(VLN_putobjsense(task, 1), VLN_RES_OK);
  EXPECT_EQ(task.solve(), VLN_RES_OK);
  EXPECT_EQ(task.solution_status(kInterior), solsta::kOptimal);
  EXPECT_NEAR(task.objective(kInterior), 0.0, 1e-6);
}

// Bounds of every kind keep their status through the task: fixed, free, upper only, ranged row.
TEST(WarmStart, EveryKindOfBoundIsCarried) {
  const std::string mps =
      R"(NAME A
ROWS
 N C
 G R
 L S
 E T
COLUMNS
 X C 1 R 1
 Y C 2 R 1
 Y T 1
 W S 1
 W T 1
 F S 0
 V C -1
 V T 1
RHS
 B R 3 S 9
 B T 8
RANGES
 G R 4
BOUNDS
 UP B X 2
 FX B W 5
 FR B F
 MI B V
 UP B V 2
ENDATA
)";
  TestTask task;
  ASSERT_EQ(task.read(mps), VLN_RES_OK);
  EXPECT_EQ(task.solve(), VLN_RES_OK);
  ASSERT_EQ(task.solution_status(kBasic), solsta::kOptimal);
  const double best = task.objective(kBasic);
  put(task, "VLN_IPAR_SIMPLEX_ITERATION_LIMIT", "0");
  EXPECT_EQ(task.solve(), VLN_RES_OK);
  EXPECT_EQ(task.solution_status(kBasic), solsta::kOptimal);
  EXPECT_EQ(task.objective(kBasic), best);
}

// The basis of one sense is a start for the other, not an answer to it.
TEST(WarmStart, AnotherSenseIsSolvedRight) {
  TestTask task;
  ASSERT_EQ(task.read(two_products(-1)), VLN_RES_OK);
  task.solve();
  EXPECT_NEAR(task.objective(kBasic), -11.0, 1e-9);
  ASSERT_EQ(VLN_putobjsense(task, 1), VLN_RES_OK);
  EXPECT_EQ(task.solve(), VLN_RES_OK);
  EXPECT_EQ(task.solution_status(kBasic), solsta::kOptimal);
  EXPECT_NEAR(task.objective(kBasic), 0.0, 1e-9);
}

TEST(WarmStart, CertificatesComeAgain) {
  const std::string infeasible = kContradiction;
  const std::string unbounded = kUnboundedDirection;
  for (const bool feasible : {false, true}) {
    for (const char* optimizer : {"free", "primal_simplex", "interior_point", "conic"}) {
      const int32_t kind = std::string(optimizer) == "conic" ? kInterior : kBasic;
      TestTask task;
      ASSERT_EQ(task.read(feasible ? unbounded : infeasible), VLN_RES_OK);
      put(task, "VLN_IPAR_OPTIMIZER", optimizer);
      for (int solve = 0; solve < 3; ++solve) {
        EXPECT_EQ(task.solve(), VLN_RES_OK);
        EXPECT_EQ(task.solution_status(kind), feasible ? 6 : 5) << optimizer << solve;
        const bool again = task.log().find("certificate that the task holds") != std::string::npos;
        EXPECT_EQ(again, solve > 0) << "the second solve has nothing to do";
      }
    }
  }
}

// A certificate of another model is no answer to this one.
TEST(WarmStart, AHeldCertificateMustProveTheModelAtHand) {
  TestTask task;
  ASSERT_EQ(task.read(R"(OBJSENSE
 MAX
NAME A
ROWS
 N C
 G R
COLUMNS
 X C 1 R 1
ENDATA
)"),
            VLN_RES_OK);
  EXPECT_EQ(task.solve(), VLN_RES_OK);
  EXPECT_EQ(task.solution_status(kBasic), solsta::kDualInfeasibleCertificate);
  ASSERT_EQ(VLN_putobjsense(task, 0), VLN_RES_OK);
  EXPECT_EQ(task.solve(), VLN_RES_OK);
  EXPECT_EQ(task.solution_status(kBasic), solsta::kOptimal);
  EXPECT_NEAR(task.objective(kBasic), 0.0, 1e-9);
}

// No iteration is allowed, and the file is all that the second task knows of the first.
void expect_start_from(vlntaskt* from, VLNrescode_enum (*write)(vlntaskt*, const char*),
                       VLNrescode_enum (*read)(vlntaskt*, const char*), const char* name) {
  const std::string path = test_file_path(name);
  ASSERT_EQ(write(from, path.c_str()), VLN_RES_OK) << name;
  TestTask task;
  ASSERT_EQ(task.read(two_products(-1)), VLN_RES_OK);
  ASSERT_EQ(read(task, path.c_str()), VLN_RES_OK) << name << ": " << task.last_message();
  put(task, "VLN_IPAR_PRESOLVE", "off");
  put(task, "VLN_IPAR_SIMPLEX_ITERATION_LIMIT", "0");
  EXPECT_EQ(task.solve(), VLN_RES_OK) << name;
  EXPECT_EQ(task.solution_status(kBasic), solsta::kOptimal) << name;
  put(task, "VLN_IPAR_WARM_START", "off");
  EXPECT_EQ(code_name(task.solve()), "VLN_RES_TRM_ITERATION_LIMIT") << name;
}

TEST(WarmStart, FromATaskFileAndFromASolutionFile) {
  TestTask task;
  ASSERT_EQ(task.read(two_products(-1)), VLN_RES_OK);
  EXPECT_EQ(task.solve(), VLN_RES_OK);
  for (const char* name : {"solved.task", "solved.jtask", "solved.task.zst"}) {
    expect_start_from(task, VLN_writedata, VLN_readdata, name);
  }
  expect_start_from(
      task, [](vlntaskt* t, const char* path) { return VLN_writebsolution(t, path, 0); },
      [](vlntaskt* t, const char* path) { return VLN_readbsolution(t, path, 0); }, "solved.b");
}

int stop_at_once(vlntaskt*, void*, VLNcallbackcode_enum, const double*, const int*, const long*) {
  return 1;
}

// Going on from a solution for no time at all must not lose it.
TEST(WarmStart, AStopBeforeAnythingWasFoundKeepsWhatWasHeld) {
  const std::string integer = kSmallInteger;
  struct Case {
    std::string mps;
    const char* optimizer;
    int32_t kind;
    int32_t status;
  };
  for (const Case& c : {Case{integer, "free", kInteger, 2},
                        {two_products(-1), "free", kBasic, 4},
                        {two_products(-1), "dual_simplex", kBasic, 4}}) {
    TestTask task;
    ASSERT_EQ(task.read(c.mps), VLN_RES_OK);
    put(task, "VLN_IPAR_OPTIMIZER", c.optimizer);
    EXPECT_EQ(task.solve(), VLN_RES_OK);
    const auto x = task.var_doubles(VLN_getxx, c.kind);
    ASSERT_EQ(VLN_putcallbackfunc(task, stop_at_once, nullptr), VLN_RES_OK);
    EXPECT_EQ(code_name(task.solve()), "VLN_RES_TRM_USER_CALLBACK");
    ASSERT_TRUE(task.defined(c.kind));
    EXPECT_EQ(task.solution_status(c.kind), c.status) << "a stop claims no optimum";
    EXPECT_EQ(task.var_doubles(VLN_getxx, c.kind), x);
    put(task, "VLN_IPAR_WARM_START", "off");
    EXPECT_EQ(code_name(task.solve()), "VLN_RES_TRM_USER_CALLBACK");
    EXPECT_FALSE(task.defined(c.kind));
  }
}

// An integer model with a solution of which a file gives nothing but the value of x.
std::string with_value_of_x(const char* value) {
  return std::string(R"(Minimize ] extended problem 1
Minimize
 o: x
Subject To
 c: x >= 1.5
Bounds
 x <= 9
Generals
 x
Solution integer
 variable x = )") +
         value + "\nEnd\n";
}

// The log has this when HiGHS is given a start.
constexpr char kUsed[] = "The search begins with a point that is given\n";

TEST(WarmStart, ValuesAloneAreAStart) {
  for (const char* stopped : {"", "stopped"}) {
    TestTask task;
    ASSERT_EQ(task.read_as("values.ptf", with_value_of_x("4")), VLN_RES_OK) << task.last_message();
    if (*stopped != '\0') {
      ASSERT_EQ(VLN_putcallbackfunc(task, stop_at_once, nullptr), VLN_RES_OK);
    }
    task.solve();
    ASSERT_TRUE(task.defined(kInteger)) << stopped;
    EXPECT_EQ(task.objective(kInteger), *stopped == '\0' ? 2.0 : 4.0);
    const bool is_used = task.log().find(kUsed) != std::string::npos;
    EXPECT_EQ(is_used, *stopped == '\0') << task.log();
  }
}

// Zeros of status unknown are all that an infeasible solve leaves.
TEST(WarmStart, ValuesAloneThatAreNotFeasibleAreNoStart) {
  for (const char* value : {"0", "2.5", "11"}) {
    TestTask task;
    ASSERT_EQ(task.read_as("values.ptf", with_value_of_x(value)), VLN_RES_OK);
    task.solve();
    EXPECT_EQ(task.solution_status(kInteger), solsta::kIntegerOptimal);
    EXPECT_EQ(task.objective(kInteger), 2.0);
    EXPECT_EQ(task.log().find(kUsed), std::string::npos) << task.log();
  }
}

// No node and no heuristic: what the second solve has, it had from the start.
TEST(WarmStart, IntegerSolveGoesOnFromItsIncumbent) {
  TestTask task;
  ASSERT_EQ(task.read(hard_integer_model()), VLN_RES_OK);
  put(task, "VLN_IPAR_MIP_NODE_LIMIT", "1000");
  EXPECT_EQ(code_name(task.solve()), "VLN_RES_TRM_NODE_LIMIT");
  const double first = task.objective(kInteger);
  put(task, "VLN_IPAR_MIP_NODE_LIMIT", "1");
  EXPECT_EQ(code_name(task.solve()), "VLN_RES_TRM_NODE_LIMIT");
  EXPECT_LE(task.objective(kInteger), first);
  put(task, "VLN_IPAR_WARM_START", "off");
  EXPECT_EQ(code_name(task.solve()), "VLN_RES_TRM_NODE_LIMIT");
  EXPECT_GT(task.objective(kInteger), first) << "a model too easy to show the start's effect";
}

}  // namespace
