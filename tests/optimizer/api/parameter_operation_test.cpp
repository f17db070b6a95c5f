// Parameters through the C interface: what is refused and how it is told, and that they work.
#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "task_support.h"

namespace {

TEST(ParameterOperation, UnknownNameTellsTheNearest) {
  TestTask task;
  EXPECT_EQ(code_name(VLN_putparam(task, "VLN_DPAR_TIME_LIMTI", "1")), "VLN_RES_ERR_PARAM_NAME");
  EXPECT_EQ(task.last_message(),
            "there is no parameter 'VLN_DPAR_TIME_LIMTI'; the nearest name is VLN_DPAR_TIME_LIMIT");
  EXPECT_EQ(code_name(VLN_putparam(task, "vln_ipar_presolve", "1")), "VLN_RES_ERR_PARAM_NAME");
  EXPECT_NE(task.last_message().find("VLN_IPAR_PRESOLVE"), std::string::npos);
}

// A name is offered only if it can have been meant; what all names begin with says nothing.
TEST(ParameterOperation, OnlyANearNameIsTold) {
  const std::pair<const char*, const char*> kNear[] = {
      {"TIME_LIMIT", "VLN_DPAR_TIME_LIMIT"},
      {"presolve", "VLN_IPAR_PRESOLVE"},
      {"VLN_IPAR_TIME_LIMIT", "VLN_DPAR_TIME_LIMIT"},
      {"VNL_IPAR_SCALIGN", "VLN_IPAR_SCALING"},
      {"VLN_SPAR_LOGFILE", "VLN_SPAR_LOG_FILE"},
      {"threads", "VLN_IPAR_NUM_THREADS"},
      {"VLN_DPAR_OBJECTIVE_TARGET", "VLN_DPAR_MIP_TARGET_OBJECTIVE"},
  };
  for (const auto& [name, near] : kNear) {
    TestTask task;
    EXPECT_EQ(code_name(VLN_putparam(task, name, "1")), "VLN_RES_ERR_PARAM_NAME");
    EXPECT_EQ(task.last_message(),
              std::string("there is no parameter '") + name + "'; the nearest name is " + near);
  }
  for (const char* name :
       {"VLN_IPAR_FOO", "VLN_IPAR_MAX_ITERATIONS_OF_ALL", "x", "", "VLN_IPAR_"}) {
    TestTask task;
    EXPECT_EQ(code_name(VLN_putparam(task, name, "1")), "VLN_RES_ERR_PARAM_NAME");
    EXPECT_EQ(task.last_message(), std::string("there is no parameter '") + name + "'");
  }
}

struct BadValue {
  const char* name;
  const char* value;
  const char* code;
};

TEST(ParameterOperation, BadValuesAreRefusedWithWhatIsAllowed) {
  constexpr BadValue kBadValues[] = {
      {"VLN_IPAR_PRESOLVE", "3", "VLN_RES_ERR_PARAM_RANGE"},
      {"VLN_IPAR_PRESOLVE", "99999999999999", "VLN_RES_ERR_PARAM_RANGE"},
      {"VLN_IPAR_PRESOLVE", "perhaps", "VLN_RES_ERR_PARAM_VALUE"},
      {"VLN_IPAR_PRESOLVE", "1x", "VLN_RES_ERR_PARAM_VALUE"},
      {"VLN_IPAR_PRESOLVE", "", "VLN_RES_ERR_PARAM_VALUE"},
      {"VLN_IPAR_PRESOLVE", "1.5", "VLN_RES_ERR_PARAM_VALUE"},
      {"VLN_DPAR_TIME_LIMIT", "-1", "VLN_RES_ERR_PARAM_RANGE"},
      {"VLN_DPAR_TIME_LIMIT", "nan", "VLN_RES_ERR_PARAM_RANGE"},
      {"VLN_DPAR_TIME_LIMIT", "soon", "VLN_RES_ERR_PARAM_VALUE"},
  };
  for (const BadValue& bad : kBadValues) {
    TestTask task;
    EXPECT_EQ(code_name(VLN_putparam(task, bad.name, bad.value)), bad.code) << bad.value;
    EXPECT_NE(task.last_message().find(" to "), std::string::npos) << task.last_message();
    EXPECT_NE(task.last_message().find(bad.name), std::string::npos) << task.last_message();
  }
}

TEST(ParameterOperation, ByIndex) {
  TestTask task;
  int32_t value = -1;
  EXPECT_EQ(code_name(VLN_getintparam(task, 46, &value)), "VLN_RES_ERR_PARAM_INDEX");
  EXPECT_EQ(code_name(VLN_putintparam(task, -1, 0)), "VLN_RES_ERR_PARAM_INDEX");
  EXPECT_EQ(value, -1) << "a failing query leaves the out-argument alone";
  EXPECT_EQ(VLN_getintparam(task, 45, &value), VLN_RES_OK);
  EXPECT_EQ(value, 1);
}

TEST(ParameterOperation, StringParametersThatAreReservedTakeOnlyTheEmptyString) {
  constexpr int32_t kNumInUse = 14;
  TestTask task;
  for (int32_t index = 0; index < 24; ++index) {
    const std::string expected = index < kNumInUse ? "VLN_RES_OK" : "VLN_RES_ERR_PARAM_RESERVED";
    EXPECT_EQ(code_name(VLN_putstrparam(task, index, "x")), expected) << index;
    EXPECT_EQ(VLN_putstrparam(task, index, ""), VLN_RES_OK) << index;
  }
  EXPECT_EQ(code_name(VLN_putstrparam(task, 24, "")), "VLN_RES_ERR_PARAM_INDEX");
  EXPECT_EQ(code_name(VLN_putstrparam(task, -1, "")), "VLN_RES_ERR_PARAM_INDEX");
}

// A safe read empties all of them by number; who had set one should know that it acts no more.
TEST(ParameterOperation, ClearingAStringParameterThatWasSetIsTold) {
  TestTask task;
  ASSERT_EQ(VLN_putparam(task, "VLN_SPAR_LOG_FILE", "x"), VLN_RES_OK);
  for (int32_t index = 0; index < 24; ++index) {
    ASSERT_EQ(VLN_putstrparam(task, index, ""), VLN_RES_OK);
  }
  EXPECT_EQ(task.log(), "safe read: cleared VLN_SPAR_LOG_FILE\n");
}

TEST(ParameterOperation, LogLevelDecidesWhatIsLogged) {
  const auto log_at = [](const char* level) {
    TestTask task;
    EXPECT_EQ(VLN_putparam(task, "VLN_IPAR_LOG", level), VLN_RES_OK);
    EXPECT_EQ(task.read(two_products(-1)), VLN_RES_OK);
    task.solve();
    return task.log();
  };
  EXPECT_EQ(log_at("off"), "");
  EXPECT_NE(log_at("summary").find("Optimization ended"), std::string::npos);
  EXPECT_LT(log_at("summary").size(), log_at("full").size());
}

// Every way to the optimum of a linear model ends there.
TEST(ParameterOperation, OptimizersAndPresolveAgree) {
  for (const char* optimizer : {"free", "primal_simplex", "dual_simplex", "interior_point"}) {
    for (const char* presolve : {"off", "on", "free"}) {
      for (const char* child : {"off", "on"}) {
        TestTask task;
        ASSERT_EQ(VLN_putparam(task, "VLN_IPAR_OPTIMIZER", optimizer), VLN_RES_OK);
        ASSERT_EQ(VLN_putparam(task, "VLN_IPAR_PRESOLVE", presolve), VLN_RES_OK);
        ASSERT_EQ(VLN_putparam(task, "VLN_IPAR_CHILD_PROCESS", child), VLN_RES_OK);
        ASSERT_EQ(task.read(two_products(-1)), VLN_RES_OK);
        EXPECT_EQ(task.solve(), VLN_RES_OK);
        EXPECT_EQ(task.solution_status(kBasic), solsta::kOptimal) << optimizer << ' ' << presolve;
        EXPECT_NEAR(task.objective(kBasic), -11.0, 1e-9) << optimizer << ' ' << presolve;
      }
    }
  }
}

// What a user set in vain stands in the log, and nothing else does.
TEST(ParameterOperation, TheLogNamesWhatTheMethodDoesNotUse) {
  const auto log_with = [](const char* optimizer) {
    TestTask task;
    for (const auto& [name, value] :
         {std::pair{"VLN_IPAR_OPTIMIZER", optimizer}, std::pair{"VLN_IPAR_PRESOLVE", "off"},
          std::pair{"VLN_IPAR_MIP_NODE_LIMIT", "5"},
          std::pair{"VLN_DPAR_CONIC_GAP_TOLERANCE", "1e-9"}}) {
      EXPECT_EQ(VLN_putparam(task, name, value), VLN_RES_OK);
    }
    EXPECT_EQ(task.read(two_products(-1)), VLN_RES_OK);
    task.solve();
    return task.log();
  };
  EXPECT_NE(log_with("free").find("\nSet, but not used by the method (simplex): "
                                  "VLN_IPAR_MIP_NODE_LIMIT, VLN_DPAR_CONIC_GAP_TOLERANCE\n"),
            std::string::npos);
  EXPECT_NE(log_with("conic").find("\nSet, but not used by the method (conic): VLN_IPAR_PRESOLVE, "
                                   "VLN_IPAR_MIP_NODE_LIMIT\n"),
            std::string::npos);
  TestTask plain;
  EXPECT_EQ(plain.read(two_products(-1)), VLN_RES_OK);
  plain.solve();
  EXPECT_EQ(plain.log().find("not used"), std::string::npos) << plain.log();
}

TEST(ParameterOperation, OptimizerChoiceReachesTheOptimizer) {
  TestTask task;
  ASSERT_EQ(VLN_putparam(task, "VLN_IPAR_OPTIMIZER", "interior_point"), VLN_RES_OK);
  ASSERT_EQ(VLN_putparam(task, "VLN_IPAR_PRESOLVE", "off"), VLN_RES_OK);
  ASSERT_EQ(task.read(two_products(-1)), VLN_RES_OK);
  task.solve();
  EXPECT_NE(task.log().find("IPX"), std::string::npos) << task.log();
}

}  // namespace
