// A model that goes through all formats which can say it, there and back, ends as the same model;
// with its three solutions and its parameters where all of them carry these.
#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>

#include "file/text_reader.h"
#include "format/problem_file.h"
#include "reading.h"
#include "round_trip.h"
#include "scratch_folder.h"
#include "task/status_words.h"

namespace vorlan::test {
namespace {

struct Chain {
  const char* name;
  const char* start;  // in the corpus
  const char* suffix;
  std::vector<std::string_view> suffixes;
  bool keeps_names = true;
};

// CBF and SDPA files say no names: such chains are compared without them.
const Chain kChains[] = {
    {"Linear", "mps/free.mps", ".mps", {".mps", ".lp", ".ptf", ".jtask", ".task"}},
    {"EncodedNames", "mps/encoded.mps", ".mps", {".mps", ".lp", ".ptf", ".jtask", ".task"}},
    {"Sections", "mps/sections.mps", ".mps", {".mps", ".lp", ".ptf", ".jtask", ".task"}},
    {"Quadratic", "mps/quadratic.qps", ".qps", {".qps", ".lp", ".opf", ".json", ".task"}},
    {"Sets", "lp/logic.lp", ".lp", {".lp", ".mps", ".ptf", ".jtask", ".task"}},
    {"Indicators", "mps/logic.mps", ".mps", {".mps", ".lp", ".qps", ".opf", ".json", ".task"}},
    {"LinearSolutions", "mps/encoded.mps", ".mps", {".ptf", ".jtask", ".task"}},
    {"Cones", "ptf/conic.ptf", ".ptf", {".ptf", ".jtask", ".task"}},
    {"Everything", "task/full.task", ".task", {".task", ".jtask"}},
    {"LinearAsCones", "cbf/linear.cbf", ".cbf", {".cbf", ".mps", ".lp", ".ptf", ".task"}, false},
    {"Matrices", "cbf/matrices.cbf", ".cbf", {".cbf", ".ptf", ".jtask", ".task"}, false},
    {"Semidefinite", "sdpa/plain.dat-s", ".dat-s", {".dat-s", ".cbf", ".ptf", ".task"}, false},
};

const ProblemFormat& format_of(std::string_view suffix) {
  for (const ProblemFormat& format : problem_formats()) {
    if (format.suffix == suffix) return format;
  }
  throw std::runtime_error("no such format");
}

bool carries_solutions(std::string_view suffix) {
  return format_of(suffix).solutions != SolutionSwitch::kNever;
}

void forget_names(Model* model) {
  model->name.clear();
  model->objective_name.clear();
  model->var_names = model->con_names = model->cone_names = model->matrix_var_names = {};
}

// Writes the model in the format and reads it back in its place.
Status pass_through(const ProblemFormat& format, ProblemFile* file) {
  std::string text;
  Warnings warnings;
  Status status = write_text(format.write, *file, &text, &warnings);
  *file = ProblemFile{};
  if (status.ok()) status = read_text(format.read, text, file, &warnings);
  return status;
}

class FormatChain : public testing::TestWithParam<Chain> {};

TEST_P(FormatChain, EndsWithTheSameModel) {
  const Chain& chain = GetParam();
  ProblemFile file;
  Warnings warnings;
  const Status status =
      read_text(format_of(chain.suffix).read,
                read_all(std::string(VORLAN_CORPUS "/") + chain.start), &file, &warnings);
  ASSERT_TRUE(status.ok()) << status.message();
  ASSERT_GT(file.model.num_var() + file.model.num_matrix_var(), 0);
  const bool with_solutions =
      std::all_of(chain.suffixes.begin(), chain.suffixes.end(), carries_solutions);
  if (with_solutions) {
    double base = 1.0;
    for (Solution& solution : file.solutions)
      solution = filled_solution(file.model, base *= -100.0);
  }
  ProblemFile first = file;
  if (!chain.keeps_names) forget_names(&first.model);

  std::vector<std::string_view> way = chain.suffixes;
  way.insert(way.end(), chain.suffixes.rbegin(), chain.suffixes.rend());
  for (const std::string_view suffix : way) {
    const Status passed = pass_through(format_of(suffix), &file);
    ASSERT_TRUE(passed.ok()) << suffix << ": " << passed.message();
    ProblemFile now = file;
    if (!chain.keeps_names) forget_names(&now.model);
    ASSERT_EQ(with_solutions ? difference(first, now) : difference(first.model, now.model), "")
        << "after " << suffix;
  }
}

TEST(FormatsWithSolutions, KeepEveryStatus) {
  ProblemFile file;
  file.model = with_sides(1.0, 2.0);
  const auto expect_kept = [&file](SolutionKind kind, ProblemStatus problem,
                                   SolutionStatus status) {
    file.solutions = {};
    Solution& solution = file.solutions[static_cast<size_t>(kind)];
    solution = filled_solution(file.model, 3.0);
    solution.problem_status = problem;
    solution.status = status;
    for (const ProblemFormat& format : problem_formats()) {
      if (format.solutions == SolutionSwitch::kNever) continue;
      ProblemFile back = file;
      ASSERT_EQ(pass_through(format, &back).message(), "") << format.suffix;
      EXPECT_EQ(difference(file, back), "") << format.suffix << ' ' << static_cast<int>(status);
    }
  };
  for (const SolutionKind kind :
       {SolutionKind::kInterior, SolutionKind::kBasic, SolutionKind::kInteger}) {
    for (const StatusWord& word : kProblemStatuses) {
      expect_kept(kind, static_cast<ProblemStatus>(word.value), SolutionStatus::kUnknown);
    }
    for (const StatusWord& word : kSolutionStatuses) {
      expect_kept(kind, ProblemStatus::kUnknown, static_cast<SolutionStatus>(word.value));
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Starts, FormatChain, testing::ValuesIn(kChains),
                         [](const auto& test) { return test.param.name; });

// Bytes of a text on which a terminal may act: controls of ASCII but line ends, and those from 0x80
// on outside of characters. A line end must be the writer's own.
std::string controls_in(std::string_view text) {
  std::string found;
  for (size_t i = 0; i < text.size(); ++i) {
    const auto c = static_cast<unsigned char>(text[i]);
    const bool ascii = (c < 0x20 && c != '\n') || c == 0x7f;
    if (ascii || is_high_control(text, i)) found += text[i];
  }
  return found;
}

// Names that would clear a screen, or begin a line of their own, are in no text file as they are.
TEST(HostileNames, AreWrittenSafelyAndReadBack) {
  Model model = with_sides(1.0, 2.0);
  const std::string names[] = {"\x1b[2J",
                               "a\aled\b",
                               "a\nOptimal",
                               "c1 \xc2\x9b"
                               "2J",
                               "raw\x9b",
                               "turn\xe2\x80\xae",
                               "\x7f",
                               "ok\xc3\xa9\xe2\x82\xac"};
  model.name = "m\x1b[0m\xc2\x9b";
  for (const std::string& name : names) {
    add_variable(&model, 0.0, 1.0);
    model.var_names.add(name);
    add_constraint(&model, 0.0, 1.0);
    model.con_names.add(name);
  }
  for (const char* suffix : {".lp", ".ptf", ".mps", ".jtask"}) {
    const ProblemFormat& format = format_of(suffix);
    std::string warnings;
    const std::string text = write_as(format.write, model, &warnings);
    EXPECT_EQ(controls_in(text), "") << suffix;
    EXPECT_EQ(controls_in(warnings), "") << suffix;
    EXPECT_EQ(text.find("\nOptimal"), std::string::npos) << suffix;
    EXPECT_NE(text.find("ok\xc3\xa9\xe2\x82\xac"), std::string::npos) << suffix;
    const Reading result = read_as(format.read, text);
    EXPECT_EQ(result.error, "") << suffix;
    EXPECT_EQ(difference(model, result.model), "") << suffix;
  }
}

}  // namespace
}  // namespace vorlan::test
