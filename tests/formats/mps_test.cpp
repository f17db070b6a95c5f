// MPS files: each dialect choice of docs/formats/mps.md, errors with their places, and what is
// written, down to the last bit.
#include "format/mps/mps.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

#include "format/mps/mps_sides.h"
#include "peer.h"
#include "reading.h"
#include "round_trip.h"
#include "samples.h"
#include "scratch_folder.h"
#include "task/numeric.h"

namespace vorlan::test {
namespace {

Reading read(std::string_view text) { return read_as(read_mps, text); }
std::string write(const Model& model, std::string* warnings = nullptr) {
  return write_as(write_mps, model, warnings);
}

// The model of most tests: minimize x with x >= 3 and parts put in.
struct Parts {
  std::string head = "NAME T FREE\n";
  std::string rows = " N COST\n G R1\n";
  std::string columns = " X COST 1 R1 1\n";
  std::string rhs = " RHS R1 3\n";
  std::string rest = {};
};

std::string text_of(const Parts& parts) {
  return parts.head + "ROWS\n" + parts.rows + "COLUMNS\n" + parts.columns + "RHS\n" + parts.rhs +
         parts.rest + "ENDATA\n";
}

std::string with_bounds(const std::string& lines) { return text_of({.rest = "BOUNDS\n" + lines}); }

std::string as_integer(const std::string& bounds) {
  return text_of({.columns = R"( M 'MARKER' 'INTORG'
 X COST 1 R1 1
 M 'MARKER' 'INTEND'
)",
                  .rest = bounds.empty() ? "" : "BOUNDS\n" + bounds});
}

// With columns X and Y and a binary column B.
std::string with_sets(const std::string& lines) {
  return text_of({.columns = " X COST 1 R1 1\n Y COST 1\n B COST 1\n",
                  .rest = "BOUNDS\n BV BND B\nSOS\n" + lines});
}

struct BoundCase {
  const char* lines;
  double lower, upper;
  VarKind kind = VarKind::kContinuous;
  const char* warning = "";
};

TEST(MpsRead, BoundsOfContinuousColumns) {
  const BoundCase cases[] = {
      {"", 0, kInfinity},
      {" UP BND X 4\n", 0, 4},
      {" LO BND X -4\n", -4, kInfinity},
      {" FX BND X 2\n", 2, 2},
      {" FR BND X\n", -kInfinity, kInfinity},
      {" FR BND X 7\n", -kInfinity, kInfinity},
      {" MI BND X\n UP BND X 8\n", -kInfinity, 8},
      {" UP BND X 8\n MI BND X\n", -kInfinity, 8},
      {" PL BND X\n", 0, kInfinity},
      {" UP BND X -4\n", 0, -4, VarKind::kContinuous, "text:10: the upper bound of column 'X'"},
      {" UP BND X -2\n LO BND X -6\n", -6, -2},
      {" LO BND X -6\n UP BND X -2\n", -6, -2},
      {" UP BND X 0\n", 0, 0},
      {" BV BND X\n", 0, 1, VarKind::kInteger},
      {" BV BND X 1\n", 0, 1, VarKind::kInteger},
      {" LI BND X 2\n UI BND X 5\n", 2, 5, VarKind::kInteger},
      {" LI BND X 2.5\n", 2.5, kInfinity, VarKind::kInteger, "text:10:11: a bound of an integer"},
      {" SC BND X 9\n", 0, 9, VarKind::kSemiContinuous},
      {" SC BND X 9\n LO BND X 2\n", 2, 9, VarKind::kSemiContinuous},
      {" SC BND X 1e30\n", 0, kInfinity, VarKind::kSemiContinuous},
      {" SI BND X 9\n", 0, 9, VarKind::kSemiInteger},
      {" UP BND X inf\n LO BND X -Infinity\n", -kInfinity, kInfinity},
      {" UP BND X 1e30\n", 0, kInfinity},
      {" UP BND X 1e20\n", 0, 1e20, VarKind::kContinuous, "text:10:11: a bound below 1e30"},
      {" UP BND X 4\n FX BND X 2\n", 2, 2, VarKind::kContinuous, "text:11:11: a second bound"},
      {" UP P X 4\n LO Q X 1\n", 0, 4, VarKind::kContinuous, "text:11:5: only the first set 'P'"},
      {" UP X 4\n", 0, 4},
      {" MI X\n", -kInfinity, kInfinity},
      {" BV X 1\n", 0, 1, VarKind::kInteger},
      {" up BND X 1d1 $ lower case and an old exponent\n", 0, 10, VarKind::kContinuous,
       "text:10:11: the D of the number"},
  };
  for (const BoundCase& test : cases) {
    SCOPED_TRACE(test.lines);
    const Reading result = read(with_bounds(test.lines));
    ASSERT_EQ(result.error, "");
    EXPECT_EQ(result.model.var_lower[0], test.lower);
    EXPECT_EQ(result.model.var_upper[0], test.upper);
    EXPECT_EQ(result.model.var_kind[0], test.kind);
    EXPECT_EQ(result.warnings.empty(), *test.warning == '\0');
    const std::string warning = as_warning(test.warning);
    EXPECT_EQ(result.warnings.substr(0, warning.size()), warning);
  }
}

TEST(MpsRead, BoundsOfMarkedIntegers) {
  const BoundCase cases[] = {
      {"", 0, 1},
      {" UP BND X 9\n", 0, 9},
      {" LO BND X 2\n", 2, kInfinity},
      {" MI BND X\n", -kInfinity, kInfinity},
      {" PL BND X\n", 0, kInfinity},
      {" UP BND X -2\n", 0, -2},
      {" SC BND X 9\n", 0, 9, VarKind::kSemiContinuous},
  };
  for (const BoundCase& test : cases) {
    SCOPED_TRACE(test.lines);
    const Reading result = read(as_integer(test.lines));
    ASSERT_EQ(result.error, "");
    EXPECT_EQ(result.model.var_lower[0], test.lower);
    EXPECT_EQ(result.model.var_upper[0], test.upper);
    const bool semi = test.kind == VarKind::kSemiContinuous;
    EXPECT_EQ(result.model.var_kind[0], semi ? test.kind : VarKind::kInteger);
  }
  EXPECT_NE(read(as_integer("")).warnings.find("taken as 0 or 1: 'X'"), std::string::npos);
}

TEST(MpsRead, Ranges) {
  struct Case {
    const char* row;
    const char* range;
    double lower, upper;
  };
  const Case cases[] = {
      {" L R1\n", "4", 6, 10},   {" L R1\n", "-4", 6, 10},  {" G R1\n", "4", 10, 14},
      {" G R1\n", "-4", 10, 14}, {" E R1\n", "4", 10, 14},  {" E R1\n", "-4", 6, 10},
      {" E R1\n", "0", 10, 10},  {" E R1\n", "-0", 10, 10}, {" G R1\n", "inf", 10, kInfinity},
  };
  for (const Case& test : cases) {
    SCOPED_TRACE(std::string(test.row) + test.range);
    const std::string ranges = std::string("RANGES\n RNG R1 ") + test.range + "\n";
    const std::string rows = std::string(" N COST\n") + test.row;
    for (const bool before : {false, true}) {  // before the right-hand sides, too
      const std::string rhs = " RHS R1 10\n";
      const Reading result =
          read(before ? text_of({.rows = rows, .rhs = "", .rest = ranges + "RHS\n" + rhs})
                      : text_of({.rows = rows, .rhs = rhs, .rest = ranges}));
      ASSERT_EQ(result.error, "");
      EXPECT_EQ(result.model.con_lower[0], test.lower);
      EXPECT_EQ(result.model.con_upper[0], test.upper);
    }
  }
  const Reading dropped = read(text_of({.rest = "RANGES\n RNG COST 4\n R1 2\n"}));
  EXPECT_EQ(dropped.warnings,
            "warning: text:10:6: a range of a free row is dropped, found 'COST'\n");
  EXPECT_EQ(dropped.model.con_upper[0], 5.0);
}

TEST(MpsRead, RightHandSides) {
  EXPECT_EQ(read(text_of({.rhs = " RHS COST 5\n"})).model.constant, -5.0);
  EXPECT_FALSE(std::signbit(read(text_of({.rhs = " RHS COST 0\n"})).model.constant));
  EXPECT_EQ(read(text_of({.rhs = " R1 3\n"})).model.con_lower[0], 3.0);
  EXPECT_EQ(read(text_of({.rhs = " R1 3 COST -1\n"})).model.constant, 1.0);
  const Reading sets = read(text_of({.rhs = " A R1 3\n B R1 8\n"}));
  EXPECT_EQ(sets.model.con_lower[0], 3.0);
  EXPECT_EQ(sets.warnings, "warning: text:9:2: only the first set 'A' is taken, found 'B'\n");
  const Reading twice = read(text_of({.rhs = " A R1 3\n A R1 8\n"}));
  EXPECT_EQ(twice.model.con_lower[0], 8.0);
  EXPECT_EQ(twice.warnings,
            "warning: text:9:4: a second right-hand side of this row, it is taken, "
            "found 'R1'\n");
  EXPECT_EQ(read(text_of({.rhs = " RHS R1 -1e30\n"})).model.con_lower[0], -kInfinity);
  // A row that is named like a set.
  const Reading trap =
      read(text_of({.rows = " N COST\n L R1\n L RHS\n", .rhs = " RHS R1 3\n RHS RHS 5\n"}));
  EXPECT_EQ(trap.model.con_upper, (std::vector<double>{3.0, 5.0}));
}

TEST(MpsRead, SenseAndObjective) {
  for (const char* word : {"MAX", "max", "MAXIMIZE", "Maximum"}) {
    for (const char* between : {" ", "\n    "}) {
      const std::string head = std::string("NAME\nOBJSENSE") + between + word + "\n";
      const Reading result = read(text_of({.head = head}));
      EXPECT_EQ(result.error, "");
      EXPECT_TRUE(result.model.maximize);
    }
  }
  EXPECT_FALSE(read(text_of({.head = "OBJSENSE MIN\n"})).model.maximize);
  const std::string rows = " N C1\n N C2\n G R1\n";
  const std::string columns = " X C1 1 C2 2\n X R1 1\n";
  const Reading first = read(text_of({.rows = rows, .columns = columns}));
  EXPECT_EQ(first.model.objective_name, "C1");
  EXPECT_EQ(first.model.cost[0], 1.0);
  // The other one is a free constraint.
  EXPECT_EQ(first.model.con_names[0], "C2");
  EXPECT_EQ(first.model.con_lower[0], -kInfinity);
  EXPECT_EQ(first.model.con_upper[0], kInfinity);
  EXPECT_EQ(first.model.matrix.value, (std::vector<double>{2.0, 1.0}));
  const Reading second =
      read(text_of({.head = "OBJNAME\n C2\n", .rows = rows, .columns = columns}));
  EXPECT_EQ(second.model.objective_name, "C2");
  EXPECT_EQ(second.model.cost[0], 2.0);
  EXPECT_EQ(read(text_of({.rows = " G R1\n", .columns = " X R1 1\n"})).model.objective_name, "");
}

// A modelling tool for Python says the sense by a comment before everything else.
TEST(MpsRead, SenseInAComment) {
  const std::string rest = R"(NAME T
ROWS
 N COST
COLUMNS
 X COST 1
ENDATA
)";
  const Reading maximize = read("*SENSE:Maximize\n" + rest);
  EXPECT_EQ(maximize.error, "");
  EXPECT_TRUE(maximize.model.maximize);
  EXPECT_EQ(maximize.warnings, as_warning("text:1:8: the sense of the objective is taken from this "
                                          "comment, found 'Maximize'\n"));
  for (const char* comment : {"* SENSE: MAX\n", "*\tsense :  Maximize \n"}) {
    const Reading blanks = read(comment + rest);
    EXPECT_TRUE(blanks.model.maximize) << comment;
    EXPECT_NE(blanks.warnings.find("is taken from this comment"), std::string::npos) << comment;
  }
  const Reading minimize = read("*SENSE:Minimize\n" + rest);
  EXPECT_FALSE(minimize.model.maximize);
  EXPECT_EQ(minimize.warnings, "");
  const Reading both = read("*SENSE:Maximize\nOBJSENSE MIN\n" + rest);
  EXPECT_FALSE(both.model.maximize);
  EXPECT_NE(both.warnings.find("text:2:10: the section says another sense"), std::string::npos);
  const Reading later = read("OBJSENSE MIN\n*SENSE:Maximize\n" + rest);
  EXPECT_FALSE(later.model.maximize);
  EXPECT_NE(later.warnings.find("text:2:8: OBJSENSE says another sense"), std::string::npos);
  const Reading none = read("*SENSE:Maximal\n" + rest);
  EXPECT_FALSE(none.model.maximize);
  EXPECT_EQ(none.warnings.substr(0, 23), "warning: text:1:8: a se");
}

TEST(MpsRead, ABoundOfAnUnknownColumnNamesTheNearest) {
  const Reading result = read(with_bounds(" UP BND XX 4\n"));
  EXPECT_EQ(result.error, "");
  EXPECT_EQ(result.warnings, as_warning("text:10:9: a bound of a column without elements, which is "
                                        "added, found 'XX'; did you mean 'X'?\n"));
}

TEST(MpsRead, AMisspeltNameIsWarnedOf) {
  const Reading result = read(text_of({.columns = " chairs COST 1 R1 1\n chaisr R1 1\n"}));
  EXPECT_EQ(result.error, "");
  EXPECT_EQ(result.warnings, as_warning("text: the variable 'chaisr' is at one place of the model "
                                        "alone; did you mean 'chairs'?\n"));
}

TEST(MpsRead, NameLine) {
  const std::pair<const char*, const char*> cases[] = {
      {"NAME T FREE\n", "T"},
      {"NAME  two words \n", "two words"},
      {"name x\n", "x"},
      {"NAME  FREE\n", ""},
      {"NAME\n", ""},
      {"", ""},
      {"NAME FREE FREE\n", "FREE"},
  };
  for (const auto& [head, name] : cases) {
    const Reading result = read(text_of({.head = head}));
    EXPECT_EQ(result.error, "") << head;
    EXPECT_EQ(result.model.name, name) << head;
  }
}

TEST(MpsRead, LineEndsAndBlankLines) {
  std::string text = text_of({});
  for (size_t at = 0; (at = text.find('\n', at)) != std::string::npos; at += 3) {
    text.replace(at, 1, "\r\n\n");
  }
  const Reading result = read("* comment\n" + text + "this is no longer read");
  EXPECT_EQ(result.error, "");
  EXPECT_EQ(difference(result.model, read(text_of({})).model), "");
}

TEST(MpsRead, NamesWithBlanksInColumns) {
  const Reading result = read(
      R"(NAME          T
ROWS
 N  COST
 G  ROW ONE
COLUMNS
    COL A     COST               1.5   ROW ONE             2.
    COL B     ROW ONE             1.
RHS
    RHS       ROW ONE             3.
BOUNDS
 UP BND       COL A               9.
 BV           COL B
ENDATA
)");
  EXPECT_EQ(result.error, "");
  EXPECT_EQ(result.model.con_names[0], "ROW ONE");
  EXPECT_EQ(result.model.var_names[1], "COL B");
  EXPECT_EQ(result.model.cost[0], 1.5);
  EXPECT_EQ(result.model.matrix.value, (std::vector<double>{2.0, 1.0}));
  EXPECT_EQ(result.model.con_lower[0], 3.0);
  EXPECT_EQ(result.model.var_upper, (std::vector<double>{9.0, 1.0}));
}

TEST(MpsRead, NameThatOnlyColumnsHave) {
  // Names with blanks are the columns' alone, and the first of them is found by the number of
  // words.
  const Reading result = read(
      R"(NAME          T
ROWS
 N  COST
 G  R1
COLUMNS
    A B       COST               1.5   R1                  2.
RHS
    RHS       R1                  3.
ENDATA
)");
  EXPECT_EQ(result.error, "");
  EXPECT_EQ(result.model.var_names[0], "A B");
}

TEST(MpsRead, Quadratic) {
  const std::string columns = " X COST 1 R1 1\n Y COST 1 R1 1\n";
  const auto quadratic = [&](const std::string& section) {
    return read(text_of({.columns = columns, .rest = section}));
  };
  for (const char* section :
       {"QUADOBJ\n X X 2\n X Y 4\n Y Y 6\n", "QUADOBJ\n Y Y 6 X 4\n X X 2\n",
        "QSECTION COST\n X X 2 Y 4\n Y Y 6\n", "QMATRIX\n X X 2\n X Y 4\n Y X 4\n Y Y 6\n"}) {
    SCOPED_TRACE(section);
    const Reading result = quadratic(section);
    ASSERT_EQ(result.error, "");
    ASSERT_EQ(result.model.quadratic_cost.size(), 3U);
    EXPECT_EQ(result.model.quadratic_cost[1].row, 1);
    EXPECT_EQ(result.model.quadratic_cost[1].col, 0);
    EXPECT_EQ(result.model.quadratic_cost[1].value, 4.0);
    EXPECT_EQ(result.model.quadratic_cost[2].value, 6.0);
  }
  const Reading constraint = quadratic("QCMATRIX R1\n X X 2\n X Y 1\n Y X 1\n");
  ASSERT_EQ(constraint.model.quadratic_coefficients.size(), 2U);
  EXPECT_EQ(constraint.model.quadratic_coefficients[0].entry.value, 4.0);
  EXPECT_EQ(constraint.model.quadratic_coefficients[1].entry.value, 2.0);
}

TEST(MpsRead, ElementsInAnyOrder) {
  const Reading result = read(text_of({.rows = " G R1\n G R2\n N COST\n G R3\n",
                                       .columns = " X R3 3 R1 1\n X COST 9 R2 2\n X2 R1 0\n"}));
  EXPECT_EQ(result.error, "");
  EXPECT_EQ(result.model.matrix.row, (std::vector<int32_t>{0, 1, 2}));
  EXPECT_EQ(result.model.matrix.value, (std::vector<double>{1, 2, 3}));
  EXPECT_EQ(result.model.matrix.start, (std::vector<int64_t>{0, 3, 3}));
}

TEST(MpsRead, ColumnOfABoundAlone) {
  const Reading result = read(with_bounds(" UP BND Z 4\n"));
  EXPECT_EQ(result.model.num_var(), 2);
  EXPECT_EQ(result.model.var_upper[1], 4.0);
  EXPECT_EQ(
      result.warnings,
      "warning: text:10:9: a bound of a column without elements, which is added, found 'Z'\n");
}

TEST(MpsRead, SetsAndIndicators) {
  const Reading result = read(with_sets(R"( S1 SOS first 1
 Y 2
 X 1.5
 s2 second
 SOS X 3
 Y -3
 B 4
INDICATORS
 IF R1 B 0
)"));
  ASSERT_EQ(result.error + result.warnings, "");
  const Model& model = result.model;
  ASSERT_EQ(model.sets.size(), 2U);
  EXPECT_EQ(model.set_names[0], "first");
  EXPECT_EQ(model.sets[0].kind, SetKind::kSos1);
  EXPECT_EQ(model.sets[0].vars, (std::vector<int32_t>{0, 1}));
  EXPECT_EQ(model.sets[0].weights, (std::vector<double>{1.5, 2.0}));
  EXPECT_EQ(model.set_names[1], "second");
  EXPECT_EQ(model.sets[1].kind, SetKind::kSos2);
  EXPECT_EQ(model.sets[1].vars, (std::vector<int32_t>{1, 0, 2}));
  EXPECT_EQ(model.sets[1].weights, (std::vector<double>{-3.0, 3.0, 4.0}));
  ASSERT_EQ(model.indicators.size(), 1U);
  EXPECT_EQ(model.indicators[0].con, 0);
  EXPECT_EQ(model.indicators[0].binary, 2);
  EXPECT_FALSE(model.indicators[0].active);
  const std::string text = write(model);
  EXPECT_EQ(text.substr(text.find("SOS\n")), R"(SOS
 S1 SOS first 1
 X 1.5
 Y 2
 S2 SOS second 1
 Y -3
 X 3
 B 4
INDICATORS
 IF R1 B 0
ENDATA
)");
}

TEST(MpsRead, Errors) {
  const std::pair<std::string, const char*> cases[] = {
      {"", "text:1: the file is empty"},
      {"NAME\n", "text:1: the file ends here, without ENDATA"},
      {"ROWS\n N C\nENDATA\n", "text:3: ENDATA before COLUMNS"},
      {"COLUMNS\n", "text:1: COLUMNS before ROWS"},
      {"SOS\n", "text:1: the section must come behind COLUMNS"},
      {"SOS1\n",
       "text:1:1: special ordered sets stand under SOS, as ' S1 SOS name' and then ' column "
       "weight', found 'SOS1'"},
      {with_sets(" X 1\n"), "text:14:2: a set, 'S1' or 'S2', was expected, found 'X'"},
      {with_sets(" S1 SOS s 1\n"), "text:14: set 's': it has no members"},
      {with_sets(" S1 SOS s\n X\n"), "text:15:3: a number was expected, found the end of the line"},
      {with_sets(" S1 SOS s\n Z 1\n"), "text:15:2: the name of a column was expected, found 'Z'"},
      {with_sets(" S1 SOS s\n X 1 Y 2\n"),
       "text:15:8: the end of the line was expected, found '2'"},
      {with_sets(" S1 SOS s 1 2\n"), "text:14:13: the end of the line was expected, found '2'"},
      {with_sets(" S2 SOS s\n X 1\n Y 1\n"),
       "text:14: set 's': variable 'X' and variable 'Y' have the same weight, so that their order "
       "is not known"},
      {with_sets(" S1 SOS s\n X 1\n X 2\n"), "text:14: set 's': variable 'X' is in it twice"},
      {with_sets("INDICATORS\n IN R1 B 1\n"), "text:15:2: 'IF' was expected, found 'IN'"},
      {with_sets("INDICATORS\n IF COST B 1\n"),
       "text:15:5: the name of a constraint was expected, found 'COST'"},
      {with_sets("INDICATORS\n IF R1 B\n"),
       "text:15:9: a binary column and its value, 0 or 1, were expected, found the end of the "
       "line"},
      {with_sets("INDICATORS\n IF R1 B 2\n"),
       "text:15:10: the value of an indicator is 0 or 1, found '2'"},
      {with_sets("INDICATORS\n IF R1 X 1\n"), "text:15: variable 'X' is not binary"},
      {with_sets("INDICATORS\n IF R1 B 1\n IF R1 B 0\n"),
       "text:16: a second condition of row 'R1'"},
      {"NONSENSE\n",
       "text:1:1: the name of a section was expected, found 'NONSENSE'; did you mean 'OBJSENSE'?"},
      {" X\n", "text:1:2: a section was expected, found 'X'"},
      {"OBJSENSE UP\n", "text:1:10: MAX or MIN was expected, found 'UP'"},
      {"RHS\n", "text:1: the section must come behind COLUMNS"},
      {"RHS RHS R1 3\n",
       "text:1:5: nothing was expected behind the name of the section, "
       "found 'RHS R1 3'"},
      {"OBJNAME\n C9\nROWS\n N C\nCOLUMNS\n",
       "text:5: there is no row 'C9' of type N, as OBJNAME says"},
      {text_of({.rows = " N COST\n Q R1\n"}),
       "text:4:2: the type of a row (N, L, G, E) was expected, found 'Q'"},
      {text_of({.rows = " N COST\n G\n"}),
       "text:4:3: the name of a row was expected, found the end of the line"},
      {text_of({.rows = " N COST\n G R1\n L R1\n"}),
       "text:5:4: a second row of this name, found 'R1'"},
      {text_of({.rows = " G COST\n N COST\n"}),
       "text:4:4: a second row of this name, found 'COST'"},
      {text_of({.columns = " X COST 1 R9 1\n"}),
       "text:6:11: the name of a row was expected, found 'R9'; did you mean 'R1'?"},
      {text_of({.columns = " X COST 1 R1\n"}),
       "text:6:13: a number was expected, found the end of the line"},
      {text_of({.columns = " X\n"}),
       "text:6:3: a name and a number were expected, found the end of the line"},
      {text_of({.columns = " X COST 3x\n"}), "text:6:9: a number was expected, found '3x'"},
      {text_of({.columns = " X COST nan\n"}), "text:6:9: a number was expected, found 'nan'"},
      {text_of({.columns = " X COST inf\n"}), "text:6:9: a number was expected, found 'inf'"},
      {text_of({.columns = " X COST 1e999\n"}),
       "text:6:4: the coefficient is beyond the largest number, found 'COST'"},
      {text_of({.rhs = " RHS COST inf\n"}),
       "text:8:6: the right-hand side of the objective must be finite, found 'COST'"},
      {text_of({.columns = " X COST 1 COST 2\n"}),
       "text:6:11: a second coefficient of the column in this row, found 'COST'"},
      {text_of({.columns = " X R1 1\n X R1 2\n"}),
       "text:7:4: a second coefficient of the column in this row, found 'R1'"},
      {text_of({.columns = " X R1 1\n Y R1 2\n X COST 1\n"}),
       "text:8:2: the column has been given before, its lines must be together, found 'X'"},
      {text_of({.columns = " M 'MARKER' 'SOSORG'\n"}),
       "text:6:13: 'INTORG' or 'INTEND' was expected, found ''SOSORG''"},
      {text_of({.columns = " M MARKER INTORG\n X COST 1\n"}),
       "text:6:4: the words of a marker stand in quotes, as 'MARKER' 'INTORG', found 'MARKER'"},
      {"NAM T\nROWS\n N COST\n",
       "text:1:1: the name of a section was expected, found 'NAM'; did you mean 'NAME'?"},
      {"NAME T\nROWS\n N COST\nCOLUMS\n",
       "text:4:1: the name of a section was expected, found 'COLUMS'; did you mean 'COLUMNS'?"},
      {with_bounds(" ZZ BND X 1\n"), "text:10:2: the type of a bound was expected, found 'ZZ'"},
      {with_bounds(" UP BND X\n"), "text:10:9: a number was expected, found 'X'"},
      {with_bounds(" UP BND X 1 2\n"), "text:10:13: the end of the line was expected, found '2'"},
      {text_of({.rest = "QUADOBJ\n X Z 2\n"}),
       "text:10:4: the name of a column was expected, found 'Z'"},
      {text_of({.columns = " X COST 1\n Y COST 1\n", .rest = "QUADOBJ\n X Y 2\n Y X 2\n"}),
       "text:12: an element of a quadratic term is given twice, found 'Y' with 'X'"},
      {text_of({.columns = " X COST 1\n Y COST 1\n", .rest = "QMATRIX\n X Y 2\n"}),
       "text:11: a full matrix needs the element at both places, found 'Y' with 'X'"},
      {text_of({.columns = " X COST 1\n Y COST 1\n", .rest = "QMATRIX\n X Y 2\n Y X 3\n"}),
       "text:12: the elements of a symmetric matrix differ, found 'Y' with 'X'"},
      {text_of({.rest = "QCMATRIX COST\n"}),
       "text:9:10: the name of a constraint was expected, found 'COST'"},
      {text_of({.rhs = " RHS R1 -inf\n", .rest = "RANGES\n RNG R1 4\n"}),
       "text:11: row 'R1' has a range but an infinite right-hand side"},
  };
  for (const auto& [text, error] : cases) {
    EXPECT_EQ(read(text).error, error) << text;
  }
}

TEST(MpsWrite, Golden) {
  Model model = with_sides(1.0, 4.0);
  model.maximize = true;
  model.constant = 2.5;
  model.con_lower.push_back(-kInfinity);
  model.con_upper.push_back(kInfinity);
  model.con_names.add("free");
  model.cost.push_back(0.0);
  model.var_lower.push_back(0.0);
  model.var_upper.push_back(-3.0);
  model.var_kind.push_back(VarKind::kInteger);
  model.var_names.add("y");
  model.matrix.start.push_back(1);
  model.quadratic_cost = {{0, 0, 2.0}, {1, 0, 0.1}};
  model.quadratic_coefficients = {{0, {1, 0, 3.0}}};
  EXPECT_EQ(write(model),
            R"(NAME one FREE
OBJSENSE
    MAX
ROWS
 N cost
 G r
 N free
COLUMNS
 x cost 1 r 2.5
 MARKER 'MARKER' 'INTORG'
 y cost 0
 MARKER 'MARKER' 'INTEND'
RHS
 RHS cost -2.5
 RHS r 1
RANGES
 RNG r 3
BOUNDS
 LO BND y 0
 UP BND y -3
QUADOBJ
 x x 2
 x y 0.1
QCMATRIX r
 x y 1.5
 y x 1.5
ENDATA
)");
}

TEST(MpsWrite, BoundsReadBackToTheSameBits) {
  const double values[] = {-kInfinity, -1e300, -1e30, -2.0,    -5e-324, -0.0, 0.0,
                           0.1,        1.0,    2.0,   99999.0, 1e5,     1e30, kInfinity};
  for (const VarKind kind :
       {VarKind::kContinuous, VarKind::kInteger, VarKind::kSemiContinuous, VarKind::kSemiInteger}) {
    for (const double lower : values) {
      for (const double upper : values) {
        const Model model = one_variable(lower, upper, kind);
        const Reading result = read(write(model));
        EXPECT_EQ(result.error, "");
        EXPECT_EQ(difference(model, result.model), "") << write(model);
      }
    }
  }
}

double random_number(std::mt19937_64* random) {
  std::uniform_int_distribution<int> exponent(-60, 60);
  std::uniform_real_distribution<double> mantissa(-2.0, 2.0);
  return std::ldexp(mantissa(*random), (*random)() % 4 == 0 ? exponent(*random) : 0);
}

TEST(MpsWrite, SidesReadBackToTheSameBits) {
  std::vector<std::pair<double, double>> cases = {
      {-kInfinity, kInfinity},
      {-kInfinity, -0.0},
      {0.0, kInfinity},
      {-0.0, -0.0},
      {1e30, 1e31},
      {-1e31, kInfinity},
      {-1e308, 1e308},
      {kInfinity, kInfinity},
      {-kInfinity, -kInfinity},
      {0.1, 0.3},
      {-1.7976931348623157e308, 1.7976931348623157e308},
      {-5e-324, 5e-324},
      {1e-300, 1e300},
  };
  std::mt19937_64 random(7);
  for (int i = 0; i < 20000; ++i) {
    const double a = random_number(&random);
    const double b = random_number(&random);
    cases.emplace_back(std::min(a, b), std::max(a, b));
  }
  int num_wide = 0;
  for (const auto& [lower, upper] : cases) {
    if (std::isfinite(lower) && std::isfinite(upper) && lower < upper) {
      const RangeForm form = find_range_form({lower, upper});
      RangeValue range = {};
      ASSERT_TRUE(parse_range(form.range(), 0, &range));
      const double rhs = form.type == 'G' ? lower : upper;
      const Sides sides = range.is_wide ? ranged_sides(form.type, rhs, range.wide_value)
                                        : ranged_sides(form.type, rhs, range.value);
      ASSERT_EQ(sides.lower, lower) << form.range();
      ASSERT_EQ(sides.upper, upper) << form.range();
      num_wide += range.is_wide ? 1 : 0;
    }
  }
  EXPECT_GT(num_wide, 0);  // else the wide form is not tested
  for (size_t i = 0; i < 500; ++i) {
    const Model model = with_sides(cases[i].first, cases[i].second);
    EXPECT_EQ(difference(model, read(write(model)).model), "") << write(model);
  }
}

TEST(MpsWrite, NamesSurvive) {
  const std::string names[] = {"plain",
                               "with blank",
                               " lead",
                               "trail ",
                               "",
                               "",
                               "dup",
                               "dup",
                               "dup",
                               "*star",
                               "$dollar",
                               "'MARKER'",
                               "50%",
                               "%_x",
                               "%20",
                               "tab\there",
                               "caf\xc3\xa9",
                               std::string("n\0l", 3),
                               "line\nend",
                               "\r",
                               "ROWS",
                               "RHS",
                               "RHS1",
                               "BND",
                               "ENDATA",
                               "1e5",
                               "-3",
                               std::string(10000, 'y')};
  Model model;
  model.name = " model\n";
  model.objective_name = "dup";
  for (const std::string& name : names) {
    const auto row = static_cast<int32_t>(model.cost.size());
    model.cost.push_back(0.0);
    model.var_lower.push_back(1.0);
    model.var_upper.push_back(2.0);
    model.var_kind.push_back(VarKind::kContinuous);
    model.var_names.add(name);
    model.con_lower.push_back(-kInfinity);
    model.con_upper.push_back(4.0);
    model.con_names.add(name);
    model.matrix.row.push_back(row);
    model.matrix.value.push_back(3.0);
    model.matrix.start.push_back(row + 1);
  }
  std::string warnings;
  const std::string text = write(model, &warnings);
  EXPECT_EQ(warnings.substr(0, 49), "warning: names that MPS cannot say are encoded: 3");
  const Reading result = read(text);
  EXPECT_EQ(result.error, "");
  EXPECT_EQ(result.warnings, "");
  EXPECT_EQ(difference(model, result.model), "");
  EXPECT_EQ(write(result.model), text);
}

TEST(MpsWrite, PlainNamesStayAsTheyAre) {
  Model model = one_variable(0.0, kInfinity);
  model.var_names = {};
  model.var_names.add("50%20");
  std::string warnings;
  EXPECT_NE(write(model, &warnings).find(" 50%20 cost 1\n"), std::string::npos);
  EXPECT_EQ(warnings, "");
  EXPECT_EQ(difference(model, read(write(model)).model), "");
}

TEST(MpsWrite, Refusals) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  Model cone = one_variable(0.0, kInfinity);
  cone.cones.push_back({ConeKind::kQuadratic, {0}, {}});
  EXPECT_EQ(write(cone), "refused: an MPS file cannot hold the model: it has 1 cone");
  Model matrix = one_variable(0.0, kInfinity);
  matrix.matrix_vars.push_back({3});
  EXPECT_EQ(write(matrix), "refused: an MPS file cannot hold the model: it has 1 matrix variable");
  EXPECT_EQ(write(one_variable(nan, 1.0)),
            "refused: an MPS file cannot hold the model: a bound of variable 'x' is no number");
  EXPECT_EQ(write(with_sides(2.0, 1.0)),
            "refused: an MPS file cannot hold the model: the lower side of constraint 'r' is above "
            "its upper side");
  Model cost = one_variable(0.0, 1.0);
  cost.cost[0] = kInfinity;
  EXPECT_EQ(write(cost),
            "refused: an MPS file cannot hold the model: the objective's coefficient of variable "
            "'x' is not finite");
}

TEST(MpsRoundTrip, CorpusAndMutations) { expect_round_trips("mps", read_mps, write_mps); }

TEST(MpsRoundTrip, PublicInstances) {
  if (!has_instances()) GTEST_SKIP() << kNoInstances;
  expect_instances({"lp", "mip", "qp"}, [](const Instance& instance) {
    if (!instance.ends_with("ps.gz")) return false;
    const std::string text = instance.text();
    EXPECT_EQ(read(text).error, "") << instance.path;
    EXPECT_EQ(round_trip_fault(read_mps, write_mps, text), "") << instance.path;
    return true;
  });
}

// Other programs find the optimum of what we write.
class MpsPeer : public testing::TestWithParam<Peer> {};

TEST_P(MpsPeer, FindsTheOptimumOfOurFile) {
  const Peer& peer = GetParam();
  if (!is_installed(peer)) GTEST_SKIP() << peer.program << " is not installed";
  // 3 x + 2 y - z + 10 with integers of all kinds of bounds, a range, and names that need encoding:
  // best is x = 2, y = -3, z = 1.5: 6 - 6 - 1.5 + 10 = 8.5.
  Reading result = read(
      R"(NAME two words
ROWS
 N cost
 G r
 L s
 N watched
COLUMNS
 M 'MARKER' 'INTORG'
 x cost 3 r 2
 y cost 2 s -1
 w cost 1 watched 1
 M 'MARKER' 'INTEND'
 z cost -1 s 1
RHS
 RHS cost -10 r 3
 RHS s 4.5
RANGES
 RNG r 4
BOUNDS
 LO B x 0
 MI B y
 LO B y -3
 UP B y -1
ENDATA
)");
  ASSERT_EQ(result.error, "");
  result.model.con_names = {};
  for (const char* name : {"r", "with blank", ""}) result.model.con_names.add(name);
  const ScratchFolder folder;
  const std::string path = folder.write("ours.mps", write(result.model));
  const double expected = std::string_view(peer.program) == "glpsol" ? -11.5 : 8.5;
  EXPECT_NEAR(optimum_by(peer, path), expected, 1e-9);
  // The word FREE must not be taken for a name where there is none.
  result.model.name.clear();
  result.model.con_names = {};
  for (const char* name : {"r", "s", "watched"}) result.model.con_names.add(name);
  EXPECT_NEAR(optimum_by(peer, folder.write("unnamed.mps", write(result.model))), expected, 1e-9);
}

// glpsol takes the right-hand side of the objective with the other sign: its constant is -10.
INSTANTIATE_TEST_SUITE_P(
    Programs, MpsPeer,
    testing::Values(Peer{"glpsol",
                         "glpsol --freemps %s -o /dev/stdout | sed -n 's/^Objective: .* = *\\([^ "
                         "]*\\) .*/\\1/p'"},
                    Peer{"cbc", "cbc %s -solve -quit | sed -n 's/^Objective value: *//p'"},
                    Peer{"highs", VORLAN_HIGHS_PROGRAM " %s | sed -n 's/ *Primal bound *//p'"}),
    [](const auto& test) { return std::string(test.param.program); });

// Our file, as other programs write it again, is the same model to us.
class MpsPeerWriter : public testing::TestWithParam<PeerWriter> {};

TEST_P(MpsPeerWriter, WritesTheModelThatWeRead) {
  const PeerWriter& writer = GetParam();
  if (!is_installed(writer)) GTEST_SKIP() << writer.program << " is not installed";
  Reading ours = read(
      R"(NAME m
ROWS
 N cost
 L r1
 G r2
 E r3
COLUMNS
 M1 'MARKER' 'INTORG'
 x cost 3 r1 1
 x r2 1 r3 2
 M2 'MARKER' 'INTEND'
 y cost 2.5 r1 1
 z cost -0.1 r1 1
 z r2 -1e-7
 w r3 1
 M3 'MARKER' 'INTORG'
 b r3 -1
 M4 'MARKER' 'INTEND'
RHS
 RHS r1 8
 RHS r2 -18.25
 RHS r3 6
RANGES
 RNG r1 3
BOUNDS
 LO B x 2
 PL B x
 LO B y -4
 UP B y 20
 MI B z
 UP B z -3
 FR B w
 BV B b
ENDATA
)");
  ASSERT_EQ(ours.error, "");
  EXPECT_EQ(fault_of_peer(writer, "mps", read_mps, write_mps, std::move(ours.model)), "");
}

INSTANTIATE_TEST_SUITE_P(
    Programs, MpsPeerWriter,
    testing::Values(PeerWriter{"glpsol", "glpsol --freemps OUR --check --wfreemps THEIRS"},
                    PeerWriter{"highs", VORLAN_HIGHS_PROGRAM
                               " OUR --time_limit=0 --write_model_file=THEIRS"}),
    [](const auto& test) { return std::string(test.param.program); });

}  // namespace
}  // namespace vorlan::test
