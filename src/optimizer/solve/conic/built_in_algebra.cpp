// Each routine puts Eigen's views over its arguments.
#include "solve/conic/built_in_algebra.h"

#include <Eigen/Dense>
#include <cassert>

namespace vorlan::conic::built_in {
namespace {

using Stride = Eigen::OuterStride<>;
using Matrix = Eigen::Map<Eigen::MatrixXd, Eigen::Unaligned, Stride>;
using ConstMatrix = Eigen::Map<const Eigen::MatrixXd, Eigen::Unaligned, Stride>;
using Vector = Eigen::Map<Eigen::VectorXd>;
using ConstVector = Eigen::Map<const Eigen::VectorXd>;

bool is_transposed(const char* op) { return *op == 'T'; }

// A product is not added to what is there where beta is 0, which may be no number.
template <class To, class Product>
void assign(double alpha, const Product& product, double beta, To to) {
  if (beta == 0.0) {
    to.noalias() = alpha * product;
  } else {
    if (beta != 1.0) to *= beta;
    to.noalias() += alpha * product;
  }
}

// Calls act with the lower triangle of the matrix, or its transpose, as a factor.
template <class Act>
void with_triangle(const char* op, const char* diagonal, const ConstMatrix& a, const Act& act) {
  const bool is_unit = *diagonal == 'U';
  if (is_transposed(op)) {
    const auto upper = a.transpose();
    is_unit ? act(upper.triangularView<Eigen::UnitUpper>())
            : act(upper.triangularView<Eigen::Upper>());
  } else {
    is_unit ? act(a.triangularView<Eigen::UnitLower>()) : act(a.triangularView<Eigen::Lower>());
  }
}

}  // namespace

void gemm(const char* op_a, const char* op_b, const int* m, const int* n, const int* k,
          const double* alpha, const double* a, const int* lda, const double* b, const int* ldb,
          const double* beta, double* c, const int* ldc) {
  const bool turns_a = is_transposed(op_a);
  const bool turns_b = is_transposed(op_b);
  const ConstMatrix left(a, turns_a ? *k : *m, turns_a ? *m : *k, Stride(*lda));
  const ConstMatrix right(b, turns_b ? *n : *k, turns_b ? *k : *n, Stride(*ldb));
  const Matrix to(c, *m, *n, Stride(*ldc));
  if (turns_a && turns_b) return assign(*alpha, left.transpose() * right.transpose(), *beta, to);
  if (turns_a) return assign(*alpha, left.transpose() * right, *beta, to);
  if (turns_b) return assign(*alpha, left * right.transpose(), *beta, to);
  assign(*alpha, left * right, *beta, to);
}

void syrk([[maybe_unused]] const char* uplo, [[maybe_unused]] const char* op, const int* n,
          const int* k, const double* alpha, const double* a, const int* lda,
          [[maybe_unused]] const double* beta, double* c, const int* ldc) {
  assert(*uplo == 'L' && !is_transposed(op) && *beta == 0.0);
  const ConstMatrix factor(a, *n, *k, Stride(*lda));
  Matrix to(c, *n, *n, Stride(*ldc));
  to.triangularView<Eigen::Lower>() = *alpha * factor * factor.transpose();
}

void trmm(const char* side, [[maybe_unused]] const char* uplo, const char* op, const char* diagonal,
          const int* m, const int* n, [[maybe_unused]] const double* alpha, const double* a,
          const int* lda, double* b, const int* ldb) {
  assert(*uplo == 'L' && *alpha == 1.0);
  const bool is_left = *side == 'L';
  const int order = is_left ? *m : *n;
  Matrix to(b, *m, *n, Stride(*ldb));
  with_triangle(op, diagonal, ConstMatrix(a, order, order, Stride(*lda)), [&](const auto& factor) {
    if (is_left) {
      to = (factor * to).eval();
    } else {
      to = (to * factor).eval();
    }
  });
}

void trsm([[maybe_unused]] const char* side, [[maybe_unused]] const char* uplo, const char* op,
          const char* diagonal, const int* m, const int* n, [[maybe_unused]] const double* alpha,
          const double* a, const int* lda, double* b, const int* ldb) {
  assert(*side == 'R' && *uplo == 'L' && *alpha == 1.0);
  Matrix to(b, *m, *n, Stride(*ldb));
  with_triangle(op, diagonal, ConstMatrix(a, *n, *n, Stride(*lda)),
                [&](const auto& divisor) { divisor.template solveInPlace<Eigen::OnTheRight>(to); });
}

void trsv([[maybe_unused]] const char* uplo, const char* op, const char* diagonal, const int* n,
          const double* a, const int* lda, double* x, [[maybe_unused]] const int* step) {
  assert(*uplo == 'L' && *step == 1);
  Vector to(x, *n);
  with_triangle(op, diagonal, ConstMatrix(a, *n, *n, Stride(*lda)),
                [&](const auto& divisor) { divisor.solveInPlace(to); });
}

void symv(const char* uplo, const int* n, const double* alpha, const double* a, const int* lda,
          const double* x, [[maybe_unused]] const int* step_x, [[maybe_unused]] const double* beta,
          double* y, [[maybe_unused]] const int* step_y) {
  assert(*step_x == 1 && *step_y == 1 && *beta == 0.0);
  const ConstMatrix matrix(a, *n, *n, Stride(*lda));
  const ConstVector from(x, *n);
  Vector to(y, *n);
  if (*uplo == 'L') {
    to.noalias() = *alpha * (matrix.selfadjointView<Eigen::Lower>() * from);
  } else {
    to.noalias() = *alpha * (matrix.selfadjointView<Eigen::Upper>() * from);
  }
}

void gemv(const char* op, const int* m, const int* n, const double* alpha, const double* a,
          const int* lda, const double* x, [[maybe_unused]] const int* step_x, const double* beta,
          double* y, [[maybe_unused]] const int* step_y) {
  assert(*step_x == 1 && *step_y == 1);
  const ConstMatrix matrix(a, *m, *n, Stride(*lda));
  if (is_transposed(op)) {
    assign(*alpha, matrix.transpose() * ConstVector(x, *m), *beta, Vector(y, *n));
  } else {
    assign(*alpha, matrix * ConstVector(x, *n), *beta, Vector(y, *m));
  }
}

void potrf([[maybe_unused]] const char* uplo, const int* n, double* a, const int* lda, int* info) {
  assert(*uplo == 'L');
  Matrix matrix(a, *n, *n, Stride(*lda));
  // Eigen goes on with pivots that are no numbers.
  const Eigen::LLT<Eigen::Ref<Eigen::MatrixXd, Eigen::Unaligned, Stride>> factor(matrix);
  const bool is_definite = factor.info() == Eigen::Success && matrix.diagonal().allFinite();
  *info = is_definite ? 0 : 1;
}

void syevd(const char* job, [[maybe_unused]] const char* uplo, const int* n, double* a,
           const int* lda, double* values, double* work, const int* work_size, int* integers,
           [[maybe_unused]] const int* integer_size, int* info) {
  assert(*uplo == 'L');
  *info = 0;
  if (*work_size < 0) {
    *work = 1.0;
    *integers = 1;
    return;
  }
  Matrix matrix(a, *n, *n, Stride(*lda));
  const bool has_vectors = *job == 'V';
  const Eigen::SelfAdjointEigenSolver<Eigen::MatrixXd> solver(
      matrix, has_vectors ? Eigen::ComputeEigenvectors : Eigen::EigenvaluesOnly);
  if (solver.info() != Eigen::Success) {
    *info = 1;
    return;
  }
  Vector(values, *n) = solver.eigenvalues();
  if (has_vectors) matrix = solver.eigenvectors();
}

}  // namespace vorlan::conic::built_in
