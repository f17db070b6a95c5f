// Public instances with known optima, where the environment variable VORLAN_DATA names a folder of
// them (its expected.tsv lists file, class, sense, status, optimum, relative tolerance).
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "instance_share.h"
#include "task_support.h"

namespace {

std::vector<std::string> fields_of(const std::string& line) {
  std::vector<std::string> fields;
  std::istringstream stream(line);
  for (std::string field; std::getline(stream, field, '\t');) fields.push_back(field);
  return fields;
}

bool is_compressed_mps(const std::string& file) {
  const std::string suffix = ".mps.gz";
  return file.size() > suffix.size() &&
         file.compare(file.size() - suffix.size(), suffix.size(), suffix) == 0;
}

void check_optimum(const std::string& path, double optimum, double tolerance) {
  TestTask task;
  ASSERT_EQ(VLN_readdata(task, path.c_str()), VLN_RES_OK) << path;
  EXPECT_EQ(task.solve(), VLN_RES_OK) << path;
  const int32_t solution = task.defined(kInteger) ? 2 : 1;
  ASSERT_TRUE(task.defined(solution)) << path;
  EXPECT_EQ(task.solution_status(solution),
            solution == kInteger ? solsta::kIntegerOptimal : solsta::kOptimal)
      << path;
  EXPECT_NEAR(task.objective(solution), optimum, tolerance * std::max(1.0, std::fabs(optimum)))
      << path;
}

TEST(PublicInstances, LinearAndMixedIntegerOptima) {
  const char* folder = std::getenv("VORLAN_DATA");
  if (folder == nullptr) GTEST_SKIP() << "VORLAN_DATA is not set";
  std::ifstream table(std::string(folder) + "/expected.tsv");
  ASSERT_TRUE(table) << folder;
  int checked = 0;
  vorlan::test::InstanceShare share;
  for (std::string line; std::getline(table, line);) {
    const std::vector<std::string> fields = fields_of(line);
    const bool wanted = fields.size() >= 6 && (fields[1] == "lp" || fields[1] == "mip") &&
                        fields[3] == "optimal" && is_compressed_mps(fields[0]);
    if (!wanted || !share.takes_next()) continue;
    check_optimum(std::string(folder) + "/" + fields[0], std::stod(fields[4]),
                  std::stod(fields[5]));
    ++checked;
  }
  EXPECT_GT(checked, 0);
}

}  // namespace
