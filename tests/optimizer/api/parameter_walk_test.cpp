// A walk over the table of parameters: each makes a difference that a caller can see, or is shown
// to by a test that is named here. A new parameter without either fails.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>

#include "task_support.h"

namespace {

constexpr const char* kNames[] = {
#define VORLAN_INT(enumerator, index, name, ...) name,
#define VORLAN_DOUBLE(enumerator, index, name, ...) name,
#define VORLAN_STRING(enumerator, index, name, text) name,
#include "task/parameters.def"
#undef VORLAN_INT
#undef VORLAN_DOUBLE
#undef VORLAN_STRING
};

// Covering rows of different sizes by columns of random costs.
std::string covering_model(bool integer) {
  constexpr int kRows = 50;
  constexpr int kColumns = 150;
  std::mt19937 random(5);
  std::string rows;
  std::string sides;
  for (int i = 0; i < kRows; ++i) {
    rows += " G R" + std::to_string(i) + "\n";
    sides += " B R" + std::to_string(i) + " " + std::to_string(1 + 90 * (i % 3)) + "\n";
  }
  std::string columns = integer ? " M1 'MARKER' 'INTORG'\n" : "";
  for (int j = 0; j < kColumns; ++j) {
    const std::string name = " X" + std::to_string(j);
    columns += name + " C " + std::to_string(1 + random() % 100) + "\n";
    for (int i = j % 7; i < kRows; i += 1 + static_cast<int>(random() % 19)) {
      const auto size = (1 + random() % 9) * (i % 3 == 0 ? 1 : 90);
      columns += name + " R" + std::to_string(i) + " " + std::to_string(size) + "\n";
    }
  }
  if (integer) columns += " M2 'MARKER' 'INTEND'\n";
  return "NAME COVER\nROWS\n N C\n" + rows + "COLUMNS\n" + columns + "RHS\n" + sides + "ENDATA\n";
}

void put(vlntaskt* task, const char* name, const char* value) {
  ASSERT_EQ(VLN_putparam(task, name, value), VLN_RES_OK) << name << ' ' << value;
}

// The log tells what is set, and what of that is not used: these lines would be a difference without
// an effect.
std::string without_unused(std::string log) {
  for (const char* line : {"Optimizer library ", "Parameters: ", "Set, but not used"}) {
    const size_t begin = log.find(line);
    if (begin != std::string::npos) log.erase(begin, log.find('\n', begin) + 1 - begin);
  }
  return log;
}

// Everything that a caller sees of a solve, apart from times.
std::string solved(TestTask* task, const std::string& mps) {
  EXPECT_EQ(task->read(mps), VLN_RES_OK) << task->last_message();
  const size_t begin = task->log().size();
  const std::string termination = code_name(task->solve());
  return termination + '\n' + without_unused(without_times(task->log().substr(begin)));
}

std::string linear(TestTask* task) {
  put(*task, "VLN_IPAR_PRESOLVE", "off");
  return solved(task, covering_model(false));
}

std::string presolved(TestTask* task) { return solved(task, covering_model(false)); }

std::string interior(TestTask* task) {
  put(*task, "VLN_IPAR_OPTIMIZER", "interior_point");
  return linear(task);
}

std::string integer(TestTask* task) { return solved(task, covering_model(true)); }

// Market splits, each equation with a slack and a surplus: two equal blocks under one constraint,
// so that there is a symmetry to find and a tree that hardly ends.
std::string twin_splits() {
  constexpr int kRows = 4;
  constexpr int kColumns = 12;
  std::mt19937 random(3);
  int matrix[kRows][kColumns];
  int sides_of_rows[kRows] = {};
  for (int i = 0; i < kRows; ++i) {
    for (int& element : matrix[i]) {
      element = static_cast<int>(random() % 100);
      sides_of_rows[i] += element;
    }
  }
  std::string rows = " L J\n";
  std::string integers;
  std::string slacks;
  std::string sides = " B J " + std::to_string(kColumns) + "\n";
  std::string bounds;
  for (const char* block : {"A", "B"}) {
    for (int j = 0; j < kColumns; ++j) {
      const std::string name = " X" + std::to_string(j) + block;
      integers += name + " J 1\n";
      for (int i = 0; i < kRows; ++i) {
        integers +=
            name + " R" + std::to_string(i) + block + " " + std::to_string(matrix[i][j]) + "\n";
      }
      bounds += " BV B" + name + "\n";
    }
    for (int i = 0; i < kRows; ++i) {
      const std::string row = "R" + std::to_string(i) + block;
      rows += " E " + row + "\n";
      slacks += " P" + row + " C 1 " + row + " 1\n N" + row + " C 1 " + row + " -1\n";
      sides += " B " + row + " " + std::to_string(sides_of_rows[i] / 2) + "\n";
    }
  }
  return "NAME TWINS\nROWS\n N C\n" + rows + "COLUMNS\n M1 'MARKER' 'INTORG'\n" + integers +
         " M2 'MARKER' 'INTEND'\n" + slacks + "RHS\n" + sides + "BOUNDS\n" + bounds + "ENDATA\n";
}

// Nodes enough to show another way through the tree; progress lines differ from run to run.
std::string much_branched(TestTask* task) {
  put(*task, "VLN_IPAR_MIP_NODE_LIMIT", "200");
  put(*task, "VLN_DPAR_LOG_INTERVAL", "inf");
  return solved(task, twin_splits());
}

std::string solved_twice(TestTask* task) {
  linear(task);
  const size_t begin = task->log().size();
  task->solve();
  return without_unused(without_times(task->log().substr(begin)));
}

// x + y cannot be both at least 1.001 and at most 1, by a hair.
std::string hardly_infeasible(TestTask* task) {
  put(*task, "VLN_IPAR_PRESOLVE", "off");
  return solved(task,
                R"(NAME A
ROWS
 N C
 G R
 L S
COLUMNS
 X C 1 R 1
 X S 1
 Y C 1 R 1
 Y S 1
RHS
 B R 1.001 S 1
ENDATA
)");
}

// Along x = y the objective falls, slowly.
std::string hardly_unbounded(TestTask* task) {
  put(*task, "VLN_IPAR_PRESOLVE", "off");
  return solved(task, R"(NAME A
ROWS
 N C
 L R
COLUMNS
 X C -0.001 R 1
 Y R -1
RHS
 B R 1
ENDATA
)");
}

// x = 1.005 is hardly integer.
std::string hardly_integer(TestTask* task) {
  put(*task, "VLN_IPAR_PRESOLVE", "off");
  return solved(task,
                R"(NAME A
ROWS
 N C
 E R
COLUMNS
 M 'MARKER' 'INTORG'
 X C 1 R 1
 M 'MARKER' 'INTEND'
 Y C 1 R 0.001
RHS
 B R 1.005
BOUNDS
 UP B X 5
 UP B Y 1
ENDATA
)");
}

struct Children {
  size_t processes = 0;
  size_t threads = 0;
};

int look_at_children(vlntaskt*, void* handle, VLNcallbackcode_enum, const double*, const int*,
                     const long*) {
  auto* most = static_cast<Children*>(handle);
  const std::string self = std::to_string(getpid());
  std::ifstream children("/proc/self/task/" + self + "/children");
  size_t processes = 0;
  for (std::string child; children >> child; ++processes) {
    std::error_code gone;
    const std::filesystem::directory_iterator tasks("/proc/" + child + "/task", gone);
    if (gone) continue;
    const auto threads = static_cast<size_t>(std::distance(begin(tasks), end(tasks)));
    most->threads = std::max(most->threads, threads);
  }
  most->processes = std::max(most->processes, processes);
  return 0;
}

std::string children(TestTask* task) {
  Children most;
  EXPECT_EQ(VLN_putcallbackfunc(*task, look_at_children, &most), VLN_RES_OK);
  put(*task, "VLN_DPAR_TIME_LIMIT", "0.4");
  EXPECT_EQ(task->read(hard_integer_model()), VLN_RES_OK);
  task->solve();
  return std::to_string(most.processes) + " processes, " + std::to_string(most.threads) +
         " threads";
}

std::string failing_read(TestTask* task) {
  EXPECT_NE(VLN_readdata(*task, "/nowhere/model.mps"), VLN_RES_OK);
  return task->last_message();
}

std::string written(TestTask* task, const char* name) {
  EXPECT_EQ(task->read(two_products(-1)), VLN_RES_OK);
  task->solve();
  const std::string path = test_file_path(name);
  EXPECT_EQ(VLN_writedata(*task, path.c_str()), VLN_RES_OK);
  // A file can hold the parameter itself: what the parameter does is to be seen, not that it is
  // there.
  const std::string content = read_all(path);
  const auto holds = [&content](const char* text) {
    return content.find(text) != std::string::npos;
  };
  return holds("\"solutions\"") || holds("\nSolution ") ? "solutions" : "no solutions";
}

std::string written_task(TestTask* task) { return written(task, "a.jtask"); }
std::string written_text(TestTask* task) { return written(task, "a.ptf"); }

struct Effect {
  const char* name;
  const char* one;
  const char* other;
  std::string (*observe)(TestTask* task);
};

constexpr Effect kEffects[] = {
    {"VLN_IPAR_OPTIMIZER", "dual_simplex", "primal_simplex", linear},
    {"VLN_IPAR_PRESOLVE", "on", "off", presolved},
    {"VLN_IPAR_NUM_THREADS", "1", "3", children},
    {"VLN_IPAR_RANDOM_SEED", "0", "7", much_branched},
    {"VLN_IPAR_SIMPLEX_ITERATION_LIMIT", "1000000", "3", linear},
    {"VLN_IPAR_INTERIOR_ITERATION_LIMIT", "1000000", "1", interior},
    {"VLN_IPAR_MIP_NODE_LIMIT", "1000000", "0", integer},
    {"VLN_IPAR_MIP_SOLUTION_LIMIT", "1000000", "1", much_branched},
    {"VLN_IPAR_MIP_SYMMETRY", "on", "off", much_branched},
    {"VLN_IPAR_LOG", "full", "summary", linear},
    {"VLN_IPAR_CHILD_PROCESS", "on", "off", children},
    {"VLN_IPAR_SCALING", "off", "max_value", linear},
    {"VLN_IPAR_CROSSOVER", "on", "off", interior},
    {"VLN_IPAR_WARM_START", "on", "off", solved_twice},
    {"VLN_IPAR_SHOW_FILE_NAMES", "on", "off", failing_read},
    {"VLN_IPAR_TASK_FILE_SOLUTIONS", "on", "off", written_task},
    {"VLN_IPAR_TEXT_FILE_SOLUTIONS", "on", "off", written_text},
    {"VLN_DPAR_TIME_LIMIT", "inf", "0", linear},
    {"VLN_DPAR_FEASIBILITY_TOLERANCE", "1e-7", "1e-2", hardly_infeasible},
    {"VLN_DPAR_OPTIMALITY_TOLERANCE", "1e-7", "1e-2", hardly_unbounded},
    {"VLN_DPAR_INTEGRALITY_TOLERANCE", "1e-6", "1e-2", hardly_integer},
    {"VLN_DPAR_MIP_RELATIVE_GAP", "1e-4", "0.9", integer},
    {"VLN_DPAR_MIP_ABSOLUTE_GAP", "1e-6", "1000000", integer},
    {"VLN_DPAR_MIP_HEURISTIC_EFFORT", "0", "1", much_branched},
    {"VLN_IPAR_MIP_EMPHASIS", "feasibility", "proof", much_branched},
    {"VLN_DPAR_UPPER_OBJECTIVE_CUTOFF", "inf", "1e-3", linear},
};

// Shown by a test that needs more than one observation, or that stands with its subject.
struct ShownElsewhere {
  const char* name;
  const char* by;
};

constexpr ShownElsewhere kShownElsewhere[] = {
    {"VLN_IPAR_REPRODUCIBLE", "ChoiceOfRace.IsForLargeModelsAndFreeSolves"},
    {"VLN_IPAR_MIP_RESTART", "ParameterEffect.RestartsChangeTheTree"},
    {"VLN_DPAR_LOG_INTERVAL", "ParameterEffect.LogIntervalSpacesTheProgressLines"},
    {"VLN_DPAR_MEMORY_LIMIT", "ParameterEffect.MemoryLimitIsACodeAndTheTaskLivesOn"},
    {"VLN_DPAR_LOWER_OBJECTIVE_CUTOFF", "ParameterEffect.CutoffEndsAMixedIntegerSolve..."},
    {"VLN_DPAR_MIP_TARGET_OBJECTIVE", "ParameterEffect.CutoffEndsAMixedIntegerSolveWithAGoodPoint"},
    {"VLN_DPAR_CONIC_FEASIBILITY_TOLERANCE", "ConicTolerances.FollowTheParameters"},
    {"VLN_DPAR_CONIC_GAP_TOLERANCE", "ConicTolerances.FollowTheParameters"},
    {"VLN_IPAR_READ_DECLARED_LIMIT", "ReadLimit.DecidesWhatAFileMayDeclare"},
    {"VLN_IPAR_READ_TOKEN_LIMIT", "ReadLimit.DecidesHowLongALineMayBe"},
    {"VLN_SPAR_LOG_FILE", "SolveFiles.TheLogFileHasTheSolvesPartOfTheLogAndBeginsAnew"},
    {"VLN_SPAR_PROBLEM_FILE", "SolveFiles.TheProblemFileHasTheModelAsItWasSolved"},
    {"VLN_SPAR_B_SOLUTION_FILE", "SolveFiles.TheSolutionFilesHaveTheSolution"},
    {"VLN_SPAR_JSON_SOLUTION_FILE", "SolveFiles.TheSolutionFilesHaveTheSolution"},
    {"VLN_SPAR_SOLVER_RESULT_FILE", "SolveFiles.TheSolutionFilesHaveTheSolution"},
    {"VLN_SPAR_IMPROVING_SOLUTION_FILE", "ExchangeFiles.EachBetterPointTakesTheFilesPlace"},
    {"VLN_SPAR_PROGRESS_FILE", "ExchangeFiles.TheProgressFileHasAnObjectALine"},
    {"VLN_SPAR_START_FILE", "ExchangeFiles.AStartIsCompletedAndUsed"},
    {"VLN_IPAR_MIP_CUTS", "SearchControls.CutsOffLeavesTheRelaxationWithoutCuts"},
    {"VLN_SPAR_BRANCHING_PRIORITY_FILE", "SearchControls.TheHighestPriorityIsBranchedOnFirst"},
    {"VLN_SPAR_BASIS_IN_FILE", "ExchangeFiles.ABasisTakesNoIterations"},
    {"VLN_SPAR_BASIS_OUT_FILE", "ExchangeFiles.ABasisTakesNoIterations"},
    {"VLN_SPAR_SOLUTION_FILE", "ExchangeFiles.TheSolutionFileIsAStart"},
    {"VLN_SPAR_CONFLICT_FILE", "Reasons.TheConflictFileIsIrreducible"},
    {"VLN_SPAR_RANGING_FILE", "Reasons.RangesAreThoseOfAPeer"},
};

// Each takes a request that this library meets without them.
constexpr const char* kWithoutEffect[] = {"VLN_IPAR_ASYNC_READ", "VLN_IPAR_ASYNC_WRITE"};

// Without races, which end one way or the other.
std::string observed(const Effect& effect, const char* value) {
  TestTask task;
  put(task, "VLN_IPAR_REPRODUCIBLE", "on");
  put(task, effect.name, value);
  return effect.observe(&task);
}

TEST(ParameterWalk, EachMakesADifference) {
  for (const Effect& effect : kEffects) {
    const std::string one = observed(effect, effect.one);
    EXPECT_EQ(one, observed(effect, effect.one)) << effect.name << ": a difference proves nothing";
    EXPECT_NE(one, observed(effect, effect.other)) << effect.name << '\n' << one;
  }
}

TEST(ParameterWalk, NoneIsLeftOut) {
  const auto is_in = [](const auto& table, const std::string& name) {
    return std::any_of(std::begin(table), std::end(table),
                       [&name](const auto& entry) { return name == entry.name; });
  };
  for (const std::string name : kNames) {
    const bool without = std::count(std::begin(kWithoutEffect), std::end(kWithoutEffect), name) > 0;
    EXPECT_TRUE(without || is_in(kEffects, name) || is_in(kShownElsewhere, name)) << name;
  }
}

}  // namespace
