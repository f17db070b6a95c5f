// stopandsize_test.cpp - what keeps a solve in bounds: the progress callback, the stop flag and the
// size limits. The limits are set the way a run sets them, by "-solve".
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <csignal>
#include <limits>
#include <string>
#include <utility>

#include "commands.h"
#include "fakelibrary.h"
#include "solve.h"
#include "vlnexception.h"

namespace {

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();

// The callback's answer at that many seconds. Every other figure would stop any solve, and whatever
// else the library passes is missing.
int answerat(double seconds) {
  std::array<double, 100> figures;
  figures.fill(kInf);
  figures[VLN_DINF_ELAPSED_SECONDS] = seconds;
  return usercallback(nullptr, nullptr, VLNcallbackcode_enum{}, figures.data(), nullptr, nullptr);
}

// Taken before any test runs.
const int first_answer = answerat(kInf);

void solve(std::string_view args) {
  std::string name = "vorlancli";
  std::array words = {name.data()};
  RunState run(words);
  runsolve(run, args);
}

class UserCallback : public testing::Test {
 protected:
  UserCallback() { fake::reset(); }
  ~UserCallback() override {
    fake::reset();
    solve("");
  }
};

TEST_F(UserCallback, NoLimitAtFirst) { EXPECT_EQ(first_answer, 0); }

TEST_F(UserCallback, ComparesStrictly) {
  solve("time-limit=5");
  EXPECT_EQ(answerat(0.0), 0);
  EXPECT_EQ(answerat(-1.0), 0);
  EXPECT_EQ(answerat(std::nextafter(5.0, 0.0)), 0);
  EXPECT_EQ(answerat(5.0), 0);
  EXPECT_EQ(answerat(std::nextafter(5.0, 6.0)), 1);
  EXPECT_EQ(answerat(kInf), 1);
  EXPECT_EQ(answerat(-kInf), 0);
  EXPECT_EQ(answerat(kNan), 0);
}

TEST_F(UserCallback, LimitsThatAreNone) {
  for (const char* limit : {"0", "-0", "-5", "-1e300", "nan", "-nan", "-inf", "0.0", "-0.0"}) {
    solve("time-limit=1");
    solve(std::string("time-limit=") + limit);
    for (const double seconds : {0.0, 1e300, kInf, kNan, -kInf}) {
      EXPECT_EQ(answerat(seconds), VLN_RES_OK) << limit << " at " << seconds;
    }
    // The figures are not looked at when there is no limit.
    EXPECT_EQ(usercallback(nullptr, nullptr, VLNcallbackcode_enum{}, nullptr, nullptr, nullptr), 0);
  }
}

TEST_F(UserCallback, InfiniteLimit) {
  solve("time-limit=inf");
  EXPECT_EQ(answerat(std::numeric_limits<double>::max()), 0);
  EXPECT_EQ(answerat(kInf), 0);
  EXPECT_EQ(answerat(kNan), 0);
}

TEST_F(UserCallback, NumbersAreReadToTheirEnd) {
  struct Row {
    const char* text;
    double value;
  };
  for (const Row& row : {Row{"20s", 20.0}, Row{"1e-3", 1e-3}, Row{"1.5.5", 1.5}, Row{".5", 0.5},
                         Row{"2e", 2.0}, Row{"1E2x", 100.0}, Row{"5 ", 5.0}, Row{"1=2", 1.0}}) {
    solve(std::string("time-limit=") + row.text);
    EXPECT_EQ(answerat(row.value), VLN_RES_OK) << row.text;
    EXPECT_EQ(answerat(std::nextafter(row.value, kInf)), 1) << row.text;
  }
}

TEST_F(UserCallback, LaterItemOverrides) {
  solve("time-limit=1,time-limit=3");
  EXPECT_EQ(answerat(2.0), 0);
  EXPECT_EQ(answerat(4.0), 1);
}

TEST_F(UserCallback, BadNumbers) {
  for (const char* text : {"", "+5", " 5", "x", "-", ".", "e5", "s20"}) {
    try {
      solve(std::string("time-limit=") + text);
      ADD_FAILURE() << '"' << text << "\" was accepted";
    } catch (const std::string& message) {
      EXPECT_EQ(message, "Invalid value for time-limit in -solve") << text;
    }
  }
}

// The limit holds during the solve, after it, and until the next "-solve".
TEST_F(UserCallback, LimitOfOneSolve) {
  int during = -1;
  fake::task().optimize = [&](VLNrescode_enum&) {
    during = answerat(5.5);
    return VLN_RES_OK;
  };
  solve("time-limit=5");
  EXPECT_EQ(during, 1);
  EXPECT_EQ(answerat(5.5), 1);
  solve("");
  EXPECT_EQ(during, 0);
  EXPECT_EQ(answerat(kInf), 0);
}

TEST_F(UserCallback, SameForEveryCode) {
  solve("time-limit=5");
  std::array<double, VLN_DINF_ELAPSED_SECONDS + 1> figures{};
  const int intinf = 0;
  const long lintinf = 0;
  for (const int code : {0, 1, -1, 92, std::numeric_limits<int>::min()}) {
    const auto value = static_cast<VLNcallbackcode_enum>(code);
    figures[VLN_DINF_ELAPSED_SECONDS] = 6.0;
    EXPECT_EQ(usercallback(&fake::task(), &figures, value, figures.data(), &intinf, &lintinf), 1);
    figures[VLN_DINF_ELAPSED_SECONDS] = 4.0;
    EXPECT_EQ(usercallback(&fake::task(), &figures, value, figures.data(), &intinf, &lintinf), 0);
  }
}

// The flag is never taken back, so this happens in a process of its own; it ends with the number of
// expectations that did not hold.
[[noreturn]] void stopandcheck(int signal) {
  int failures = 0;
  const auto check = [&](bool holds) { failures += holds ? 0 : 1; };
  solve("time-limit=5");
  check(answerat(1.0) == 0);
  sigterm_handler(signal);
  for (const double seconds : {0.0, 1.0, 5.0, 6.0, kNan, -kInf}) check(answerat(seconds) == 1);
  check(usercallback(nullptr, nullptr, VLNcallbackcode_enum{}, nullptr, nullptr, nullptr) == 1);

  // Every later "-solve" is skipped: no call, no error of its ARGS, no change of the limit.
  fake::task().calls.clear();
  solve("max,time-limit=x,max-numvar=1");
  solve("");
  check(fake::count(fake::task(), "VLN_optimizetrm") == 0);
  check(fake::count(fake::task(), "VLN_putobjsense") == 0);
  check(fake::count(fake::task(), "VLN_getnumvar") == 0);
  check(answerat(0.0) == 1);
  std::_Exit(failures);
}

TEST_F(UserCallback, AfterTheSignal) {
  EXPECT_EXIT(stopandcheck(SIGTERM), testing::ExitedWithCode(0), "^$");
}

TEST_F(UserCallback, HandlerIgnoresWhichSignal) {
  EXPECT_EXIT(stopandcheck(0), testing::ExitedWithCode(0), "^$");
}

// ---- Sizes

class SizeCheck : public UserCallback {
 protected:
  // Gives the end of a solve with the given limits.
  static VLNrescode_enum codeof(std::string_view limits) {
    try {
      solve(limits);
    } catch (const VLNException& error) {
      return error.code;
    }
    return VLN_RES_OK;
  }
  vlntaskt& task_ = fake::task();
};

TEST_F(SizeCheck, LimitsAreInclusive) {
  task_.numvar = 8;
  task_.numbarvar = 2;
  task_.dims = {2, 1};
  task_.numcon = 4;
  task_.numcone = 2;
  EXPECT_EQ(codeof("max-numvar=12,max-numcon=6"), VLN_RES_OK);
  EXPECT_EQ(codeof("max-numvar=11"), VLN_RES_ERR_SERVER_PROBLEM_SIZE);
  EXPECT_EQ(codeof("max-numcon=5"), VLN_RES_ERR_SERVER_PROBLEM_SIZE);
}

// Counts are added as the library gives them: a negative one makes the sum smaller.
TEST_F(SizeCheck, NegativeCountsAreAddedAsTheyAre) {
  task_.numvar = -4;
  task_.numbarvar = 1;
  task_.dims = {3};
  task_.numcon = 9;
  task_.numcone = -7;
  EXPECT_EQ(codeof("max-numvar=2,max-numcon=2"), VLN_RES_OK);
  EXPECT_EQ(codeof("max-numvar=1"), VLN_RES_ERR_SERVER_PROBLEM_SIZE);
  EXPECT_EQ(codeof("max-numcon=1"), VLN_RES_ERR_SERVER_PROBLEM_SIZE);
}

// d(d+1) is formed in 32 unsigned bits: 6 for -3, and 65536 for 65536.
TEST_F(SizeCheck, TrianglesAreFormedIn32UnsignedBits) {
  task_.numvar = 2;
  task_.numbarvar = 1;
  for (const auto& [dimension, size] :
       {std::pair{-1, 0}, {-2, 1}, {-3, 3}, {65536, 32768}, {65535, 2147450880}}) {
    task_.dims = {dimension};
    EXPECT_EQ(codeof("max-numvar=" + std::to_string(size + 2)), VLN_RES_OK) << dimension;
    EXPECT_EQ(codeof("max-numvar=" + std::to_string(size + 1)), VLN_RES_ERR_SERVER_PROBLEM_SIZE)
        << dimension;
  }
}

TEST_F(SizeCheck, QueriesThatFailOrWriteNothingCountAsZero) {
  task_.numvar = task_.numcon = task_.numcone = task_.numbarvar = 100;
  task_.answer = [](std::string_view call) {
    return static_cast<VLNrescode_enum>(call.starts_with("VLN_getnum") ? 1 : 0);
  };
  EXPECT_EQ(codeof("max-numvar=1,max-numcon=1"), VLN_RES_OK);
  task_.answer = nullptr;
  task_.numvar = task_.numcon = task_.numcone = 0;
  task_.dims = {};
  EXPECT_EQ(codeof("max-numvar=1,max-numcon=1"), VLN_RES_OK);
}

}  // namespace
