// plainreport_test.cpp - VLN_writeplainsol in process: its text and its calls against the expected
// report, each checked query failing in turn, what is left open or allocated, odd numbers and
// names.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>
#include <vorlanplainsol.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <limits>
#include <optional>
#include <random>

#include "allocations.h"
#include "expectedreport.h"
#include "fakelibrary.h"
#include "scratch_folder.h"
#include "vlnexception.h"

namespace {

namespace fs = std::filesystem;

std::ptrdiff_t numdescriptors() {
  const fs::directory_iterator all("/proc/self/fd");
  return std::distance(fs::begin(all), fs::end(all));
}

// A folder for the test's files, and the task.
class PlainReport : public testing::Test {
 protected:
  PlainReport() { fake::reset(); }
  ~PlainReport() override { fake::reset(); }

  std::string file() const { return folder_.path("report"); }

  // The report of the task as it is in the file afterwards. A file system may bring a truncated
  // file to the disk at once, which takes its time; a new file waits.
  std::string write() {
    fs::remove(file());
    EXPECT_EQ(VLN_writeplainsol(&task_, file().c_str()), 0);
    return folder_.read("report");
  }

  // Gives what the writer throws, if it does.
  std::optional<VLNException> writefailing() {
    try {
      VLN_writeplainsol(&task_, file().c_str());
    } catch (const VLNException& error) {
      return error;
    }
    return std::nullopt;
  }

  // Two variables, three constraints (one more than variables), matrix variables of dimension 2 and
  // 3, all three solutions, every number different.
  void fillall() {
    task_.numvar = 2;
    task_.numcon = 3;
    task_.numbarvar = 2;
    task_.dims = {2, 3};
    task_.maxnamelen = 7;
    task_.varnames = {"x", "second"};
    task_.connames = {"c0", "", "longest"};
    task_.barvarnames = {"X", "Y"};
    for (int i = 0; i < 3; ++i) fillsolution(i, 1000.0 * (i + 1));
  }

  void fillsolution(int whichsol, double base) {
    fake::Solution& s = task_.solutions[static_cast<std::size_t>(whichsol)];
    s.defined = 1;
    s.prosta = fake::kPrimalInfeasible;
    s.solsta = fake::kOptimal;
    s.skx = {fake::kBasic, fake::kAtLower};
    s.skc = {fake::kAtUpper, fake::kFixed, fake::kSuperBasic};
    for (std::vector<double>* values : {&s.xx, &s.slx, &s.sux}) *values = {base += 1, base += 1};
    for (std::vector<double>* values : {&s.xc, &s.slc, &s.suc, &s.y}) {
      *values = {base += 1, base += 1, base += 1};
    }
    s.objectives = {base += 1, base += 1, base += 1};
    for (std::vector<double>* values : {&s.barx, &s.bars}) {
      values->clear();
      for (int i = 0; i < 9; ++i) values->push_back(base += 1);
    }
  }

  const vorlan::test::ScratchFolder folder_;
  vlntaskt& task_ = fake::task();
};

// Standard output goes to a file while this lives.
class StandardOutput {
 public:
  explicit StandardOutput(const std::string& file) : kept_(dup(STDOUT_FILENO)) {
    std::cout.flush();
    std::fflush(stdout);
    const int opened = open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666);
    dup2(opened, STDOUT_FILENO);
    close(opened);
  }
  ~StandardOutput() {
    std::cout.flush();
    std::fflush(stdout);
    dup2(kept_, STDOUT_FILENO);
    close(kept_);
  }
  StandardOutput(const StandardOutput&) = delete;
  StandardOutput& operator=(const StandardOutput&) = delete;

 private:
  int kept_;
};

// ---- The whole text

TEST_F(PlainReport, NoSolution) {
  fillall();
  for (fake::Solution& s : task_.solutions) s.defined = 0;
  EXPECT_EQ(write(), "Solution\n");
}

TEST_F(PlainReport, WorkedExample) {
  task_.numvar = 2;
  task_.numcon = 1;
  task_.maxnamelen = 2;
  task_.varnames = {"x0", "x1"};
  task_.connames = {"c0"};
  fake::Solution& s = task_.solutions[VLN_SOLUTION_BASIC];
  s.defined = 1;
  s.solsta = fake::kOptimal;
  s.prosta = fake::kDualInfeasible;  // not shown
  s.objectives = {3.0};
  s.skx = {fake::kBasic, fake::kAtLower};
  s.xx = {1.5, 0.0};
  s.slx = {0.0, 2.0};
  s.sux = {0.0, 0.0};
  s.skc = {fake::kAtUpper};
  s.xc = {1.5};
  s.slc = {0.0};
  s.suc = {2.0};
  s.y = {-2.0};
  EXPECT_EQ(write(),
            "Solution\n"
            "  Solution basic\n"
            "    SolutionStatus optimal optimal\n"
            "    ProblemnStatus feasible feasible\n"
            "    Objective 3.000000e+00 3.000000e+00 \n"
            "    Variables\n"
            "    # item   name                 sta               xx                      slx "
            "                     sux                      snx           \n"
            "      var0000: x0              basic    1.5000000000000000e+00   0.0000000000000"
            "000e+00   0.0000000000000000e+00   0.0000000000000000e+00\n"
            "      var0001: x1              at_lower   0.0000000000000000e+00   2.00000000000"
            "00000e+00   0.0000000000000000e+00   0.0000000000000000e+00\n"
            "    Constraints\n"
            "      # item   name                 sta               xc                      sl"
            "c                      suc                       y            \n"
            "    con0000: c0              at_upper   1.5000000000000000e+00   0.0000000000000"
            "000e+00   2.0000000000000000e+00  -2.0000000000000000e+00\n");
}

TEST_F(PlainReport, IntegerListingOfDimensions2And3) {
  task_.numbarvar = 2;
  task_.dims = {2, 3};
  task_.solutions[VLN_SOLUTION_INTEGER].defined = 1;
  for (int i = 0; i < 9; ++i) task_.solutions[VLN_SOLUTION_INTEGER].barx.push_back(i + 0.5);
  const std::string text = write();
  const std::string begin = "    BarVariables\n";
  const std::size_t first = text.find(begin) + begin.size();
  EXPECT_EQ(text.substr(first, text.find("    Constraints") - first),
            "      barvar0000(2): \n"
            "        # index                barx          \n"
            "        [   0,   0]   5.0000000000000000e-01\n"
            "        [   0,   0]   4.5000000000000000e+00\n");
}

TEST_F(PlainReport, InteriorListingWalksTheTriangle) {
  task_.numbarvar = 2;
  task_.dims = {0, 2};
  task_.maxnamelen = 1;
  task_.barvarnames = {"E", "X"};
  task_.solutions[VLN_SOLUTION_INTERIOR].defined = 1;
  task_.solutions[VLN_SOLUTION_INTERIOR].barx = {1, 2, 3};
  task_.solutions[VLN_SOLUTION_INTERIOR].bars = {4, 5, 6};
  const std::string text = write();
  const std::string begin = "    BarVariables\n";
  const std::size_t first = text.find(begin) + begin.size();
  EXPECT_EQ(text.substr(first, text.find("    Constraints") - first),
            "      barvar0000(0): E\n"
            "        # index                barx                     bars          \n"
            "      barvar0001(2): X\n"
            "        # index                barx                     bars          \n"
            "        [   0,   0]   4.0000000000000000e+00   0.0000000000000000e+00\n"
            "        [   1,   0]   5.0000000000000000e+00   0.0000000000000000e+00\n"
            "        [   1,   1]   6.0000000000000000e+00   0.0000000000000000e+00\n");
}

// Each place of the listings for small dimensions, those included at which the integer listing runs
// over the end of the values.
TEST_F(PlainReport, ListingsOfAllSmallDimensions) {
  fillall();
  task_.solutions[VLN_SOLUTION_BASIC].defined = 0;
  for (int code = 0; code < 4 * 4 * 4 * 4; ++code) {
    task_.dims = {code % 4, code / 4 % 4, code / 16 % 4, code / 64 % 4};
    for (task_.numbarvar = 0; task_.numbarvar <= 4; ++task_.numbarvar) {
      std::size_t size = 0;
      for (std::int32_t j = 0; j < task_.numbarvar; ++j) {
        const auto d = static_cast<std::size_t>(task_.dims[static_cast<std::size_t>(j)]);
        size += d * (d + 1) / 2;
      }
      for (fake::Solution& s : task_.solutions) {
        s.barx.assign(size, 1.0);
        s.bars.assign(size, 2.0);
        for (std::size_t i = 0; i < size; ++i) s.barx[i] += static_cast<double>(i);
        for (std::size_t i = 0; i < size; ++i) s.bars[i] -= static_cast<double>(i);
      }
      const std::string expected = textof(expectedreport(task_));
      ASSERT_EQ(write(), expected) << "dimensions " << testing::PrintToString(task_.dims)
                                   << ", the first " << task_.numbarvar;
    }
  }
}

// d(d+1) is formed in 32 bits: 65536 x 65537 leaves 65536, half of which is the size.
TEST_F(PlainReport, TriangleSizeIsFormedIn32Bits) {
  task_.numbarvar = 1;
  task_.dims = {65536};
  task_.solutions[VLN_SOLUTION_INTEGER].defined = 1;
  write();
  EXPECT_EQ(std::ranges::count(task_.calls, "VLN_getbarxslice(2, 0, 1, 32768)"), 1);
}

// ---- The calls

TEST_F(PlainReport, TextAndCallsOfAllSections) {
  fillall();
  const auto expected = expectedreport(task_);
  EXPECT_EQ(write(), textof(expected));
  EXPECT_EQ(task_.calls, callsof(expected));
}

TEST_F(PlainReport, EverySubsetOfSolutions) {
  for (int subset = 0; subset < 8; ++subset) {
    fillall();
    task_.calls.clear();
    // Any number but 0 says that the solution is defined.
    for (int i = 0; i < 3; ++i) {
      task_.solutions[static_cast<std::size_t>(i)].defined = (subset >> i & 1) * (i - 2 ? -7 : 5);
    }
    const auto expected = expectedreport(task_);
    EXPECT_EQ(write(), textof(expected)) << subset;
    EXPECT_EQ(task_.calls, callsof(expected)) << subset;
  }
}

TEST_F(PlainReport, EmptyModelKeepsTitles) {
  for (fake::Solution& s : task_.solutions) s.defined = 1;
  const auto expected = expectedreport(task_);
  const std::string text = write();
  EXPECT_EQ(text, textof(expected));
  EXPECT_EQ(task_.calls, callsof(expected));
  EXPECT_EQ(text.find("BarVariables"), std::string::npos);
  EXPECT_NE(text.find("    Variables\n      # item"), std::string::npos);
  EXPECT_NE(text.find("    Constraints\n      # item"), std::string::npos);
}

// A negative count has no rows. The size of the name buffer is told as it comes out.
TEST_F(PlainReport, NegativeCountsHaveNoRows) {
  fillall();
  task_.numvar = -1;
  task_.numcon = -2;
  task_.numbarvar = -3;
  task_.maxnamelen = -4;
  for (fake::Solution& s : task_.solutions) {
    s.skx = s.skc = {};
    for (auto* values : {&s.xx, &s.slx, &s.sux, &s.xc, &s.slc, &s.suc, &s.y}) values->clear();
  }
  const auto expected = expectedreport(task_);
  EXPECT_EQ(write(), textof(expected));
  EXPECT_EQ(task_.calls, callsof(expected));
}

TEST_F(PlainReport, NegativeNameLengthIsHandedOnAndHasNoNames) {
  fillall();
  for (const std::int32_t length : {-1, -2, std::numeric_limits<std::int32_t>::min()}) {
    task_.maxnamelen = length;
    task_.calls.clear();
    EXPECT_NE(write().find("      var0001:                 at_lower"), std::string::npos) << length;
    const std::string query = "VLN_getvarname(1, " + std::to_string(length + 1) + ")";
    EXPECT_EQ(std::ranges::count(task_.calls, query), 3) << length;
  }
}

// d(d+1)/2 in 32 unsigned bits: 0 for -1, 1 for -2, 3 for -3. The header shows the dimension as it
// is; no entry of such a variable is listed.
TEST_F(PlainReport, NegativeDimensionsTakeTheirRoom) {
  fillall();
  task_.numbarvar = 4;
  task_.dims = {-1, -3, -2, 1};
  task_.barvarnames = {"A", "B", "C", "D"};
  for (fake::Solution& s : task_.solutions) {
    s.barx = {1, 2, 3, 4, 5};
    s.bars = {6, 7, 8, 9, 10};
  }
  const auto expected = expectedreport(task_);
  const std::string text = write();
  EXPECT_EQ(text, textof(expected));
  EXPECT_EQ(task_.calls, callsof(expected));
  EXPECT_EQ(std::ranges::count(task_.calls, "VLN_getbarxslice(2, 0, 4, 5)"), 1);
  EXPECT_NE(text.find("      barvar0001(-3): B\n"), std::string::npos);
  EXPECT_NE(text.find("      barvar0003(1): D\n"
                      "        # index                barx                     bars          \n"
                      "        [   0,   0]   1.0000000000000000e+01   0.0000000000000000e+00\n"),
            std::string::npos);
}

// ---- Queries that write nothing

// The arrays are shared: where a query of a later section succeeds and writes nothing, its column
// shows what the section before it was given.
TEST_F(PlainReport, SilentQueriesShowWhatTheSectionBeforeWasGiven) {
  fillall();
  for (const int whichsol : {VLN_SOLUTION_BASIC, VLN_SOLUTION_INTERIOR}) {
    fake::Solution& s = task_.solutions[static_cast<std::size_t>(whichsol)];
    s.skx = s.skc = {};
    for (auto* values : {&s.xx, &s.slx, &s.sux, &s.xc, &s.slc, &s.suc, &s.y, &s.barx, &s.bars}) {
      values->clear();
    }
  }
  const auto expected = expectedreport(task_);
  const std::string text = write();
  EXPECT_EQ(text, textof(expected));
  const std::string zero = "   0.0000000000000000e+00";
  // xx, status key and xc of the integer section, of which nobody knows any duals.
  EXPECT_NE(text.find("      var0001: second          at_lower   3.0020000000000000e+03" + zero +
                      zero + zero + '\n'),
            std::string::npos);
  EXPECT_NE(text.find("    con0000: c0              at_upper   3.0070000000000000e+03" + zero +
                      zero + zero + '\n'),
            std::string::npos);
  // The interior listing shows the matrix values of the integer section.
  EXPECT_NE(text.find("        [   1,   1]   3.0240000000000000e+03" + zero + '\n'),
            std::string::npos)
      << text;
}

// The bars slice goes over the barx slice; where it is shorter, the rest stays.
TEST_F(PlainReport, ShortDualSliceShowsThePrimalOneBehindIt) {
  task_.numbarvar = 1;
  task_.dims = {2};
  task_.solutions[VLN_SOLUTION_INTERIOR].defined = 1;
  task_.solutions[VLN_SOLUTION_INTERIOR].barx = {1, 2, 3};
  task_.solutions[VLN_SOLUTION_INTERIOR].bars = {4};
  const std::string text = write();
  const std::string zero = "   0.0000000000000000e+00\n";
  EXPECT_NE(text.find("        [   0,   0]   4.0000000000000000e+00" + zero +
                      "        [   1,   0]   2.0000000000000000e+00" + zero +
                      "        [   1,   1]   3.0000000000000000e+00" + zero),
            std::string::npos)
      << text;
}

// xc of the integer section and both slices of the interior one are asked for twice into the same
// place, as is the first objective: a second query that writes nothing leaves the first answer.
TEST_F(PlainReport, SecondObjectiveQueryThatIsSilentLeavesTheFirstAnswer) {
  task_.solutions[VLN_SOLUTION_INTEGER].defined = 1;
  task_.solutions[VLN_SOLUTION_INTEGER].solsta = fake::kOptimal;
  task_.solutions[VLN_SOLUTION_INTEGER].objectives = {7.0, std::nullopt, 8.0};
  EXPECT_NE(write().find("\nObjective 7.000000e+00 8.000000e+00 \n"), std::string::npos);
}

// No section inherits an objective: each begins with 0.
TEST_F(PlainReport, SilentObjectiveIsZero) {
  for (fake::Solution& s : task_.solutions) {
    s.defined = 1;
    s.solsta = fake::kOptimal;
    s.objectives = {std::nullopt};
  }
  task_.solutions[VLN_SOLUTION_INTEGER].objectives = {5.0};
  EXPECT_NE(write().find("    Objective 0.000000e+00 0.000000e+00 \n"), std::string::npos);
}

TEST_F(PlainReport, SilentNameQueryShowsTheNameBefore) {
  fillall();
  task_.connames = {"c0"};
  task_.barvarnames = {};
  const auto expected = expectedreport(task_);
  const std::string text = write();
  EXPECT_EQ(text, textof(expected));
  EXPECT_NE(text.find("    con0002: c0              super_basic"), std::string::npos);
  // The last name that was asked for with success is that of the last variable.
  EXPECT_NE(text.find("      barvar0001(3): second\n"), std::string::npos);
}

TEST_F(PlainReport, SilentDimensionIsZero) {
  fillall();
  task_.dims = {2};
  const auto expected = expectedreport(task_);
  const std::string text = write();
  EXPECT_EQ(text, textof(expected));
  EXPECT_NE(text.find("      barvar0001(0): Y\n"), std::string::npos);
}

// ---- Failing queries

// At each checked query in turn: what is thrown, what is in the file already while the query runs
// and after it, that nothing is called any more and nothing stays open.
TEST_F(PlainReport, EveryCheckedQueryFailing) {
  fillall();
  const auto steps = expectedreport(task_);
  std::size_t numfailures = 0;
  std::size_t call = 0;
  for (std::size_t i = 0; i < steps.size(); ++i) {
    if (steps[i].call.empty()) continue;
    ++call;
    if (steps[i].line == 0) continue;
    fillall();
    task_.calls.clear();
    const auto code =
        static_cast<VLNrescode_enum>(i % 2 == 0 ? 1000 + i : -1000 - static_cast<int>(i));
    std::string seen;
    task_.answer = [&](std::string_view) {
      if (task_.calls.size() + 1 != call) return VLN_RES_OK;
      seen = folder_.read("report");
      return code;
    };
    const std::ptrdiff_t before = numdescriptors();
    const auto error = writefailing();
    EXPECT_EQ(numdescriptors(), before) << steps[i].call;
    ASSERT_TRUE(error) << steps[i].call;
    EXPECT_EQ(error->code, code) << steps[i].call;
    EXPECT_STREQ(error->file, "src/command/vorlanplainsol");
    EXPECT_EQ(error->line, steps[i].line) << steps[i].call;
    EXPECT_EQ(task_.calls.size(), call);
    EXPECT_EQ(task_.calls.back(), steps[i].call);
    EXPECT_EQ(seen, textof(steps, i)) << "while running " << steps[i].call;
    EXPECT_EQ(folder_.read("report"), textof(steps, i)) << steps[i].call;
    ++numfailures;
  }
  // 7 and 4 of the set-up; 11, 13 and 16 of the sections.
  EXPECT_EQ(numfailures, 51U);
}

TEST_F(PlainReport, EveryNameQueryFailing) {
  fillall();
  task_.varnames = task_.connames = task_.barvarnames = {};
  const auto expected = expectedreport(task_);
  fillall();
  task_.answer = [](std::string_view call) {
    return static_cast<VLNrescode_enum>(call.find("name(") == std::string_view::npos ? 0 : 1234);
  };
  const std::string text = write();
  EXPECT_EQ(text, textof(expected));
  EXPECT_EQ(task_.calls, callsof(expected));
  EXPECT_NE(text.find("      var0000:                 basic"), std::string::npos);
}

// A failing name query leaves the buffer alone: the row shows the name that was asked for last.
TEST_F(PlainReport, FailingNameQueryShowsTheNameBefore) {
  fillall();
  task_.answer = [](std::string_view call) {
    const bool fails = call == "VLN_getvarname(1, 8)" || call == "VLN_getconname(0, 8)" ||
                       call == "VLN_getbarvarname(0, 8)";
    return static_cast<VLNrescode_enum>(fails ? 1234 : 0);
  };
  const auto expected = expectedreport(task_);
  task_.calls.clear();
  const std::string text = write();
  EXPECT_EQ(text, textof(expected));
  EXPECT_NE(text.find("      var0001: x               at_lower"), std::string::npos);
  EXPECT_NE(text.find("    con0000: x               at_upper"), std::string::npos);
  EXPECT_NE(text.find("      barvar0000(2): x\n"), std::string::npos);
}

TEST_F(PlainReport, StorageIsReleased) {
  fillall();
  for (fake::Solution& s : task_.solutions) s.objectives = {1.0};
  task_.recording = false;
  const auto steps = expectedreport(task_);
  const std::size_t numcalls = callsof(steps).size();
  const std::string name = file();
  std::size_t failing = 0;
  std::size_t count = 0;
  task_.answer = [&](std::string_view call) {
    const bool fails = ++count == failing && call.find("name(") == std::string_view::npos;
    return static_cast<VLNrescode_enum>(fails ? 7 : 0);
  };
  std::vector<std::size_t> inuse(numcalls + 2);
  for (failing = 0; failing < inuse.size(); ++failing) {
    count = 0;
    try {
      VLN_writeplainsol(&task_, name.c_str());
    } catch (const VLNException&) {
      // Which one is another test's matter.
    }
    inuse[failing] = allocated();
  }
  // The first runs may fill caches of the C++ library.
  for (std::size_t i = 3; i < inuse.size(); ++i)
    EXPECT_EQ(inuse[i], inuse[2]) << "failing call " << i;
}

// ---- Numbers

TEST_F(PlainReport, WordsAndObjectivesOfAllSolutionStatuses) {
  struct Row {
    std::int32_t solsta;
    const char* lines;  // behind the indentation
  };
  const std::vector<Row> table = {
      {0, "unknown unknown|unknown unknown|. . "},
      {1, "optimal optimal|feasible feasible|1.000000e+00 1.000000e+00 "},
      {2, "feasible unknown|feasible unknown|1.000000e+00 . "},
      {3, "unknown feasible|unknown feasible|. 1.000000e+00 "},
      {4, "feasible feasible|infeasible unknown|1.000000e+00 1.000000e+00 "},
      {5, "unknown infeas_cert|unknown infeasible|. 1.000000e+00 "},
      {6, "infeas_cert unknown|infeasible infeasible|1.000000e+00 . "},
      {7, "unknown illposed_cert|illposed illposed|. 1.000000e+00 "},
      {8, "illposed_cert unknown|infeasible_or_unbounded infeasible_or_unbounded|1.000000e+00 . "},
      {9, "optimal unknown|unknown unknown|1.000000e+00 . "},
      {10, "unknown unknown|unknown unknown|. . "},
      {-1, "unknown unknown|unknown unknown|. . "},
      {std::numeric_limits<std::int32_t>::max(), "unknown unknown|unknown unknown|. . "},
      {std::numeric_limits<std::int32_t>::min(), "unknown unknown|unknown unknown|. . "},
  };
  for (int whichsol = 0; whichsol < 3; ++whichsol) {
    fake::reset();
    fake::Solution& s = task_.solutions[static_cast<std::size_t>(whichsol)];
    s.defined = 1;
    s.objectives = {1.0};
    for (const Row& row : table) {
      s.solsta = row.solsta;
      s.prosta = fake::kDualFeasible;  // never shown
      std::string expected = row.lines;
      expected.replace(expected.find('|'), 1, "\n    ProblemnStatus ");
      expected.replace(expected.find('|'), 1,
                       whichsol == VLN_SOLUTION_INTEGER ? "\nObjective " : "\n    Objective ");
      const std::string text = write();
      EXPECT_NE(text.find("    SolutionStatus " + expected + "\n    Variables\n"),
                std::string::npos)
          << "status " << row.solsta << ":\n"
          << text;
    }
  }
}

TEST_F(PlainReport, StatusKeys) {
  task_.numvar = 9;
  task_.numcon = 9;
  for (int whichsol = 0; whichsol < 3; ++whichsol) {
    fake::Solution& s = task_.solutions[static_cast<std::size_t>(whichsol)];
    s.defined = 1;
    s.skx = {0, 1, 2, 3, 4, 5, 6, 7, -1};
    s.skc = {std::numeric_limits<std::int32_t>::max(), 6, 5, 4, 3, 2, 1, 0, 100};
  }
  const std::string text = write();
  EXPECT_EQ(text, textof(expectedreport(task_)));
  const std::string number = "  0.0000000000000000e+00";
  EXPECT_NE(text.find("      var0002:                 super_basic " + number), std::string::npos);
  EXPECT_NE(text.find("      var0005:                 fixed  " + number), std::string::npos);
  EXPECT_NE(text.find("      var0007:                 unknown " + number), std::string::npos);
  EXPECT_NE(text.find("      var0008:                 unknown " + number), std::string::npos);
  EXPECT_NE(text.find("    con0000:                 unknown " + number), std::string::npos);
  EXPECT_NE(text.find("    con0006:                 basic  " + number), std::string::npos);
}

// {fmt} justifies what is no number on the left, unlike all else in these columns.
TEST_F(PlainReport, NonFiniteValues) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double inf = std::numeric_limits<double>::infinity();
  task_.numvar = 6;
  fake::Solution& s = task_.solutions[VLN_SOLUTION_BASIC];
  s.defined = 1;
  s.solsta = fake::kOptimal;
  s.objectives = {inf, nan};
  s.xx = {inf,
          -inf,
          nan,
          -0.0,
          std::numeric_limits<double>::denorm_min(),
          -std::numeric_limits<double>::max()};
  const std::string text = write();
  EXPECT_NE(text.find("    Objective inf nan \n"), std::string::npos);
  for (const char* shown :
       {"inf                     ", "-inf                    ", "nan                     ",
        " -0.0000000000000000e+00", " 4.9406564584124654e-324", "-1.7976931348623157e+308"}) {
    EXPECT_NE(text.find("unknown " + std::string(shown) + "   0.0000000000000000e+00"),
              std::string::npos)
        << shown;
  }
}

// The first objective of the integer section is asked for twice and shows the second answer.
TEST_F(PlainReport, WhichObjectiveIsShown) {
  for (fake::Solution& s : task_.solutions) {
    s.defined = 1;
    s.solsta = fake::kOptimal;
    s.objectives = {1.0, 2.0, 3.0};
  }
  const std::string text = write();
  EXPECT_NE(text.find("\nObjective 2.000000e+00 3.000000e+00 \n"), std::string::npos);
  EXPECT_NE(text.find("  Solution basic\n    SolutionStatus optimal optimal\n"
                      "    ProblemnStatus feasible feasible\n"
                      "    Objective 1.000000e+00 2.000000e+00 \n"),
            std::string::npos);
}

// The constraints' rows of the interior section show the variables' columns; rows beyond the last
// variable show zeros.
TEST_F(PlainReport, InteriorConstraintRows) {
  fillall();
  task_.solutions[VLN_SOLUTION_INTEGER].defined = task_.solutions[VLN_SOLUTION_BASIC].defined = 0;
  fake::Solution& s = task_.solutions[VLN_SOLUTION_INTERIOR];
  s.xx = {1.5, 0.0};
  s.slx = {2.5, 0.25};
  s.sux = {3.5, 0.75};
  const std::string text = write();
  EXPECT_EQ(
      text.substr(text.find("      con0000")),
      R"(      con0000: c0                   at_upper   1.5000000000000000e+00   2.5000000000000000e+00   3.5000000000000000e+00   3.5000000000000000e+00
      con0001:                      fixed    0.0000000000000000e+00   2.5000000000000000e-01   7.5000000000000000e-01   7.5000000000000000e-01
      con0002: longest              super_basic   0.0000000000000000e+00   0.0000000000000000e+00   0.0000000000000000e+00   0.0000000000000000e+00
)");
}

TEST_F(PlainReport, FiveDigitIndices) {
  task_.numvar = 10001;
  task_.solutions[VLN_SOLUTION_BASIC].defined = 1;
  const std::string text = write();
  EXPECT_EQ(text, textof(expectedreport(task_)));
  EXPECT_NE(text.find("      var9999: "), std::string::npos);
  EXPECT_NE(text.find("      var10000: "), std::string::npos);
}

// ---- Names

TEST_F(PlainReport, NamesAreEscapedAndEndAtNul) {
  using std::string_literals::operator""s;
  task_.numvar = task_.numcon = task_.numbarvar = 3;
  task_.dims = {1, 0, 1};
  task_.maxnamelen = 24;
  task_.varnames = {"tab\tline\nend\r", "a\"b\\c", "x\0y"s};
  task_.connames = {"\0hidden"s, "exactly15letter", "twenty-four-letters-long"};
  task_.barvarnames = {"\"", "\xc3\xa9", ""};
  for (fake::Solution& s : task_.solutions) {
    s.defined = 1;
    s.barx = s.bars = {1, 2};
  }
  const std::string text = write();
  EXPECT_EQ(text, textof(expectedreport(task_)));
  EXPECT_NE(text.find("var0000: tab\\\tline\\\nend\\\r unknown"), std::string::npos);
  EXPECT_NE(text.find("var0001: a\\\"b\\\\c         unknown"), std::string::npos);
  EXPECT_NE(text.find("var0002: x               unknown"), std::string::npos);
  EXPECT_NE(text.find("con0001: exactly15letter unknown"), std::string::npos);
  EXPECT_NE(text.find("con0002: twenty-four-letters-long unknown"), std::string::npos);
  EXPECT_NE(text.find("barvar0001(0): \xc3\xa9\n"), std::string::npos);
}

// The integer section's listing shows the name that was asked for last.
TEST_F(PlainReport, NameInTheIntegerListing) {
  fillall();
  EXPECT_NE(write().find("      barvar0000(2): second\n"), std::string::npos);
  task_.numvar = 0;
  for (fake::Solution& s : task_.solutions) {
    s.skx = {};
    s.xx = s.slx = s.sux = {};
  }
  EXPECT_NE(write().find("      barvar0000(2): \n"), std::string::npos);
}

// A library may cut names by its own count; the buffer is one byte longer than the longest name.
TEST_F(PlainReport, NamesLongerThanTheLongest) {
  fillall();
  task_.maxnamelen = 3;
  const auto expected = expectedreport(task_);
  EXPECT_EQ(write(), textof(expected));
  EXPECT_EQ(task_.calls, callsof(expected));
}

// ---- Where the report goes

TEST_F(PlainReport, StandardOutput) {
  fillall();
  const auto expected = expectedreport(task_);
  const std::ptrdiff_t before = numdescriptors();
  {
    const StandardOutput redirected(file());
    EXPECT_EQ(VLN_writeplainsol(&task_, "-"), 0);
    std::cout << "after\n";
  }
  EXPECT_EQ(folder_.read("report"), textof(expected) + "after\n");
  EXPECT_EQ(numdescriptors(), before);
  EXPECT_TRUE(std::cout.good());
  EXPECT_FALSE(fs::exists("-"));
}

TEST_F(PlainReport, FileIsTruncatedAndClosed) {
  std::ofstream(file()) << std::string(1000, 'x');
  const std::ptrdiff_t before = numdescriptors();
  EXPECT_EQ(VLN_writeplainsol(&task_, file().c_str()), 0);
  EXPECT_EQ(folder_.read("report"), "Solution\n");
  EXPECT_EQ(numdescriptors(), before);
}

// The file is opened before the first query.
TEST_F(PlainReport, FileExistsBeforeTheFirstQuery) {
  bool existed = false;
  task_.answer = [&](std::string_view) {
    existed = fs::exists(file());
    return static_cast<VLNrescode_enum>(1);
  };
  ASSERT_TRUE(writefailing());
  EXPECT_TRUE(existed);
  EXPECT_EQ(folder_.read("report"), "");
}

TEST_F(PlainReport, FileThatCannotBeOpened) {
  fillall();
  const auto expected = expectedreport(task_);
  const std::string name = folder_.path("missing/report");
  {
    const StandardOutput redirected(file());
    EXPECT_EQ(VLN_writeplainsol(&task_, name.c_str()), 0);
  }
  EXPECT_EQ(folder_.read("report"), "");
  EXPECT_FALSE(fs::exists(name));
  EXPECT_EQ(task_.calls, callsof(expected));
}

TEST_F(PlainReport, FullDevice) {
  fillall();
  const auto expected = expectedreport(task_);
  EXPECT_EQ(VLN_writeplainsol(&task_, "/dev/full"), 0);
  EXPECT_EQ(task_.calls, callsof(expected));
}

// ---- Random models

class RandomSolutions {
 public:
  explicit RandomSolutions(unsigned seed) : random_(seed) {}

  void fill(vlntaskt& task) {
    task.numvar = pick(6) - 1;
    task.numcon = pick(6) - 1;
    task.numbarvar = pick(5) - 1;
    task.maxnamelen = pick(27) - 2;
    for (std::int32_t j = 0; j < task.numbarvar; ++j) task.dims.push_back(pick(8) - 3);
    for (auto* names : {&task.varnames, &task.connames, &task.barvarnames}) {
      for (int i = pick(6); i > 0; --i) names->push_back(name());
    }
    for (fake::Solution& s : task.solutions) fill(s, task);
  }

 private:
  int pick(int choices) { return static_cast<int>(random_() % static_cast<unsigned>(choices)); }

  std::string name() {
    static constexpr std::string_view letters("ab\t\n\r\"\\\0 x.", 11);
    std::string result;
    for (int i = pick(28); i > 0; --i) result += letters[static_cast<std::size_t>(pick(11))];
    return result;
  }

  double value() {
    static constexpr double kSpecials[] = {0.0, -0.0, 1.0, 1e300, -1e-300, HUGE_VAL, -HUGE_VAL};
    if (pick(3) == 0) return kSpecials[pick(7)];
    return (static_cast<double>(random_()) - 2147483648.0) * std::pow(10.0, pick(20) - 15);
  }

  void fill(fake::Solution& s, const vlntaskt& task) {
    s.defined = pick(3);
    s.prosta = pick(12) - 1;
    s.solsta = pick(12) - 1;
    fill(s.skx, task.numvar);
    fill(s.skc, task.numcon);
    for (auto* values : {&s.xx, &s.slx, &s.sux}) fill(*values, task.numvar);
    for (auto* values : {&s.xc, &s.slc, &s.suc, &s.y}) fill(*values, task.numcon);
    s.objectives.clear();
    for (int i = 1 + pick(3); i > 0; --i) {
      s.objectives.push_back(pick(4) == 0 ? std::nullopt : std::optional(value()));
    }
    int size = 0;
    for (const std::int32_t d : task.dims) size += d * (d + 1) / 2;
    fill(s.barx, size);
    fill(s.bars, size);
  }

  // At times fewer than all: the query then leaves the others alone.
  int some(int count) { return count > 0 && pick(4) == 0 ? pick(count) : count; }
  void fill(std::vector<double>& values, int count) {
    values.clear();
    for (int i = some(count); i > 0; --i) values.push_back(value());
  }
  void fill(std::vector<std::int32_t>& keys, int count) {
    for (int i = some(count); i > 0; --i) keys.push_back(pick(9) - 1);
  }

  std::mt19937 random_;
};

TEST_F(PlainReport, RandomModels) {
  for (unsigned seed = 1; seed <= 2000; ++seed) {
    fake::reset();
    RandomSolutions(seed).fill(task_);
    const auto expected = expectedreport(task_);
    ASSERT_EQ(write(), textof(expected)) << "seed " << seed;
    ASSERT_EQ(task_.calls, callsof(expected)) << "seed " << seed;
  }
}

}  // namespace
