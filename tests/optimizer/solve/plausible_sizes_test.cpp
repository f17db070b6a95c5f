// The sizes that a cone says its members may have.
#include "solve/check/plausible_sizes.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace vorlan {
namespace {

// A cone whose members have the sizes of their bounds; a size of 0 is not known.
std::vector<double> sizes_of_cone(ConeKind kind, const std::vector<double>& bounds) {
  Model model;
  model.cost.assign(bounds.size(), 0.0);
  model.var_kind.assign(bounds.size(), VarKind::kContinuous);
  model.var_lower.assign(bounds.size(), 0.0);
  model.var_upper = bounds;
  model.matrix.start.assign(bounds.size() + 1, 0);
  Cone cone;
  cone.kind = kind;
  if (kind == ConeKind::kDualPower) cone.exponents.assign(bounds.size() - 1, 1.0);
  for (size_t k = 0; k < bounds.size(); ++k) cone.vars.push_back(static_cast<int32_t>(k));
  model.cones = {cone};
  const MinimizeProblem problem(model, nullptr);
  return PlausibleSizes(problem).var;
}

TEST(PlausibleSizes, AnExponentialConeGivesItsFirstMemberTheSizeOfTheExponential) {
  const std::vector<double> sizes = sizes_of_cone(ConeKind::kExponential, {0.0, 2.0, 6.0});
  EXPECT_DOUBLE_EQ(sizes[0], 2.0 * std::exp(3.0));
}

TEST(PlausibleSizes, AnExponentialConeWithoutASecondMembersSizeGivesTheLargest) {
  EXPECT_EQ(sizes_of_cone(ConeKind::kExponential, {0.0, 0.0, 6.0}),
            (std::vector<double>{6.0, 6.0, 6.0}));
}

// Without a size for its objective, the gap of such a model would be measured beside 1.
TEST(PlausibleSizes, HeadsOfNoKnownSizeTakeThatOfTheTail) {
  EXPECT_EQ(sizes_of_cone(ConeKind::kRotatedQuadratic, {0.0, 0.0, 1e-9}),
            (std::vector<double>{1e-9, 1e-9, 1e-9}));
  EXPECT_DOUBLE_EQ(sizes_of_cone(ConeKind::kRotatedQuadratic, {0.0, 2.0, 4.0})[0], 8.0);
  EXPECT_EQ(sizes_of_cone(ConeKind::kDualPower, {0.0, 0.0, 1e-9}),
            (std::vector<double>{1e-9, 1e-9, 1e-9}));
}

}  // namespace
}  // namespace vorlan
