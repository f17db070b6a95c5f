// A solve that ends by itself gives the same answer bit for bit when it is repeated, and the same
// log apart from times and progress lines. People compare runs, and a fault that does not come
// again cannot be mended.
#include <gtest/gtest.h>

#include <random>
#include <string>

#include "task_support.h"

namespace {

// Covering rows by columns of random costs: some nodes, some incumbents, a few tenths of a second.
std::string set_cover(int num_rows, int num_columns) {
  std::mt19937 random(3);
  std::string rows;
  std::string sides;
  for (int i = 0; i < num_rows; ++i) {
    rows += " G R" + std::to_string(i) + "\n";
    sides += " B R" + std::to_string(i) + " 1\n";
  }
  std::string columns = " M1 'MARKER' 'INTORG'\n";
  for (int j = 0; j < num_columns; ++j) {
    const std::string name = " X" + std::to_string(j);
    columns += name + " C " + std::to_string(1 + random() % 100) + "\n";
    for (int i = j % 7; i < num_rows; i += 1 + static_cast<int>(random() % 19)) {
      columns += name + " R" + std::to_string(i) + " 1\n";
    }
  }
  return "NAME COVER\nROWS\n N C\n" + rows + "COLUMNS\n" + columns +
         " M2 'MARKER' 'INTEND'\nRHS\n" + sides + "ENDATA\n";
}

struct Trace {
  std::string answer;
  std::string log;
};

Trace run(const std::string& mps, const char* optimizer, const char* child) {
  TestTask task;
  EXPECT_EQ(task.read(mps), VLN_RES_OK);
  EXPECT_EQ(VLN_putparam(task, "VLN_IPAR_OPTIMIZER", optimizer), VLN_RES_OK);
  EXPECT_EQ(VLN_putparam(task, "VLN_IPAR_CHILD_PROCESS", child), VLN_RES_OK);
  EXPECT_EQ(task.solve(), VLN_RES_OK);
  const std::string path = test_file_path("solution.json");
  EXPECT_EQ(VLN_writejsonsol(task, path.c_str()), VLN_RES_OK);
  return {read_all(path), without_times(task.log())};
}

TEST(Determinism, SameAnswerAndSameLog) {
  const std::string integer = set_cover(60, 200);
  std::string linear = integer;
  for (const char* marker : {" M1 'MARKER' 'INTORG'\n", " M2 'MARKER' 'INTEND'\n"}) {
    linear.erase(linear.find(marker), std::string(marker).size());
  }
  for (const std::string& mps : {linear, integer}) {
    for (const char* optimizer : {"free", "primal_simplex", "interior_point"}) {
      const Trace first = run(mps, optimizer, "on");
      const Trace second = run(mps, optimizer, "on");
      EXPECT_NE(first.answer.find("optimal"), std::string::npos) << optimizer;
      EXPECT_EQ(first.answer, second.answer) << optimizer;
      EXPECT_EQ(first.log, second.log) << optimizer;
    }
  }
}

// The child process is a place to run in, not another way to the answer.
TEST(Determinism, TheChildProcessChangesNothing) {
  const std::string mps = set_cover(60, 200);
  const Trace with_child = run(mps, "free", "on");
  const Trace without_child = run(mps, "free", "off");
  EXPECT_EQ(with_child.answer, without_child.answer);
}

}  // namespace
