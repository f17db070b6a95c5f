// What a solve's child process tells its parent through the memory that they share, written and read
// here by one process.
#include "solve/run/shared_result.h"

#include <gtest/gtest.h>

#include <vector>

namespace vorlan {
namespace {

void add_milestones(int first, int last, SharedResult* shared) {
  for (int k = first; k <= last; ++k) {
    Milestone milestone;
    milestone.progress.objective = k;
    shared->add_milestone(milestone);
  }
}

std::vector<double> take_milestones(SharedResult* shared) {
  std::vector<double> objectives;
  Milestone milestone;
  while (objectives.size() < 1000 && shared->take_milestone(&milestone)) {
    objectives.push_back(milestone.progress.objective);
  }
  return objectives;
}

TEST(SharedResult, EveryMilestoneIsTakenOnceInOrder) {
  SharedResult shared{Model()};
  ASSERT_TRUE(shared.mapped());
  EXPECT_EQ(take_milestones(&shared), std::vector<double>());
  add_milestones(1, 3, &shared);
  EXPECT_EQ(take_milestones(&shared), (std::vector<double>{1.0, 2.0, 3.0}));
  EXPECT_EQ(take_milestones(&shared), std::vector<double>());
  add_milestones(4, 5, &shared);
  EXPECT_EQ(take_milestones(&shared), (std::vector<double>{4.0, 5.0}));
}

TEST(SharedResult, OfAStormOfMilestonesTheFirstAreLost) {
  SharedResult shared{Model()};
  ASSERT_TRUE(shared.mapped());
  add_milestones(1, 900, &shared);
  const std::vector<double> taken = take_milestones(&shared);
  ASSERT_GE(taken.size(), 100U);
  for (size_t k = 0; k < taken.size(); ++k) {
    EXPECT_EQ(taken[k], 901.0 - static_cast<double>(taken.size() - k));
  }
}

}  // namespace
}  // namespace vorlan
