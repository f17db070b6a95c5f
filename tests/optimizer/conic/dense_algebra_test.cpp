// The library of dense algebra: which kernels it uses, and that calls stay within their vectors.
#include "solve/conic/dense_algebra.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <string>
#include <vector>

namespace vorlan::conic {
namespace {

const DenseAlgebra& load_algebra() {
  std::string message;
  const DenseAlgebra* algebra = DenseAlgebra::load(&message);
  if (algebra == nullptr) {
    ADD_FAILURE() << message;
    std::abort();
  }
  return *algebra;
}

// Memory whose end is the end of what can be read.
class GuardedMemory {
 public:
  explicit GuardedMemory(size_t count) {
    const auto page = static_cast<size_t>(::sysconf(_SC_PAGESIZE));
    size_ = (count * sizeof(double) / page + 2) * page;
    memory_ = static_cast<char*>(
        ::mmap(nullptr, size_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    ::mprotect(memory_ + size_ - page, page, PROT_NONE);
    values_ = reinterpret_cast<double*>(memory_ + size_ - page) - count;
  }
  ~GuardedMemory() { ::munmap(memory_, size_); }
  GuardedMemory(const GuardedMemory&) = delete;
  GuardedMemory& operator=(const GuardedMemory&) = delete;

  double* values() { return values_; }

 private:
  char* memory_;
  size_t size_;
  double* values_;
};

TEST(DenseAlgebra, UsesKernelsOfThisProcessor) {
  const bool is_chosen = std::getenv("OPENBLAS_CORETYPE") != nullptr;
  const std::string description = load_algebra().description();
  if (is_chosen || description.find("OpenBLAS") == std::string::npos) {
    GTEST_SKIP() << "the choice is not the optimizer's: " << description;
  }
  EXPECT_EQ(std::getenv("OPENBLAS_CORETYPE"), nullptr) << "left in the environment";
#if defined(__x86_64__)
  if (__builtin_cpu_supports("avx2") == 0 || __builtin_cpu_supports("fma") == 0) return;
  for (const char* old : {"Prescott", "Core2", "Penryn", "Nehalem", "Sandybridge"}) {
    EXPECT_EQ(description.find(old), std::string::npos) << description;
  }
#endif
}

TEST(DenseAlgebra, ReadsNothingBehindAVector) {
  const DenseAlgebra& algebra = load_algebra();
  for (int n = 1; n <= 40; ++n) {
    const auto order = static_cast<size_t>(n);
    GuardedMemory matrix(order * order);
    GuardedMemory x(order);
    GuardedMemory y(order);
    std::fill_n(matrix.values(), order * order, 1.0);
    std::fill_n(x.values(), order, 2.0);
    std::fill_n(y.values(), order, 3.0);
    algebra.multiply_vector(n, matrix.values(), n, x.values(), 1.0, y.values());
    for (size_t i = 0; i < order; ++i) EXPECT_DOUBLE_EQ(y.values()[i], 2.0 * n + 3.0);
  }
}

TEST(DenseAlgebra, FindsEigenvaluesOfMatricesAtTheEndOfMemory) {
  const DenseAlgebra& algebra = load_algebra();
  for (const int n : {1, 2, 7, 33, 40}) {
    const auto order = static_cast<size_t>(n);
    GuardedMemory matrix(order * order);
    GuardedMemory values(order);
    std::fill_n(matrix.values(), order * order, 1.0);
    for (size_t i = 0; i < order; ++i) matrix.values()[i * order + i] = 2.0;
    ASSERT_TRUE(algebra.eigenvalues(true, n, matrix.values(), n, values.values()));
    EXPECT_NEAR(values.values()[order - 1], n + 1.0, 1e-12 * n);
    if (n > 1) {
      EXPECT_NEAR(values.values()[0], 1.0, 1e-12 * n);
    }
  }
}

}  // namespace
}  // namespace vorlan::conic
