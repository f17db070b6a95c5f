// LP and PTF files: each dialect choice of docs/formats/lp.md, errors with their places, and what
// is written, down to the last bit.
#include "format/lp/lp.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

#include "format/mps/mps.h"
#include "peer.h"
#include "reading.h"
#include "round_trip.h"
#include "samples.h"
#include "scratch_folder.h"
#include "task/numeric.h"

namespace vorlan::test {
namespace {

Reading read(std::string_view text, ProblemReader reader = read_lp) {
  return read_as(reader, text);
}
std::string write(const Model& model, std::string* warnings = nullptr,
                  ProblemWriter writer = write_lp) {
  return write_as(writer, model, warnings);
}

std::string names_of(const NameList& names, size_t count) {
  std::string text;
  for (size_t i = 0; i < count; ++i) text += std::string(i == 0 ? "" : " ") + std::string(names[i]);
  return text;
}

std::string with_objective(const std::string& objective) {
  return "Minimize\n" + objective + "\nSubject To\n c: x + y >= 1\nEnd\n";
}
std::string with_row(const std::string& row) {
  return "Minimize\n obj: x + y\nSubject To\n" + row + "\nEnd\n";
}
std::string with_rest(const std::string& rest) {
  return R"(Minimize
 obj: x + y
Subject To
 c: x + y >= 1
)" + rest +
         "End\n";
}

TEST(LpRead, Objectives) {
  struct Case {
    const char* text;
    double x, y, constant;
  };
  const Case cases[] = {
      {" obj: 3x + 2y", 3, 2, 0},
      {" obj: + -3 x - -2 y", -3, 2, 0},
      {" obj: x + 2 y + 5", 1, 2, 5},
      {" obj: 5 + x", 1, 0, 5},
      {" obj: x + -5 + y", 1, 1, -5},
      {" obj: 5", 0, 0, 5},
      {" obj:", 0, 0, 0},
      {"", 0, 0, 0},
      {" 3*x + 1/4 y", 3, 0.25, 0},
      {" obj:x+y", 1, 1, 0},
      {" obj: x\n+\n2\ny \\ a comment", 1, 2, 0},
      {" obj: x + x", 2, 0, 0},
      {" obj: 2e1x + .5 y + 1.e0", 20, 0.5, 1},
  };
  for (const Case& test : cases) {
    SCOPED_TRACE(test.text);
    const Reading result = read(with_objective(test.text));
    ASSERT_EQ(result.error, "");
    ASSERT_EQ(names_of(result.model.var_names, result.model.cost.size()), "x y");
    EXPECT_EQ(result.model.cost[0], test.x);
    EXPECT_EQ(result.model.cost[1], test.y);
    EXPECT_EQ(result.model.constant, test.constant);
  }
}

TEST(LpRead, SensesAndHeadingsInAnyCase) {
  for (const char* sense : {"max", "Maximum", "MAXIMIZE", "maximise"}) {
    EXPECT_TRUE(read(std::string(sense) + " x st x <= 1 end").model.maximize);
  }
  for (const char* heading : {"subject to", "SUCH   THAT", "st", "S.T.", "st."}) {
    const Reading result = read(std::string("min x\n") + heading + "\nx >= 2\nend\nnot read [");
    EXPECT_EQ(result.error, "");
    EXPECT_EQ(result.model.num_con(), 1) << heading;
  }
}

TEST(LpRead, Rows) {
  struct Case {
    const char* text;
    double x, y, lower, upper;
  };
  const Case cases[] = {
      {" r: x + y <= 10", 1, 1, -kInfinity, 10},
      {" r: x + y =< 10", 1, 1, -kInfinity, 10},
      {" r: x + y < 10", 1, 1, -kInfinity, 10},
      {" r: x + y => 2", 1, 1, 2, kInfinity},
      {" x + y > - 3", 1, 1, -3, kInfinity},
      {" r: x == 4", 1, 0, 4, 4},
      {" r: -3 <= x + y <= 8", 1, 1, -3, 8},
      {" r: 8 >= x\n + y >= -3", 1, 1, -3, 8},
      {" r: 2 <= x + y", 1, 1, 2, kInfinity},
      {" r: x + y + 3 <= 10", 1, 1, -kInfinity, 7},
      {" r: 1 <= x + 2 <= 5", 1, 0, -1, 3},
      {" r: x <= y + 7", 1, -1, -kInfinity, 7},
      {" r: x >= 2 + 3", 1, 0, 5, kInfinity},
      {" r: x >= 1/3", 1, 0, 1.0 / 3.0, kInfinity},
      {" r: 2 x + x - y >= 2", 3, -1, 2, kInfinity},
      {" r: 0 <= 5", 0, 0, -kInfinity, 5},
      {" r: 0 x >= -1", 0, 0, -1, kInfinity},
      {" r: x >= -inf", 1, 0, -kInfinity, kInfinity},
      {" r: x <= Infinity", 1, 0, -kInfinity, kInfinity},
      {" r: x <= 1e30", 1, 0, -kInfinity, kInfinity},
      {" r: x - x <= 1", 0, 0, -kInfinity, 1},
      {" r: <= 1", 0, 0, -kInfinity, 1},
  };
  for (const Case& test : cases) {
    SCOPED_TRACE(test.text);
    const Reading result = read(with_row(test.text));
    ASSERT_EQ(result.error, "");
    const Model& model = result.model;
    ASSERT_EQ(model.num_con(), 1);
    ASSERT_EQ(model.num_var(), 2);
    double row[2] = {};
    for (size_t j = 0; j < 2; ++j) {
      for (int64_t k = model.matrix.start[j]; k < model.matrix.start[j + 1]; ++k) {
        row[j] = model.matrix.value[static_cast<size_t>(k)];
        EXPECT_NE(row[j], 0.0);
      }
    }
    EXPECT_EQ(row[0], test.x);
    EXPECT_EQ(row[1], test.y);
    EXPECT_EQ(model.con_lower[0], test.lower);
    EXPECT_EQ(model.con_upper[0], test.upper);
  }
}

TEST(LpRead, RowsWithoutNamesEndAtTheLine) {
  const Reading result = read(with_row(R"( x >= 2
 y >= 3
 - x >= 4
 z: x + y >= 2 w: x >= 1)"));
  ASSERT_EQ(result.error, "");
  ASSERT_EQ(result.model.num_con(), 5);
  EXPECT_EQ(names_of(result.model.con_names, 5), "   z w");
  EXPECT_EQ(result.model.con_lower, (std::vector<double>{2, 3, 4, 2, 1}));
}

struct BoundCase {
  const char* text;
  double lower, upper;
  VarKind kind = VarKind::kContinuous;
  const char* warning = "";
};

TEST(LpRead, BoundsAndKinds) {
  const BoundCase cases[] = {
      {"", 0, kInfinity},
      {"Bounds\n x <= 4\n", 0, 4},
      {"bound\n x >= 2 x <= 4\n", 2, 4},
      {"Bounds\n 3 >= x\n", 0, 3},
      {"Bounds\n 3 = x\n", 3, 3},
      {"Bounds\n 8 >= x >= 2\n", 2, 8},
      {"Bounds\n 3 <= x <= 2\n", 3, 2},
      {"Bounds\n x <= -4\n", 0, -4, VarKind::kContinuous, "text:6: the upper bound of 'x'"},
      {"Bounds\n x <= -4\n x >= -5\n", -5, -4},
      {"Bounds\n x >= -infinity\n", -kInfinity, kInfinity},
      {"Bounds\n -inf <= x <= inf\n", -kInfinity, kInfinity},
      {"Bounds\n x FREE\n", -kInfinity, kInfinity},
      {"Bounds\n x <= 1e30\n", 0, kInfinity},
      {"Bounds\n x <= 1e20\n", 0, 1e20, VarKind::kContinuous, "text:7:1: a number below 1e30"},
      {"Bounds\n x <= 9\n x <= 4\n", 0, 4, VarKind::kContinuous, "text:7:4: a second bound"},
      {"Bounds\n x >= 2\n x free\n", -kInfinity, kInfinity, VarKind::kContinuous,
       "text:7:4: a second"},
      {"Bounds\n x <= 1/4\n", 0, 0.25},
      {"Generals\n x\n", 0, kInfinity, VarKind::kInteger},
      {"int\n x\n", 0, kInfinity, VarKind::kInteger},
      {"Binaries\n x\n", 0, 1, VarKind::kInteger},
      {"Bounds\n x <= 9\nBin\n x\n", 0, 1, VarKind::kInteger, "text:8:2: the bounds of a binary"},
      {"Bounds\n x = 0\nBin\n x\n", 0, 0, VarKind::kInteger},
      {"Bounds\n x >= 1\nBin\n x\n", 1, 1, VarKind::kInteger},
      {"Bounds\n -3 <= x <= 0.5\nBin\n x\n", 0, 0.5, VarKind::kInteger,
       "text:8:2: the bounds of a binary"},
      {"Bin\n x\nBounds\n x <= 9\n", 0, 9, VarKind::kInteger},
      {"Bounds\n 2 <= x <= 9\nsemi-continuous\n x\n", 2, 9, VarKind::kSemiContinuous},
      {"Semis\n x\nGeneral\n x\n", 0, kInfinity, VarKind::kSemiInteger},
  };
  for (const BoundCase& test : cases) {
    SCOPED_TRACE(test.text);
    const Reading result = read(with_rest(test.text));
    ASSERT_EQ(result.error, "");
    EXPECT_EQ(result.model.var_lower[0], test.lower);
    EXPECT_EQ(result.model.var_upper[0], test.upper);
    EXPECT_EQ(result.model.var_kind[0], test.kind);
    EXPECT_EQ(result.warnings.empty(), *test.warning == '\0');
    const std::string warning = as_warning(test.warning);
    EXPECT_EQ(result.warnings.substr(0, warning.size()), warning);
  }
}

TEST(LpRead, NamesThatLookLikeOtherThings) {
  const Reading result = read(
      "Minimize\n obj: inf1 + nano + 2 e9x + 3 efg + bounds + st + a/b + caf\xc3\xa9 + .dot..\n"
      "Subject To\n free: x(1) + end >= 2\n end: inf >= 1\nBounds\n bounds <= 3\nEnd\n");
  ASSERT_EQ(result.error, "");
  EXPECT_EQ(names_of(result.model.var_names, result.model.cost.size()),
            "inf1 nano e9x efg bounds st a/b caf\xc3\xa9 .dot.. x(1) end inf");
  EXPECT_EQ(result.model.var_upper[4], 3.0);
}

TEST(LpRead, QuadraticTerms) {
  Reading result = read(
      R"(Minimize
 obj: [ 2 x^2 + 4 x * y + y*x - 6 y ^ 2 ] / 2
Subject To
 q: x + [ x^2 + 4 x * y ] - [ y^2 ] / 2 <= 9
End
)");
  ASSERT_EQ(result.error, "");
  const std::vector<TriangleEntry>& cost = result.model.quadratic_cost;
  ASSERT_EQ(cost.size(), 3U);
  EXPECT_EQ(cost[0].value, 2.0);
  EXPECT_EQ(cost[1].row, 1);
  EXPECT_EQ(cost[1].col, 0);
  EXPECT_EQ(cost[1].value, 2.5);
  EXPECT_EQ(cost[2].value, -6.0);
  const std::vector<ConQuadraticEntry>& terms = result.model.quadratic_coefficients;
  ASSERT_EQ(terms.size(), 3U);
  EXPECT_EQ(terms[0].entry.value, 2.0);
  EXPECT_EQ(terms[1].entry.value, 4.0);
  EXPECT_EQ(terms[2].entry.value, -1.0);
}

TEST(LpRead, ErrorsNameThePlace) {
  const std::pair<std::string, const char*> cases[] = {
      {"", "text:1: the file is empty"},
      {"blah\n", "text:1:1: 'minimize' or 'maximize' was expected, found 'blah'"},
      {"Minimize\n x\n", "text:2: the file ends here, without 'End'"},
      {with_objective(" obj: x + * 3 y"), "text:2:11: a term was expected, found '*'"},
      {with_objective(" obj: x y"),
       "text:2:9: a sign or the name of a section was expected, found 'y'"},
      {with_objective(" obj: [ x^2 ]"),
       "text:3:1: '/ 2' was expected behind the bracket of an objective, found 'Subject'"},
      {with_objective(" obj: [ x^3 ] / 2"), "text:2:11: the exponent '2' was expected, found '3'"},
      {with_objective(" obj: [ x ] / 2"), "text:2:11: '^ 2' or '*' was expected, found ']'"},
      {with_objective(" obj: 2 3 y"),
       "text:2:9: a sign or the name of a section was expected, found '3'"},
      {with_objective(" obj: 1e400 y"), "text:2:13: a coefficient must be finite, found 'y'"},
      {with_objective(std::string(" obj: x \0", 9)),
       "text:2:9: a character that no LP file has, found '\\x00'"},
      {with_row(" >= 2"), "text:4:2: an expression was expected, found '>='"},
      {with_row(" c: >= x"), "text:5:1: a number was expected, found 'End'"},
      {with_row(" c: x + y"), "text:5:1: a relation ('<=', '>=' or '=') was expected, found 'End'"},
      {with_row(" c: x >= 1\n c: y >= 1"), "text:5:2: a second constraint of this name, found 'c'"},
      {with_row(" c: 1 <= x >= 2"),
       "text:4:12: a second relation must be as the first, with constants on both sides, found "
       "'>='"},
      {with_row(" c: b = 1 -> x >= 2"),
       "text:4:5: this is no condition: variable 'b' is not binary, found 'b'"},
      {with_row(" c: b = 2 -> x >= 2"),
       "text:4:11: a condition before this must be a variable, '=' and 0 or 1, found '-'"},
      {with_row(" c: 2 b = 1 -> x >= 2"),
       "text:4:13: a condition before this must be a variable, '=' and 0 or 1, found '-'"},
      {with_row(" c: b <= 1 -> x >= 2"),
       "text:4:12: a condition before this must be a variable, '=' and 0 or 1, found '-'"},
      {with_row(" c: b + x = 1 -> x >= 2"),
       "text:4:15: a condition before this must be a variable, '=' and 0 or 1, found '-'"},
      {with_row(" c: b = 1 <-> x >= 2"),
       "text:4:11: '->' joins a condition and a constraint; '<->' is two of them, found '<'"},
      {with_row(" c: b = 1 -> [ x^2 ] <= 2") + "",
       "text:4:5: this is no condition: variable 'b' is "
       "not binary, found 'b'"},
      {with_row(" c: b = 1 -> [ x^2 ] <= 2\nBinary\n b"),
       "text:4:5: this is no condition: constraint 'c' is not linear, found 'b'"},
      {with_row(" c: b = 1 -> b = 0 -> x <= 2\nBinary\n b"),
       "text:4:20: a sign or the end of the constraint was expected, found '-'"},
      {with_row(" c: x -> 2"), "text:4:7: a relation ('<=', '>=' or '=') was expected, found '-'"},
      {with_rest("Bounds\n x <= abc\n"), "text:6:7: a number was expected, found 'abc'"},
      {with_rest("Bounds\n x 3\n"),
       "text:6:4: a relation ('<=', '>=' or '=') or 'free' was expected, found '3'"},
      {with_rest("SOS\n s1: x:1 y:2\n"),
       "text:6:6: the kind of a set, 'S1::' or 'S2::', was expected, found 'x'"},
      {with_rest("SOS\n s1: S3:: x:1 y:2\n"),
       "text:6:6: the kind of a set, 'S1::' or 'S2::', was expected, found 'S3'"},
      {with_rest("SOS\n s1: S1::\n"),
       "text:7:1: a variable, ':' and its weight were expected, found 'End'"},
      {with_rest("SOS\n s1: S1:: x y\n"),
       "text:6:11: a variable, ':' and its weight were expected, found 'x'"},
      {with_rest("SOS\n s1: S2:: x:1 y:1\n"),
       "text:6:2: this is no set: variable 'x' and variable 'y' have the same weight, so that "
       "their order is not known, found 's1'"},
      {with_rest("SOS\n s1: S1:: x:1 x:2\n"),
       "text:6:2: this is no set: variable 'x' is in it twice, found 's1'"},
      {with_rest("SOS1\n s1: x:1,z:2\n"), "text:6:10: a variable was expected, found 'z'"},
      {with_rest("SOS1\n s1: x:1 y:2 <= 2\n"),
       "text:6:17: the count behind a set must be that of its kind, 1 or 2, found '2'"},
      {with_rest("Lazy Constraints\n"),
       "text:5:1: lazy constraints and user cuts cannot be taken; constraints stand under 'Subject "
       "To', found 'Lazy'"},
      {R"(Minimize ] extended problem 1
Minimize
 x
End
)",
       "text:1:1: the file has sections of PTF files and must be read as .ptf or .opf, found "
       "'Minimize ] extended problem 1'"},
  };
  for (const auto& [text, message] : cases) EXPECT_EQ(read(text).error, message) << text;
}

TEST(LpRead, SpecialOrderedSets) {
  const auto sets_of = [](const std::string& text) {
    const Reading result = read(with_rest(text));
    std::string sets = result.error + result.warnings;
    for (size_t i = 0; i < result.model.sets.size(); ++i) {
      const OrderedSet& set = result.model.sets[i];
      sets += std::string(result.model.set_names[i]) + (set.kind == SetKind::kSos1 ? " 1" : " 2");
      for (size_t k = 0; k < set.vars.size(); ++k) {
        sets += ' ' + std::string(result.model.var_names[index(set.vars[k])]) + ':';
        sets += std::to_string(static_cast<int>(set.weights[k]));
      }
      sets += '\n';
    }
    return sets;
  };
  const std::pair<const char*, const char*> cases[] = {
      {"SOS\n s1: S1:: x:1 y:2\n", "s1 1 x:1 y:2\n"},
      {"sos\n s1: s2:: x : 4\n y : -3\n", "s1 2 y:-3 x:4\n"},
      {"SOS\n S1:: x:1 y:2\n b:\n S2:: x:1 y:2\n", " 1 x:1 y:2\nb 2 x:1 y:2\n"},
      {"SOS\n S1: S1:: x:1 y:1\n", "S1 1 x:1 y:1\n"},
      {"SOS\n s: S1:: y:1\nSOS\n t: S1:: x:1\n", "s 1 y:1\nt 1 x:1\n"},
      {"SOS1\n s1: x:5,y:6\n", "s1 1 x:5 y:6\n"},
      {"SOS2\n s1: x:5,y:6 <= 2\n t: x:2 y:1\n", "s1 2 x:5 y:6\nt 2 y:1 x:2\n"},
      {"SOS2\n x:1 y:2 <= 2\n y:1 x:2 <= 2\nGenerals\n x\n", " 2 x:1 y:2\n 2 y:1 x:2\n"},
  };
  for (const auto& [text, sets] : cases) EXPECT_EQ(sets_of(text), sets) << text;
}

TEST(LpRead, Indicators) {
  const Reading result = read(
      "Minimize\n obj: x + y\nSubject To\n c: b = 1 -> x + y + b <= 3\n d: x >= 1\n"
      " c = 0 ->\n -1 <= x - y <= 2\nBinaries\n b c\nEnd\n");
  ASSERT_EQ(result.error + result.warnings, "");
  const Model& model = result.model;
  ASSERT_EQ(model.indicators.size(), 2U);
  EXPECT_EQ(model.indicators[0].con, 0);
  EXPECT_EQ(model.var_names[index(model.indicators[0].binary)], "b");
  EXPECT_TRUE(model.indicators[0].active);
  EXPECT_EQ(model.indicators[1].con, 2);
  EXPECT_EQ(model.var_names[index(model.indicators[1].binary)], "c");
  EXPECT_FALSE(model.indicators[1].active);
  EXPECT_EQ(model.con_lower, (std::vector<double>{-kInfinity, 1.0, -1.0}));
  EXPECT_EQ(model.con_upper, (std::vector<double>{3.0, kInfinity, 2.0}));
  EXPECT_EQ(names_of(model.var_names, model.cost.size()), "x y b c");
  // The condition is no term of its row; the b behind it is.
  EXPECT_EQ(model.matrix.start, (std::vector<int64_t>{0, 3, 5, 6, 6}));
  const std::string text = write(model);
  EXPECT_EQ(text.substr(text.find("Minimize")), R"(Minimize
 obj: x + y + 0 b + 0 c
Subject To
 c: b = 1 -> x + y + b <= 3
 d: x >= 1
 _%_c3: c = 0 -> x - y - _%_c3%_range = 0
Bounds
 -1 <= _%_c3%_range <= 2
Binaries
 b c
End
)");
}

// Almost any characters may be in a name, so that these texts could be read as variables.
TEST(LpRead, TyposAreErrorsAndNoVariables) {
  const std::pair<const char*, const char*> cases[] = {
      {" c: x + y >= 1,5", "15: a number has a point before its decimals and no comma, found ',5'"},
      {" c: x >= 5,000", "11: a number has a point before its decimals and no comma, found ',000'"},
      {" c: x <= 20;", "12: a constraint ends without ';', found ';'"},
      {" c: x <= 20 ;", "13: a constraint ends without ';', found ';'"},
      {" c: x <= 1_000", "11: a number has no '_' between its digits, found '_000'"},
      {" c: x <= 20%", "12: a number has no unit, found '%'"},
      {" c: x >= 1e", "11: an exponent needs digits, found 'e'"},
      {" c: x >= 1..5", "12: a sign or the end of the constraint was expected, found '.5'"},
      {" c: x >= \"5\"", "10: a number stands without quotes, found '\"5\"'"},
      {" c: x >= $5", "10: a number has no unit, found '$5'"},
      {" c: x >= 5 (demand)",
       "12: round brackets do not group terms, and a comment begins with '\\', found '(demand)'"},
      {" c: 2(x + y) <= 9",
       "6: round brackets do not group terms, and a comment begins with '\\', found '(x'"},
      {" c: 2 (x + y) <= 9",
       "7: round brackets do not group terms, and a comment begins with '\\', found '(x'"},
      {" c: x >= 5 # demand", "12: a comment begins with '\\', found '#'"},
      {" c: x + y > 2 3", "15: a sign or the end of the constraint was expected, found '3'"},
      {" c: x + y >= 2 y x", "18: a sign or the end of the constraint was expected, found 'x'"},
      {" c: x * y >= 2",
       "7: a product or a power of variables stands in brackets, as in '[ 2 x * y + z ^ 2 ]', and "
       "a number in front of its variable, found '*'"},
      {" c: x^2 >= 2",
       "6: a product or a power of variables stands in brackets, as in '[ 2 x * y + z ^ 2 ]', and "
       "a number in front of its variable, found '^'"},
  };
  for (const auto& [row, message] : cases) {
    EXPECT_EQ(read(with_row(row)).error, "text:4:" + std::string(message)) << row;
  }
  // Names in places where nobody writes typos stay names, as programs write them.
  for (const char* row :
       {" c: x(1) + ,5 + 2 ;a + \"q\" + 3x >= 1", " c: 2 $x + 3 %y + _z >= 1", " c: x >= 2 y",
        " c: x >= y(1)", " c: x >= z", " c: x - 3z + e >= 1\n d: x >= 2 z + 2e",
        " c: x + (a) >= 2 (a)", " c: (a + b >= 1", " c: 2 <= kg + x"}) {
    EXPECT_EQ(read(with_row(row)).error, "") << row;
  }
  // Behind a number, too, where the variable is known, be it the first.
  EXPECT_EQ(read("Minimize\n o: (a + y\nSubject To\n c: 2(a + y >= 1\nEnd\n").error, "");
}

// A unit is not told from a variable but by what the rest of the file says about it.
TEST(LpRead, AUnitIsNoVariable) {
  constexpr std::string_view kUnit =
      ": a number has no unit; a variable that is only behind numbers right of relations must be "
      "in the objective, in Bounds or in a list, too, found 'kg'";
  const auto error_of = [](const std::string& row, const std::string& rest) {
    return read(with_row(row + "\n" + rest)).error;
  };
  EXPECT_EQ(error_of(" c: x <= 20 kg", ""), "text:4:13" + std::string(kUnit));
  EXPECT_EQ(error_of(" c: x <= 20kg", ""), "text:4:12" + std::string(kUnit));
  EXPECT_EQ(error_of(" c: x <= 20 kg\n d: y >= 3 kg", ""), "text:4:13" + std::string(kUnit));
  EXPECT_EQ(error_of(" c: x <= 20 kg\n d: kg >= 3", ""), "");
  EXPECT_EQ(error_of(" c: x <= 20 kg", "Bounds\n kg >= 3"), "");
  EXPECT_EQ(error_of(" c: x <= 20 kg", "Generals\n kg"), "");
  EXPECT_EQ(error_of(" c: x <= 20 kg + 3", ""), "text:4:13" + std::string(kUnit));
  EXPECT_EQ(error_of(" c: x <= 3 + 20 kg", ""), "text:4:17" + std::string(kUnit));
  EXPECT_EQ(error_of(" c: x <= 20 kg + 3 lb", ""), "");
  EXPECT_EQ(error_of(" c: x <= 3 * kg", ""), "");
  EXPECT_EQ(error_of(" c: x <= 20 y", "Bounds\n x <= 4kg\n"),
            "text:6:8: a number has no unit, found 'kg'");
  EXPECT_EQ(error_of(" c: x <= 20 y", "Bounds\n x <= 1,5\n"),
            "text:6:8: a number has a point before its decimals and no comma, found ',5'");
  EXPECT_EQ(error_of(" c: x <= 20 y", "Bounds\n x <= 4 kg\n y <= 2\n"),
            "text:6:9: a relation ('<=', '>=' or '=') or 'free' was expected behind this, found "
            "'kg'");
}

TEST(LpRead, MisspeltHeadingsAndNames) {
  const std::pair<std::string, const char*> cases[] = {
      {with_rest("Boundz\n -5 <= x\n"),
       "text:5:1: this looks like the name of a section, found 'Boundz'; did you mean 'bounds'?"},
      {with_rest("Generals\n x\nBinarys\n y\n"),
       "text:7:1: this looks like the name of a section, found 'Binarys'; did you mean 'binary'?"},
      {"Minimize\n x\nSubjct To\n x >= 1\nEnd\n",
       "text:3:1: a sign or the name of a section was expected, found 'Subjct'; did you mean "
       "'subject to'?"},
      {"Maximze\n x\nSubject To\n x >= 1\nEnd\n",
       "text:1:1: 'minimize' or 'maximize' was expected, found 'Maximze'; did you mean "
       "'maximize'?"},
      {"max: x\nst\n x >= 1\nEnd\n",
       "text:1:4: the name of the objective was expected before ':', found ':'; 'max' is no name "
       "here and stands without ':'"},
      {"Minimize\n x\nst:\n x >= 1\nEnd\n",
       "text:3:1: a sign or the name of a section was expected, found 'st'; the name of a section "
       "stands without ':'"},
      {"Minimize\n x\nConstraints\n x >= 1\nEnd\n",
       "text:3:1: a sign or the name of a section was expected, found 'Constraints'; did you mean "
       "'subject to'?"},
      {with_rest("Free\n x\n"),
       "text:5:1: this looks like the name of a section, found 'Free'; did you mean 'bounds'?"},
      {with_rest("Cones\n k: quadratic x y\n"),
       "text:5:1: this looks like the name of a section, found 'Cones'; a section of PTF files, "
       "which begin with the line 'Minimize ] extended problem 1' and have the suffix .ptf or "
       ".opf"},
      {with_rest("Solution interior\n"),
       "text:5:1: this looks like the name of a section, found 'Solution'; a section of PTF files, "
       "which begin with the line 'Minimize ] extended problem 1' and have the suffix .ptf or "
       ".opf"},
      {with_rest("Generals\n x, y\n"), "text:6:2: names are separated by blanks alone, found 'x,'"},
      {with_objective(" obj: x + y;"), "text:2:11: a line ends without ';', found 'y;'"},
  };
  for (const auto& [text, message] : cases) EXPECT_EQ(read(text).error, message) << text;
  const Reading unknown = read(with_rest("Bounds\n xx <= 4\n"));
  EXPECT_EQ(unknown.error, "");
  EXPECT_EQ(unknown.warnings,
            as_warning("text:6:2: a variable that is in no constraint and not in the objective, "
                       "found 'xx'; did you mean 'x'?\n"));
  // A constraint may be called so, but a line of its own is meant as a heading.
  EXPECT_EQ(read(with_rest("bounds:\n x >= -3\n")).warnings,
            as_warning("text:5:1: this is the name of a constraint, found 'bounds'; the name of a "
                       "section stands without ':'\n"));
  EXPECT_EQ(read(with_rest("bounds: x >= -3\n")).warnings, "");
}

// Names in capitals are words or codes; of a pair that is mentioned once each, one is a slip, too.
TEST(LpRead, SlipsInCapitalsAndInSmallModels) {
  const auto warnings_of = [](const std::string& name, const std::string& other) {
    return read("Maximize\n o: " + name + " + chairs\nSubject To\n c: " + other +
                " + chairs <= 4\n d: chairs <= 3\nEnd\n")
        .warnings;
  };
  const std::pair<const char*, const char*> slips[] = {
      {"x1", "X1"}, {"TABLES", "TABELS"}, {"TABLES", "TABLEES"}, {"tables", "tabels"},
      {"(x)", "x"}, {"x", "{x}"},         {"\"x\"", "x"}};
  for (const auto& [name, other] : slips) {
    EXPECT_EQ(warnings_of(name, other),
              as_warning("text: the variable '" + std::string(other) +
                         "' is at one place of the model alone; did you mean '" + name + "'?\n"));
  }
  const std::pair<const char*, const char*> codes[] = {{"GASVSA", "GASVAS"},
                                                       {"TAB1ES", "TAB2ES"},
                                                       {"TBLS", "TLBS"},
                                                       {"wines", "wires"},
                                                       {"x(1)", "x"}};
  for (const auto& [name, other] : codes) EXPECT_EQ(warnings_of(name, other), "") << other;
}

// Such a variable makes another model, but real files may mean it.
TEST(LpRead, AMisspeltNameIsWarnedOf) {
  const auto warnings_of = [](const std::string& row) {
    const std::string text = "Maximize\n o: 45 chairs + 80 tables\nSubject To\n c: chairs + " +
                             row +
                             " <= 4\n d: chairs + tables <= 5\n e: chairs - tables >= 1\nEnd\n";
    return read(text).warnings;
  };
  for (const std::string slip : {"tabels", "Tables", "table", "tablees", "tavles"}) {
    EXPECT_EQ(warnings_of(slip), as_warning("text: the variable '" + slip +
                                            "' is at one place of the model alone; did you mean "
                                            "'tables'?\n"));
  }
  for (const char* other : {"tables", "slack", "tables2", "tablesa", "s"}) {
    EXPECT_EQ(warnings_of(other), "") << other;
  }
  const Reading right = read("Maximize\n o: x\nSubject To\n c: x <= four\nEnd\n");
  EXPECT_EQ(right.error, "");
  EXPECT_EQ(right.warnings, as_warning("text:4:10: a variable that is right of this relation and "
                                       "nowhere else in the model, found 'four'\n"));
  const Reading units = read("Maximize\n o: x\nSubject To\n c: x <= 20 kg + 3 lb\nEnd\n");
  EXPECT_EQ(units.error, "");
  EXPECT_NE(units.warnings.find("found 'kg'"), std::string::npos) << units.warnings;
  EXPECT_NE(units.warnings.find("found 'lb'"), std::string::npos) << units.warnings;
  EXPECT_EQ(read("Maximize\n o: x\nSubject To\n c: x <= 2 y + 3 z\n d: y + z <= 4\nEnd\n").warnings,
            "");
}

// Two models in one file, or an End too many, would be half a model.
TEST(LpRead, TextBehindTheEndIsWarnedOf) {
  const std::string model = "Maximize\n o: x\nSubject To\n c: x <= 4\n";
  EXPECT_EQ(read(model + "End\r\n\r\n\\ a comment\n \t\n").warnings, "");
  for (const char* end : {"End d: x <= 3\n", "End\n\\ a comment\n\n d: x <= 3\nc: x >= 5\n"}) {
    const Reading result = read(model + end);
    EXPECT_EQ(result.error, "");
    EXPECT_EQ(result.model.con_lower.size(), 1U);
    const std::string_view place = end[3] == '\n' ? "text:8:2" : "text:5:5";
    EXPECT_EQ(result.warnings, as_warning(std::string(place) +
                                          ": text behind 'End', which is not read, found 'd:'\n"));
  }
}

TEST(LpWrite, BoundsAndSidesReadBackToTheSameBits) {
  const double values[] = {-kInfinity, -1e300, -1e30, -2.0,    -5e-324, -0.0, 0.0,
                           0.1,        1.0,    2.0,   99999.0, 1e5,     1e30, kInfinity};
  for (const double lower : values) {
    for (const double upper : values) {
      for (const VarKind kind : {VarKind::kContinuous, VarKind::kInteger, VarKind::kSemiContinuous,
                                 VarKind::kSemiInteger}) {
        const Model model = one_variable(lower, upper, kind);
        const Reading result = read(write(model));
        EXPECT_EQ(result.error, "");
        EXPECT_EQ(difference(model, result.model), "") << write(model);
      }
      Model model = with_sides(lower, upper);
      model.constant = lower == -kInfinity || lower == kInfinity ? 0.0 : lower;
      const Reading result = read(write(model));
      EXPECT_EQ(result.error, "");
      EXPECT_EQ(difference(model, result.model), "") << write(model);
    }
  }
}

TEST(LpWrite, QuadraticTermsReadBackToTheSameBits) {
  for (const double value : {1.0, -0.1, 5e-324, 1.7e308, -3.5}) {
    Model model = with_sides(-kInfinity, 1.0);
    model.quadratic_cost = {{0, 0, value}, {1, 0, value}};
    model.quadratic_coefficients = {{0, {0, 0, value}}, {0, {1, 0, value}}};
    model.cost.push_back(-0.0);
    model.var_lower.push_back(0.0);
    model.var_upper.push_back(kInfinity);
    model.var_kind.push_back(VarKind::kContinuous);
    model.var_names.add("y");
    model.matrix.start.push_back(1);
    const Reading result = read(write(model));
    EXPECT_EQ(result.error, "");
    EXPECT_EQ(difference(model, result.model), "") << write(model);
  }
}

TEST(LpWrite, NamesSurvive) {
  const std::string names[] = {"plain",
                               "with blank",
                               " lead",
                               "",
                               "",
                               "dup",
                               "dup",
                               "_",
                               "_%",
                               "_\x90",
                               "_x",
                               "50%",
                               "%_x",
                               "a+b",
                               "free",
                               "END",
                               "Inf",
                               "nano",
                               "3x",
                               ".5",
                               "r%_range",
                               "x(1,2)",
                               "caf\xc3\xa9",
                               std::string("n\0l", 3),
                               "line\nend",
                               "\\",
                               "subject",
                               "to",
                               std::string(10000, 'y')};
  Model model;
  model.name = " model\n";
  model.objective_name = "dup";
  int32_t row = 0;
  for (const std::string& name : names) {
    model.cost.push_back(0.0);
    model.var_lower.push_back(1.0);
    model.var_upper.push_back(2.0);
    model.var_kind.push_back(VarKind::kContinuous);
    model.var_names.add(name);
    model.con_lower.push_back(row % 2 == 0 ? -kInfinity : 3.0);
    model.con_upper.push_back(4.0);
    model.con_names.add(name);
    model.matrix.row.push_back(row++);
    model.matrix.value.push_back(3.0);
    model.matrix.start.push_back(row);
  }
  std::string warnings;
  const std::string text = write(model, &warnings);
  EXPECT_TRUE(warnings.starts_with("warning: names that LP cannot say are encoded: 40,"))
      << warnings;
  const Reading result = read(text);
  EXPECT_EQ(result.error, "");
  EXPECT_EQ(difference(model, result.model), "");
  EXPECT_EQ(write(result.model), text);
}

// Variables whose first element is in a later row than those of their followers, or nowhere.
TEST(LpWrite, TheOrderOfVariablesSurvives) {
  std::mt19937 random(5);
  for (int trial = 0; trial < 200; ++trial) {
    Model model;
    const int num_var = static_cast<int>(random() % 7);
    for (int var = 0; var < num_var; ++var) {
      model.cost.push_back(random() % 4 == 0 ? 1.0 : 0.0);
      model.var_lower.push_back(0.0);
      model.var_upper.push_back(kInfinity);
      model.var_kind.push_back(VarKind::kContinuous);
      model.var_names.add("v" + std::to_string(random()));
      for (int32_t row = static_cast<int32_t>(random() % 4); row < 4; row += 2) {
        model.matrix.row.push_back(row);
        model.matrix.value.push_back(1.5);
      }
      model.matrix.start.push_back(static_cast<int64_t>(model.matrix.row.size()));
    }
    model.con_lower.assign(4, 1.0);
    model.con_upper.assign(4, kInfinity);
    EXPECT_EQ(difference(model, read(write(model)).model), "") << write(model);
  }
}

TEST(LpWrite, LinesStayShort) {
  Model model;
  for (int var = 0; var < 500; ++var) {
    model.cost.push_back(-1.2345678901234567);
    model.var_lower.push_back(0.0);
    model.var_upper.push_back(kInfinity);
    model.var_kind.push_back(VarKind::kInteger);
    model.var_names.add("variable" + std::to_string(var));
    model.matrix.row.push_back(0);
    model.matrix.value.push_back(var + 0.1);
    model.matrix.start.push_back(var + 1);
  }
  model.con_lower = {1.0};
  model.con_upper = {1.0};
  const std::string text = write(model);
  size_t longest = 0;
  for (size_t begin = 0; begin < text.size();) {
    const size_t end = text.find('\n', begin);
    longest = std::max(longest, end - begin);
    begin = end + 1;
  }
  EXPECT_LE(longest, 300U);
  EXPECT_GE(longest, 200U);
  EXPECT_EQ(difference(model, read(text).model), "");
}

TEST(LpWrite, Refusals) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  Model cone = one_variable(0.0, kInfinity);
  cone.cones.push_back({ConeKind::kQuadratic, {0}, {}});
  EXPECT_EQ(write(cone), "refused: an LP file cannot hold the model: it has 1 cone");
  Model matrix = one_variable(0.0, kInfinity);
  matrix.matrix_vars.push_back({3});
  EXPECT_EQ(write(matrix), "refused: an LP file cannot hold the model: it has 1 matrix variable");
  EXPECT_EQ(write(one_variable(nan, 1.0)),
            "refused: an LP file cannot hold the model: a bound of variable 'x' is no number");
  EXPECT_EQ(write(with_sides(nan, 1.0)),
            "refused: an LP file cannot hold the model: a side of constraint 'r' is no number");
  Model cost = one_variable(0.0, 1.0);
  cost.cost[0] = kInfinity;
  EXPECT_EQ(write(cost, nullptr, write_ptf),
            "refused: a PTF file cannot hold the model: the objective's coefficient of variable "
            "'x' is not finite");
}

std::string rewritten(std::string_view text, ProblemFile* file) {
  Warnings warnings;
  const Status status = read_text(read_ptf, text, file, &warnings);
  EXPECT_EQ(status.message(), "");
  std::string written;
  EXPECT_EQ(write_text(write_ptf, *file, &written, &warnings).message(), "");
  return written;
}

TEST(Ptf, SectionsOfItsOwn) {
  const std::string text = read_all(VORLAN_CORPUS "/ptf/conic.ptf");
  ProblemFile file;
  const std::string written = rewritten(text, &file);
  const Model& model = file.model;
  ASSERT_EQ(model.num_cone(), 3);
  EXPECT_EQ(model.cones[0].kind, ConeKind::kQuadratic);
  EXPECT_EQ(model.cones[1].exponents, (std::vector<double>{0.3, 0.7}));
  EXPECT_EQ(model.cones[2].kind, ConeKind::kDualExponential);
  EXPECT_EQ(model.matrix_vars[0].dimension, 3);
  ASSERT_EQ(model.matrix_cost.size(), 2U);
  EXPECT_EQ(model.matrix_cost[1].entry.value, 1.0);  // 2 X(2,1) is both places with 1
  ASSERT_EQ(model.matrix_coefficients.size(), 3U);
  EXPECT_EQ(model.matrix_coefficients[2].entry.value, 0.5 * (1.0 - 1e-3));
  ASSERT_EQ(file.parameters.size(), 2U);
  EXPECT_EQ(file.parameters[1].value, "a file % name");
  const Solution& basic = file.solutions[1];
  ASSERT_TRUE(basic.defined);
  EXPECT_FALSE(file.solutions[0].defined);
  EXPECT_EQ(basic.status, SolutionStatus::kOptimal);
  EXPECT_EQ(basic.skx[1], StatusKey::kAtLower);
  EXPECT_EQ(basic.slx[1], -0.5);
  EXPECT_TRUE(std::isnan(basic.sux[1]));
  EXPECT_EQ(basic.y[0], 4.0);
  EXPECT_EQ(basic.barx, (std::vector<double>{0, 4, 0, 0, 0, 0, 0, 0, 0}));
  EXPECT_EQ(basic.bars[1], 5.0);
  ProblemFile again;
  EXPECT_EQ(rewritten(written, &again), written);
  EXPECT_EQ(difference(model, again.model), "");
  EXPECT_EQ(again.parameters[1].value, "a file % name");
}

// The dual of a cone is the fourth figure of a variable where there are cones.
TEST(Ptf, DualsOfConesAndTheDualObjective) {
  const std::string text = read_all(VORLAN_CORPUS "/ptf/conic.ptf");
  const auto with_items = [&text](const std::string& items) {
    std::string changed = text;
    changed.replace(changed.find(" variable x = basic 1 0 0\n"), 26, items);
    return changed;
  };
  ProblemFile file;
  const std::string written = rewritten(with_items(R"( dual_objective -7.5
 variable x = basic 1 0 0 -2.5
 variable z = fixed 1 2 3 -inf
)"),
                                        &file);
  const Solution& basic = file.solutions[1];
  EXPECT_EQ(basic.dual_objective, -7.5);
  ASSERT_EQ(basic.snx.size(), file.model.cost.size());
  EXPECT_EQ(basic.snx[0], -2.5);
  EXPECT_EQ(basic.snx[1], 0.0);  // y, with three figures
  EXPECT_EQ(basic.snx[2], -kInfinity);
  EXPECT_TRUE(std::isnan(file.solutions[2].dual_objective));
  ProblemFile again;
  EXPECT_EQ(rewritten(written, &again), written);
  EXPECT_EQ(again.solutions[1].snx, basic.snx);
  EXPECT_EQ(again.solutions[1].dual_objective, -7.5);

  EXPECT_EQ(read(R"(Minimize ] extended problem 1
Minimize
 obj: x
Solution basic
 variable x = basic 1 0 0 4
End
)",
                 read_ptf)
                .error,
            "text:5:27: an item of a solution was expected, found '4'");
}

TEST(Ptf, WithoutSectionsItIsAnLpFile) {
  const std::string text = read_all(VORLAN_CORPUS "/ptf/plain.ptf");
  const Reading result = read(text, read_ptf);
  EXPECT_EQ(result.error, "");
  EXPECT_EQ(names_of(result.model.var_names, 4), "matrix solution parameters cones");
  EXPECT_EQ(write(result.model, nullptr, write_ptf), write(result.model));
}

TEST(Ptf, AVariableNamedLikeASectionStaysAVariable) {
  Model model = one_variable(0.0, kInfinity, VarKind::kInteger);
  for (const char* name : {"cones", "solution", "parameters", "matrix", "variables"}) {
    model.cost.push_back(1.0);
    model.var_lower.push_back(0.0);
    model.var_upper.push_back(5.0);
    model.var_kind.push_back(VarKind::kInteger);
    model.var_names.add(name);
    model.matrix.start.push_back(0);
  }
  model.cones.push_back({ConeKind::kQuadratic, {1, 2}, {}});
  EXPECT_EQ(difference(model, read(write(model, nullptr, write_ptf), read_ptf).model), "");
  const Reading by_hand = read(
      R"(Minimize ] extended problem 1
Minimize
 x + cones
Subject To
 cones: cones >= 1
Generals
 cones
Cones
 cones: quadratic x cones
End
)",
      read_ptf);
  EXPECT_EQ(by_hand.error, "");
  EXPECT_EQ(by_hand.model.num_cone(), 1);
  EXPECT_EQ(by_hand.model.var_kind[1], VarKind::kInteger);
}

TEST(Ptf, ErrorsNameThePlace) {
  const auto in_file = [](const std::string& head, const std::string& rest) {
    return "Minimize ] extended problem 1\n" + head + "Minimize\n x + y\nSubject To\n c: x >= 1\n" +
           rest + "End\n";
  };
  const std::pair<std::string, const char*> cases[] = {
      {in_file("Matrix Variables\n X(2000)\n", ""),
       "text:3:2: what is declared up to here would take more than 16 MiB of memory, which is "
       "VLN_IPAR_READ_DECLARED_LIMIT, found 'X(2000)'"},
      {in_file("Matrix Variables\n X(2) X(3)\n", ""),
       "text:3:7: a second matrix variable of this name, found 'X(3)'"},
      {in_file("Matrix Variables\n X(2)\n", " d: X(3,1) >= 1\n"),
       "text:8:5: the matrix variable has dimension 2, found 'X(3,1)'"},
      {in_file("", "Cones\n k: round x y\n"),
       "text:7:5: the kind of a cone was expected, found "
       "'round'"},
      {in_file("", "Cones\n k: exponential x y\n"),
       "text:7:2: a cone of this kind cannot have 2 variables, found 'k'"},
      {in_file("", "Cones\n k: quadratic x x\n"),
       "text:7:17: a variable can be in one cone only, found 'x'"},
      {in_file("", R"( d: x + yy >= 1
Cones
 k: quadratic x y
 m: quadratic yy yyy
)"),
       "text:9:18: a member of a cone that is nowhere else in the model, found 'yyy'; did you mean "
       "'yy'?"},
      {in_file("Matrix Variables\n XX(2)\n", " d: X(2,1) >= 1\n"),
       "text:8:5: there is no matrix variable of this name, found 'X(2,1)'; did you mean 'XX'?"},
      {in_file("", "Solution optimal\nEnd\n"),
       "text:6:10: 'interior', 'basic' or 'integer' was expected, found 'optimal'"},
      {in_file("", "Solution basic\n variable z = basic 1 2 3\n"),
       "text:7:11: the name of a part of the model was expected, found 'z'"},
      {in_file("", "Cones\n k: quadratik x y\n"),
       "text:7:5: the kind of a cone was expected, found 'quadratik'; did you mean 'quadratic'?"},
      {in_file("", " d: xx >= 1\nSolution basic\n variable xxx = 1\n"),
       "text:8:11: the name of a part of the model was expected, found 'xxx'; did you mean 'xx'?"},
      {in_file("", " wood: x >= 1\nSolution basic\n constraint wod = 1\n"),
       "text:8:13: the name of a part of the model was expected, found 'wod'; did you mean "
       "'wood'?"},
      {in_file("", "Solution basic\n varable x = 1\n"),
       "text:7:2: an item of a solution was expected, found 'varable'; did you mean 'variable'?"},
      {in_file("", "Solution bsic\n"),
       "text:6:10: 'interior', 'basic' or 'integer' was expected, found 'bsic'; did you mean "
       "'basic'?"},
      {in_file("", "Solution basic\n status optmal\n"),
       "text:7:9: the word of a status was expected, found 'optmal'; did you mean 'optimal'?"},
      {in_file("", "Solution basic\n variable x = bsic 1\n"),
       "text:7:15: a status key or a number was expected, found 'bsic'; did you mean 'basic'?"},
      {in_file("", "Solution basic\nBounds\n x <= 1\n"),
       "text:8:2: solutions come behind the model, but this follows them, found 'x'"},
  };
  for (const auto& [text, message] : cases) EXPECT_EQ(read(text, read_ptf).error, message) << text;
}

TEST(LpRoundTrip, CorpusAndMutations) {
  expect_round_trips("lp", read_lp, write_lp);
  expect_round_trips("ptf", read_ptf, write_ptf);
}

// All LP instances, and those in MPS format by way of LP.
TEST(LpRoundTrip, PublicInstances) {
  if (!has_instances()) GTEST_SKIP() << kNoInstances;
  expect_instances({"lp", "mip", "qp"}, [](const Instance& instance) {
    const std::string text = instance.text();
    if (instance.ends_with("lp.gz")) {
      EXPECT_EQ(read(text).error, "") << instance.path;
      EXPECT_EQ(round_trip_fault(read_lp, write_lp, text), "") << instance.path;
      return true;
    }
    const Model model = read(text, read_mps).model;
    const Reading reading = read(write(model));
    EXPECT_EQ(reading.error, "") << instance.path;
    EXPECT_EQ(difference(model, reading.model), "") << instance.path;
    return true;
  });
}

// Other programs find the optimum of what we write.
class LpPeer : public testing::TestWithParam<Peer> {};

TEST_P(LpPeer, FindsTheOptimumOfOurFile) {
  const Peer& peer = GetParam();
  if (!is_installed(peer)) GTEST_SKIP() << peer.program << " is not installed";
  // Integers, ranges, a constant, and names that need encoding. From r1 and x - z <= 18 follows
  // 2 x + y <= 26, so that best is y = 20, x = 3: 9 + 50 + 7.
  Reading result = read(
      R"(Maximize
 obj: 3 x + 2.5 y + 7
Subject To
 r1: -3 <= x + y + z <= 8
 free: x + w >= -inf
 x - z <= 18
 2 x + w1 <= 8
 empty: 0 x >= -1
Bounds
 -inf <= y <= 20
 -inf <= z <= 3
Generals
 z
Binaries
 w1
End
)");
  ASSERT_EQ(result.error, "");
  const ScratchFolder folder;
  const std::string path = folder.write("ours.lp", write(result.model));
  EXPECT_NEAR(optimum_by(peer, path), 66.0, 1e-9);
  const std::string extended = folder.write("extended.lp",
                                            R"(Minimize ] extended problem 1
Minimize
 obj: x
Subject To
 c: x >= 1
Cones
 k: quadratic x
End
)");
  EXPECT_TRUE(std::isnan(optimum_by(peer, extended)));
}

INSTANTIATE_TEST_SUITE_P(
    Programs, LpPeer,
    testing::Values(Peer{"glpsol",
                         "glpsol --lp %s -o /dev/stdout | sed -n 's/^Objective: .* = *\\([^ "
                         "]*\\) .*/\\1/p'"},
                    Peer{"cbc", "cbc %s -solve -quit | sed -n 's/^Objective value: *//p'"},
                    Peer{"highs", VORLAN_HIGHS_PROGRAM " %s | sed -n 's/ *Primal bound *//p'"}),
    [](const auto& test) { return std::string(test.param.program); });

// Our file, as other programs write it again, is the same model to us.
class LpPeerWriter : public testing::TestWithParam<PeerWriter> {};

TEST_P(LpPeerWriter, WritesTheModelThatWeRead) {
  const PeerWriter& writer = GetParam();
  if (!is_installed(writer)) GTEST_SKIP() << writer.program << " is not installed";
  Reading ours = read(
      R"(Minimize
 cost: 3 x + 2.5 y - 0.1 z
Subject To
 r1: x + y + z <= 8
 r2: x - 1e-7 z >= -18.25
 r3: 2 x + w - b = 6
Bounds
 -4 <= y <= 20
 -inf <= z <= -3
 w free
Generals
 x
Binaries
 b
End
)");
  ASSERT_EQ(ours.error, "");
  EXPECT_EQ(fault_of_peer(writer, "lp", read_lp, write_lp, std::move(ours.model)), "");
}

INSTANTIATE_TEST_SUITE_P(
    Programs, LpPeerWriter,
    testing::Values(PeerWriter{"glpsol", "glpsol --lp OUR --check --wlp THEIRS"},
                    PeerWriter{"highs", VORLAN_HIGHS_PROGRAM
                               " OUR --time_limit=0 --write_model_file=THEIRS"}),
    [](const auto& test) { return std::string(test.param.program); });

}  // namespace
}  // namespace vorlan::test
