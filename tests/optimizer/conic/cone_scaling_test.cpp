// Cones of scalar variables: what each scaling must do, at points inside whose values are by hand
// or by the definition of the cone.
#include <gtest/gtest.h>

#include <cmath>

#include "solve/check/vectors.h"
#include "solve/conic/barrier.h"
#include "solve/conic/make_cone.h"

namespace vorlan::conic {
namespace {

using Vector = std::vector<double>;

struct Case {
  const char* name;
  ConeBlock block;
  Vector s, z;  // inside, not far from the central path
};

ConeBlock block(ConeKind kind, size_t size, Vector exponents = {}) {
  return {kind, std::vector<int32_t>(size, 0), std::move(exponents)};
}

const std::vector<Case>& cases() {
  static const std::vector<Case> all = {
      {"quadratic", block(ConeKind::kQuadratic, 3), {3.0, 1.0, 2.0}, {2.0, -1.0, 0.5}},
      {"large quadratic",
       block(ConeKind::kQuadratic, 8),
       {5.0, 1.0, 2.0, 0.0, 1.0, -1.0, 0.5, 2.0},
       {4.0, -1.0, 0.5, 0.0, 0.0, 1.0, 1.0, 0.0}},
      {"rotated quadratic",
       block(ConeKind::kRotatedQuadratic, 4),
       {2.0, 3.0, 1.0, -1.0},
       {1.0, 2.0, 0.5, 1.0}},
      {"large rotated quadratic",
       block(ConeKind::kRotatedQuadratic, 8),
       {5.0, 3.0, 2.0, 0.0, 1.0, -1.0, 0.5, 2.0},
       {4.0, 1.0, 0.5, 0.0, 0.0, 1.0, 1.0, 0.0}},
      {"exponential", block(ConeKind::kExponential, 3), {2.0, 0.5, -1.0}, {1.0, 1.0, -0.5}},
      {"dual exponential",
       block(ConeKind::kDualExponential, 3),
       {1.0, 1.0, -0.5},
       {2.0, 0.5, -1.0}},
      {"exponential in a unit",
       {ConeKind::kExponential, {0, 0, 0}, {}, 3},
       {2.0, 0.5, 0.0},
       {1.0, 2.0, -0.5}},
      {"dual exponential in a unit",
       {ConeKind::kDualExponential, {0, 0, 0}, {}, -3},
       {1.0, 2.0, -0.5},
       {2.0, 0.5, 0.0}},
      {"power",
       block(ConeKind::kPower, 4, {0.3, 0.7}),
       {2.0, 1.5, 0.5, -0.5},
       {1.0, 2.0, 0.25, 0.5}},
      {"dual power", block(ConeKind::kDualPower, 3, {0.3, 0.7}), {1.0, 2.0, 0.25}, {2.0, 1.5, 0.5}},
  };
  return all;
}

double mu_of(const Case& c, const ScaledCone& cone) { return dot(c.s, c.z) / cone.degree(); }

void expect_near(const Vector& a, const Vector& b, double tolerance, const char* name) {
  ASSERT_EQ(a.size(), b.size());
  for (size_t i = 0; i < a.size(); ++i) EXPECT_NEAR(a[i], b[i], tolerance) << name << ' ' << i;
}

TEST(ScaledCone, ItsHessianTakesMembersToDuals) {
  for (const Case& c : cases()) {
    const std::unique_ptr<ScaledCone> cone = make_cone(c.block);
    ASSERT_TRUE(cone->update({c.s, c.z}, mu_of(c, *cone))) << c.name;
    Vector image(c.s.size());
    cone->multiply(c.s, image);
    expect_near(image, c.z, 1e-9, c.name);
  }
}

TEST(ScaledCone, FullAndSparseHessiansMultiplyAlike) {
  for (const Case& c : cases()) {
    const std::unique_ptr<ScaledCone> cone = make_cone(c.block);
    ASSERT_TRUE(cone->update({c.s, c.z}, mu_of(c, *cone))) << c.name;
    const size_t n = c.s.size();
    Vector by_column(n, 0.0);
    DenseMatrix h(n, n);
    cone->hessian(h);
    for (size_t j = 0; j < n; ++j) {
      for (size_t i = 0; i < n; ++i) by_column[i] += h(i, j) * c.z[j];
    }
    Vector image(n);
    cone->multiply(c.z, image);
    expect_near(image, by_column, 1e-9, c.name);
    if (cone->has_dense_hessian()) continue;
    Vector diagonal(n), u(n), v(n);
    double beside = 0.0;
    cone->sparse_hessian({diagonal, beside, u, v});
    Vector sum(n);
    for (size_t i = 0; i < n; ++i) {
      sum[i] = diagonal[i] * c.z[i] + u[i] * dot(u, c.z) - v[i] * dot(v, c.z);
    }
    sum[0] += beside * c.z[1];
    sum[1] += beside * c.z[0];
    expect_near(sum, image, 1e-9, c.name);
  }
}

TEST(ScaledCone, StartsOnTheCentralPath) {
  for (const Case& c : cases()) {
    const std::unique_ptr<ScaledCone> cone = make_cone(c.block);
    Vector s(c.s.size());
    Vector z(c.s.size());
    cone->start(s, z);
    EXPECT_NEAR(dot(s, z), cone->degree(), 1e-9) << c.name;
    ASSERT_TRUE(cone->update({s, z}, 1.0)) << c.name;
    // At the path, with no affine step, the right-hand side towards the same mu is 0.
    const Vector zero(s.size(), 0.0);
    Vector rhs(s.size(), 1.0);
    cone->centering_rhs({s, z}, 1.0, {zero, zero}, rhs);
    expect_near(rhs, zero, 1e-9, c.name);
  }
}

TEST(ScaledCone, RefusesPointsOutside) {
  for (const Case& c : cases()) {
    const std::unique_ptr<ScaledCone> cone = make_cone(c.block);
    const Vector zero(c.s.size(), 0.0);
    EXPECT_FALSE(cone->update({zero, c.z}, 1.0)) << c.name;
    EXPECT_FALSE(cone->update({c.s, zero}, 1.0)) << c.name;
  }
}

// A step that takes all members to 0 at 1 may go that far and no further, for s as for z.
TEST(ScaledCone, AStepEndsAtTheBoundary) {
  for (const Case& c : cases()) {
    const std::unique_ptr<ScaledCone> cone = make_cone(c.block);
    const Vector zero(c.s.size(), 0.0);
    EXPECT_NEAR(cone->step_length({c.s, c.z}, {times(-1.0, c.s), zero}, 1.25), 1.0, 0.01) << c.name;
    EXPECT_NEAR(cone->step_length({c.s, c.z}, {zero, times(-2.0, c.z)}, 1.25), 0.5, 0.01) << c.name;
    EXPECT_EQ(cone->step_length({c.s, c.z}, {c.s, c.z}, 1.25), 1.25) << c.name;
  }
}

// Identities of every logarithmically homogeneous barrier: grad f(s)'s = -degree, f''(s) s = -grad
// f(s), f'''(s)[s, u] = -2 f''(s) u; and the shadow is the inverse of the negative gradient.
void expect_identities(const Barrier& barrier, const Vector& s, const Vector& u) {
  const size_t n = s.size();
  Vector gradient(n);
  barrier.gradient(s, gradient);
  EXPECT_NEAR(dot(gradient, s), -barrier.degree(), 1e-10);
  DenseMatrix h(n, n);
  barrier.hessian(s, h);
  Vector hs(n, 0.0);
  Vector hu(n, 0.0);
  for (size_t j = 0; j < n; ++j) {
    for (size_t i = 0; i < n; ++i) {
      hs[i] += h(i, j) * s[j];
      hu[i] += h(i, j) * u[j];
    }
  }
  expect_near(hs, times(-1.0, gradient), 1e-10, "f'' s");
  Vector third(n);
  barrier.third(s, s, u, third);
  expect_near(third, times(-2.0, hu), 1e-9, "f''' [s, u]");
  EXPECT_TRUE(barrier.dual_inside(times(-1.0, gradient)));
  Vector back(n);
  barrier.shadow(times(-1.0, gradient), back);
  expect_near(back, s, 1e-9, "shadow");
}

TEST(Barrier, IsLogarithmicallyHomogeneous) {
  expect_identities(*make_exponential_barrier(0.0), {2.0, 0.5, -1.0}, {0.3, -0.2, 0.7});
  expect_identities(*make_exponential_barrier(3.0), {2.0, 0.5, 0.5}, {0.3, -0.2, 0.7});
  expect_identities(*make_power_barrier(4, {0.3, 0.7}), {2.0, 1.5, 0.5, -0.5},
                    {0.3, -0.2, 0.7, 1.0});
  expect_identities(*make_power_barrier(4, {0.2, 0.3, 0.5}), {2.0, 1.5, 0.5, 0.5},
                    {0.3, -0.2, 0.7, 1.0});
}

// s0 exp(3) = 5.9 against s1 exp(s2 / s1) = 5.88 and 5.96.
TEST(Barrier, HoldsTheExponentialInItsUnit) {
  const std::unique_ptr<Barrier> barrier = make_exponential_barrier(3.0);
  const double head = 5.9 * std::exp(-3.0);
  EXPECT_TRUE(barrier->inside(Vector{head, 0.8, 0.8 * std::log(5.88 / 0.8)}));
  EXPECT_FALSE(barrier->inside(Vector{head, 0.8, 0.8 * std::log(5.96 / 0.8)}));
}

}  // namespace
}  // namespace vorlan::conic
