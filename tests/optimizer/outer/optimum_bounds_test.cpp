// Incumbent and bound: which bounds count, and what a contradiction leaves.
#include "solve/outer/optimum_bounds.h"

#include <gtest/gtest.h>

#include "conic_models.h"
#include "task/parameter_index.h"

namespace vorlan {
namespace {

class Bounds : public testing::Test {
 protected:
  Bounds() : model_(test::free_variables({1.0})), problem_(model_) {
    parameters_.set(DoubleParam::kMipRelativeGap, 1e-6);
    parameters_.set(DoubleParam::kMipAbsoluteGap, 0.0);
  }
  outer::OptimumBounds make() const { return {problem_, parameters_}; }

  Model model_;
  MinimizeProblem problem_;
  Parameters parameters_;
};

TEST_F(Bounds, MeetWithinTheGap) {
  outer::OptimumBounds bounds = make();
  bounds.raise_bound(99.0);
  EXPECT_FALSE(bounds.is_closed()) << "there is no incumbent";
  bounds.lower_incumbent(100.0);
  EXPECT_FALSE(bounds.is_closed());
  bounds.raise_bound(99.99995);
  EXPECT_TRUE(bounds.is_closed());
}

TEST_F(Bounds, DoNotCountAboveTheIncumbent) {
  outer::OptimumBounds bounds = make();
  bounds.set_root_bound(90.0);
  bounds.raise_bound(95.0);
  bounds.lower_incumbent(100.0);
  bounds.raise_bound(101.0);
  EXPECT_TRUE(bounds.is_contradicted());
  EXPECT_FALSE(bounds.is_closed()) << "a wrong bound closes nothing";
  bounds.withdraw_bound();
  EXPECT_FALSE(bounds.is_contradicted());
  EXPECT_EQ(bounds.bound(), 90.0) << "the solve that was wrong once may have been so before";
}

TEST_F(Bounds, AreWithdrawnByABetterIncumbent) {
  outer::OptimumBounds bounds = make();
  bounds.set_root_bound(90.0);
  bounds.lower_incumbent(100.0);
  bounds.raise_bound(99.0);
  bounds.lower_incumbent(98.0);
  EXPECT_TRUE(bounds.is_contradicted());
  EXPECT_EQ(bounds.bound(), 90.0);
  EXPECT_EQ(bounds.progress().bound, 90.0);
}

TEST_F(Bounds, LoseTheRootBoundTooWhereItIsContradicted) {
  outer::OptimumBounds bounds = make();
  bounds.set_root_bound(90.0);
  bounds.lower_incumbent(80.0);
  bounds.withdraw_bound();
  EXPECT_EQ(bounds.bound(), -kInfinity);
}

// Incumbent and bound are sums of rounded terms, which may differ in their last digits.
TEST_F(Bounds, MayBeAboveTheIncumbentByRounding) {
  outer::OptimumBounds bounds = make();
  bounds.lower_incumbent(100.0);
  bounds.raise_bound(100.0 + 1e-9);
  EXPECT_FALSE(bounds.is_contradicted());
  EXPECT_TRUE(bounds.is_closed());
  EXPECT_EQ(bounds.progress().bound, 100.0) << "what is shown is never above the incumbent";
}

}  // namespace
}  // namespace vorlan
