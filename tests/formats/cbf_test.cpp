// CBF files: each construct of docs/formats/cbf.md, errors with their places, and what is written,
// down to the last bit.
#include "format/cbf/cbf.h"

#include <gtest/gtest.h>

#include <cmath>

#include "format/common/model_check.h"
#include "format/mps/mps.h"
#include "reading.h"
#include "round_trip.h"
#include "samples.h"
#include "task/numeric.h"

namespace vorlan::test {
namespace {

using Numbers = std::vector<double>;
using Indices = std::vector<int32_t>;

Reading read(std::string_view text) { return read_as(read_cbf, text); }
std::string write(const Model& model, std::string* warnings = nullptr) {
  return write_as(write_cbf, model, warnings);
}

// A file in a version that has all cones.
std::string file(const std::string& items) { return "VER\n3\nOBJSENSE\nMIN\n" + items; }

Model model_of(const std::string& items) {
  Reading reading = read(file(items));
  EXPECT_EQ(reading.error, "") << items;
  EXPECT_EQ(find_model_fault(reading.model).text, "") << items;
  return std::move(reading.model);
}

TEST(CbfRead, Heads) {
  for (const char* version : {"1", "2", "3", "4"}) {
    EXPECT_EQ(read("VER\n" + std::string(version) + "\nOBJSENSE\nMIN\n").error, "");
  }
  EXPECT_FALSE(read("VER\n1\nOBJSENSE\nMIN\n").model.maximize);
  EXPECT_TRUE(read("VER\n1\nOBJSENSE\nMAX\n").model.maximize);
  const Reading loose = read(
      "\xef\xbb\xbf# first\r\n\r\n  VER  \r\n 1\r\n#\n\nOBJSENSE\n# within\n\nMAX\nVAR\n1 1\n\tF "
      "\t1\n# last");
  EXPECT_EQ(loose.error, "");
  EXPECT_TRUE(loose.model.maximize);
  EXPECT_EQ(loose.model.num_var(), 1);
}

TEST(CbfRead, LinearConesAreBoundsAndSides) {
  const Model model = model_of(
      R"(VAR
5 4
F 1
L+ 2
L- 1
L= 1
CON
4 4
L= 1
L+ 1
F 1
L- 1
ACOORD
3
3 0 2
0 0 1
1 2 -1.5
BCOORD
4
0 -1
1 2.5
2 9
3 4
)");
  EXPECT_EQ(model.var_lower, (Numbers{-kInfinity, 0, 0, -kInfinity, 0}));
  EXPECT_EQ(model.var_upper, (Numbers{kInfinity, kInfinity, kInfinity, 0, 0}));
  // A x + b in the cone: b has the opposite sign here.
  EXPECT_EQ(model.con_lower, (Numbers{1, -2.5, -kInfinity, -kInfinity}));
  EXPECT_EQ(model.con_upper, (Numbers{1, kInfinity, kInfinity, -4}));
  EXPECT_EQ(model.matrix.start, (std::vector<int64_t>{0, 2, 2, 3, 3, 3}));
  EXPECT_EQ(model.matrix.row, (Indices{0, 3, 1}));
  EXPECT_EQ(model.matrix.value, (Numbers{1, 2, -1.5}));
  EXPECT_EQ(model.num_cone(), 0);
}

TEST(CbfRead, ConesOfVariablesKeepTheOrderOfMembers) {
  const Model model = model_of(
      R"(POWCONES
2 5
2
4
1
3
1
2
3
POW*CONES
1 1
1
7
VAR
21 8
F 1
Q 2
QR 3
EXP 3
EXP* 3
@1:POW 5
@0:POW* 2
QR 2
)");
  struct Expected {
    ConeKind kind;
    Indices vars;
    Numbers exponents;
  };
  const Expected expected[] = {
      {ConeKind::kQuadratic, {1, 2}, {}},
      {ConeKind::kRotatedQuadratic, {3, 4, 5}, {}},
      {ConeKind::kExponential, {6, 7, 8}, {}},
      {ConeKind::kDualExponential, {9, 10, 11}, {}},
      {ConeKind::kPower, {12, 13, 14, 15, 16}, {1, 2, 3}},
      {ConeKind::kDualPower, {17, 18}, {7}},
      {ConeKind::kRotatedQuadratic, {19, 20}, {}},
  };
  ASSERT_EQ(model.cones.size(), std::size(expected));
  for (size_t i = 0; i < model.cones.size(); ++i) {
    EXPECT_EQ(model.cones[i].kind, expected[i].kind) << i;
    EXPECT_EQ(model.cones[i].vars, expected[i].vars) << i;
    EXPECT_EQ(model.cones[i].exponents, expected[i].exponents) << i;
  }
  for (size_t j = 0; j < model.cost.size(); ++j) {
    EXPECT_EQ(model.var_lower[j], -kInfinity);
    EXPECT_EQ(model.var_upper[j], kInfinity);
  }
}

// (x + 1, 2 x - 3) in a cone: slack variables s with x + 1 - s1 = 0, 2 x - 3 - s2 = 0.
TEST(CbfRead, ConicConstraintsGetSlackVariables) {
  const Model model = model_of(
      R"(CON
3 2
L+ 1
Q 2
VAR
1 1
L+ 1
ACOORD
2
1 0 1
2 0 2
BCOORD
2
1 1
2 -3
)");
  EXPECT_EQ(model.var_lower, (Numbers{0, -kInfinity, -kInfinity}));
  EXPECT_EQ(model.var_upper, (Numbers{kInfinity, kInfinity, kInfinity}));
  EXPECT_EQ(model.con_lower, (Numbers{0, -1, 3}));
  EXPECT_EQ(model.con_upper, (Numbers{kInfinity, -1, 3}));
  EXPECT_EQ(model.matrix.start, (std::vector<int64_t>{0, 2, 3, 4}));
  EXPECT_EQ(model.matrix.row, (Indices{1, 2, 1, 2}));
  EXPECT_EQ(model.matrix.value, (Numbers{1, 2, -1, -1}));
  ASSERT_EQ(model.num_cone(), 1);
  EXPECT_EQ(model.cones[0].vars, (Indices{1, 2}));
}

// A quadratic cone of one member says that it is not negative.
TEST(CbfRead, QuadraticConesOfOneMember) {
  const Model model = model_of("VAR\n1 1\nQ 1\nCON\n1 1\nQ 1\nBCOORD\n1\n0 3\n");
  EXPECT_EQ(model.num_cone(), 0);
  EXPECT_EQ(model.num_var(), 1);
  EXPECT_EQ(model.var_lower, Numbers{0});
  EXPECT_EQ(model.con_lower, Numbers{-3});
  EXPECT_EQ(model.con_upper, Numbers{kInfinity});
}

TEST(CbfRead, IntegersObjectiveAndConstant) {
  const Model model = model_of(R"(VAR
3 1
L+ 3
INT
2
2
0
OBJACOORD
2
2 1.5
0 -1
OBJBCOORD
-2.25
)");
  EXPECT_EQ(model.cost, (Numbers{-1, 0, 1.5}));
  EXPECT_EQ(model.constant, -2.25);
  EXPECT_EQ(model.var_kind[0], VarKind::kInteger);
  EXPECT_EQ(model.var_kind[1], VarKind::kContinuous);
  EXPECT_EQ(model.var_kind[2], VarKind::kInteger);
}

bool is_entry(const TriangleEntry& entry, int32_t row, int32_t col, double value) {
  return entry.row == row && entry.col == col && entry.value == value;
}

// Either triangle; a value counts at both places, as in the model, and is no sum of two.
TEST(CbfRead, MatrixVariables) {
  const Model model = model_of(
      R"(PSDVAR
2
2
3
CON
1 1
L= 1
OBJFCOORD
3
1 0 2 4
0 1 1 3
0 0 1 2
FCOORD
3
0 1 2 1 -1
0 0 0 0 1
0 1 0 0 0
)");
  ASSERT_EQ(model.num_matrix_var(), 2);
  EXPECT_EQ(model.matrix_vars[0].dimension, 2);
  EXPECT_EQ(model.matrix_vars[1].dimension, 3);
  ASSERT_EQ(model.matrix_cost.size(), 3u);
  EXPECT_TRUE(is_entry(model.matrix_cost[0].entry, 1, 0, 2));
  EXPECT_TRUE(is_entry(model.matrix_cost[1].entry, 1, 1, 3));
  EXPECT_TRUE(is_entry(model.matrix_cost[2].entry, 2, 0, 4));
  EXPECT_EQ(model.matrix_cost[2].matrix_var, 1);
  ASSERT_EQ(model.matrix_coefficients.size(), 2u);
  EXPECT_TRUE(is_entry(model.matrix_coefficients[0].entry, 0, 0, 1));
  EXPECT_TRUE(is_entry(model.matrix_coefficients[1].entry, 2, 1, -1));
}

// H x + D = S with S positive semidefinite: an equation for each element of the lower triangle,
// in which an element of S off the diagonal counts at both places.
TEST(CbfRead, MatrixConstraintsGetMatrixVariables) {
  const Model model = model_of(
      R"(PSDVAR
1
1
VAR
2 1
F 2
PSDCON
1
2
CON
1 1
L+ 1
HCOORD
3
0 0 0 1 5
0 1 1 1 2
0 1 0 0 1
DCOORD
2
0 1 1 -4
0 1 0 3
)");
  ASSERT_EQ(model.num_matrix_var(), 2);
  EXPECT_EQ(model.matrix_vars[1].dimension, 2);
  EXPECT_EQ(model.con_lower, (Numbers{0, 0, -3, 4}));
  EXPECT_EQ(model.con_upper, (Numbers{kInfinity, 0, -3, 4}));
  EXPECT_EQ(model.matrix.row, (Indices{2, 1, 3}));
  EXPECT_EQ(model.matrix.value, (Numbers{5, 1, 2}));
  ASSERT_EQ(model.matrix_coefficients.size(), 3u);
  for (const auto& element : model.matrix_coefficients) EXPECT_EQ(element.matrix_var, 1);
  EXPECT_TRUE(is_entry(model.matrix_coefficients[0].entry, 0, 0, -1));
  EXPECT_TRUE(is_entry(model.matrix_coefficients[1].entry, 1, 0, -0.5));
  EXPECT_TRUE(is_entry(model.matrix_coefficients[2].entry, 1, 1, -1));
}

TEST(CbfRead, ChangesAreLeftOutWithAWarning) {
  const Reading reading = read(file("VAR\n1 1\nF 1\nCHANGE\nOBJACOORD\nanything\n"));
  EXPECT_EQ(reading.error, "");
  EXPECT_EQ(reading.model.num_var(), 1);
  EXPECT_EQ(reading.warnings,
            "warning: text:8: the problem before CHANGE is read, the changes are not\n");
}

TEST(CbfRead, ErrorsNameThePlace) {
  const std::string start = "VER\n3\nOBJSENSE\nMIN\nVAR\n2 1\nF 2\n";  // 7 lines
  const std::string cone =
      "text:10:1: the name of a cone was expected (F, L+, L-, L=, Q, QR, EXP, EXP*, @0:POW, "
      "@0:POW*), found ";
  const std::pair<std::string, std::string> cases[] = {
      {"", "text:0: the file ends here, without VER"},
      {"VER\n2\n", "text:2: the file ends here, without OBJSENSE"},
      {"OBJSENSE\nMIN\n",
       "text:1:1: VER, with the version of the format, was expected first, found 'OBJSENSE'"},
      {"VER\n5\n",
       "text:2:1: a version of the format, an integer from 1 to 4, was expected, found '5'"},
      {"VER\n1\nVER\n1\n", "text:3:1: a second item of this kind, found 'VER'"},
      {"VER\n1\nOBJSENSE\nmin\n", "text:4:1: MIN or MAX was expected, found 'min'"},
      {start + "FOO\n", "text:8:1: a keyword was expected, found 'FOO'"},
      {start + "OBJACORD\n",
       "text:8:1: a keyword was expected, found 'OBJACORD'; did you mean 'OBJACOORD'?"},
      {start + "acoord\n",
       "text:8:1: a keyword was expected, found 'acoord'; did you mean 'ACOORD'?"},
      {start + "CON 3\n", "text:8:5: nothing more was expected in this line, found '3'"},
      {start + "PSDVARRANK1\n1\n0\n",
       "text:8: an item of this kind cannot be taken: matrices of rank one"},
      {start + "OBJACOORD\n1\n0 1\nCON\n1 1\nF 1\n",
       "text:11:1: an item of this kind must stand before all coordinates, found 'CON'"},
      {start + "INT\n1\n2\n",
       "text:10:1: the index of a variable, an integer from 0 to 1, was expected, found '2'"},
      {start + "CON\n-1 1\n",
       "text:9:1: a number of things, an integer from 0, was expected, found '-1'"},
      {start + "CON\n2 1\nL+ 1\n",
       "text:10: the blocks have 1 constraint, but the number announced is 2"},
      {start + "CON\n2 1\nL+ 3\n",
       "text:10:4: the size of a block, an integer from 1 to 2, was expected, found '3'"},
      {start + "CON\n2 1\nL+ 0\n",
       "text:10:4: the size of a block, an integer from 1 to 2, was expected, found '0'"},
      {start + "CON\n2 1\nSVECPSD 2\n",
       "text:10:1: a cone of version 4, which cannot be taken: for the order of its members no two "
       "programs vouch, found 'SVECPSD'"},
      {start + "CON\n2 1\nPSD 2\n", cone + "'PSD'"},
      {start + "CON\n2 1\nEXP 2\n", "text:10:5: a cone of this kind has 3 members, found '2'"},
      {start + "CON\n1 1\nQR 1\n",
       "text:10:4: a cone of this kind has at least 2 members, found '1'"},
      {start + "CON\n2 1\n@0:POW 2\n",
       "text:10:1: the exponents of this power cone are not there before this, found '@0:POW'"},
      {start + "CON\n2 1\n@x:POW 2\n", cone + "'@x:POW'"},
      {start + "CON\n2 1\n@0 2\n", cone + "'@0'"},
      {start + "POWCONES\n1 2\n2\n1\n0\n", "text:12:1: an exponent must be positive, found '0'"},
      {start + "POWCONES\n1 2\n3\n",
       "text:10:1: a number of exponents, an integer from 1 to 2, was expected, found '3'"},
      {start + "POWCONES\n1 2\n1\n1\nCON\n1 1\nF 1\n", "text:11: 1 exponent less than announced"},
      {start + "POWCONES\n1 2\n2\n1\n1\nCON\n1 1\n@0:POW 1\n",
       "text:15:8: a cone of this kind has at least 2 members, found '1'"},
      {start + "OBJACOORD\n1\n", "text:9: the file ends here, where an entry was expected"},
      {start + "OBJACOORD\n1\n0\n", "text:10:2: a number was expected, found the end of the line"},
      {start + "OBJACOORD\n1\n0 1e999\n", "text:10:3: a finite number was expected, found '1e999'"},
      {start + "OBJACOORD\n1\n0 nan\n", "text:10:3: a number was expected, found 'nan'"},
      {start + "OBJACOORD\n2\n0 1\n0 1\n",
       "text:11:1: a second coefficient of this variable, found '0 1'"},
      {start + "ACOORD\n1\n0 0 1\n",
       "text:10:1: the index of a constraint was expected, but there is none, found '0'"},
      {start + "CON\n1 1\nF 1\nACOORD\n3\n0 0 0\n0 1 1\n0 0 0\n",
       "text:15: a second value for a place that has one by line 13"},
      // Neither comments nor the elements of slack variables put the lines out of step.
      {start + R"(CON
3 2
L= 1
Q 2
ACOORD
4
1 0 1
# note
0 0 1

2 0 1
0 0 2
)",
       "text:19: a second value for a place that has one by line 16"},
      {start + "CON\n1 1\nF 1\nBCOORD\n2\n0 0\n0 1\n",
       "text:14:1: a second value for this place, found '0 1'"},
      {start + "PSDVAR\n1\n2\nOBJFCOORD\n2\n0 0 1 1\n0 1 0 1\n",
       "text:14: a second value for a place that has one by line 13"},
      {start + "PSDVAR\n1\n2\nOBJFCOORD\n1\n0 2 0 1\n",
       "text:13:3: a row of the matrix, an integer from 0 to 1, was expected, found '2'"},
      {start + "PSDVAR\n1\n0\n",
       "text:10:1: a dimension, an integer from 1, was expected, found '0'"},
      {start + "PSDCON\n1\n2\nHCOORD\n2\n0 1 0 1 1\n0 1 1 0 1\n",
       "text:14: a second value for a place that has one by line 13"},
      {std::string("VER\n1\nOBJSENSE\nMI\0N\n", 19),
       "text:4:1: MIN or MAX was expected, found 'MI\\x00N'"},
  };
  for (const auto& [text, message] : cases) EXPECT_EQ(read(text).error, message) << text;
}

// A few bytes cannot claim a huge model. The tests' limit is a million numbers.
TEST(CbfRead, LimitsOfWhatIsDeclared) {
  const std::pair<std::string, int> cases[] = {
      {"VAR\n2000000000 1\nF 2000000000\n", 6}, {"CON\n600000 1\nF 600000\n", 6},
      {"CON\n100000 1\nQ 100000\n", 7},         {"PSDVAR\n1\n2000000000\n", 7},
      {"PSDVAR\n2\n1024\n1024\n", 8},           {"PSDCON\n1\n1000\n", 7},
  };
  for (const auto& [items, line] : cases) {
    EXPECT_EQ(read(file(items)).error,
              "text:" + std::to_string(line) +
                  ": what is declared up to here would take more than 16 MiB of memory, which is "
                  "VLN_IPAR_READ_DECLARED_LIMIT")
        << items;
  }
  EXPECT_EQ(read(file("VAR\n200000 1\nF 200000\n")).error, "");
}

// Bounds that no cone says, and second sides, are constraints of their own.
TEST(CbfWrite, BoundsAndSides) {
  Model model;
  for (const auto& [lower, upper] :
       {std::pair(-kInfinity, kInfinity), std::pair(0.0, kInfinity), std::pair(0.0, 5.0),
        std::pair(-kInfinity, 0.0), std::pair(0.0, 0.0), std::pair(2.0, 2.0), std::pair(-1.0, 1.0),
        std::pair(3.0, 0.0)}) {
    add_variable(&model, lower, upper);
  }
  model.var_kind[2] = VarKind::kInteger;
  model.cost[0] = 2.0;
  model.constant = 1.0;
  model.maximize = true;
  add_constraint(&model, -1.0, 4.0);
  add_constraint(&model, -kInfinity, kInfinity);
  add_constraint(&model, 0.0, 0.0);
  model.matrix.start = {0, 2, 2, 2, 2, 2, 2, 2, 2};
  model.matrix.row = {2, 0};
  model.matrix.value = {7.0, 0.5};
  const std::string text = write(model);
  EXPECT_EQ(text,
            R"(VER
1

OBJSENSE
MAX

VAR
8 6
F 1
L+ 2
L- 1
L= 1
F 2
L- 1

INT
1
2

CON
9 9
L+ 1
L- 1
F 1
L= 1
L- 1
L= 1
L+ 1
L- 1
L+ 1

OBJACOORD
1
0 2

OBJBCOORD
1

ACOORD
8
0 0 0.5
1 0 0.5
3 0 7
4 2 1
5 5 1
6 6 1
7 6 1
8 7 1

BCOORD
7
0 1
1 -4
4 -5
5 -2
6 1
7 -1
8 -3
)");
  EXPECT_EQ(round_trip_fault(read_cbf, write_cbf, text), "");
}

// A model that the format says without helpers comes back as the same model.
TEST(CbfWrite, ModelsOfTheFormatReadBackExactly) {
  const Model model = model_of(
      R"(POWCONES
1 2
2
0.3
0.7
PSDVAR
1
3
VAR
12 5
Q 3
L+ 2
@0:POW 3
F 1
EXP 3
INT
2
3
8
CON
2 2
L+ 1
L= 1
OBJFCOORD
1
0 2 1 0.1
OBJACOORD
1
3 -0.1
FCOORD
1
1 0 2 2 1e-300
ACOORD
2
0 1 1e300
1 11 3
BCOORD
1
1 -0.30000000000000004
)");
  const std::string text = write(model);
  EXPECT_EQ(text.substr(0, 6), "VER\n3\n");
  EXPECT_EQ(difference(model, read(text).model), "");
}

TEST(CbfWrite, TheLowestVersionThatHasTheCones) {
  const std::pair<const char*, const char*> cases[] = {
      {"VAR\n2 1\nQR 2\n", "VER\n1\n"},
      {"VAR\n3 1\nEXP* 3\n", "VER\n2\n"},
      {R"(POW*CONES
1 1
1
1
VAR
5 2
@0:POW* 2
EXP 3
)",
       "VER\n3\n"},
  };
  for (const auto& [items, head] : cases) EXPECT_EQ(write(model_of(items)).substr(0, 6), head);
}

// Members of a cone stand side by side, in the place of the one that comes first.
TEST(CbfWrite, TheOrderOfVariablesFollowsTheCones) {
  Model model;
  add_constraint(&model, 1.0, kInfinity);
  for (int i = 0; i < 6; ++i) add_variable(&model, -kInfinity, kInfinity, 0);
  for (size_t j = 0; j < 6; ++j) model.matrix.value[j] = static_cast<double>(j + 1);
  model.var_lower[4] = 2.0;
  model.var_kind[5] = VarKind::kInteger;
  model.cones.push_back({ConeKind::kQuadratic, {4, 1, 2}, {}});
  std::string warnings;
  const std::string text = write(model, &warnings);
  EXPECT_EQ(
      warnings,
      "warning: the order of the variables is another one in the file: the members of a cone stand "
      "side by side there\n");
  EXPECT_EQ(text,
            R"(VER
1

OBJSENSE
MIN

VAR
6 3
F 1
Q 3
F 2

INT
1
5

CON
2 1
L+ 2

ACOORD
7
0 0 1
0 1 5
1 1 1
0 2 2
0 3 3
0 4 4
0 5 6

BCOORD
2
0 -1
1 -2
)");
  EXPECT_EQ(round_trip_fault(read_cbf, write_cbf, text), "");
}

TEST(CbfWrite, ConesWithTheSameExponentsShareThem) {
  const std::string text = write(model_of(R"(POWCONES
3 5
2
1
2
2
1
2
1
1
VAR
9 3
@1:POW 3
@2:POW 3
@0:POW 3
)"));
  EXPECT_EQ(text,
            R"(VER
3

OBJSENSE
MIN
POWCONES
2 3
2
1
2
1
1

VAR
9 3
@0:POW 3
@1:POW 3
@0:POW 3
)");
}

TEST(CbfWrite, AQuadraticConeOfOneMemberIsABound) {
  Model model;
  add_variable(&model, -2.0, kInfinity);
  add_variable(&model, 1.0, kInfinity);
  model.cones.push_back({ConeKind::kQuadratic, {0}, {}});
  model.cones.push_back({ConeKind::kQuadratic, {1}, {}});
  const Model copy = read(write(model)).model;
  EXPECT_EQ(copy.num_cone(), 0);
  EXPECT_EQ(copy.var_lower, (Numbers{0, -kInfinity}));
  EXPECT_EQ(copy.con_lower, Numbers{1});
}

// Both sides of a constraint have the matrix.
TEST(CbfWrite, MatrixCoefficientsOfRanges) {
  Model model;
  add_constraint(&model, -1.0, 1.0);
  model.matrix_vars.push_back({2});
  model.matrix_coefficients.push_back({0, 0, {1, 0, 0.5}});
  model.matrix_coefficients.push_back({0, 0, {1, 1, 0.0}});
  EXPECT_EQ(write(model),
            R"(VER
1

OBJSENSE
MIN

PSDVAR
1
2

CON
2 2
L+ 1
L- 1

FCOORD
2
0 0 1 0 0.5
1 0 1 0 0.5

BCOORD
2
0 1
1 -1
)");
}

TEST(CbfWrite, NamesAreLeftOutWithAWarning) {
  Model model;
  add_variable(&model, 0.0, kInfinity);
  model.var_names.add("x");
  std::string warnings;
  write(model, &warnings);
  EXPECT_EQ(warnings, "warning: CBF files have no names: those of the model are left out\n");
}

TEST(CbfWrite, Refusals) {
  const auto refusal = [](const auto& change) {
    Model model;
    add_constraint(&model, 0.0, 1.0);
    add_variable(&model, 0.0, 1.0, 0);
    model.var_names.add("x");
    model.con_names.add("r");
    change(&model);
    return write(model);
  };
  const std::string start = "refused: a CBF file cannot hold the model: ";
  EXPECT_EQ(refusal([](Model* m) {
              m->quadratic_cost.push_back({0, 0, 1.0});
            }),
            start + "its objective has quadratic terms");
  EXPECT_EQ(refusal([](Model* m) {
              m->quadratic_coefficients.push_back({0, {0, 0, 1.0}});
            }),
            start + "constraint 'r' has quadratic terms");
  EXPECT_EQ(refusal([](Model* m) { m->var_kind[0] = VarKind::kSemiInteger; }),
            start + "variable 'x' is semi-continuous");
  EXPECT_EQ(refusal([](Model* m) {
              m->sets.push_back({SetKind::kSos1, {0}, {1.0}});
            }),
            start + "set 1 is a special ordered set");
  EXPECT_EQ(refusal([](Model* m) {
              m->var_kind[0] = VarKind::kInteger;
              m->indicators.push_back({0, 0, true});
            }),
            start + "constraint 'r' holds under a condition (an indicator)");
  EXPECT_EQ(refusal([](Model* m) { m->var_upper[0] = -kInfinity; }),
            start + "a bound of variable 'x' is an infinity on the wrong side");
  EXPECT_EQ(refusal([](Model* m) { m->con_lower[0] = kInfinity; }),
            start + "a side of constraint 'r' is an infinity on the wrong side");
  EXPECT_EQ(refusal([](Model* m) { m->cost[0] = std::nan(""); }),
            start + "element 0 of the costs is no finite number");
}

TEST(CbfRoundTrip, CorpusAndMutations) { expect_round_trips("cbf", read_cbf, write_cbf); }

// All conic instances; and that a linear one which went through the format is the same from then
// on.
TEST(CbfRoundTrip, PublicInstances) {
  if (!has_instances()) GTEST_SKIP() << kNoInstances;
  expect_instances({"conic", "lp", "mip", "bad"}, [](const Instance& instance) {
    const bool is_ours = instance.path.find(".cbf") != std::string::npos;
    if (!is_ours && (instance.is_bad() || !instance.ends_with(".mps.gz"))) return false;
    const std::string text =
        is_ours ? instance.text() : write(read_as(read_mps, instance.text()).model);
    if (text.starts_with("refused")) return false;  // semi-continuous variables
    EXPECT_EQ(read(text).error.empty(), !instance.is_bad()) << instance.path;
    EXPECT_EQ(round_trip_fault(read_cbf, write_cbf, text), "") << instance.path;
    return true;
  });
}

}  // namespace
}  // namespace vorlan::test
