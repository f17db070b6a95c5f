// Random models whose right answers are known by other means: linear ones by the proof that every
// answer is (weak duality, or a ray), computed here from the model alone; integer ones by trying
// every point; all of them by another solver where glpsol is installed.
//
// More of them: VORLAN_RANDOM_MODELS=20000 vorlan64_tests --gtest_filter='RandomModel*'
#include "random_model.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

#include "task_support.h"

namespace {

constexpr double kTolerance = 1e-6;

enum class Verdict { kOptimal, kInfeasible, kUnbounded, kOther };

struct SolverAnswer {
  Verdict verdict = Verdict::kOther;
  double objective = 0.0;
};

// Changes the way to the answer, not the answer.
void choose_way(vlntaskt* task, uint32_t seed) {
  constexpr const char* kOptimizers[] = {"free", "primal_simplex", "interior_point"};
  constexpr const char* kPresolve[] = {"free", "off"};
  ASSERT_EQ(VLN_putparam(task, "VLN_IPAR_OPTIMIZER", kOptimizers[seed % 3]), VLN_RES_OK);
  ASSERT_EQ(VLN_putparam(task, "VLN_IPAR_PRESOLVE", kPresolve[seed / 3 % 2]), VLN_RES_OK);
}

// The gap is closed, so that a wrong optimum within the default gap does not pass.
void solve(const RandomModel& model, uint32_t seed, TestTask* task) {
  ASSERT_EQ(task->read(model.mps()), VLN_RES_OK) << task->last_message();
  ASSERT_EQ(VLN_putobjsense(*task, model.maximize ? 1 : 0), VLN_RES_OK);
  ASSERT_EQ(VLN_putparam(*task, "VLN_DPAR_MIP_RELATIVE_GAP", "0"), VLN_RES_OK);
  choose_way(*task, seed);
  EXPECT_EQ(task->solve(), VLN_RES_OK);
}

SolverAnswer answer_of(const TestTask& task, int32_t kind) {
  if (!task.defined(kind)) return {};
  const int32_t status = task.solution_status(kind);
  if (status == solsta::kOptimal || status == solsta::kIntegerOptimal)
    return {Verdict::kOptimal, task.objective(kind)};
  const int32_t problem = task.problem_status(kind);
  if (problem == 4) return {Verdict::kInfeasible, 0.0};
  if (problem == 5) return {Verdict::kUnbounded, 0.0};
  return {};
}

// ---- Proofs of linear answers ------------------------------------------------------------------

double activity(const std::vector<double>& row, const std::vector<double>& x) {
  double sum = 0.0;
  for (size_t j = 0; j < x.size(); ++j) sum += row[j] * x[j];
  return sum;
}

void expect_within(double value, double lower, double upper) {
  EXPECT_GE(value, lower - kTolerance);
  EXPECT_LE(value, upper + kTolerance);
}

void check_point(const RandomModel& model, const std::vector<double>& x) {
  for (size_t j = 0; j < x.size(); ++j) expect_within(x[j], model.lower[j], model.upper[j]);
  for (size_t i = 0; i < model.num_con(); ++i) {
    expect_within(activity(model.matrix[i], x), model.con_lower[i], model.con_upper[i]);
  }
}

// A multiplier of a bound has the sense's sign; of an infinite bound it is nothing.
double worth(double multiplier, double bound, double factor) {
  EXPECT_GE(factor * multiplier, -kTolerance);
  if (std::isfinite(bound)) return multiplier * bound;
  EXPECT_NEAR(multiplier, 0.0, kTolerance);
  return 0.0;
}

// Checks the duals for the given cost, and returns their objective.
double check_duals(const RandomModel& model, const TestTask& task,
                   const std::vector<double>& cost) {
  const double factor = model.maximize ? -1.0 : 1.0;
  const auto slx = task.var_doubles(VLN_getslx, kBasic);
  const auto sux = task.var_doubles(VLN_getsux, kBasic);
  const auto slc = task.con_doubles(VLN_getslc, kBasic);
  const auto suc = task.con_doubles(VLN_getsuc, kBasic);
  double objective = 0.0;
  for (size_t i = 0; i < model.num_con(); ++i) {
    objective += worth(slc[i], model.con_lower[i], factor);
    objective -= worth(suc[i], model.con_upper[i], factor);
  }
  for (size_t j = 0; j < model.num_var(); ++j) {
    objective += worth(slx[j], model.lower[j], factor);
    objective -= worth(sux[j], model.upper[j], factor);
    double reduced = cost[j] - slx[j] + sux[j];
    for (size_t i = 0; i < model.num_con(); ++i) {
      reduced -= model.matrix[i][j] * (slc[i] - suc[i]);
    }
    EXPECT_NEAR(reduced, 0.0, kTolerance);
  }
  return objective;
}

void check_optimum(const RandomModel& model, const TestTask& task) {
  const auto x = task.var_doubles(VLN_getxx, kBasic);
  check_point(model, x);
  const double objective = activity(model.cost, x) + model.constant;
  EXPECT_NEAR(task.objective(kBasic), objective, kTolerance);
  EXPECT_NEAR(check_duals(model, task, model.cost) + model.constant, objective, 10 * kTolerance);
}

void check_dual_ray(const RandomModel& model, const TestTask& task) {
  const double factor = model.maximize ? -1.0 : 1.0;
  const double objective = check_duals(model, task, std::vector<double>(model.num_var(), 0.0));
  EXPECT_GT(factor * objective, 1e-3);
}

// The ray never leaves the feasible set when it starts from a feasible point, if there is one.
void check_primal_ray(const RandomModel& model, const TestTask& task) {
  const auto along = [](double bound) { return std::isfinite(bound) ? 0.0 : bound; };
  const auto ray = task.var_doubles(VLN_getxx, kBasic);
  for (size_t j = 0; j < ray.size(); ++j) {
    expect_within(ray[j], along(model.lower[j]), along(model.upper[j]));
  }
  for (size_t i = 0; i < model.num_con(); ++i) {
    expect_within(activity(model.matrix[i], ray), along(model.con_lower[i]),
                  along(model.con_upper[i]));
  }
  EXPECT_GT((model.maximize ? 1.0 : -1.0) * activity(model.cost, ray), 1e-3);
}

TEST(RandomModel, EveryLinearAnswerIsProved) {
  int seen[3] = {};
  for (uint32_t seed = 0; seed < num_random_models(); ++seed) {
    const RandomModel model = make_random_model(RandomKind::kLinear, seed);
    TestTask task;
    solve(model, seed, &task);
    const Verdict verdict = answer_of(task, kBasic).verdict;
    ASSERT_NE(verdict, Verdict::kOther) << "seed " << seed << '\n' << task.log() << model.mps();
    ++seen[static_cast<int>(verdict)];
    if (verdict == Verdict::kOptimal) check_optimum(model, task);
    if (verdict == Verdict::kInfeasible) {
      EXPECT_EQ(task.solution_status(kBasic), solsta::kPrimalInfeasibleCertificate);
      check_dual_ray(model, task);
    }
    if (verdict == Verdict::kUnbounded) {
      EXPECT_EQ(task.solution_status(kBasic), solsta::kDualInfeasibleCertificate);
      check_primal_ray(model, task);
    }
    ASSERT_FALSE(HasFailure()) << "seed " << seed << '\n' << task.log() << model.mps();
  }
  for (const int count : seen) EXPECT_GT(count, 0) << "a kind of answer never came";
}

// ---- Trying every point ------------------------------------------------------------------------

bool is_feasible(const RandomModel& model, const std::vector<double>& x) {
  for (size_t i = 0; i < model.num_con(); ++i) {
    const double value = activity(model.matrix[i], x);
    if (value < model.con_lower[i] || value > model.con_upper[i]) return false;
  }
  return true;
}

// The next point of the box like an odometer; false after the last.
bool advance(const RandomModel& model, std::vector<double>* x) {
  for (size_t j = 0; j < x->size(); ++j) {
    (*x)[j] += 1.0;
    if ((*x)[j] <= model.upper[j]) return true;
    (*x)[j] = model.lower[j];
  }
  return false;
}

SolverAnswer try_every_point(const RandomModel& model) {
  SolverAnswer answer{Verdict::kInfeasible, 0.0};
  std::vector<double> x = model.lower;
  do {
    if (!is_feasible(model, x)) continue;
    const double objective = activity(model.cost, x) + model.constant;
    const bool better =
        model.maximize ? objective > answer.objective : objective < answer.objective;
    if (answer.verdict == Verdict::kInfeasible || better) answer.objective = objective;
    answer.verdict = Verdict::kOptimal;
  } while (advance(model, &x));
  return answer;
}

TEST(RandomModel, IntegerOptimaAreThoseOfTryingEveryPoint) {
  int seen[2] = {};
  for (uint32_t seed = 0; seed < num_random_models(); ++seed) {
    const RandomModel model = make_random_model(RandomKind::kIntegerBox, seed);
    TestTask task;
    solve(model, seed, &task);
    const SolverAnswer right = try_every_point(model);
    const SolverAnswer answer = answer_of(task, kInteger);
    ++seen[static_cast<int>(right.verdict)];
    EXPECT_EQ(answer.verdict, right.verdict);
    EXPECT_NEAR(answer.objective, right.objective, kTolerance);
    ASSERT_FALSE(HasFailure()) << "seed " << seed << '\n' << task.log() << model.mps();
  }
  for (const int count : seen) EXPECT_GT(count, 0) << "a kind of answer never came";
}

// ---- Another solver ----------------------------------------------------------------------------

bool has_glpsol() { return std::system("command -v glpsol >/dev/null 2>&1") == 0; }

// Asks glpsol without its presolve, which leaves infeasible and unbounded undecided, and without
// the constant, whose sign in an MPS file glpsol reads the other way.
SolverAnswer ask_glpsol(const RandomModel& model) {
  RandomModel without_constant = model;
  without_constant.constant = 0.0;
  const std::string input = write_test_file("referee.mps", without_constant.mps());
  const std::string output = test_file_path("referee.txt");
  const std::string command = std::string("glpsol --freemps --nopresol ") +
                              (model.maximize ? "--max '" : "--min '") + input + "' -w '" + output +
                              "' >'" + output + ".log'";
  std::remove(output.c_str());
  EXPECT_EQ(std::system(command.c_str()), 0) << command;
  const std::string log = read_all(output + ".log");
  const auto says = [&log](const char* words) { return log.find(words) != std::string::npos; };
  if (says("NO PRIMAL FEASIBLE") || says("NO INTEGER FEASIBLE") || says("NO FEASIBLE")) {
    return {Verdict::kInfeasible, 0.0};
  }
  if (says("UNBOUNDED") || says("NO DUAL FEASIBLE")) return {Verdict::kUnbounded, 0.0};
  if (!says("OPTIMAL LP SOLUTION FOUND") && !says("INTEGER OPTIMAL SOLUTION FOUND")) return {};
  std::ifstream file(output);
  for (std::string line; std::getline(file, line);) {
    if (line.rfind("s ", 0) != 0) continue;
    return {Verdict::kOptimal, std::stod(line.substr(line.rfind(' '))) + model.constant};
  }
  return {};
}

void compare_with_glpsol(RandomKind kind) {
  if (!has_glpsol()) GTEST_SKIP() << "glpsol is not installed";
  uint32_t undecided = 0;
  for (uint32_t seed = 0; seed < num_random_models(); ++seed) {
    // Other models than those of the tests above.
    const RandomModel model = make_random_model(kind, 1000000 + seed);
    const bool integer = std::count(model.integer.begin(), model.integer.end(), true) > 0;
    const int32_t solution = integer ? kInteger : kBasic;
    TestTask task;
    solve(model, seed, &task);
    const SolverAnswer right = ask_glpsol(model);
    const SolverAnswer answer = answer_of(task, solution);
    if (right.verdict == Verdict::kOther) {
      ++undecided;  // it refuses models without rows or elements
      continue;
    }
    // A model without a feasible point can have a primal ray too; its status may be either.
    const bool may_differ = answer.verdict == Verdict::kUnbounded && solution == kBasic &&
                            right.verdict == Verdict::kInfeasible;
    EXPECT_TRUE(may_differ || answer.verdict == right.verdict);
    // An integer variable may be off by a tolerance, and costs and coefficients of several of them
    // carry that into the objective.
    const double tolerance = (integer ? 10.0 : 1.0) * kTolerance;
    EXPECT_NEAR(answer.objective, right.objective,
                tolerance * std::max(1.0, std::fabs(right.objective)));
    ASSERT_FALSE(testing::Test::HasFailure()) << "seed " << seed << '\n'
                                              << task.log() << model.mps();
  }
  EXPECT_LE(10 * undecided, num_random_models());
}

TEST(RandomModel, LinearAnswersAreThoseOfAnotherSolver) {
  compare_with_glpsol(RandomKind::kLinear);
}

TEST(RandomModel, MixedIntegerAnswersAreThoseOfAnotherSolver) {
  compare_with_glpsol(RandomKind::kMixed);
}

}  // namespace
