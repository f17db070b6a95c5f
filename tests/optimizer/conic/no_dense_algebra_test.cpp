// A machine without BLAS and LAPACK: this program's own dlopen does not find them, or fails for want
// of memory. Models with large matrix variables need them and are refused with a message that names
// the package, or quotes the loader; all others are solved.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <string_view>

#include "conic_solve.h"

namespace {

bool is_hidden(const char* name) {
  if (name == nullptr) return false;
  const std::string_view text = name;
  return text.find("blas") != std::string_view::npos ||
         text.find("lapack") != std::string_view::npos;
}

// What the loader says of a library that is there; nullptr: it is not.
const char* g_reason = nullptr;

}  // namespace

extern "C" __attribute__((visibility("default"))) char* dlerror() {
  return const_cast<char*>(g_reason);
}

extern "C" __attribute__((visibility("default"))) void* dlopen(const char* name, int flags) {
  using Open = void* (*)(const char*, int);
  static const auto real = reinterpret_cast<Open>(::dlsym(RTLD_NEXT, "dlopen"));
  return is_hidden(name) ? nullptr : real(name, flags);
}

namespace vorlan {
namespace {

// One for which plain loops would be slow, and whose elements are all in the cost.
void make_large_matrix(Model* model) {
  constexpr int32_t kOrder = 40;
  model->matrix_vars = {{kOrder}};
  for (int32_t col = 0; col < kOrder; ++col) {
    for (int32_t row = col; row < kOrder; ++row) model->matrix_cost.push_back({0, {row, col, 1.0}});
  }
}

TEST(NoDenseAlgebra, SmallMatrixVariablesDoWithoutIt) {
  test::Solved solved;
  Model& model = solved.task.model;
  model.matrix_vars = {{2}};
  model.matrix_cost = {{0, {1, 0, 1.0}}};
  for (int32_t i = 0; i < 2; ++i) {
    model.matrix_coefficients.push_back({i, 0, {i, i, 1.0}});
    model.con_lower.push_back(1.0);
    model.con_upper.push_back(1.0);
  }
  test::solve_conic(&solved);
  EXPECT_EQ(solved.solution().status, SolutionStatus::kOptimal) << solved.log;
  EXPECT_NEAR(solved.solution().primal_objective, -2.0, 1e-7);
  EXPECT_NE(solved.log.find("Dense algebra: built in"), std::string::npos) << solved.log;
}

TEST(NoDenseAlgebra, AMatrixVariableIsRefusedWithTheReason) {
  test::Solved solved;
  make_large_matrix(&solved.task.model);
  test::solve_conic(&solved);
  EXPECT_EQ(solved.status.code(), Code::kErrOptimizer);
  EXPECT_NE(solved.status.message().find("libopenblas0-pthread"), std::string::npos)
      << solved.status.message();
  EXPECT_FALSE(solved.solution().defined);
}

TEST(NoDenseAlgebra, ShortMemoryIsToldAsThat) {
  g_reason = "libblas.so: cannot map zero-fill pages: Cannot allocate memory";
  test::Solved solved;
  make_large_matrix(&solved.task.model);
  test::solve_conic(&solved);
  EXPECT_EQ(solved.status.code(), Code::kErrMemory);
  EXPECT_NE(solved.status.message().find(g_reason), std::string::npos) << solved.status.message();
  g_reason = "libblas.so: file too short";
  test::solve_conic(&solved);
  EXPECT_EQ(solved.status.code(), Code::kErrOptimizer);
  EXPECT_NE(solved.status.message().find(g_reason), std::string::npos) << solved.status.message();
  g_reason = nullptr;
}

TEST(NoDenseAlgebra, OtherModelsDoWithoutIt) {
  test::Solved solved;
  test::solve_ptf(R"(
Minimize
 o: x + [ y^2 ] / 2
Subject To
 a: y + z >= 2
Bounds
 z free
Cones
 k: quadratic x y z
End
)",
                  &solved);
  EXPECT_EQ(solved.solution().status, SolutionStatus::kOptimal) << solved.log;
}

// A quadratic term of this order fills the factor.
TEST(NoDenseAlgebra, LargeDensePartsAreFactoredWithoutIt) {
  constexpr int32_t kOrder = 300;
  test::Solved solved;
  Model& model = solved.task.model;
  model.cost.assign(kOrder, -1.0);
  model.var_lower.assign(kOrder, 0.0);
  model.var_upper.assign(kOrder, kInfinity);
  model.var_kind.assign(kOrder, VarKind::kContinuous);
  model.matrix.start.assign(kOrder + 1, 0);
  for (int32_t col = 0; col < kOrder; ++col) {
    for (int32_t row = col; row < kOrder; ++row) {
      model.quadratic_cost.push_back({row, col, row == col ? 2.0 : 1.0});
    }
  }
  test::solve_conic(&solved);
  EXPECT_EQ(solved.solution().status, SolutionStatus::kOptimal) << solved.log;
  // (I + 11') x = 1
  EXPECT_NEAR(solved.solution().xx[0], 1.0 / (kOrder + 1), 1e-7);
}

}  // namespace
}  // namespace vorlan
