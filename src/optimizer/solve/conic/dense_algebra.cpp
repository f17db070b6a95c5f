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

#include "solve/conic/built_in_algebra.h"
#include "task/machine.h"
#include "task/numeric.h"
#include "task/processor.h"
#include "task/text.h"

namespace vorlan::conic {
namespace {

// The build with threads first, kept to one of its own. The serial one gives threads that call it at
// once the same work space now and then, and wrong results (Debian's 0.3.21 takes the space without
// its lock).
constexpr const char* kLibraries[] = {"/usr/lib/x86_64-linux-gnu/openblas-pthread/libopenblas.so.0",
                                      "/usr/lib/x86_64-linux-gnu/openblas-serial/libopenblas.so.0",
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
  const ProcessorFeatures features = processor_features();
  return features.avx2 && !features.fma ? "Sandybridge" : "";
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

// Lets OpenBLAS choose by features while this object lives, unless the user has chosen, and keeps it
// from starting threads of its own: they would compete with those of the caller's processes for the
// machine, and a process with threads should not fork. OpenBLAS reads the environment only while it
// is loaded. For that time the environment is another array, which is kept to the end of the
// process, because another thread may be reading it. setenv would not do: it moves the array that
// others read, and takes a lock that another thread may have held when this process was forked. Two
// threads that load at once take turns: one would take the other's environment for the caller's, and
// leave it there.
class LoadingEnvironment {
 public:
  LoadingEnvironment() {
    Environment* const during = new Environment;
    during->variables.push_back(during->threads.data());  // the first of a name counts
    for (char** variable = before_; variable != nullptr && *variable != nullptr; ++variable) {
      during->variables.push_back(*variable);
    }
    if (std::getenv(kKernelVariable) == nullptr) {
      during->choice = std::string(kKernelVariable) + "=" + kernels_by_features();
      during->variables.push_back(during->choice.data());
    }
    during->variables.push_back(nullptr);
    during->earlier = kept.exchange(during);
    copy_ = during->variables;
    during_ = during->variables.data();
    environ = during_;
  }
  // Where another thread has set a variable meanwhile, its environment stands.
  ~LoadingEnvironment() {
    if (environ != during_) return;
    if (std::equal(copy_.begin(), copy_.end(), during_)) environ = before_;
  }
  LoadingEnvironment(const LoadingEnvironment&) = delete;
  LoadingEnvironment& operator=(const LoadingEnvironment&) = delete;

 private:
  struct Environment {
    std::string threads = "OPENBLAS_NUM_THREADS=1";
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

// Whether threads may call the library at once. An OpenBLAS says how it was built; others have no state.
bool is_built_for_threads(void* library) {
  constexpr int kWithPosixThreads = 1;
  int (*get_parallel)() = nullptr;
  return !find(library, "openblas_get_parallel", &get_parallel) ||
         get_parallel() == kWithPosixThreads;
}

// What OpenBLAS maps at its first product, as built for x86-64. Where it does not get it, it asks again
// and again for ever. Little of it is ever touched, but limits on a process count it.
constexpr double kBufferSize = 0x1p27;

// The dsymv of OpenBLAS for several older processors reads past the end of a vector in the lower
// triangle's case. One element behind y is known; a sanitizer has seen a read that two did not
// cover. So the vectors given to it end with a cache line of unused elements.
constexpr size_t kPadding = 8;

// Other threads are woken for operations of more multiplications, which last a tenth of a
// millisecond.
constexpr double kLeastShared = 3e6;
// Products of a matrix and a vector wait for memory: an element costs as much as so many
// multiplications in products of matrices. Their blocks have so many columns.
constexpr double kCostOfReading = 25.0;
constexpr size_t kBlockOfVector = 128;

double product_of(size_t a, size_t b, size_t c) {
  return static_cast<double>(a) * static_cast<double>(b) * static_cast<double>(c);
}

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
            "Debian's package is libopenblas0-pthread"};
  }
  // Where a segment of the library could not be mapped, the loader's words do not tell why.
  const bool is_memory =
      reason.find(std::strerror(ENOMEM)) != std::string::npos || !has_address_space(kBufferSize);
  return {is_memory ? Code::kErrMemory : Code::kErrOptimizer,
          "this model needs a BLAS and LAPACK library, which cannot be loaded: " + reason};
}

}  // namespace

Operand Operand::some_rows(size_t first, size_t count) const {
  Operand part = *this;
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

// The routines of decompose_in_steps are for threads, which small models have not.
const DenseAlgebra& DenseAlgebra::built_in() {
  static const DenseAlgebra algebra = [] {
    DenseAlgebra plain;
    plain.gemm_ = built_in::gemm;
    plain.syrk_ = built_in::syrk;
    plain.trmm_ = built_in::trmm;
    plain.trsm_ = built_in::trsm;
    plain.trsv_ = built_in::trsv;
    plain.symv_ = built_in::symv;
    plain.gemv_ = built_in::gemv;
    plain.potrf_ = built_in::potrf;
    plain.syevd_ = built_in::syevd;
    plain.description_ = "built in, for small models";
    return plain;
  }();
  return algebra;
}

// Twenty iterations of this work last as long in plain loops as the loading of the library.
const DenseAlgebra* DenseAlgebra::for_work(double multiplications, Status* failure) {
  constexpr double kSmall = 2e5;
  return multiplications <= kSmall ? &built_in() : load(failure);
}

void DenseAlgebra::load_early() {
  Status failure;
  load(&failure);
}

Status DenseAlgebra::open() {
  const LoadingEnvironment environment;
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
                          find(library, "dgemv_", &gemv_) && find(library, "dpotrf_", &potrf_) &&
                          find(library, "dsyevd_", &syevd_) && find(library, "dsytrd_", &sytrd_) &&
                          find(library, "dstedc_", &stedc_) && find(library, "dormtr_", &ormtr_);
    if (complete) {
      keep_to_one_thread(library);
      bears_threads_ = is_built_for_threads(library);
      const bool is_openblas = describe(library);
      if (!is_openblas || take_buffer()) return {};
      reason = format_text("its working memory of %.0f MiB: %s", kBufferSize / 0x1p20,
                           std::strerror(ENOMEM));
    }
    ::dlclose(library);
    if (complete) break;
  }
  return failure_of(reason);
}

// Now, while it is known to be there: a product of this kind takes it however small the matrix is.
bool DenseAlgebra::take_buffer() const {
  if (!has_address_space(kBufferSize)) return false;
  double a = 0.0;
  double c = 0.0;
  square({&a, 1, 1, 1}, {&c, 1, 1, 1});
  return true;
}

bool DenseAlgebra::describe(void* library) {
  char* (*core_name)() = nullptr;
  const bool is_openblas = find(library, "openblas_get_corename", &core_name);
  description_ = is_openblas ? std::string("OpenBLAS with kernels for ") + core_name()
                             : "a BLAS and LAPACK without a name";
  return is_openblas;
}

DenseAlgebra DenseAlgebra::with_team(ThreadTeam* team) const {
  DenseAlgebra shared = *this;
  shared.team_ = team;
  return shared;
}

ThreadTeam* DenseAlgebra::team_for(double multiplications) const {
  const bool is_free = team_ != nullptr && !team_->is_busy();
  return is_free && multiplications > kLeastShared ? team_ : nullptr;
}

// Two pieces for each thread balance what other processes take from one of them; those of small
// results would be too thin for the kernels.
void DenseAlgebra::share(size_t size, size_t grain, const std::function<void(Range)>& piece) const {
  constexpr size_t kLeastOfPiece = 192;
  const size_t threads = team_->num_threads();
  const size_t pieces = size >= 2 * threads * kLeastOfPiece ? 2 * threads : threads;
  team_->run(pieces, [&](size_t k, size_t) {
    const Range range = range_of_piece(size, pieces, k, grain);
    if (range.count > 0) piece(range);
  });
}

void DenseAlgebra::share_rows(size_t rows, const std::function<void(Range)>& piece) const {
  constexpr size_t kGrain = 48;  // of all kernels' heights
  share(rows, kGrain, piece);
}

void DenseAlgebra::share_columns(size_t cols, const std::function<void(Range)>& piece) const {
  constexpr size_t kGrain = 8;
  share(cols, kGrain, piece);
}

void DenseAlgebra::multiply(double alpha, const Operand& a, const Operand& b, double beta,
                            MatrixView c) const {
  assert(a.rows() == c.rows() && b.cols() == c.cols() && a.cols() == b.rows());
  if (is_shared(product_of(c.rows(), c.cols(), a.cols()))) {
    if (c.cols() >= c.rows()) {
      share_columns(c.cols(), [&](Range r) {
        multiply(alpha, a, b.some_columns(r.first, r.count), beta, c.columns(r.first, r.count));
      });
    } else {
      share_rows(c.rows(), [&](Range r) {
        multiply(alpha, a.some_rows(r.first, r.count), b, beta,
                 c.block(r.first, 0, r.count, c.cols()));
      });
    }
    return;
  }
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
  const auto multiply_strip = [&](size_t strip, size_t) {
    const size_t first = strip * width;
    const size_t count = std::min(width, n - first);
    const Operand columns = b.some_columns(first, count);
    if (beta == 0.0) {
      multiply(alpha, a.from_row(first), columns, beta, c.block(first, first, n - first, count));
      return;
    }
    DenseMatrix square(count, count);
    multiply(alpha, a.some_rows(first, count), columns, 0.0, square);
    for (size_t col = 0; col < count; ++col) {
      double* const to = &c(first, first + col);
      for (size_t row = col; row < count; ++row) to[row] = beta * to[row] + square(row, col);
    }
    const size_t end = first + count;
    if (end == n) return;
    multiply(alpha, a.from_row(end), columns, beta, c.block(end, first, n - end, count));
  };
  run_pieces(team_for(0.5 * product_of(n, n, a.cols())), (n + width - 1) / width, multiply_strip);
}

void DenseAlgebra::square(ConstMatrixView a, MatrixView c) const {
  assert(c.is_square() && c.rows() == a.rows());
  if (is_shared(0.5 * product_of(a.rows(), a.rows(), a.cols()))) {
    return multiply_symmetric(1.0, a, transposed(a), 0.0, c);
  }
  const Int n(a.rows()), k(a.cols()), lda(a.stride()), ldc(c.stride());
  const double one = 1.0;
  const double zero = 0.0;
  syrk_("L", "N", &n.value, &k.value, &one, a.data(), &lda.value, &zero, c.data(), &ldc.value);
}

void DenseAlgebra::multiply_from_left(const Operand& l, MatrixView b) const {
  assert(l.matrix().is_square() && l.cols() == b.rows());
  if (is_shared(0.5 * product_of(b.rows(), b.rows(), b.cols()))) {
    return share_columns(b.cols(),
                         [&](Range r) { multiply_from_left(l, b.columns(r.first, r.count)); });
  }
  const Int m(b.rows()), n(b.cols()), ldl(l.matrix().stride()), ldb(b.stride());
  const double one = 1.0;
  trmm_("L", "L", letter(l), "N", &m.value, &n.value, &one, l.matrix().data(), &ldl.value, b.data(),
        &ldb.value);
}

void DenseAlgebra::multiply_from_right(const Operand& l, MatrixView b) const {
  assert(l.matrix().is_square() && l.rows() == b.cols());
  if (is_shared(0.5 * product_of(b.rows(), b.cols(), b.cols()))) {
    return share_rows(
        b.rows(), [&](Range r) { multiply_from_right(l, b.block(r.first, 0, r.count, b.cols())); });
  }
  const Int m(b.rows()), n(b.cols()), ldl(l.matrix().stride()), ldb(b.stride());
  const double one = 1.0;
  trmm_("R", "L", letter(l), "N", &m.value, &n.value, &one, l.matrix().data(), &ldl.value, b.data(),
        &ldb.value);
}

void DenseAlgebra::divide_by_triangle(const Operand& l, Diagonal diagonal,
                                      std::span<double> x) const {
  assert(l.matrix().is_square() && l.rows() == x.size());
  if (is_shared(kCostOfReading * 0.5 * product_of(x.size(), x.size(), 1))) {
    return l.is_transposed() ? divide_backward_by_blocks(l.matrix(), diagonal, x)
                             : divide_forward_by_blocks(l.matrix(), diagonal, x);
  }
  const Int n(x.size()), ldl(l.matrix().stride());
  const int step = 1;
  trsv_("L", letter(l), diagonal == Diagonal::kUnit ? "U" : "N", &n.value, l.matrix().data(),
        &ldl.value, x.data(), &step);
}

void DenseAlgebra::divide_forward_by_blocks(ConstMatrixView l, Diagonal diagonal,
                                            std::span<double> x) const {
  for (size_t first = 0; first < x.size(); first += kBlockOfVector) {
    const size_t size = std::min(kBlockOfVector, x.size() - first);
    const std::span<double> own = x.subspan(first, size);
    divide_by_triangle(l.block(first, first, size, size), diagonal, own);
    const size_t end = first + size;
    if (end == x.size()) return;
    add_product(-1.0, l.block(end, first, x.size() - end, size), own.data(), x.data() + end);
  }
}

void DenseAlgebra::divide_backward_by_blocks(ConstMatrixView l, Diagonal diagonal,
                                             std::span<double> x) const {
  const size_t blocks = (x.size() + kBlockOfVector - 1) / kBlockOfVector;
  for (size_t k = blocks; k-- > 0;) {
    const size_t first = k * kBlockOfVector;
    const size_t size = std::min(kBlockOfVector, x.size() - first);
    const std::span<double> own = x.subspan(first, size);
    divide_by_triangle(transposed(l.block(first, first, size, size)), diagonal, own);
    if (first == 0) return;
    add_product(-1.0, transposed(l.block(first, 0, size, first)), own.data(), x.data());
  }
}

void DenseAlgebra::add_product(double alpha, const Operand& a, const double* x, double* y) const {
  if (is_shared(kCostOfReading * product_of(a.rows(), a.cols(), 1))) {
    return share_rows(a.rows(), [&](Range r) {
      add_product(alpha, a.some_rows(r.first, r.count), x, y + r.first);
    });
  }
  const Int m(a.matrix().rows()), n(a.matrix().cols()), lda(a.matrix().stride());
  const double one = 1.0;
  const int step = 1;
  gemv_(letter(a), &m.value, &n.value, &alpha, a.matrix().data(), &lda.value, x, &step, &one, y,
        &step);
}

void DenseAlgebra::divide_from_right(ConstMatrixView l, Diagonal diagonal, MatrixView b) const {
  assert(l.is_square() && l.cols() == b.cols());
  if (is_shared(0.5 * product_of(b.rows(), b.cols(), b.cols()))) {
    return share_rows(b.rows(), [&](Range r) {
      divide_from_right(l, diagonal, b.block(r.first, 0, r.count, b.cols()));
    });
  }
  const Int m(b.rows()), n(b.cols()), ldl(l.stride()), ldb(b.stride());
  const double one = 1.0;
  trsm_("R", "L", "T", diagonal == Diagonal::kUnit ? "U" : "N", &m.value, &n.value, &one, l.data(),
        &ldl.value, b.data(), &ldb.value);
}

void DenseAlgebra::multiply_vector(ConstMatrixView a, std::span<const double> x,
                                   std::span<double> y, Triangle given) const {
  assert(a.is_square() && a.cols() == x.size() && a.rows() == y.size());
  if (is_shared(kCostOfReading * 0.5 * product_of(x.size(), x.size(), 1))) {
    return multiply_vector_by_strips(a, x, y, given);
  }
  const Int n(a.rows()), lda(a.stride());
  const double one = 1.0;
  const double zero = 0.0;
  const int step = 1;
  const size_t size = x.size() + kPadding;
  std::vector<double> padded(2 * size);
  double* padded_x = padded.data();
  double* padded_y = padded.data() + size;
  std::copy(x.begin(), x.end(), padded_x);
  symv_(given == Triangle::kLower ? "L" : "U", &n.value, &one, a.data(), &lda.value, padded_x,
        &step, &zero, padded_y, &step);
  std::copy_n(padded_y, y.size(), y.begin());
}

// Each strip of columns from the diagonal down, or of rows from there to the right, adds to all of y
// below it: each has a vector of its own for that, and these are added in the order of the strips.
void DenseAlgebra::multiply_vector_by_strips(ConstMatrixView a, std::span<const double> x,
                                             std::span<double> y, Triangle given) const {
  const size_t n = x.size();
  const size_t strips = (n + kBlockOfVector - 1) / kBlockOfVector;
  DenseMatrix sums(n, strips);
  team_->run(strips, [&](size_t k, size_t) {
    const size_t first = k * kBlockOfVector;
    const size_t size = std::min(kBlockOfVector, n - first);
    const std::span<double> sum = sums.view().column(k);
    multiply_vector(a.block(first, first, size, size), x.subspan(first, size),
                    sum.subspan(first, size), given);
    // Parts that stay in the cache between their two products.
    constexpr size_t kRows = 256;
    for (size_t row = first + size; row < n; row += kRows) {
      const size_t count = std::min(kRows, n - row);
      const Operand part = given == Triangle::kLower ? Operand(a.block(row, first, count, size))
                                                     : transposed(a.block(first, row, size, count));
      add_product(1.0, part, x.data() + first, sum.data() + row);
      add_product(1.0, transposed(part), x.data() + row, sum.data() + first);
    }
  });
  std::fill(y.begin(), y.end(), 0.0);
  for (size_t k = 0; k < strips; ++k) {
    const std::span<const double> sum = sums.view().column(k);
    for (size_t i = k * kBlockOfVector; i < n; ++i) y[i] += sum[i];
  }
}

bool DenseAlgebra::factor_cholesky(MatrixView a) const {
  assert(a.is_square());
  if (is_shared(product_of(a.rows(), a.rows(), a.rows()) / 6.0)) return factor_by_blocks(a);
  const Int n(a.rows()), lda(a.stride());
  int info = 0;
  potrf_("L", &n.value, a.data(), &lda.value, &info);
  return info == 0;
}

// A block of columns at a time: its square, the rows below it, and then all that is to the right.
bool DenseAlgebra::factor_by_blocks(MatrixView a) const {
  constexpr size_t kBlock = 192;
  const size_t n = a.rows();
  for (size_t first = 0; first < n; first += kBlock) {
    const size_t size = std::min(kBlock, n - first);
    const size_t end = first + size;
    const MatrixView square = a.block(first, first, size, size);
    if (!factor_cholesky(square)) return false;
    if (end == n) break;
    const MatrixView below = a.block(end, first, n - end, size);
    divide_from_right(square, Diagonal::kOwn, below);
    const Operand factor = ConstMatrixView(below);
    multiply_symmetric(-1.0, factor, transposed(factor), 1.0, a.block(end, end, n - end, n - end));
  }
  return true;
}

bool DenseAlgebra::find_eigenvalues(MatrixView a, std::span<double> values) const {
  return decompose("N", a, values);
}

bool DenseAlgebra::find_eigenvectors(MatrixView a, std::span<double> values) const {
  if (is_shared(product_of(a.rows(), a.rows(), a.rows()))) return decompose_in_steps(a, values);
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

// The steps of dsyevd, of which the last one, going back from the eigenvectors of the tridiagonal
// matrix, is as much work as the others and goes by columns.
bool DenseAlgebra::decompose_in_steps(MatrixView a, std::span<double> values) const {
  assert(a.is_square() && a.rows() == values.size());
  const size_t order = a.rows();
  const Int n(order), lda(a.stride());
  int info = 0;
  constexpr size_t kColumnsOfWork = 64;
  std::vector<double> beside(order + kPadding);
  std::vector<double> factors(order + kPadding);
  std::vector<double> work(1 + 4 * order + std::max(order, kColumnsOfWork) * order + kPadding);
  const Int work_size(work.size() - kPadding);
  sytrd_("L", &n.value, a.data(), &lda.value, values.data(), beside.data(), factors.data(),
         work.data(), &work_size.value, &info);
  if (info != 0) return false;
  DenseMatrix vectors(order, order);
  std::vector<int> integers(3 + 5 * order);
  const Int integer_size(integers.size());
  stedc_("I", &n.value, values.data(), beside.data(), vectors.view().data(), &n.value, work.data(),
         &work_size.value, integers.data(), &integer_size.value, &info);
  if (info != 0) return false;
  share_columns(order, [&](Range r) {
    const Int count(r.count);
    std::vector<double> own_work(kColumnsOfWork * (r.count + kColumnsOfWork + 1));
    const Int own_size(own_work.size());
    double* const columns = &vectors(0, r.first);
    int own_info = 0;
    ormtr_("L", "L", "N", &n.value, &count.value, a.data(), &lda.value, factors.data(), columns,
           &n.value, own_work.data(), &own_size.value, &own_info);
  });
  for (size_t col = 0; col < order; ++col) {
    std::copy_n(&vectors(0, col), order, a.column(col).begin());
  }
  return true;
}

void DenseAlgebra::mirror_lower(MatrixView a) const {
  assert(a.is_square());
  const size_t order = a.rows();
  constexpr size_t kTile = 32;
  const double work = kCostOfReading * product_of(order, order, 1);
  run_pieces(team_for(work), (order + kTile - 1) / kTile, [&](size_t piece, size_t) {
    const size_t first = piece * kTile;
    for (size_t row = first; row < order; ++row) {
      const size_t end = std::min({first + kTile, row, order});
      for (size_t col = first; col < end; ++col) a(col, row) = a(row, col);
    }
  });
}

}  // namespace vorlan::conic
