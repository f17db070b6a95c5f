// Dense linear algebra of the conic method: the few routines of BLAS and LAPACK that it needs, from
// the optimized library of the system.
//
// The library is loaded when a model needs it for the first time, not linked: it is large, and a
// linear model should start without it. Matrices are stored by column; symmetric ones in full.
#pragma once

#include <string>

namespace vorlan::conic {

class DenseAlgebra {
 public:
  // The library, or nullptr with a message that says what is missing. Loaded once a process.
  static const DenseAlgebra* load(std::string* message);

  // What was loaded, for the log: the library and the processor whose kernels it uses.
  const std::string& description() const { return description_; }

  // C = alpha op(A) op(B) + beta C, with C m x n and the inner dimension k.
  void multiply(bool transpose_a, bool transpose_b, int m, int n, int k, double alpha,
                const double* a, int lda, const double* b, int ldb, double beta, double* c,
                int ldc) const;
  // The lower triangle of C = alpha A A' + beta C, with A n x k.
  void rank_update(int n, int k, double alpha, const double* a, int lda, double beta, double* c,
                   int ldc) const;
  // The lower triangle of C = alpha op(A) op(B) + beta C, known to be symmetric of order n; saves
  // about half of multiply's work.
  void multiply_symmetric(bool transpose_a, bool transpose_b, int n, int k, double alpha,
                          const double* a, int lda, const double* b, int ldb, double beta,
                          double* c, int ldc) const;
  // B = L B or B = L' B (from the left), or B = B L or B L' (from the right), L lower triangular
  // of the order of B (m x n) on that side.
  void multiply_triangular(bool left, bool transpose, int m, int n, const double* l, int ldl,
                           double* b, int ldb) const;
  // B = B inv(L') with L unit lower triangular of order n, B m x n.
  void solve_unit_triangular(int m, int n, const double* l, int ldl, double* b, int ldb) const;
  // y = A x + beta y with A symmetric of order n in its lower triangle.
  void multiply_vector(int n, const double* a, int lda, const double* x, double beta,
                       double* y) const;
  // The lower Cholesky factor over A's lower triangle; false: not positive definite.
  bool factor_cholesky(int n, double* a, int lda) const;
  // Eigenvalues, ascending, of the symmetric A in its lower triangle; with vectors they replace A.
  // False: no convergence.
  bool eigenvalues(bool vectors, int n, double* a, int lda, double* values) const;

 private:
  bool open(std::string* message);
  void describe(void* library);

  std::string description_;
  using Gemm = void (*)(const char*, const char*, const int*, const int*, const int*, const double*,
                        const double*, const int*, const double*, const int*, const double*,
                        double*, const int*);
  using Syrk = void (*)(const char*, const char*, const int*, const int*, const double*,
                        const double*, const int*, const double*, double*, const int*);
  using Triangular = void (*)(const char*, const char*, const char*, const char*, const int*,
                              const int*, const double*, const double*, const int*, double*,
                              const int*);
  using Symv = void (*)(const char*, const int*, const double*, const double*, const int*,
                        const double*, const int*, const double*, double*, const int*);
  using Potrf = void (*)(const char*, const int*, double*, const int*, int*);
  using Syevd = void (*)(const char*, const char*, const int*, double*, const int*, double*,
                         double*, const int*, int*, const int*, int*);
  Gemm gemm_ = nullptr;
  Syrk syrk_ = nullptr;
  Triangular trmm_ = nullptr;
  Triangular trsm_ = nullptr;
  Symv symv_ = nullptr;
  Potrf potrf_ = nullptr;
  Syevd syevd_ = nullptr;
};

// Copies the lower triangle of a matrix of order n over its upper one.
void mirror_lower(int n, double* a, int lda);

}  // namespace vorlan::conic
