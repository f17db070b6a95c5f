// A model that goes through all formats which can say it, there and back, ends as the same model.
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <stdexcept>

#include "format/problem_file.h"
#include "round_trip.h"

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

std::string corpus_file(const char* name) {
  std::ifstream file(std::string(VORLAN_CORPUS "/") + name, std::ios::binary);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
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
      read_text(format_of(chain.suffix).read, corpus_file(chain.start), &file, &warnings);
  ASSERT_TRUE(status.ok()) << status.message();
  Model first = file.model;
  ASSERT_GT(first.num_var() + first.num_matrix_var(), 0);
  if (!chain.keeps_names) forget_names(&first);

  std::vector<std::string_view> way = chain.suffixes;
  way.insert(way.end(), chain.suffixes.rbegin(), chain.suffixes.rend());
  for (const std::string_view suffix : way) {
    const Status passed = pass_through(format_of(suffix), &file);
    ASSERT_TRUE(passed.ok()) << suffix << ": " << passed.message();
    Model model = file.model;
    if (!chain.keeps_names) forget_names(&model);
    ASSERT_EQ(difference(first, model), "") << "after " << suffix;
  }
}

INSTANTIATE_TEST_SUITE_P(Starts, FormatChain, testing::ValuesIn(kChains),
                         [](const auto& test) { return test.param.name; });

}  // namespace
}  // namespace vorlan::test
