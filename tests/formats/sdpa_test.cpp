// SDPA sparse files: each construct of docs/formats/sdpa.md, errors with their places, and what is
// written, down to the last bit.
#include "format/sdpa/sdpa.h"

#include <gtest/gtest.h>

#include <cmath>

#include "format/common/model_check.h"
#include "format/lp/lp.h"
#include "format/mps/mps.h"
#include "peer.h"
#include "reading.h"
#include "round_trip.h"
#include "samples.h"
#include "scratch_folder.h"
#include "task/numeric.h"

namespace vorlan::test {
namespace {

using Numbers = std::vector<double>;
using Indices = std::vector<int32_t>;

Reading read(std::string_view text) { return read_as(read_sdpa, text); }
std::string write(const Model& model, std::string* warnings = nullptr) {
  return write_as(write_sdpa, model, warnings);
}

bool is_entry(const TriangleEntry& entry, int32_t row, int32_t col, double value) {
  return entry.row == row && entry.col == col && entry.value == value;
}

TEST(SdpaRead, TheMatrixForm) {
  const Reading reading = read(
      R"(2
3
2 -2 1
10 -20
0 1 1 1 1
0 1 1 2 2
0 2 2 2 3
1 1 2 1 4
1 2 1 1 5
2 3 1 1 6
2 1 2 2 0
)");
  ASSERT_EQ(reading.error, "");
  EXPECT_EQ(reading.warnings, "");
  const Model& model = reading.model;
  EXPECT_EQ(find_model_fault(model).text, "");
  EXPECT_TRUE(model.maximize);
  EXPECT_EQ(model.con_lower, (Numbers{10, -20}));
  EXPECT_EQ(model.con_upper, (Numbers{10, -20}));
  // A diagonal block is scalars that are not negative; a block of size 1 is a matrix like others.
  EXPECT_EQ(model.cost, (Numbers{0, 3}));
  EXPECT_EQ(model.var_lower, (Numbers{0, 0}));
  EXPECT_EQ(model.var_upper, (Numbers{kInfinity, kInfinity}));
  EXPECT_EQ(model.matrix.start, (std::vector<int64_t>{0, 1, 1}));
  EXPECT_EQ(model.matrix.row, Indices{0});
  EXPECT_EQ(model.matrix.value, Numbers{5});
  ASSERT_EQ(model.num_matrix_var(), 2);
  EXPECT_EQ(model.matrix_vars[0].dimension, 2);
  EXPECT_EQ(model.matrix_vars[1].dimension, 1);
  ASSERT_EQ(model.matrix_cost.size(), 2u);
  EXPECT_TRUE(is_entry(model.matrix_cost[0].entry, 0, 0, 1));
  EXPECT_TRUE(is_entry(model.matrix_cost[1].entry, 1, 0, 2));
  ASSERT_EQ(model.matrix_coefficients.size(), 2u);
  EXPECT_TRUE(is_entry(model.matrix_coefficients[0].entry, 1, 0, 4));
  EXPECT_EQ(model.matrix_coefficients[1].matrix_var, 1);
  EXPECT_TRUE(is_entry(model.matrix_coefficients[1].entry, 0, 0, 6));
}

TEST(SdpaRead, LooseForms) {
  const Model plain = read("2\n2\n2 -1\n1.5 -2\n1 1 1 2 -0.5\n2 2 1 1 1\n").model;
  for (const char* text : {
           R"("A title
* A comment
  2 = mDIM
 2 = nBLOCK
 (2, -1) = bLOCKsTRUCT
{+1.5, -2.0}
1 1 1 2 -5D-1
2,1;
)",
           "2 rows\r\n2\r\n2,\r\n-1\r\n1.5\r\n\r\n-2\r\n1 1 1 2 -.5\r\n\t2 2 1 1 +1\r\n* end\r\n",
           R"(2
2
{2}{-1}
(1.5,-2)
* between
{1,1,1,2,-0.5}
2 2 1 1 1e0)",
       }) {
    const Reading reading = read(text);
    if (std::string_view(text).ends_with(";\n")) {
      EXPECT_EQ(
          reading.error,
          "text:8:3: the number of a block, an integer from 1 to 2, was expected, found '1;'");
      continue;
    }
    EXPECT_EQ(reading.error, "") << text;
    EXPECT_EQ(difference(plain, reading.model), "") << text;
  }
}

TEST(SdpaRead, TheCommentOfAMinimization) {
  const char* rest = "1\n1\n-2\n1\n0 1 1 1 3\n1 1 1 1 1\n1 1 2 2 1\n";
  const Model model = read(std::string("* Dialect: minimize\n") + rest).model;
  EXPECT_FALSE(model.maximize);
  EXPECT_EQ(model.cost, (Numbers{-3, 0}));
  EXPECT_FALSE(std::signbit(model.cost[1]));
  // Elsewhere it is a comment like any other.
  EXPECT_TRUE(read(std::string(rest) + "* Dialect: minimize\n").model.maximize);
}

TEST(SdpaRead, TheDialectWithIntegersIsRemarkedOnce) {
  const Reading reading = read(R"(1
1
-1
1
1 1 1 1 1
*INTEGER
*1
*RANK1
*1
)");
  EXPECT_EQ(reading.error, "");
  EXPECT_EQ(reading.warnings,
            "warning: text:6:1: what follows is taken for comments: integers and matrices of rank "
            "one of the "
            "dual problem cannot be read, found '*INTEGER'\n");
}

TEST(SdpaRead, ErrorsNameThePlace) {
  const std::string start = "2\n2\n2 -2\n1 2\n";
  const std::pair<std::string, const char*> cases[] = {
      {"", "text:0: the file ends here, where the number of constraints was expected"},
      {"x\n", "text:1:1: the number of constraints, an integer from 0, was expected, found 'x'"},
      {"-1\n", "text:1:1: the number of constraints, an integer from 0, was expected, found '-1'"},
      {"2 2\n", "text:1:3: one number less was expected in this line, found '2'"},
      {"2 -2\n", "text:1:3: one number less was expected in this line, found '-2'"},
      {"2\n2\n2\n", "text:3: the file ends here, where the size of a block was expected"},
      {"2\n1\n0\n", "text:3:1: the size of a block, which is not 0, was expected, found '0'"},
      {"2\n1\n2 3\n", "text:3:3: one number less was expected in this line, found '3'"},
      {"2\n1\n2\n1 ? 2\n", "text:4:3: a number was expected, found '?'"},
      {"2\n1\n2\n1 1e999\n", "text:4:3: a finite number was expected, found '1e999'"},
      {"2\n1\n2\n1 2 3\n", "text:4:5: one number less was expected in this line, found '3'"},
      {"2000000000\n1\n2\n1 2\n",
       "text:4: the file ends here, where a right-hand side was expected"},
      {start + "3 1 1 1 1\n",
       "text:5:1: the number of a matrix, an integer from 0 to 2, was expected, found '3'"},
      {start + "1 3 1 1 1\n",
       "text:5:3: the number of a block, an integer from 1 to 2, was expected, found '3'"},
      {start + "1 1 0 1 1\n",
       "text:5:5: a row of the block, an integer from 1 to 2, was expected, found '0'"},
      {start + "1 1 1 3 1\n",
       "text:5:7: a column of the block, an integer from 1 to 2, was expected, found '3'"},
      {start + "1 2 1 2 1\n",
       "text:5:7: a diagonal block has elements on its diagonal only, found '2 1'"},
      {start + "1 1 1 1\n", "text:5:8: a number was expected, found the end of the line"},
      {start + "1 1 1 1 1 1\n", "text:5:11: nothing more was expected in this line, found '1'"},
      {start + "1 1 1 2 1\n1 1 2 1 1\n",
       "text:6: a second value for a place that has one by line 5"},
      {start + "1 2 1 1 0\n1 1 1 1 1\n1 2 1 1 1\n",
       "text:7: a second value for a place that has one by line 5"},
      {start + "0 2 1 1 0\n0 2 1 1 1\n", "text:6:7: a second value for this place, found '1 1'"},
  };
  for (const auto& [text, message] : cases) EXPECT_EQ(read(text).error, message) << text;
}

// A few bytes cannot claim a huge model. The tests' limit is a million numbers.
TEST(SdpaRead, LimitsOfWhatIsDeclared) {
  for (const char* sizes : {"2000000000", "-2000000000", "1024 1024", "-150000 -150000"}) {
    const bool two = std::string_view(sizes).find(' ') != std::string_view::npos;
    EXPECT_EQ(read(std::string("1\n") + (two ? "2\n" : "1\n") + sizes + "\n1\n").error,
              "text:3: what is declared up to here would take more than 16 MiB of memory, which is "
              "VLN_IPAR_READ_DECLARED_LIMIT")
        << sizes;
  }
  EXPECT_EQ(read("1\n1\n-200000\n1\n").error, "");
}

// A model that the format says without helpers comes back as the same model.
TEST(SdpaWrite, ModelsOfTheFormatReadBackExactly) {
  for (const char* head : {"", "* Dialect: minimize\n"}) {
    const Reading reading = read(std::string(head) +
                                 R"(2
3
2 -2 1
0.1 -1e300
0 1 1 2 0.30000000000000004
1 2 2 2 1e-300
0 2 1 1 -0.1
2 3 1 1 6
)");
    ASSERT_EQ(reading.error, "");
    const std::string text = write(reading.model);
    EXPECT_EQ(difference(reading.model, read(text).model), "") << text;
    EXPECT_EQ(text.starts_with("* Dialect"), *head != '\0');
  }
}

// Slack variables, signs, differences and the constant.
TEST(SdpaWrite, HelpersForWhatTheFormatDoesNotSay) {
  Model model;
  model.maximize = true;
  model.constant = 2.5;
  add_constraint(&model, -1.0, 4.0);
  add_constraint(&model, -kInfinity, kInfinity);
  add_constraint(&model, 7.0, 7.0);
  add_variable(&model, 0.0, kInfinity, 0);         // scalar 1
  add_variable(&model, -kInfinity, 0.0, 2);        // 2, the negative
  add_variable(&model, -kInfinity, kInfinity, 0);  // 3 - 4
  add_variable(&model, 0.0, 5.0);                  // 5
  add_variable(&model, 1.0, 1.0);                  // 6
  model.cost = {1, 2, 3, 4, 5};
  model.matrix_vars.push_back({2});
  model.matrix_coefficients.push_back({0, 0, {1, 0, 0.5}});
  std::string warnings;
  const std::string text = write(model, &warnings);
  // Slack variables 7 and 8 of the first constraint, 9 of the bound of 5, and 10 for the constant.
  EXPECT_EQ(text,
            R"(6
2
2 -10
-1 4 7 5 1 1
0 2 1 1 1
0 2 2 2 -2
0 2 3 3 3
0 2 4 4 -3
0 2 5 5 4
0 2 6 6 5
0 2 10 10 2.5
1 1 1 2 0.5
1 2 1 1 1
1 2 3 3 1
1 2 4 4 -1
1 2 7 7 -1
2 1 1 2 0.5
2 2 1 1 1
2 2 3 3 1
2 2 4 4 -1
2 2 8 8 1
3 2 2 2 -1
4 2 5 5 1
4 2 9 9 1
5 2 6 6 1
6 2 10 10 1
)");
  EXPECT_EQ(warnings,
            "warning: SDPA files have non-negative scalars only: 2 variables are written with the "
            "opposite "
            "sign or as a difference\nwarning: constraints without sides are left out: 1\n");
  EXPECT_EQ(round_trip_fault(read_sdpa, write_sdpa, text), "");
}

TEST(SdpaWrite, AMinimizationIsWrittenWithTheOppositeSign) {
  Model model;
  add_variable(&model, 0.0, kInfinity);
  model.cost[0] = 2.0;
  model.var_names.add("x");
  std::string warnings;
  EXPECT_EQ(write(model, &warnings),
            R"(* Dialect: minimize
* The objective is the negative of the one that is minimized.
0
1
-1

0 1 1 1 -2
)");
  EXPECT_EQ(warnings,
            "warning: SDPA files have no names: those of the model are left out\n"
            "warning: SDPA files maximize: the objective is written with the opposite sign\n");
}

TEST(SdpaWrite, Refusals) {
  const auto refusal = [](const auto& change) {
    Model model;
    add_constraint(&model, 0.0, 1.0);
    add_variable(&model, 0.0, 1.0, 0);
    model.var_names.add("x");
    change(&model);
    return write(model);
  };
  const std::string start = "refused: an SDPA file cannot hold the model: ";
  EXPECT_EQ(refusal([](Model* m) {
              m->quadratic_cost.push_back({0, 0, 1.0});
            }),
            start + "its objective has quadratic terms");
  EXPECT_EQ(refusal([](Model* m) {
              m->quadratic_coefficients.push_back({0, {0, 0, 1.0}});
            }),
            start + "constraint 1 has quadratic terms");
  EXPECT_EQ(refusal([](Model* m) { m->var_kind[0] = VarKind::kSemiContinuous; }),
            start + "variable 'x' is semi-continuous");
  EXPECT_EQ(refusal([](Model* m) { m->var_kind[0] = VarKind::kInteger; }),
            start + "variable 'x' is integer");
  EXPECT_EQ(refusal([](Model* m) {
              m->sets.push_back({SetKind::kSos1, {0}, {1.0}});
              m->set_names.add("s");
            }),
            start + "set 's' is a special ordered set");
  EXPECT_EQ(refusal([](Model* m) {
              m->var_kind[0] = VarKind::kInteger;
              m->indicators.push_back({0, 0, true});
            }),
            start + "constraint 1 holds under a condition (an indicator)");
  EXPECT_EQ(refusal([](Model* m) {
              m->cones.push_back({ConeKind::kQuadratic, {0}, {}});
            }),
            start + "cone 1 is a cone of scalar variables");
  EXPECT_EQ(refusal([](Model* m) { m->var_lower[0] = kInfinity; }),
            start + "a bound of variable 'x' is an infinity on the wrong side");
  EXPECT_EQ(refusal([](Model* m) { m->matrix.value[0] = kInfinity; }),
            start + "element 0 of the coefficients is no finite number");
}

TEST(SdpaRoundTrip, CorpusAndMutations) { expect_round_trips("sdpa", read_sdpa, write_sdpa); }

// All semidefinite instances; and that a linear one which went through the format is the same from
// then on.
TEST(SdpaRoundTrip, PublicInstances) {
  if (!has_instances()) GTEST_SKIP() << kNoInstances;
  expect_instances({"sdp", "lp", "bad"}, [](const Instance& instance) {
    const bool is_ours = instance.path.find(".dat-s") != std::string::npos;
    if (!is_ours && (instance.is_bad() || !instance.ends_with(".mps.gz"))) return false;
    const std::string text =
        is_ours ? instance.text() : write(read_as(read_mps, instance.text()).model);
    EXPECT_EQ(read(text).error.empty(), !instance.is_bad()) << instance.path;
    EXPECT_EQ(round_trip_fault(read_sdpa, write_sdpa, text), "") << instance.path;
    return true;
  });
}

const Peer kPeer = {"csdp", "csdp %s | sed -n 's/^Primal objective value: *//p'"};

// Another program finds the optimum of what we write, up to the sign of a minimization.
TEST(SdpaPeer, FindsTheOptimumOfOurFile) {
  if (!is_installed(kPeer)) GTEST_SKIP() << kPeer.program << " is not installed";
  const ScratchFolder folder;
  struct Case {
    const char* text;
    double optimum;  // as the file says it
  };
  const Case cases[] = {
      // A free variable, ranges, bounds of all kinds, a constant: y = -2 and x = 4, so
      // 4 - 1 + 2.
      {R"(Minimize
 obj: x + 0.5 y + z + 2
Subject To
 c: 2 <= x + y + z <= 9
 d: x - w = 4
 e: u + v >= -3
Bounds
 y free
 -2 <= y <= 3
 z <= 5
 w <= 1
 -inf <= u <= -1
 v = 2
End
)",
       -5.0},
      // The optimum has x = 2 - X11 and X of trace 1: the largest eigenvalue of (1 1; 1 2), (3 +
      // sqrt(5)) / 2, and 2 - 1.
      {R"(Minimize ] extended problem 1
Matrix Variables
 X(2)
Maximize
 obj: 2 X(1,1) + 2 X(2,1) + 2 X(2,2) + x - 1
Subject To
 c: X(1,1) + X(2,2) = 1
 d: -1 <= x + X(1,1) <= 2
End
)",
       2.5 + 0.5 * std::sqrt(5.0)},
  };
  for (const Case& test : cases) {
    const Reading reading = read_as(read_ptf, test.text);
    ASSERT_EQ(reading.error, "");
    const std::string path = folder.write("ours.dat-s", write(reading.model));
    EXPECT_NEAR(optimum_by(kPeer, path), test.optimum, 1e-6) << test.text;
  }
}

}  // namespace
}  // namespace vorlan::test
