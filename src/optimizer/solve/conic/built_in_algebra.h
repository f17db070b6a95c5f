// Dense linear algebra of small models: the routines of BLAS and LAPACK that dense_algebra.h calls,
// out of Eigen.
//
// Loading a library of BLAS takes some milliseconds, mostly for its tables of kernels. A model of a
// few small matrix variables is solved in less.
#pragma once

namespace vorlan::conic::built_in {

// These take the arguments of the routines with their names, but only the cases that
// dense_algebra.cpp asks for: lower triangles, vectors without gaps, and syevd with any size of its
// work space.
void gemm(const char* op_a, const char* op_b, const int* m, const int* n, const int* k,
          const double* alpha, const double* a, const int* lda, const double* b, const int* ldb,
          const double* beta, double* c, const int* ldc);
void syrk(const char* uplo, const char* op, const int* n, const int* k, const double* alpha,
          const double* a, const int* lda, const double* beta, double* c, const int* ldc);
void trmm(const char* side, const char* uplo, const char* op, const char* diagonal, const int* m,
          const int* n, const double* alpha, const double* a, const int* lda, double* b,
          const int* ldb);
void trsm(const char* side, const char* uplo, const char* op, const char* diagonal, const int* m,
          const int* n, const double* alpha, const double* a, const int* lda, double* b,
          const int* ldb);
void trsv(const char* uplo, const char* op, const char* diagonal, const int* n, const double* a,
          const int* lda, double* x, const int* step);
void symv(const char* uplo, const int* n, const double* alpha, const double* a, const int* lda,
          const double* x, const int* step_x, const double* beta, double* y, const int* step_y);
void gemv(const char* op, const int* m, const int* n, const double* alpha, const double* a,
          const int* lda, const double* x, const int* step_x, const double* beta, double* y,
          const int* step_y);
void potrf(const char* uplo, const int* n, double* a, const int* lda, int* info);
void syevd(const char* job, const char* uplo, const int* n, double* a, const int* lda,
           double* values, double* work, const int* work_size, int* integers,
           const int* integer_size, int* info);

}  // namespace vorlan::conic::built_in
