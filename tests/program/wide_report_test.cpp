// wide_report_test.cpp - plain reports too long for a case file: indices of five digits.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "casefile.h"
#include "run.h"

namespace program {
namespace {

constexpr int kWide = 10001;

Outcome report(const std::string& script) {
  Case what;
  what.arguments = {"-write-solution", "sol"};
  what.script = script;
  return run(what);
}

// The report's line that begins with the given text.
std::string line_with(const Outcome& outcome, const std::string& beginning) {
  const std::string& text = outcome.left.at("sol");
  const std::size_t begin = text.find('\n' + beginning);
  if (begin == std::string::npos) return "no line begins with " + beginning;
  return text.substr(begin + 1, text.find('\n', begin + 1) - begin - 1);
}

TEST(WideReport, IndicesOfRowsGrowBeyondFourDigits) {
  const Outcome outcome = report("VLN_getnumvar: numvar = " + std::to_string(kWide) + "\n" +
                                 "VLN_getnumcon: numcon = " + std::to_string(kWide) + "\n" +
                                 R"(VLN_getmaxnamelen: maxlen = 6
VLN_solutiondef: isdef = 1
VLN_getvarname: name = "x{j}"
VLN_getconname: name = "c{i}"
)");
  EXPECT_EQ(outcome.exit, Exit{}) << outcome.standard_error;
  const std::string zero = "   0.0000000000000000e+00";
  EXPECT_EQ(line_with(outcome, "      var9999:"), "      var9999: x9999           unknown" + zero);
  EXPECT_EQ(line_with(outcome, "      var10000:"),
            "      var10000: x10000          unknown" + zero);
  EXPECT_EQ(line_with(outcome, "    con10000:"), "    con10000: c10000          unknown" + zero);
  EXPECT_EQ(line_with(outcome, "      con10000:"),
            "      con10000: c10000               unknown" + zero + zero + zero + zero);
}

TEST(WideReport, RowsOfAllSectionsAreThere) {
  const Outcome outcome = report("VLN_getnumvar: numvar = " + std::to_string(kWide) + "\n" +
                                 "VLN_solutiondef: isdef = 1\n");
  const std::string& text = outcome.left.at("sol");
  // Title, two status lines, objective, and the titles and headers of two tables in each section.
  EXPECT_EQ(std::ranges::count(text, '\n'), 1 + 3 * (8 + kWide));
}

TEST(WideReport, IndicesOfMatrixVariablesGrowBeyondFourDigits) {
  const Outcome outcome = report("VLN_getnumbarvar: numbarvar = " + std::to_string(kWide) + "\n" +
                                 R"(VLN_getmaxnamelen: maxlen = 6
VLN_solutiondef whichsol=0: isdef = 1
VLN_getdimbarvarj j=10000: dimbarvarj = 1
VLN_getbarsslice: barsslice = [2.5]
VLN_getbarvarname: name = "X{j}"
)");
  EXPECT_EQ(outcome.exit, Exit{}) << outcome.standard_error;
  EXPECT_EQ(line_with(outcome, "      barvar9999("), "      barvar9999(0): X9999");
  EXPECT_EQ(line_with(outcome, "      barvar10000("), "      barvar10000(1): X10000");
  EXPECT_EQ(line_with(outcome, "        [   0,   0]"),
            "        [   0,   0]   2.5000000000000000e+00   0.0000000000000000e+00");
}

TEST(WideReport, MatrixEntriesOfFourDigitsFillTheirFields) {
  const Outcome outcome = report(
      R"(VLN_getnumbarvar: numbarvar = 1
VLN_solutiondef whichsol=0: isdef = 1
VLN_getdimbarvarj: dimbarvarj = 1001
)");
  const std::string values = "   0.0000000000000000e+00   0.0000000000000000e+00";
  EXPECT_EQ(line_with(outcome, "        [1000,   0]"), "        [1000,   0]" + values);
  EXPECT_EQ(line_with(outcome, "        [1000,1000]"), "        [1000,1000]" + values);
  // Title, interior title, two status lines, objective, variables, matrix title and header lines,
  // the triangle, constraints.
  EXPECT_EQ(std::ranges::count(outcome.left.at("sol"), '\n'), 1 + 4 + 2 + 3 + 1001 * 1002 / 2 + 2);
}

}  // namespace
}  // namespace program
