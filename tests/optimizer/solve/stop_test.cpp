// Ends of a solve before its natural end, on a model that would take minutes.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cmath>
#include <csignal>
#include <sstream>
#include <string>

#include "task_support.h"

namespace {

double now() {
  using namespace std::chrono;
  return duration<double>(steady_clock::now().time_since_epoch()).count();
}

struct Beat {
  int calls = 0;
  double stop_after = 1e300;  // seconds
  double asked_at = 0.0;
  double last_elapsed = 0.0;
  bool elapsed_rises = true;
};

int beat(vlntaskt*, void* handle, VLNcallbackcode_enum, const double* doubles, const int*,
         const long*) {
  auto* state = static_cast<Beat*>(handle);
  ++state->calls;
  if (doubles[50] < state->last_elapsed) state->elapsed_rises = false;
  state->last_elapsed = doubles[50];
  if (doubles[50] < state->stop_after) return 0;
  if (state->asked_at == 0.0) state->asked_at = now();
  return 1;
}

class Stop : public testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(task_.read(hard_integer_model()), VLN_RES_OK); }

  TestTask task_;
  Beat beat_;
};

TEST_F(Stop, ByTheCallback) {
  beat_.stop_after = 1.0;
  ASSERT_EQ(VLN_putcallbackfunc(task_, beat, &beat_), VLN_RES_OK);
  EXPECT_EQ(code_name(task_.solve()), "VLN_RES_TRM_USER_CALLBACK");
  const double seconds_to_stop = now() - beat_.asked_at;
  EXPECT_LT(seconds_to_stop, 2.0);  // promised within 0.5 s; a busy machine may take longer
  EXPECT_GE(beat_.calls, 20);
  EXPECT_TRUE(beat_.elapsed_rises);
  ASSERT_TRUE(task_.defined(kInteger));
  EXPECT_EQ(task_.solution_status(kInteger), solsta::kPrimalFeasible);
  EXPECT_EQ(task_.problem_status(kInteger), prosta::kPrimalFeasible);
  EXPECT_GE(task_.objective(kInteger), 0.0);
  EXPECT_NE(task_.log().find("stopped by the caller (time limit of the command, or SIGTERM)"),
            std::string::npos);
}

TEST_F(Stop, ByTheCallbackBeforeAnythingHappened) {
  beat_.stop_after = 0.0;
  ASSERT_EQ(VLN_putcallbackfunc(task_, beat, &beat_), VLN_RES_OK);
  EXPECT_EQ(code_name(task_.solve()), "VLN_RES_TRM_USER_CALLBACK");
  EXPECT_FALSE(task_.defined(kInteger)) << "nothing was found, so nothing is defined";
}

TEST_F(Stop, ByTheTimeLimit) {
  ASSERT_EQ(VLN_putparam(task_, "VLN_DPAR_TIME_LIMIT", "0.5"), VLN_RES_OK);
  const double start = now();
  EXPECT_EQ(code_name(task_.solve()), "VLN_RES_TRM_TIME_LIMIT");
  EXPECT_GE(now() - start, 0.45);
  EXPECT_LT(now() - start, 3.0);
  EXPECT_EQ(task_.solution_status(kInteger), solsta::kPrimalFeasible);
}

TEST_F(Stop, InThisProcess) {
  ASSERT_EQ(VLN_putparam(task_, "VLN_IPAR_CHILD_PROCESS", "off"), VLN_RES_OK);
  beat_.stop_after = 1.0;
  ASSERT_EQ(VLN_putcallbackfunc(task_, beat, &beat_), VLN_RES_OK);
  EXPECT_EQ(code_name(task_.solve()), "VLN_RES_TRM_USER_CALLBACK");
  EXPECT_EQ(task_.solution_status(kInteger), solsta::kPrimalFeasible);
}

TEST_F(Stop, ByTheNodeLimit) {
  ASSERT_EQ(VLN_putparam(task_, "VLN_IPAR_MIP_NODE_LIMIT", "5"), VLN_RES_OK);
  EXPECT_EQ(code_name(task_.solve()), "VLN_RES_TRM_NODE_LIMIT");
  EXPECT_EQ(task_.solution_status(kInteger), solsta::kPrimalFeasible);
}

TEST_F(Stop, ByTheSolutionLimit) {
  ASSERT_EQ(VLN_putparam(task_, "VLN_IPAR_MIP_SOLUTION_LIMIT", "1"), VLN_RES_OK);
  EXPECT_EQ(code_name(task_.solve()), "VLN_RES_TRM_SOLUTION_LIMIT");
  EXPECT_EQ(task_.solution_status(kInteger), solsta::kPrimalFeasible);
}

TEST(StopLinear, ByTheIterationLimit) {
  TestTask task;
  ASSERT_EQ(task.read(two_products(-1)), VLN_RES_OK);
  ASSERT_EQ(VLN_putparam(task, "VLN_IPAR_PRESOLVE", "off"), VLN_RES_OK);
  ASSERT_EQ(VLN_putparam(task, "VLN_IPAR_SIMPLEX_ITERATION_LIMIT", "0"), VLN_RES_OK);
  EXPECT_EQ(code_name(task.solve()), "VLN_RES_TRM_ITERATION_LIMIT");
}

TEST(StopLinear, ByTheInteriorIterationLimit) {
  TestTask task;
  ASSERT_EQ(task.read(two_products(-1)), VLN_RES_OK);
  ASSERT_EQ(VLN_putparam(task, "VLN_IPAR_PRESOLVE", "off"), VLN_RES_OK);
  ASSERT_EQ(VLN_putparam(task, "VLN_IPAR_OPTIMIZER", "interior_point"), VLN_RES_OK);
  ASSERT_EQ(VLN_putparam(task, "VLN_IPAR_INTERIOR_ITERATION_LIMIT", "1"), VLN_RES_OK);
  EXPECT_EQ(code_name(task.solve()), "VLN_RES_TRM_ITERATION_LIMIT");
}

// Equations of large random weights, each to come to half of their sum: nothing finds a point of
// them in a node, and nothing proves that there is none.
TEST(StopInteger, WithoutAPointTheBoundIsInTheJsonSolution) {
  constexpr int kRows = 4;
  constexpr int kVars = 30;
  uint32_t random = 1;
  std::string text = R"(min
 3 x0 + 2 x1 + x2 + 7
st
)";
  for (int row = 0; row < kRows; ++row) {
    int sum = 0;
    for (int var = 0; var < kVars; ++var) {
      random = random * 1664525U + 1013904223U;
      const int weight = static_cast<int>(random >> 16 & 1023U) + 1;
      sum += weight;
      text += (var == 0 ? " " : " + ") + std::to_string(weight) + " x" + std::to_string(var);
    }
    text += " = " + std::to_string(sum / 2) + "\n";
  }
  text += "binaries\n";
  for (int var = 0; var < kVars; ++var) text += " x" + std::to_string(var);
  TestTask task;
  ASSERT_EQ(task.read_as("split.lp", text + "\nend\n"), VLN_RES_OK);
  ASSERT_EQ(VLN_putparam(task, "VLN_IPAR_MIP_NODE_LIMIT", "1"), VLN_RES_OK);
  EXPECT_EQ(code_name(task.solve()), "VLN_RES_TRM_NODE_LIMIT");
  ASSERT_FALSE(task.defined(VLN_SOLUTION_INTEGER));
  const std::string path = test_file_path("solution.json");
  ASSERT_EQ(VLN_writejsonsol(task, path.c_str()), VLN_RES_OK);
  const std::string json = read_all(path);
  const size_t place = json.find("\"bound\"");
  ASSERT_NE(place, std::string::npos) << json;
  const double bound = std::strtod(json.c_str() + json.find(':', place) + 1, nullptr);
  EXPECT_GE(bound, 7.0 - 1e-9);
  EXPECT_LE(bound, 13.0 + 1e-9);
}

// A terminal's or a service's signal reaches the program's handler and, through the callback, the
// solve; the child process takes no notice of it.
volatile std::sig_atomic_t g_signalled = 0;
void on_signal(int) { g_signalled = 1; }
int stop_when_signalled(vlntaskt*, void*, VLNcallbackcode_enum, const double*, const int*,
                        const long*) {
  return g_signalled;
}

TEST_F(Stop, BySignal) {
  g_signalled = 0;
  const auto earlier = std::signal(SIGALRM, on_signal);
  ASSERT_EQ(VLN_putcallbackfunc(task_, stop_when_signalled, nullptr), VLN_RES_OK);
  const double start = now();
  alarm(1);
  EXPECT_EQ(code_name(task_.solve()), "VLN_RES_TRM_USER_CALLBACK");
  std::signal(SIGALRM, earlier);
  EXPECT_GE(now() - start, 0.9);
  EXPECT_LT(now() - start, 3.0);
}

// No operation but a solve calls the callback, which must not be able to make anything else fail.
TEST_F(Stop, ReadingNeverCallsTheCallback) {
  ASSERT_EQ(VLN_putcallbackfunc(task_, beat, &beat_), VLN_RES_OK);
  EXPECT_EQ(task_.read(two_products(-1)), VLN_RES_OK);
  EXPECT_EQ(beat_.calls, 0);
}

// A stop that was asked for during the solve is asked for still, and a time limit is long past,
// when the results are written.
TEST_F(Stop, NeitherAStopNorAnOldTimeLimitMakesALaterWriteFail) {
  for (const char* limit : {"inf", "0.3"}) {
    beat_ = {};
    beat_.stop_after = 0.3;
    ASSERT_EQ(VLN_putcallbackfunc(task_, beat, &beat_), VLN_RES_OK);
    ASSERT_EQ(VLN_putparam(task_, "VLN_DPAR_TIME_LIMIT", limit), VLN_RES_OK);
    EXPECT_NE(task_.solve(), VLN_RES_OK);
    const int calls = beat_.calls;
    for (const char* name : {"a.mps", "a.lp", "a.ptf", "a.task", "a.jtask.zst"}) {
      EXPECT_EQ(VLN_writedata(task_, test_file_path(name).c_str()), VLN_RES_OK) << name;
      TestTask copy;
      EXPECT_EQ(VLN_readdata(copy, test_file_path(name).c_str()), VLN_RES_OK) << name;
    }
    EXPECT_EQ(VLN_writejsonsol(task_, test_file_path("a.json").c_str()), VLN_RES_OK);
    EXPECT_EQ(VLN_writebsolution(task_, test_file_path("a.b").c_str(), 0), VLN_RES_OK);
    EXPECT_EQ(VLN_readbsolution(task_, test_file_path("a.b").c_str(), 0), VLN_RES_OK);
    EXPECT_EQ(VLN_writetasksolverresult_file(task_, test_file_path("r.task").c_str(), 0),
              VLN_RES_OK);
    EXPECT_EQ(beat_.calls, calls) << "only a solve calls it";
  }
}

int stop_after_second_iteration(vlntaskt*, void*, VLNcallbackcode_enum, const double*, const int*,
                                const long* longs) {
  return longs[1] >= 2;
}

// The relaxation of a maximum cut: max <C, X>, diag(X) = 1. One iteration on so many nodes takes
// longer than the grace of a stop, so that the solve's process is killed in the middle of one.
std::string large_semidefinite_model() {
  constexpr int kNodes = 900;
  std::ostringstream text;
  text << kNodes << "\n1\n" << kNodes << '\n';
  for (int i = 0; i < kNodes; ++i) text << "1 ";
  text << '\n';
  for (int i = 1; i <= kNodes; ++i) {
    text << "0 1 " << i << ' ' << i << " 2\n";
    if (i < kNodes) text << "0 1 " << i << ' ' << i + 1 << " -1\n";
  }
  for (int i = 1; i <= kNodes; ++i) text << i << " 1 " << i << ' ' << i << " 1\n";
  return text.str();
}

TEST(StopConic, AnIterationThatIsLongerThanTheGraceLeavesTheLastIterate) {
  TestTask task;
  ASSERT_EQ(task.read_as("cut.dat-s", large_semidefinite_model()), VLN_RES_OK);
  ASSERT_EQ(VLN_putcallbackfunc(task, stop_after_second_iteration, nullptr), VLN_RES_OK);
  EXPECT_EQ(code_name(task.solve()), "VLN_RES_TRM_USER_CALLBACK");
  ASSERT_TRUE(task.defined(kInterior)) << task.log();
  EXPECT_GT(std::fabs(task.objective(kInterior)), 0.0);
  const std::string end = task.log().substr(task.log().find("Optimization ended"));
  EXPECT_NE(end.find("\n  objective "), std::string::npos) << end;
  // Where the process had to be killed, nobody has measured them.
  EXPECT_NE(end.find(" violation"), std::string::npos) << end;
}

// Neither after a solve that ended by itself nor after one that was stopped: a process that takes
// long to vanish, as on a busy machine, is gone with its task at the latest.
TEST(StoppedTasks, NoProcessIsLeft) {
  {
    TestTask ends;
    ASSERT_EQ(ends.read(two_products(-1)), VLN_RES_OK);
    ASSERT_EQ(VLN_putparam(ends, "VLN_IPAR_CHILD_PROCESS", "on"), VLN_RES_OK);
    EXPECT_EQ(ends.solve(), VLN_RES_OK);
    TestTask stopped;
    ASSERT_EQ(stopped.read(hard_integer_model()), VLN_RES_OK);
    ASSERT_EQ(VLN_putparam(stopped, "VLN_DPAR_TIME_LIMIT", "0.3"), VLN_RES_OK);
    EXPECT_EQ(code_name(stopped.solve()), "VLN_RES_TRM_TIME_LIMIT");
  }
  EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
  EXPECT_EQ(errno, ECHILD);
}

}  // namespace
