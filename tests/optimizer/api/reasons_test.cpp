// Why a model has no optimum, and how far an optimum reaches: the lines of the log, the conflict as
// a model, and the ranges of costs and sides, beside those of another program.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cmath>
#include <cstdlib>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "small_models.h"
#include "task_support.h"

namespace {

void put(const TestTask& task, const char* name, const std::string& value) {
  ASSERT_EQ(VLN_putparam(task, name, value.c_str()), VLN_RES_OK) << task.last_message();
}

// The contradiction is among the first three rows; the others are true of many points.
constexpr char kNeed[] = R"(Minimize
 obj: x + y + z
Subject To
 need: x + y >= 10
 cap1: x <= 4
 cap2: y <= 3
 other: x + z <= 100
 more: y - z >= -50
Bounds
 z <= 7
End
)";

constexpr char kNeedReason[] =
    "Infeasible: need >= 10, cap1 <= 4 and cap2 <= 3 cannot hold together";

TEST(Reasons, TheLogNamesTheRowsOfACertificate) {
  for (const char* method : {"dual_simplex", "interior_point", "conic"}) {
    TestTask task;
    ASSERT_EQ(task.read_as("need.lp", kNeed), VLN_RES_OK);
    put(task, "VLN_IPAR_OPTIMIZER", method);
    task.solve();
    EXPECT_NE(task.log().find(kNeedReason), std::string::npos) << method << '\n' << task.log();
  }
}

TEST(Reasons, TheLogNamesBoundsThatCross) {
  TestTask task;
  ASSERT_EQ(task.read_as("m.lp",
                         "Minimize\n x\nSubject To\n r: x + y >= 1\nBounds\n 4 <= x <= 3\n"
                         "End\n"),
            VLN_RES_OK)
      << task.last_message();
  task.solve();
  EXPECT_NE(task.log().find("Infeasible: x >= 4 and x <= 3 cannot hold"), std::string::npos)
      << task.log();
}

TEST(Reasons, TheLogNamesAConeInAContradiction) {
  TestTask task;
  ASSERT_EQ(task.read_as("m.ptf",
                         "Minimize ] extended problem 1\nMinimize\n obj: t\nSubject To\n low: t <= "
                         "1\n high: x >= 2\n"
                         "Bounds\n x free\n t free\nCones\n k: quadratic t x\nEnd\n"),
            VLN_RES_OK)
      << task.last_message();
  task.solve();
  EXPECT_NE(task.log().find("Infeasible: low <= 1, high >= 2 and cone k cannot hold together"),
            std::string::npos)
      << task.log();
}

TEST(Reasons, TheLogNamesTheIntegersOfAContradiction) {
  TestTask task;
  ASSERT_EQ(task.read(kInfeasibleInteger), VLN_RES_OK);
  task.solve();
  EXPECT_NE(task.log().find("R = 1"), std::string::npos) << task.log();
  EXPECT_NE(task.log().find("X integer cannot hold together"), std::string::npos) << task.log();
}

TEST(Reasons, TheLogNamesTheVariablesAlongWhichThereIsNoEnd) {
  for (const char* method : {"dual_simplex", "conic"}) {
    TestTask task;
    ASSERT_EQ(task.read_as("m.lp",
                           "Maximize\n obj: x + y\nSubject To\n r: x - y = 0\n s: w <= 4\n"
                           "End\n"),
              VLN_RES_OK);
    put(task, "VLN_IPAR_OPTIMIZER", method);
    task.solve();
    EXPECT_NE(task.log().find("Unbounded: the objective improves for ever along x (+1) and y (+1)"),
              std::string::npos)
        << method << '\n'
        << task.log();
  }
}

// An interior point method's ray has a small step along x, by which it is a ray as well.
TEST(Reasons, AlongASmallStepThatTheRayDoesNotNeedNothingIsSaid) {
  TestTask task;
  ASSERT_EQ(task.read_as("m.ptf", R"(Minimize ] extended problem 1
Maximize
 obj: x + 0.5 y
Subject To
 a: t - y <= 4
Cones
 k: quadratic t x y
End
)"),
            VLN_RES_OK);
  task.solve();
  EXPECT_NE(task.log().find("Unbounded: the objective improves for ever along y (+1) and t (+1)"),
            std::string::npos)
      << task.log();
}

// Presolve tells at once that three of the constraints contradict each other, and leaves no proof.
// The proof takes no pass of the simplex method over all others.
TEST(Reasons, TheProofOfALargeModelIsAsNearAsPresolveSays) {
  constexpr int kVariables = 5000;
  std::string objective = "Minimize\n obj: x0";
  std::string rows = "Subject To\n";
  for (int j = 0; j < kVariables; ++j) {
    const auto variable = [](int place) { return " x" + std::to_string(place % kVariables); };
    if (j % 10 == 9) objective += "\n + " + std::to_string(j % 7 + 1) + variable(j);
    rows += " r" + std::to_string(j) + ": " + std::to_string(j % 3 + 1) + variable(j) + " + 2" +
            variable(7 * j + 13) + " + " + std::to_string(j % 4 + 1) + variable(31 * j + 5) +
            " >= " + std::to_string(j % 19 + 2) + '\n';
  }
  rows += " c1: x50 + x770 + x990 <= 3\n c2: x50 - x770 >= 2\n c3: x770 + x990 >= 2\n";
  TestTask task;
  ASSERT_EQ(task.read_as("m.lp", objective + '\n' + rows + "End\n"), VLN_RES_OK);
  task.solve();
  EXPECT_EQ(task.solution_status(kBasic), solsta::kPrimalInfeasibleCertificate) << task.log();
  const std::string words = "Solved again for a certificate: ";
  const size_t line = task.log().find(words);
  ASSERT_NE(line, std::string::npos) << task.log();
  EXPECT_LT(std::stoi(task.log().substr(line + words.size())), kVariables / 10) << task.log();
  EXPECT_NE(task.log().find("Infeasible: "), std::string::npos) << task.log();
}

bool is_infeasible(const TestTask& task) {
  for (const int32_t kind : {kInterior, kBasic, kInteger}) {
    if (task.defined(kind)) return task.problem_status(kind) == prosta::kPrimalInfeasible;
  }
  return false;
}

// The conflict of a model as the text of an LP file.
std::string conflict_of(const std::string& name, const std::string& content) {
  TestTask task;
  EXPECT_EQ(task.read_as(name, content), VLN_RES_OK) << task.last_message();
  const std::string path = test_file_path("conflict.lp");
  ::unlink(path.c_str());
  put(task, "VLN_SPAR_CONFLICT_FILE", path);
  task.solve();
  EXPECT_NE(task.log().find("none of them can be left out"), std::string::npos) << task.log();
  return read_all(path);
}

// No even number is 7.
constexpr char kIntegerConflict[] = R"(Minimize
 obj: x + y
Subject To
 even: 2 x + 4 y = 7
 idle: x + y + w <= 50
 lazy: w - x >= -30
Bounds
 x <= 20
 y <= 20
General
 x y w
End
)";

TEST(Reasons, TheConflictFileIsIrreducible) {
  const std::string linear = conflict_of("need.lp", kNeed);
  for (const char* row : {"need", "cap1", "cap2"}) {
    EXPECT_NE(linear.find(row), std::string::npos) << linear;
  }
  for (const char* name : {"other", "more", "z"}) {
    EXPECT_EQ(linear.find(std::string(" ") + name), std::string::npos) << linear;
  }
  TestTask whole;
  ASSERT_EQ(whole.read_as("whole.lp", linear), VLN_RES_OK) << whole.last_message();
  whole.solve();
  EXPECT_TRUE(is_infeasible(whole));

  const std::string integer = conflict_of("even.lp", kIntegerConflict);
  EXPECT_NE(integer.find("even"), std::string::npos) << integer;
  EXPECT_EQ(integer.find("idle"), std::string::npos) << integer;
  EXPECT_EQ(integer.find("lazy"), std::string::npos) << integer;
  EXPECT_EQ(integer.find("w"), std::string::npos) << integer;
  TestTask even;
  ASSERT_EQ(even.read_as("even.lp", integer), VLN_RES_OK) << even.last_message();
  even.solve();
  EXPECT_TRUE(is_infeasible(even)) << integer << even.log();
}

// The proof adds r2 and 1e-6 r0. That leaves 1e-9 x0, whose bound is a part of it.
TEST(Reasons, TheLogNamesAPartWithASmallMultiplier) {
  TestTask task;
  ASSERT_EQ(task.read_as("small.lp", R"(Minimize
 obj: x0
Subject To
 r0: - x3 + 1000 x2 + 10 x1 + 0.001 x0 <= 9
 r2: 4 x3 + 0.001 x2 - x1 >= 16
Bounds
 x2 free
 x3 <= 2
End
)"),
            VLN_RES_OK);
  put(task, "VLN_IPAR_OPTIMIZER", "dual_simplex");
  task.solve();
  EXPECT_NE(task.log().find("x0 >= 0"), std::string::npos) << task.log();
}

// In the proof by r0 and r2 the bound of x0 has a multiplier 1e-9 of the largest, and is needed.
TEST(Reasons, AConflictKeepsWhatHasASmallMultiplier) {
  const std::string conflict = conflict_of("small.lp", R"(Minimize
 obj: 0.5 x2 + 4 x3 + 0.001 x0
Subject To
 r0: 6 <= - x3 + 1000 x2 + 10 x1 + 0.001 x0 <= 9
 r1: 1000 x3 + 1000 x1 >= 4
 r2: 4 x3 + 0.001 x2 - x1 >= 16
 r3: 10 x1 + 1.5 x0 + 1000 x3 + 10 x2 >= 15
 r4: - x0 <= 6
Bounds
 x0 <= 8
 x1 <= 7
 -2 <= x2 <= 3
 x3 <= 2
General
 x0
End
)");
  TestTask part;
  ASSERT_EQ(part.read_as("part.lp", conflict), VLN_RES_OK) << part.last_message();
  part.solve();
  EXPECT_TRUE(is_infeasible(part)) << conflict << part.log();
}

// One of x and y is 0, the other at most 2.
constexpr char kSetConflict[] = R"(Minimize
 obj: x + y + z
Subject To
 need: x + y >= 3
 idle: x + z <= 50
Bounds
 x <= 2
 y <= 2
 z <= 7
SOS
 either: S1:: x:1 y:2
 other: S1:: x:1 z:2
End
)";

constexpr char kConditionConflict[] = R"(Minimize
 obj: x + z
Subject To
 on: z >= 1
 idle: w = 1 -> x <= 2
 far: z = 1 -> x >= 5
Bounds
 x <= 3
Binary
 z w
End
)";

TEST(Reasons, SetsAndConditionsArePartsOfAConflict) {
  struct Case {
    const char* model;
    const char* reason;
    const char* left_out;
  };
  const Case cases[] = {
      {kSetConflict,
       "Infeasible: need >= 3, x <= 2, y <= 2 and SOS1 set either cannot hold together\n"
       "  none of them can be left out\n",
       "other"},
      {kConditionConflict,
       "Infeasible: on >= 1, far >= 5 where z = 1 and x <= 3 cannot hold together\n"
       "  none of them can be left out\n",
       "idle"}};
  for (const Case& entry : cases) {
    TestTask task;
    ASSERT_EQ(task.read_as("m.lp", entry.model), VLN_RES_OK) << task.last_message();
    task.solve();
    EXPECT_NE(task.log().find(entry.reason), std::string::npos) << task.log();
    const std::string conflict = conflict_of("m.lp", entry.model);
    EXPECT_EQ(conflict.find(entry.left_out), std::string::npos) << conflict;
  }
  // The part is a model of its own, with its set or its condition, and infeasible.
  TestTask part;
  ASSERT_EQ(part.read_as("part.lp", conflict_of("m.lp", kConditionConflict)), VLN_RES_OK)
      << part.last_message();
  EXPECT_NE(conflict_of("m.lp", kSetConflict).find("S1"), std::string::npos);
}

// No bound can be derived for what the set needs a bound of, once bounds are left out.
TEST(Reasons, AConflictOfSetsNeedsNoBounds) {
  TestTask task;
  ASSERT_EQ(task.read_as("m.lp", R"(Minimize
 obj: x + y
Subject To
 one: x >= 1
 two: y >= 1
Bounds
 x <= 100
 y <= 100
SOS
 s: S1:: x:1 y:2
End
)"),
            VLN_RES_OK)
      << task.last_message();
  task.solve();
  EXPECT_NE(task.log().find("Infeasible: one >= 1, two >= 1 and SOS1 set s cannot hold together\n"
                            "  none of them can be left out\n"),
            std::string::npos)
      << task.log();
}

struct Range {
  std::string key;
  double least = 0.0, most = 0.0;
};
using Ranges = std::map<std::string, Range>;

// "cost x", "side wood", ...
Ranges our_ranges(const std::string& lp, const char* method) {
  TestTask task;
  EXPECT_EQ(task.read_as("w.lp", lp), VLN_RES_OK);
  const std::string path = test_file_path("ranging");
  put(task, "VLN_SPAR_RANGING_FILE", path);
  put(task, "VLN_IPAR_OPTIMIZER", method);
  task.solve();
  Ranges ranges;
  std::istringstream lines(read_all(path));
  std::string line;
  std::getline(lines, line);
  EXPECT_EQ(line.rfind("what\tname\tkey\t", 0), 0u) << line;
  while (std::getline(lines, line)) {
    EXPECT_EQ(line.find("\t-0\t"), std::string::npos) << line;
    std::istringstream words(line);
    std::string what, name, key, value, dual, now, least, most;
    words >> what >> name >> key >> value >> dual >> now >> least >> most;
    ranges[what + ' ' + name] = {key, std::strtod(least.c_str(), nullptr),
                                 std::strtod(most.c_str(), nullptr)};
  }
  return ranges;
}

double peer_number(const std::string& word) {
  if (word == ".") return 0.0;
  return word == "+Inf" ? HUGE_VAL : word == "-Inf" ? -HUGE_VAL : std::stod(word);
}

// The sensitivity report of glpsol has two lines for each row and column, the least values in the
// first and the most in the second.
Ranges peer_ranges(const std::string& lp) {
  const std::string report = test_file_path("report");
  const std::string model = write_test_file("peer.lp", lp);
  const std::string command = "glpsol --lp " + model + " --ranges " + report + " >/dev/null 2>&1";
  if (std::system(command.c_str()) != 0) return {};
  Ranges ranges;
  bool columns = false;
  std::istringstream lines(read_all(report));
  std::string line;
  while (std::getline(lines, line)) {
    columns = columns || line.find("Column name") != std::string::npos;
    std::istringstream words(line);
    std::vector<std::string> first;
    for (std::string word; words >> word;) first.push_back(word);
    if (first.size() < 9 || first[0].find_first_not_of("0123456789") != std::string::npos) continue;
    std::getline(lines, line);
    std::istringstream more(line);
    std::vector<std::string> second;
    for (std::string word; more >> word;) second.push_back(word);
    if (second.size() < 4) continue;
    const size_t at = columns ? 7 : 6;  // the cost's range, or the activity's
    ranges[(columns ? "cost " : "side ") + first[1]] = {first[2], peer_number(first[at]),
                                                        peer_number(second[at - 4])};
  }
  return ranges;
}

// A side that is none of the basis: the values to which the constraint can be pressed.
TEST(Reasons, RangesOfAConstraintThatIsNotTight) {
  const Ranges ranges = our_ranges(
      "minimize\n o: 2 x + 3 y - z\nsubject to\n b: x + 2 y + z <= 10\n d: x + z <= 8\n"
      " e: x + y = 0\n f: z - x <= 0\nbounds\n x <= 5\n y free\nend\n",
      "dual_simplex");
  ASSERT_EQ(ranges.count("side b"), 1u);
  EXPECT_EQ(ranges.at("side b").key, "basic");
  EXPECT_NEAR(ranges.at("side b").least, -5.0, 1e-6);
  EXPECT_NEAR(ranges.at("side b").most, 0.0, 1e-6);
}

TEST(Reasons, RangesAreThoseOfAPeer) {
  const Ranges known = {{"cost x", {"BS", 20, 160.0 / 3.0}},
                        {"cost y", {"BS", 67.5, 180}},
                        {"cost z", {"NL", -HUGE_VAL, 30}},
                        {"side wood", {"NU", 350, 600}},
                        {"side work", {"NU", 300, 487.5}}};
  Ranges peer = peer_ranges(kWorkshop);
  for (const char* method : {"dual_simplex", "interior_point"}) {
    const Ranges ours = our_ranges(kWorkshop, method);
    ASSERT_EQ(ours.size(), 6u);
    for (const auto& [name, range] : known) {
      ASSERT_EQ(ours.count(name), 1u) << name;
      EXPECT_NEAR(ours.at(name).least == range.least ? 0.0 : ours.at(name).least - range.least, 0.0,
                  1e-6)
          << name;
      EXPECT_NEAR(ours.at(name).most - range.most, 0.0, 1e-6) << name;
      if (peer.empty()) continue;
      EXPECT_EQ(peer[name].key, range.key);
      EXPECT_TRUE(peer[name].least == range.least ||
                  std::fabs(peer[name].least - range.least) < 1e-2)
          << name;
      EXPECT_NEAR(peer[name].most, range.most, 1e-2) << name;
    }
  }
}

}  // namespace
