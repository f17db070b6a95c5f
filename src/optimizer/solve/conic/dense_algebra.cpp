// Loads the system's BLAS and LAPACK and calls them by their Fortran interface.
#include "solve/conic/dense_algebra.h"

#include <dlfcn.h>

#include <algorithm>
#include <cstdlib>
#include <vector>

namespace vorlan::conic {
namespace {

// The serial build first: the threads of another one would compete with the caller's processes for
// the machine, and their start outlasts a small solve.
constexpr const char* kLibraries[] = {"/usr/lib/x86_64-linux-gnu/openblas-serial/libopenblas.so.0",
                                      "libopenblas.so.0", "liblapack.so.3"};

template <class Function>
bool find(void* library, const char* name, Function* function) {
  *function = reinterpret_cast<Function>(::dlsym(library, name));
  return *function != nullptr;
}

void keep_to_one_thread(void* library) {
  void (*set_num_threads)(int) = nullptr;
  if (find(library, "openblas_set_num_threads", &set_num_threads)) set_num_threads(1);
}

// OpenBLAS chooses its kernels when it is loaded, by a table of processor models. Releases before
// 0.3.25 take a model that is newer than their table for a Pentium 4, whose kernels have a sixth of
// the speed. A name that OpenBLAS does not know, such as the empty one, makes it choose by the
// processor's features instead. That choice does not look at FMA, without which Haswell's kernels
// do not run; virtual machines may have AVX2 without it.
const char* kernels_by_features() {
#if defined(__x86_64__)
  const bool has_avx2 = __builtin_cpu_supports("avx2") != 0;
  return has_avx2 && __builtin_cpu_supports("fma") == 0 ? "Sandybridge" : "";
#else
  return "";
#endif
}

constexpr const char* kKernelVariable = "OPENBLAS_CORETYPE";

// Lets OpenBLAS choose by features while this object lives, unless the user has chosen. OpenBLAS
// reads the environment only while it is loaded, so that nothing of this is left for others.
class KernelChoice {
 public:
  KernelChoice() : is_users_(std::getenv(kKernelVariable) != nullptr) {
    if (!is_users_) ::setenv(kKernelVariable, kernels_by_features(), 0);
  }
  ~KernelChoice() {
    if (!is_users_) ::unsetenv(kKernelVariable);
  }
  KernelChoice(const KernelChoice&) = delete;
  KernelChoice& operator=(const KernelChoice&) = delete;

 private:
  bool is_users_;
};

// The dsymv of OpenBLAS for several older processors reads past the end of a vector in the lower
// triangle's case. One element behind y is known; a sanitizer has seen a read that two did not
// cover. So the vectors given to it end with a cache line of unused elements.
constexpr int kPadding = 8;

const char* letter(bool transpose) { return transpose ? "T" : "N"; }

}  // namespace

const DenseAlgebra* DenseAlgebra::load(std::string* message) {
  static DenseAlgebra algebra;
  static bool loaded = false;
  if (!loaded) loaded = algebra.open(message);
  return loaded ? &algebra : nullptr;
}

bool DenseAlgebra::open(std::string* message) {
  const KernelChoice choice;
  for (const char* name : kLibraries) {
    void* library = ::dlopen(name, RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) continue;
    const bool complete = find(library, "dgemm_", &gemm_) && find(library, "dsyrk_", &syrk_) &&
                          find(library, "dtrmm_", &trmm_) && find(library, "dtrsm_", &trsm_) &&
                          find(library, "dsymv_", &symv_) && find(library, "dpotrf_", &potrf_) &&
                          find(library, "dsyevd_", &syevd_);
    if (complete) {
      keep_to_one_thread(library);
      describe(library);
      return true;
    }
    ::dlclose(library);
  }
  *message =
      "this model needs a BLAS and LAPACK library, and libopenblas.so.0 is not found; Debian's "
      "package is libopenblas0-serial";
  return false;
}

void DenseAlgebra::describe(void* library) {
  char* (*core_name)() = nullptr;
  const bool is_openblas = find(library, "openblas_get_corename", &core_name);
  description_ = is_openblas ? std::string("OpenBLAS with kernels for ") + core_name()
                             : "a BLAS and LAPACK without a name";
}

void DenseAlgebra::multiply(bool transpose_a, bool transpose_b, int m, int n, int k, double alpha,
                            const double* a, int lda, const double* b, int ldb, double beta,
                            double* c, int ldc) const {
  gemm_(letter(transpose_a), letter(transpose_b), &m, &n, &k, &alpha, a, &lda, b, &ldb, &beta, c,
        &ldc);
}

void DenseAlgebra::rank_update(int n, int k, double alpha, const double* a, int lda, double beta,
                               double* c, int ldc) const {
  syrk_("L", "N", &n, &k, &alpha, a, &lda, &beta, c, &ldc);
}

void DenseAlgebra::multiply_symmetric(bool transpose_a, bool transpose_b, int n, int k,
                                      double alpha, const double* a, int lda, const double* b,
                                      int ldb, double beta, double* c, int ldc) const {
  // Strips of columns from the diagonal down; narrow ones waste little above it, wide ones run
  // faster.
  const int width = std::clamp(n / 6, 32, 256);
  for (int first = 0; first < n; first += width) {
    const int columns = std::min(width, n - first);
    const auto offset = static_cast<size_t>(first);
    const double* a_part = transpose_a ? a + offset * static_cast<size_t>(lda) : a + offset;
    const double* b_part = transpose_b ? b + offset : b + offset * static_cast<size_t>(ldb);
    multiply(transpose_a, transpose_b, n - first, columns, k, alpha, a_part, lda, b_part, ldb, beta,
             c + offset * static_cast<size_t>(ldc) + offset, ldc);
  }
}

void DenseAlgebra::multiply_triangular(bool left, bool transpose, int m, int n, const double* l,
                                       int ldl, double* b, int ldb) const {
  const double one = 1.0;
  trmm_(left ? "L" : "R", "L", letter(transpose), "N", &m, &n, &one, l, &ldl, b, &ldb);
}

void DenseAlgebra::solve_unit_triangular(int m, int n, const double* l, int ldl, double* b,
                                         int ldb) const {
  const double one = 1.0;
  trsm_("R", "L", "T", "U", &m, &n, &one, l, &ldl, b, &ldb);
}

void DenseAlgebra::multiply_vector(int n, const double* a, int lda, const double* x, double beta,
                                   double* y) const {
  const double one = 1.0;
  const int step = 1;
  const size_t size = static_cast<size_t>(n) + kPadding;
  std::vector<double> padded(2 * size);
  double* padded_x = padded.data();
  double* padded_y = padded.data() + size;
  std::copy_n(x, n, padded_x);
  std::copy_n(y, n, padded_y);
  symv_("L", &n, &one, a, &lda, padded_x, &step, &beta, padded_y, &step);
  std::copy_n(padded_y, n, y);
}

bool DenseAlgebra::factor_cholesky(int n, double* a, int lda) const {
  int info = 0;
  potrf_("L", &n, a, &lda, &info);
  return info == 0;
}

bool DenseAlgebra::eigenvalues(bool vectors, int n, double* a, int lda, double* values) const {
  const char* job = vectors ? "V" : "N";
  int info = 0;
  const int ask = -1;
  double work_size = 0.0;
  int integer_size = 0;
  syevd_(job, "L", &n, a, &lda, values, &work_size, &ask, &integer_size, &ask, &info);
  const int size = static_cast<int>(work_size);
  std::vector<double> work(static_cast<size_t>(size + kPadding));
  std::vector<int> integers(static_cast<size_t>(integer_size));
  syevd_(job, "L", &n, a, &lda, values, work.data(), &size, integers.data(), &integer_size, &info);
  return info == 0;
}

void mirror_lower(int n, double* a, int lda) {
  const auto order = static_cast<size_t>(n);
  const auto stride = static_cast<size_t>(lda);
  constexpr size_t kTile = 32;
  for (size_t first = 0; first < order; first += kTile) {
    for (size_t row = first; row < order; ++row) {
      const size_t end = std::min({first + kTile, row, order});
      for (size_t col = first; col < end; ++col) a[row * stride + col] = a[col * stride + row];
    }
  }
}

}  // namespace vorlan::conic
