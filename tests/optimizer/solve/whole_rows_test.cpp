// The units of rows in whole numbers.
#include "solve/highs/whole_rows.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace vorlan {
namespace {

// In parts of the largest value, so that 1e-300 and 1e300 are alike.
void expect_unit(const std::vector<double>& values, double unit) {
  EXPECT_NEAR(common_unit(values) / unit, 1.0, 1e-14);
}

TEST(WholeRows, TheUnitIsTheLargestCommonDivisor) {
  expect_unit({6.0, -9.0, 15.0}, 3.0);
  expect_unit({0.3, 0.9, -0.7}, 0.1);
  expect_unit({0.1 + 0.2, 0.9}, 0.3);
  expect_unit({85218700000.0, -45931200000.0, 0.0, -56460100000.0}, 1e5);
  expect_unit({4e-300, 6e-300}, 2e-300);
  expect_unit({7e300}, 7e300);
}

TEST(WholeRows, NumbersWithoutAModerateUnitHaveNone) {
  EXPECT_EQ(common_unit(std::vector<double>{1.0, std::sqrt(2.0)}), 0.0);
  EXPECT_EQ(common_unit(std::vector<double>{1.0, 1e9}), 0.0);
  EXPECT_EQ(common_unit(std::vector<double>{1.0, 1.0 + 1e-9}), 0.0);
  EXPECT_EQ(common_unit(std::vector<double>{0.0, 0.0}), 0.0);
  EXPECT_EQ(common_unit(std::vector<double>{}), 0.0);
  EXPECT_EQ(common_unit(std::vector<double>{1.0, INFINITY}), 0.0);
}

TEST(WholeRows, NearlyWholeSidesBecomeWhole) {
  EXPECT_EQ(in_units(0.6000000000000001, 0.1), 6.0);
  EXPECT_EQ(in_units(-1534662503539999744.0, 1e7), -153466250354.0);
  EXPECT_NEAR(in_units(0.65, 0.1), 6.5, 1e-12);
  EXPECT_NEAR(in_units(0.600001, 0.1), 6.00001, 1e-12);
}

}  // namespace
}  // namespace vorlan
