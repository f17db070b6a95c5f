// Dense linear algebra of the conic method: the few routines of BLAS and LAPACK that it needs, from
// the optimized library of the system.
//
// The library is loaded when a model needs it for the first time, not linked: it is large, and a
// linear model should start without it. Small models do with built_in_algebra.h. Matrices are
// stored by column, and symmetric ones in full. The routines take all orders from their arguments,
// which must fit.
#pragma once

#include <functional>
#include <span>
#include <string>

#include "solve/conic/matrix_view.h"
#include "solve/conic/thread_team.h"
#include "task/status.h"

namespace vorlan::conic {

// A matrix as a factor of a product: itself or its transpose.
class Operand {
 public:
  Operand(ConstMatrixView matrix) : matrix_(matrix) {}
  Operand(const DenseMatrix& matrix) : matrix_(matrix) {}
  friend Operand transposed(Operand operand);

  const ConstMatrixView& matrix() const { return matrix_; }
  bool is_transposed() const { return is_transposed_; }
  size_t rows() const { return is_transposed_ ? matrix_.cols() : matrix_.rows(); }
  size_t cols() const { return is_transposed_ ? matrix_.rows() : matrix_.cols(); }
  // The rows, or columns, from the first one given on.
  Operand from_row(size_t first) const { return some_rows(first, rows() - first); }
  Operand some_rows(size_t first, size_t count) const;
  Operand some_columns(size_t first, size_t count) const;

 private:
  ConstMatrixView matrix_;
  bool is_transposed_ = false;
};

// The transpose of a factor. Nothing is copied.
inline Operand transposed(Operand operand) {
  operand.is_transposed_ = !operand.is_transposed_;
  return operand;
}

// The diagonal of a triangular matrix: its own, or ones, whatever is stored there.
enum class Diagonal { kOwn, kUnit };

// The part of a symmetric matrix that is given.
enum class Triangle { kLower, kUpper };

class DenseAlgebra {
 public:
  // The library, or nullptr with a failure that says why. Loaded once a process, by
  // any thread.
  static const DenseAlgebra* load(Status* failure);
  // Plain loops, which load nothing; they serve models for which load() takes longer than they do.
  static const DenseAlgebra& built_in();
  // The one that is faster for iterations of so many multiplications.
  static const DenseAlgebra* for_work(double multiplications, Status* failure);
  // The same as load() for later; whoever needs it then says what is missing.
  static void load_early();

  // Whether threads may call the library at once.
  bool bears_threads() const { return bears_threads_; }

  // The same library for the owner of a team of threads, which large operations then share. The team
  // must outlive it; null: everything is done by the caller. The library must bear threads.
  DenseAlgebra with_team(ThreadTeam* team) const;
  // The team for an operation of so many multiplications; null where waking threads would last as
  // long, or where the team is at work already.
  ThreadTeam* team_for(double multiplications) const;
  ThreadTeam* team() const { return team_; }

  // The library that was loaded and the processor whose kernels it uses, for the log.
  const std::string& description() const { return description_; }

  // C = alpha A B + beta C.
  void multiply(double alpha, const Operand& a, const Operand& b, double beta, MatrixView c) const;
  // The lower triangle of C = alpha A B + beta C, known to be symmetric; saves about half of
  // multiply's work. What is above it is kept where beta is not 0, and lost where it is.
  void multiply_symmetric(double alpha, const Operand& a, const Operand& b, double beta,
                          MatrixView c) const;
  // The lower triangle of C = A A'.
  void square(ConstMatrixView a, MatrixView c) const;
  // B = L B and B = B L, where L is a lower triangular matrix or the transpose of one.
  void multiply_from_left(const Operand& l, MatrixView b) const;
  void multiply_from_right(const Operand& l, MatrixView b) const;
  // x = inv(L) x, where L is a lower triangular matrix or the transpose of one.
  void divide_by_triangle(const Operand& l, Diagonal diagonal, std::span<double> x) const;
  // B = B inv(L') with L lower triangular.
  void divide_from_right(ConstMatrixView l, Diagonal diagonal, MatrixView b) const;
  // y += alpha A x.
  void add_product(double alpha, const Operand& a, const double* x, double* y) const;
  // y = A x with A symmetric, given by one of its triangles.
  void multiply_vector(ConstMatrixView a, std::span<const double> x, std::span<double> y,
                       Triangle given = Triangle::kLower) const;
  // Writes the lower Cholesky factor over A's lower triangle; false: A is not positive definite.
  bool factor_cholesky(MatrixView a) const;
  // The eigenvalues, ascending, of the symmetric A, which is given by its lower triangle and lost.
  // False: no convergence.
  bool find_eigenvalues(MatrixView a, std::span<double> values) const;
  // Writes the eigenvectors over A besides.
  bool find_eigenvectors(MatrixView a, std::span<double> values) const;
  // Copies the lower triangle of a square matrix over its upper one.
  void mirror_lower(MatrixView a) const;

 private:
  Status open();
  // Whether it is OpenBLAS.
  bool describe(void* library);
  // OpenBLAS's working memory of one thread; false where the process has none for it.
  bool take_buffer() const;
  bool is_shared(double multiplications) const { return team_for(multiplications) != nullptr; }
  // Pieces of the rows, or columns, of a result.
  void share(size_t size, size_t grain, const std::function<void(Range)>& piece) const;
  void share_rows(size_t rows, const std::function<void(Range)>& piece) const;
  void share_columns(size_t cols, const std::function<void(Range)>& piece) const;
  bool factor_by_blocks(MatrixView a) const;
  void divide_forward_by_blocks(ConstMatrixView l, Diagonal diagonal, std::span<double> x) const;
  void divide_backward_by_blocks(ConstMatrixView l, Diagonal diagonal, std::span<double> x) const;
  void multiply_vector_by_strips(ConstMatrixView a, std::span<const double> x, std::span<double> y,
                                 Triangle given) const;
  bool decompose(const char* job, MatrixView a, std::span<double> values) const;
  bool decompose_in_steps(MatrixView a, std::span<double> values) const;

  std::string description_;
  bool bears_threads_ = false;
  using Gemm = void (*)(const char*, const char*, const int*, const int*, const int*, const double*,
                        const double*, const int*, const double*, const int*, const double*,
                        double*, const int*);
  using Syrk = void (*)(const char*, const char*, const int*, const int*, const double*,
                        const double*, const int*, const double*, double*, const int*);
  using Triangular = void (*)(const char*, const char*, const char*, const char*, const int*,
                              const int*, const double*, const double*, const int*, double*,
                              const int*);
  using TriangularVector = void (*)(const char*, const char*, const char*, const int*,
                                    const double*, const int*, double*, const int*);
  using Symv = void (*)(const char*, const int*, const double*, const double*, const int*,
                        const double*, const int*, const double*, double*, const int*);
  using Gemv = void (*)(const char*, const int*, const int*, const double*, const double*,
                        const int*, const double*, const int*, const double*, double*, const int*);
  using Potrf = void (*)(const char*, const int*, double*, const int*, int*);
  using Syevd = void (*)(const char*, const char*, const int*, double*, const int*, double*,
                         double*, const int*, int*, const int*, int*);
  using Sytrd = void (*)(const char*, const int*, double*, const int*, double*, double*, double*,
                         double*, const int*, int*);
  using Stedc = void (*)(const char*, const int*, double*, double*, double*, const int*, double*,
                         const int*, int*, const int*, int*);
  using Ormtr = void (*)(const char*, const char*, const char*, const int*, const int*,
                         const double*, const int*, const double*, double*, const int*, double*,
                         const int*, int*);
  ThreadTeam* team_ = nullptr;
  Gemm gemm_ = nullptr;
  Syrk syrk_ = nullptr;
  Triangular trmm_ = nullptr;
  Triangular trsm_ = nullptr;
  TriangularVector trsv_ = nullptr;
  Symv symv_ = nullptr;
  Gemv gemv_ = nullptr;
  Potrf potrf_ = nullptr;
  Syevd syevd_ = nullptr;
  Sytrd sytrd_ = nullptr;
  Stedc stedc_ = nullptr;
  Ormtr ormtr_ = nullptr;
};

}  // namespace vorlan::conic
