// The conic method gives the same solution to the last bit for the same model and the same number of
// threads, in a child process or not: its operations are cut into pieces by sizes alone, and it makes
// no random choices.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <set>
#include <string>
#include <utility>

#include "task_support.h"

namespace {

constexpr int32_t kOptimal = 1;  // of the solution statuses in vorlan.h

// All kinds of cones, a matrix variable and quadratic terms in one model.
constexpr const char* kMixed =
    R"(Minimize ] extended problem 1
Matrix Variables
 X(3)
Minimize
 o: x0 + 2 r0 + e0 + p1 + f0 + g0 + X(1,1) + 2 X(2,2) + X(3,3) + [ x1^2 + r2^2 ] / 2
Subject To
 a: x1 + x2 + r2 >= 1.3
 b: r1 + e1 = 2
 c: e2 + p2 >= 1.7
 d: p0 + p1 <= 5
 e: X(2,1) + x1 >= 0.4
 f: X(3,1) - p2 = 0.1
 g: f1 - f2 >= 1.1
 h: g1 + 3 g2 >= 2
 i: g1 <= 4
 j: f2 >= -3
Bounds
 x1 free
 x2 free
 r2 free
 e2 free
 p2 free
 f1 free
 f2 free
 g2 free
Cones
 k1: quadratic x0 x1 x2
 k2: rotated_quadratic r0 r1 r2
 k3: exponential e0 e1 e2
 k4: power 0.3 0.7 p0 p1 p2
 k5: dual_exponential f0 f1 f2
 k6: dual_power 1 2 g0 g1 g2
End
)";

std::string answer(const char* child) {
  const std::string path = write_test_file("mixed.ptf", kMixed);
  TestTask task;
  EXPECT_EQ(VLN_readdata(task, path.c_str()), VLN_RES_OK) << task.last_message();
  EXPECT_EQ(VLN_putparam(task, "VLN_IPAR_CHILD_PROCESS", child), VLN_RES_OK);
  EXPECT_EQ(task.solve(), VLN_RES_OK);
  EXPECT_EQ(task.solution_status(VLN_SOLUTION_INTERIOR), kOptimal) << task.log();
  const std::string solution = test_file_path("solution.json");
  EXPECT_EQ(VLN_writejsonsol(task, solution.c_str()), VLN_RES_OK);
  return read_all(solution);
}

// A cut of a ring with chords, so scattered that no part of the ring is nearly one of its own: a
// matrix variable that is large enough for threads.
std::string cut_model(int order) {
  std::string text = std::to_string(order) + "\n1\n" + std::to_string(order) + "\n";
  for (int i = 0; i < order; ++i) text += "1 ";
  text += '\n';
  const auto element = [&](int matrix, int a, int b, const char* value) {
    text += std::to_string(matrix) + " 1 " + std::to_string(std::min(a, b)) + ' ' +
            std::to_string(std::max(a, b)) + ' ' + value + '\n';
  };
  for (int i = 1; i <= order; ++i) element(0, i, i, "1.0");
  for (int i = 1; i <= order; ++i) element(0, i, i % order + 1, "-0.25");
  std::set<std::pair<int, int>> chords;
  for (int i = 0; i < order; ++i) {
    for (const int other : {(i * i + 7 * i) % order, (i * i % order * i + 3) % order}) {
      const auto [low, high] = std::minmax(i, other);
      if (high - low > 1 && high - low < order - 1) chords.emplace(low + 1, high + 1);
    }
  }
  for (const auto& [low, high] : chords) element(0, low, high, "-0.25");
  for (int i = 1; i <= order; ++i) element(i, i, i, "1.0");
  return text;
}

struct CutAnswer {
  std::string solution;
  double objective = 0.0;
  std::string log;
};

CutAnswer solve_cut(const char* threads) {
  const std::string path = write_test_file("cut.dat-s", cut_model(130));
  TestTask task;
  EXPECT_EQ(VLN_readdata(task, path.c_str()), VLN_RES_OK) << task.last_message();
  EXPECT_EQ(VLN_putparam(task, "VLN_IPAR_NUM_THREADS", threads), VLN_RES_OK);
  EXPECT_EQ(task.solve(), VLN_RES_OK);
  EXPECT_EQ(task.solution_status(VLN_SOLUTION_INTERIOR), kOptimal) << task.log();
  CutAnswer answer;
  EXPECT_EQ(VLN_getprimalobj(task, VLN_SOLUTION_INTERIOR, &answer.objective), VLN_RES_OK);
  const std::string solution = test_file_path("cut.json");
  EXPECT_EQ(VLN_writejsonsol(task, solution.c_str()), VLN_RES_OK);
  answer.solution = read_all(solution);
  answer.log = task.log();
  return answer;
}

TEST(ThreadsOfConicSolves, SameBytesForTheSameNumberOfThreads) {
  const CutAnswer alone = solve_cut("1");
  EXPECT_EQ(alone.log.find(", in "), std::string::npos) << alone.log;
  const CutAnswer first = solve_cut("3");
  EXPECT_NE(first.log.find("up to 3 threads\n"), std::string::npos) << first.log;
  EXPECT_NE(first.log.find(", in 3 threads\n"), std::string::npos) << first.log;
  EXPECT_NEAR(first.objective, alone.objective, 1e-7 * std::fabs(alone.objective));
  for (int run = 0; run < 3; ++run) EXPECT_EQ(solve_cut("3").solution, first.solution);
}

// Threads of dense algebra take memory that a limit counts.
TEST(ThreadsOfConicSolves, ALimitOfMemoryLeavesOneThread) {
  const std::string path = write_test_file("cut.dat-s", cut_model(130));
  TestTask task;
  EXPECT_EQ(VLN_readdata(task, path.c_str()), VLN_RES_OK) << task.last_message();
  EXPECT_EQ(VLN_putparam(task, "VLN_IPAR_NUM_THREADS", "3"), VLN_RES_OK);
  EXPECT_EQ(VLN_putparam(task, "VLN_DPAR_MEMORY_LIMIT", "4000"), VLN_RES_OK);
  EXPECT_EQ(task.solve(), VLN_RES_OK);
  EXPECT_EQ(task.log().find(", in "), std::string::npos) << task.log();
}

// The limit is about 128 MiB for OpenBLAS, 13 matrices of the order, and half as much again. The method
// once took 31.
TEST(MemoryOfConicSolves, IsThatOfAFewMatricesOfTheOrder) {
#ifdef __SANITIZE_ADDRESS__
  GTEST_SKIP() << "the sanitizer ends the process when the system refuses memory";
#endif
  const std::string path = write_test_file("cut.dat-s", cut_model(600));
  TestTask task;
  EXPECT_EQ(VLN_readdata(task, path.c_str()), VLN_RES_OK) << task.last_message();
  EXPECT_EQ(VLN_putparam(task, "VLN_DPAR_MEMORY_LIMIT", "185"), VLN_RES_OK);
  EXPECT_EQ(VLN_putparam(task, "VLN_IPAR_INTERIOR_ITERATION_LIMIT", "3"), VLN_RES_OK);
  EXPECT_EQ(code_name(task.solve()), "VLN_RES_TRM_ITERATION_LIMIT") << task.last_message();
}

TEST(ConicDeterminism, SameBytesEveryTime) {
  const std::string first = answer("off");
  EXPECT_FALSE(first.empty());
  EXPECT_EQ(answer("off"), first);
  EXPECT_EQ(answer("on"), first);
}

}  // namespace
