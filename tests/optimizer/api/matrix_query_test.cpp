// Queries of cones and matrix variables, of every kind of solution, as a report or another program
// asks for them.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "task_support.h"

namespace {

// A solution of two variables, no constraint and matrix variables of dimensions 2, 1 and 3; its
// barx and bars count from the given number on.
std::string solution_text(const std::string& kind, int first) {
  std::string barx, bars;
  for (int k = 0; k < 10; ++k) {
    barx += (k == 0 ? "" : ",") + std::to_string(first + k);
    bars += (k == 0 ? "" : ",") + std::to_string(-first - k);
  }
  return "\"" + kind +
         "\":{\"problem status\":\"unknown\",\"solution status\":\"unknown\",\"primal "
         "objective\":0,"
         "\"skx\":[0,0],\"xx\":[0,0],\"slx\":[0,0],\"sux\":[0,0],\"skc\":[],\"xc\":[],\"slc\":[],"
         "\"suc\":[],\"y\":[],\"barx\":[" +
         barx + "],\"bars\":[" + bars + "]}";
}

std::string task_text(const std::string& solutions) {
  return R"({"format":"vorlan task","version":1,
"objective":{"sense":"minimize","linear":[1,0]},
"variables":{"lower":["-inf","-inf"],"upper":["inf","inf"],
"cones":{"kind":[0],"size":[2],"members":[0,1]}},
"constraints":{"lower":[],"upper":[]},
"matrix variables":{"dimension":[2,1,3],"names":["X","","third"]})" +
         (solutions.empty() ? "" : ",\"solutions\":{" + solutions + "}") + "}";
}

void read_task(vlntaskt* task, const std::string& solutions) {
  const std::string path = write_test_file("matrices.jtask", task_text(solutions));
  ASSERT_EQ(VLN_readdata(task, path.c_str()), VLN_RES_OK);
}

using SliceQuery = VLNrescode_enum (*)(vlntaskt*, int32_t, int32_t, int32_t, int64_t, double*);

std::vector<double> slice(vlntaskt* task, SliceQuery query, int32_t kind, int32_t first,
                          int32_t last, int64_t size) {
  std::vector<double> values(static_cast<size_t>(size) + 1, 99.0);
  EXPECT_EQ(code_name(query(task, kind, first, last, size, values.data())), "VLN_RES_OK");
  EXPECT_EQ(values.back(), 99.0);  // nothing behind the slice
  values.pop_back();
  return values;
}

TEST(MatrixQueries, Sizes) {
  const TestTask task;
  read_task(task, "");
  int32_t number = -1;
  EXPECT_EQ(VLN_getnumcone(task, &number), VLN_RES_OK);
  EXPECT_EQ(number, 1);
  EXPECT_EQ(VLN_getnumbarvar(task, &number), VLN_RES_OK);
  EXPECT_EQ(number, 3);
  const int32_t dimensions[] = {2, 1, 3};
  for (int32_t j = 0; j < 3; ++j) {
    EXPECT_EQ(VLN_getdimbarvarj(task, j, &number), VLN_RES_OK);
    EXPECT_EQ(number, dimensions[j]);
  }
  for (const int32_t j : {-1, 3}) {
    EXPECT_EQ(code_name(VLN_getdimbarvarj(task, j, &number)), "VLN_RES_ERR_INDEX_RANGE");
  }
  char name[16] = "";
  EXPECT_EQ(VLN_getbarvarname(task, 2, sizeof name, name), VLN_RES_OK);
  EXPECT_STREQ(name, "third");
}

TEST(MatrixQueries, SlicesOfEveryKindOfSolution) {
  const TestTask task;
  read_task(task, solution_text("interior", 100) + "," + solution_text("basic", 200) + "," +
                      solution_text("integer", 300));
  for (const int32_t kind : {0, 1, 2}) {
    const double first = 100.0 * (kind + 1);
    EXPECT_EQ(slice(task, VLN_getbarxslice, kind, 0, 1, 3),
              (std::vector<double>{first, first + 1.0, first + 2.0}));
    EXPECT_EQ(slice(task, VLN_getbarxslice, kind, 1, 2, 1), (std::vector<double>{first + 3.0}));
    EXPECT_EQ(slice(task, VLN_getbarsslice, kind, 2, 3, 6),
              (std::vector<double>{-first - 4.0, -first - 5.0, -first - 6.0, -first - 7.0,
                                   -first - 8.0, -first - 9.0}));
    EXPECT_EQ(slice(task, VLN_getbarsslice, kind, 0, 3, 10).back(), -first - 9.0);
    EXPECT_EQ(slice(task, VLN_getbarxslice, kind, 3, 3, 0), std::vector<double>());
  }
}

TEST(MatrixQueries, WrongSlicesGiveACode) {
  const TestTask task;
  read_task(task, solution_text("interior", 1));
  double values[16];
  for (const SliceQuery query : {VLN_getbarxslice, VLN_getbarsslice}) {
    EXPECT_EQ(code_name(query(task, 0, -1, 1, 3, values)), "VLN_RES_ERR_INDEX_RANGE");
    EXPECT_EQ(code_name(query(task, 0, 0, 4, 10, values)), "VLN_RES_ERR_INDEX_RANGE");
    EXPECT_EQ(code_name(query(task, 0, 2, 1, 0, values)), "VLN_RES_ERR_INDEX_RANGE");
    EXPECT_EQ(code_name(query(task, 0, 0, 1, 4, values)), "VLN_RES_ERR_SLICE_SIZE");
    EXPECT_EQ(code_name(query(task, 0, 0, 1, 2, values)), "VLN_RES_ERR_SLICE_SIZE");
    EXPECT_EQ(code_name(query(task, 0, 0, 1, 3, nullptr)), "VLN_RES_ERR_NULL_ARGUMENT");
    EXPECT_EQ(code_name(query(task, 1, 0, 1, 3, values)), "VLN_RES_ERR_SOLUTION_UNDEFINED");
    EXPECT_EQ(code_name(query(task, 3, 0, 1, 3, values)), "VLN_RES_ERR_SOLUTION_SELECTOR");
  }
}

}  // namespace
