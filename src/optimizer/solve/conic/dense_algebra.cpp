// Loads the system's BLAS and LAPACK and calls them by their Fortran interface.
#include "solve/conic/dense_algebra.h"

#include <dlfcn.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cassert>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "task/numeric.h"

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

// Held by one thread of a process at a time; the others wait. A mutex that another thread held when
// this process was forked would stay locked in it for ever. This lock knows its process: what was
// inherited from another one is taken over.
class ProcessLock {
 public:
  ProcessLock() {
    const pid_t own = ::getpid();
    pid_t expected = kFree;
    while (!holder.compare_exchange_weak(expected, own)) {
      if (expected != own) continue;
      ::usleep(kPauseMicroseconds);
      expected = kFree;
    }
  }
  ~ProcessLock() { holder = kFree; }
  ProcessLock(const ProcessLock&) = delete;
  ProcessLock& operator=(const ProcessLock&) = delete;

 private:
  static constexpr pid_t kFree = 0;
  static constexpr useconds_t kPauseMicroseconds = 500;
  static inline std::atomic<pid_t> holder = kFree;
};

// Lets OpenBLAS choose by features while this object lives, unless the user has chosen. OpenBLAS
// reads the environment only while it is loaded. For that time the environment is another array,
// which is kept to the end of the process, because another thread may be reading it. setenv would not
// do: it moves the array that others read, and takes a lock that another thread may have held when
// this process was forked. Two threads that load at once take turns: one would take the other's
// environment for the caller's, and leave it there.
class KernelChoice {
 public:
  KernelChoice() {
    if (std::getenv(kKernelVariable) != nullptr) return;
    Environment* const during = new Environment;
    for (char** variable = before_; variable != nullptr && *variable != nullptr; ++variable) {
      during->variables.push_back(*variable);
    }
    during->choice = std::string(kKernelVariable) + "=" + kernels_by_features();
    during->variables.push_back(during->choice.data());
    during->variables.push_back(nullptr);
    during->earlier = kept.exchange(during);
    copy_ = during->variables;
    during_ = during->variables.data();
    environ = during_;
  }
  // Where another thread has set a variable meanwhile, its environment stands.
  ~KernelChoice() {
    if (during_ == nullptr || environ != during_) return;
    if (std::equal(copy_.begin(), copy_.end(), during_)) environ = before_;
  }
  KernelChoice(const KernelChoice&) = delete;
  KernelChoice& operator=(const KernelChoice&) = delete;

 private:
  struct Environment {
    std::string choice;
    std::vector<char*> variables;
    Environment* earlier = nullptr;
  };
  static inline std::atomic<Environment*> kept = nullptr;

  ProcessLock lock_;
  char** before_ = environ;
  char** during_ = nullptr;
  std::vector<char*> copy_;
};

// The dsymv of OpenBLAS for several older processors reads past the end of a vector in the lower
// triangle's case. One element behind y is known; a sanitizer has seen a read that two did not
// cover. So the vectors given to it end with a cache line of unused elements.
constexpr size_t kPadding = 8;

const char* letter(const Operand& operand) { return operand.is_transposed() ? "T" : "N"; }

// An order or stride as Fortran takes it.
struct Int {
  explicit Int(size_t given) : value(static_cast<int>(given)) {}
  int value;
};
// Keeps the loader's words for the first library that is there and cannot be loaded.
void note_reason(std::string* reason) {
  const char* const words = ::dlerror();
  if (words == nullptr || !reason->empty()) return;
  if (std::strstr(words, std::strerror(ENOENT)) == nullptr) *reason = words;
}

Status failure_of(const std::string& reason) {
  if (reason.empty()) {
    return {Code::kErrOptimizer,
            "this model needs a BLAS and LAPACK library, and libopenblas.so.0 is not found; "
            "Debian's package is libopenblas0-serial"};
  }
  const bool is_memory = reason.find(std::strerror(ENOMEM)) != std::string::npos;
  return {is_memory ? Code::kErrMemory : Code::kErrOptimizer,
          "this model needs a BLAS and LAPACK library, which cannot be loaded: " + reason};
}

}  // namespace

Operand Operand::from_row(size_t first) const {
  Operand part = *this;
  const size_t count = rows() - first;
  part.matrix_ = is_transposed_ ? matrix_.block(0, first, matrix_.rows(), count)
                                : matrix_.block(first, 0, count, matrix_.cols());
  return part;
}

Operand Operand::some_columns(size_t first, size_t count) const {
  Operand part = *this;
  part.matrix_ = is_transposed_ ? matrix_.block(first, 0, count, matrix_.cols())
                                : matrix_.block(0, first, matrix_.rows(), count);
  return part;
}

// Without a lock, which another thread could hold while this one forks. Two threads may both load;
// the system then counts the library twice, and the first one's is everybody's.
const DenseAlgebra* DenseAlgebra::load(Status* failure) {
  static std::atomic<const DenseAlgebra*> loaded = nullptr;
  const DenseAlgebra* earlier = loaded;
  if (earlier != nullptr) return earlier;
  auto algebra = std::make_unique<DenseAlgebra>();
  *failure = algebra->open();
  if (!failure->ok()) return nullptr;
  return loaded.compare_exchange_strong(earlier, algebra.get()) ? algebra.release() : earlier;
}

void DenseAlgebra::load_early() {
  Status failure;
  load(&failure);
}

Status DenseAlgebra::open() {
  const KernelChoice choice;
  std::string reason;
  for (const char* name : kLibraries) {
    void* library = ::dlopen(name, RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) {
      note_reason(&reason);
      continue;
    }
    const bool complete = find(library, "dgemm_", &gemm_) && find(library, "dsyrk_", &syrk_) &&
                          find(library, "dtrmm_", &trmm_) && find(library, "dtrsm_", &trsm_) &&
                          find(library, "dtrsv_", &trsv_) && find(library, "dsymv_", &symv_) &&
                          find(library, "dpotrf_", &potrf_) && find(library, "dsyevd_", &syevd_);
    if (complete) {
      keep_to_one_thread(library);
      describe(library);
      return {};
    }
    ::dlclose(library);
  }
  return failure_of(reason);
}

void DenseAlgebra::describe(void* library) {
  char* (*core_name)() = nullptr;
  const bool is_openblas = find(library, "openblas_get_corename", &core_name);
  description_ = is_openblas ? std::string("OpenBLAS with kernels for ") + core_name()
                             : "a BLAS and LAPACK without a name";
}

void DenseAlgebra::multiply(double alpha, const Operand& a, const Operand& b, double beta,
                            MatrixView c) const {
  assert(a.rows() == c.rows() && b.cols() == c.cols() && a.cols() == b.rows());
  const Int m(c.rows()), n(c.cols()), k(a.cols());
  const Int lda(a.matrix().stride()), ldb(b.matrix().stride()), ldc(c.stride());
  gemm_(letter(a), letter(b), &m.value, &n.value, &k.value, &alpha, a.matrix().data(), &lda.value,
        b.matrix().data(), &ldb.value, &beta, c.data(), &ldc.value);
}

void DenseAlgebra::multiply_symmetric(double alpha, const Operand& a, const Operand& b, double beta,
                                      MatrixView c) const {
  assert(c.is_square());
  // Strips of columns from the diagonal down; narrow ones waste little above it, wide ones run
  // faster.
  constexpr size_t kNarrowest = 32;
  constexpr size_t kWidest = 256;
  constexpr size_t kStrips = 6;
  const size_t n = c.rows();
  const size_t width = std::clamp(n / kStrips, kNarrowest, kWidest);
  for (size_t first = 0; first < n; first += width) {
    const size_t count = std::min(width, n - first);
    multiply(alpha, a.from_row(first), b.some_columns(first, count), beta,
             c.block(first, first, n - first, count));
  }
}

void DenseAlgebra::square(ConstMatrixView a, MatrixView c) const {
  assert(c.is_square() && c.rows() == a.rows());
  const Int n(a.rows()), k(a.cols()), lda(a.stride()), ldc(c.stride());
  const double one = 1.0;
  const double zero = 0.0;
  syrk_("L", "N", &n.value, &k.value, &one, a.data(), &lda.value, &zero, c.data(), &ldc.value);
}

void DenseAlgebra::multiply_from_left(const Operand& l, MatrixView b) const {
  assert(l.matrix().is_square() && l.cols() == b.rows());
  const Int m(b.rows()), n(b.cols()), ldl(l.matrix().stride()), ldb(b.stride());
  const double one = 1.0;
  trmm_("L", "L", letter(l), "N", &m.value, &n.value, &one, l.matrix().data(), &ldl.value, b.data(),
        &ldb.value);
}

void DenseAlgebra::multiply_from_right(const Operand& l, MatrixView b) const {
  assert(l.matrix().is_square() && l.rows() == b.cols());
  const Int m(b.rows()), n(b.cols()), ldl(l.matrix().stride()), ldb(b.stride());
  const double one = 1.0;
  trmm_("R", "L", letter(l), "N", &m.value, &n.value, &one, l.matrix().data(), &ldl.value, b.data(),
        &ldb.value);
}

void DenseAlgebra::divide_by_triangle(const Operand& l, Diagonal diagonal,
                                      std::span<double> x) const {
  assert(l.matrix().is_square() && l.rows() == x.size());
  const Int n(x.size()), ldl(l.matrix().stride());
  const int step = 1;
  trsv_("L", letter(l), diagonal == Diagonal::kUnit ? "U" : "N", &n.value, l.matrix().data(),
        &ldl.value, x.data(), &step);
}

void DenseAlgebra::divide_by_unit_triangle(ConstMatrixView l, MatrixView b) const {
  assert(l.is_square() && l.cols() == b.cols());
  const Int m(b.rows()), n(b.cols()), ldl(l.stride()), ldb(b.stride());
  const double one = 1.0;
  trsm_("R", "L", "T", "U", &m.value, &n.value, &one, l.data(), &ldl.value, b.data(), &ldb.value);
}

void DenseAlgebra::multiply_vector(ConstMatrixView a, std::span<const double> x,
                                   std::span<double> y) const {
  assert(a.is_square() && a.cols() == x.size() && a.rows() == y.size());
  const Int n(a.rows()), lda(a.stride());
  const double one = 1.0;
  const double zero = 0.0;
  const int step = 1;
  const size_t size = x.size() + kPadding;
  std::vector<double> padded(2 * size);
  double* padded_x = padded.data();
  double* padded_y = padded.data() + size;
  std::copy(x.begin(), x.end(), padded_x);
  symv_("L", &n.value, &one, a.data(), &lda.value, padded_x, &step, &zero, padded_y, &step);
  std::copy_n(padded_y, y.size(), y.begin());
}

bool DenseAlgebra::factor_cholesky(MatrixView a) const {
  assert(a.is_square());
  const Int n(a.rows()), lda(a.stride());
  int info = 0;
  potrf_("L", &n.value, a.data(), &lda.value, &info);
  return info == 0;
}

bool DenseAlgebra::find_eigenvalues(MatrixView a, std::span<double> values) const {
  return decompose("N", a, values);
}

bool DenseAlgebra::find_eigenvectors(MatrixView a, std::span<double> values) const {
  return decompose("V", a, values);
}

bool DenseAlgebra::decompose(const char* job, MatrixView a, std::span<double> values) const {
  assert(a.is_square() && a.rows() == values.size());
  const Int n(a.rows()), lda(a.stride());
  int info = 0;
  const int ask = -1;
  double work_size = 0.0;
  int integer_size = 0;
  syevd_(job, "L", &n.value, a.data(), &lda.value, values.data(), &work_size, &ask, &integer_size,
         &ask, &info);
  const int size = static_cast<int>(work_size);
  std::vector<double> work(index(size) + kPadding);
  std::vector<int> integers(index(integer_size));
  syevd_(job, "L", &n.value, a.data(), &lda.value, values.data(), work.data(), &size,
         integers.data(), &integer_size, &info);
  return info == 0;
}

void mirror_lower(MatrixView a) {
  assert(a.is_square());
  const size_t order = a.rows();
  constexpr size_t kTile = 32;
  for (size_t first = 0; first < order; first += kTile) {
    for (size_t row = first; row < order; ++row) {
      const size_t end = std::min({first + kTile, row, order});
      for (size_t col = first; col < end; ++col) a(col, row) = a(row, col);
    }
  }
}

}  // namespace vorlan::conic
