// Tasks of the tests write their models to files and read them, as callers do.
#include "task_support.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <optional>
#include <random>

#include "scratch_folder.h"

namespace {

void append_text(void* handle, const char* text) {
  static_cast<std::string*>(handle)->append(text);
}

std::string number(double value) {
  char text[40];
  std::snprintf(text, sizeof text, "%.17g", value);
  return text;
}

// The scratch folder of the running test: made when the test first asks for a file, removed when it
// ends, also when it fails.
class FolderOfTest : public testing::EmptyTestEventListener {
 public:
  std::string path(const std::string& name) {
    if (!folder_) folder_.emplace();
    return folder_->path(name);
  }

  void OnTestEnd(const testing::TestInfo& /*test*/) override { folder_.reset(); }

 private:
  std::optional<vorlan::test::ScratchFolder> folder_;
};

}  // namespace

TestTask::TestTask() {
  EXPECT_EQ(VLN_makeemptytask(nullptr, &task_), VLN_RES_OK);
  EXPECT_EQ(VLN_linkfunctotaskstream(task_, 0, &log_, append_text), VLN_RES_OK);
}

TestTask::~TestTask() {
  EXPECT_EQ(VLN_deletetask(&task_), VLN_RES_OK);
  EXPECT_EQ(task_, nullptr);
}

VLNrescode_enum TestTask::read(const std::string& mps) { return read_as("model.mps", mps); }

VLNrescode_enum TestTask::read_as(const std::string& name, const std::string& content) {
  const std::string path = write_test_file(name, content);
  return VLN_readdata(task_, path.c_str());
}

VLNrescode_enum TestTask::solve() {
  VLNrescode_enum termination = VLN_RES_OK;
  EXPECT_EQ(VLN_optimizetrm(task_, &termination), VLN_RES_OK) << last_message();
  return termination;
}

bool TestTask::defined(int32_t whichsol) const {
  int32_t isdef = -1;
  EXPECT_EQ(VLN_solutiondef(task_, whichsol, &isdef), VLN_RES_OK);
  return isdef != 0;
}

int32_t TestTask::solution_status(int32_t whichsol) const {
  int32_t status = -1;
  EXPECT_EQ(VLN_getsolsta(task_, whichsol, &status), VLN_RES_OK);
  return status;
}

int32_t TestTask::problem_status(int32_t whichsol) const {
  int32_t status = -1;
  EXPECT_EQ(VLN_getprosta(task_, whichsol, &status), VLN_RES_OK);
  return status;
}

double TestTask::objective(int32_t whichsol) const {
  double objective = -1e300;
  EXPECT_EQ(VLN_getprimalobj(task_, whichsol, &objective), VLN_RES_OK);
  return objective;
}

size_t TestTask::count(VLNrescode_enum (*query)(vlntaskt*, int32_t*)) const {
  int32_t number = -1;
  EXPECT_EQ(query(task_, &number), VLN_RES_OK);
  return static_cast<size_t>(number);
}

template <class Value, class Query>
std::vector<Value> TestTask::values(size_t count, Query query, int32_t whichsol) const {
  std::vector<Value> values(count, -1);
  EXPECT_EQ(query(task_, whichsol, values.data()), VLN_RES_OK);
  return values;
}

std::vector<int32_t> TestTask::var_ints(IntQuery query, int32_t whichsol) const {
  return values<int32_t>(count(VLN_getnumvar), query, whichsol);
}

std::vector<int32_t> TestTask::con_ints(IntQuery query, int32_t whichsol) const {
  return values<int32_t>(count(VLN_getnumcon), query, whichsol);
}

std::vector<double> TestTask::var_doubles(DoubleQuery query, int32_t whichsol) const {
  return values<double>(count(VLN_getnumvar), query, whichsol);
}

std::vector<double> TestTask::con_doubles(DoubleQuery query, int32_t whichsol) const {
  return values<double>(count(VLN_getnumcon), query, whichsol);
}

std::string TestTask::last_message() const {
  VLNrescode_enum code = VLN_RES_OK;
  int32_t length = -1;
  EXPECT_EQ(VLN_getlasterror(task_, &code, 0, &length, nullptr), VLN_RES_OK);
  std::string message(static_cast<size_t>(length), '?');
  EXPECT_EQ(VLN_getlasterror(task_, &code, length + 1, &length, message.data()), VLN_RES_OK);
  return message;
}

std::string test_file_path(const std::string& name) {
  static FolderOfTest* const folder = [] {
    auto* made = new FolderOfTest;
    testing::UnitTest::GetInstance()->listeners().Append(made);  // which takes it over
    return made;
  }();
  return folder->path(name);
}

std::string write_test_file(const std::string& name, const std::string& content) {
  std::string path = test_file_path(name);
  std::ofstream(path, std::ios::binary) << content;
  return path;
}

std::string two_products(int sign) {
  return "NAME TWO\nROWS\n N COST\n L M1\n L M2\nCOLUMNS\n"
         " X COST " +
         number(3 * sign) +
         " M1 1\n X M2 1\n"
         " Y COST " +
         number(2 * sign) +
         " M1 1\n Y M2 3\n"
         "RHS\n RHS M1 4 M2 6\nBOUNDS\n UP BND X 3\nENDATA\n";
}

// Market split: equations over 0-1 variables that hardly any point meets exactly, each with a slack
// and a surplus whose sum is minimized. Bounds are weak, so that the tree is huge.
std::string hard_integer_model() {
  constexpr int kRows = 6;
  constexpr int kColumns = 50;
  std::mt19937 random(7);
  std::string rows;
  std::string columns = " M1 'MARKER' 'INTORG'\n";
  std::string bounds;
  std::vector<int> sums(kRows, 0);
  for (int j = 0; j < kColumns; ++j) {
    const std::string name = "X" + std::to_string(j);
    for (int i = 0; i < kRows; ++i) {
      const int value = static_cast<int>(random() % 100);
      sums[static_cast<size_t>(i)] += value;
      columns += " " + name + " R" + std::to_string(i) + " " + std::to_string(value) + "\n";
    }
    bounds += " UP BND " + name + " 1\n";
  }
  columns += " M2 'MARKER' 'INTEND'\n";
  std::string sides;
  for (int i = 0; i < kRows; ++i) {
    const std::string row = "R" + std::to_string(i);
    rows += " E " + row + "\n";
    columns += " P" + row + " COST 1 " + row + " 1\n N" + row + " COST 1 " + row + " -1\n";
    sides += " RHS " + row + " " + std::to_string(sums[static_cast<size_t>(i)] / 2) + "\n";
  }
  return "NAME HARD\nROWS\n N COST\n" + rows + "COLUMNS\n" + columns + "RHS\n" + sides +
         "BOUNDS\n" + bounds + "ENDATA\n";
}

std::string code_name(VLNrescode_enum code) {
  char name[1024] = "";
  VLN_getcodedesc(code, name, nullptr);
  return name;
}

std::string without_times(const std::string& log) {
  std::string text;
  for (size_t begin = 0; begin < log.size();) {
    const size_t end = std::min(log.find('\n', begin), log.size() - 1) + 1;
    const std::string line = log.substr(begin, end - begin);
    const bool tells_time = line.find("time") != std::string::npos ||  //
                            line.find("s\n") != std::string::npos ||   //
                            line.find(" s ") != std::string::npos;     // a progress line
    if (!tells_time) text += line;
    begin = end;
  }
  return text;
}
