// Factors a matrix made from a model with structure by CHOLMOD's supernodal one. Prints the processor seconds of
// ordering and analysis, those of the numbers (the least of three), and the millions of elements of the
// factor. The two programs are apart, since each brings a BLAS.
// usage: bench_factor_cholmod KIND SIZE SIZE   (structured_model.h has the kinds)
#include <suitesparse/cholmod.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "formats/processor_time.h"
#include "large/normal_matrix.h"

namespace {

using vorlan::conic::UpperTriangle;

struct Figures {
  double analysis = 0.0;
  double factorization = 1e300;
  double elements = 0.0;  // millions
};

cholmod_sparse* copy(const UpperTriangle& matrix, cholmod_common* common) {
  const auto order = static_cast<size_t>(matrix.order);
  cholmod_sparse* to =
      cholmod_l_allocate_sparse(order, order, matrix.row.size(), 1, 1, 1, CHOLMOD_REAL, common);
  std::copy(matrix.start.begin(), matrix.start.end(), static_cast<SuiteSparse_long*>(to->p));
  std::copy(matrix.row.begin(), matrix.row.end(), static_cast<SuiteSparse_long*>(to->i));
  std::copy(matrix.value.begin(), matrix.value.end(), static_cast<double*>(to->x));
  return to;
}

Figures measure(const UpperTriangle& matrix) {
  cholmod_common common;
  cholmod_l_start(&common);
  common.supernodal = CHOLMOD_SUPERNODAL;
  cholmod_sparse* a = copy(matrix, &common);
  Figures figures;
  double begin = processor_seconds();
  cholmod_factor* factor = cholmod_l_analyze(a, &common);
  figures.analysis = processor_seconds() - begin;
  for (int round = 0; round < 3; ++round) {
    begin = processor_seconds();
    cholmod_l_factorize(a, factor, &common);
    figures.factorization = std::min(figures.factorization, processor_seconds() - begin);
  }
  figures.elements = 1e-6 * common.lnz;
  cholmod_l_free_factor(&factor, &common);
  cholmod_l_free_sparse(&a, &common);
  cholmod_l_finish(&common);
  return figures;
}

}  // namespace

int main(int argc, char** argv) {
  StructuredModel model;
  if (argc != 4 ||
      !StructuredModel::make(argv[1], std::atoi(argv[2]), std::atoi(argv[3]), &model)) {
    std::fprintf(stderr, "usage: %s KIND SIZE SIZE\n", argv[0]);
    return 2;
  }
  const Figures figures = measure(normal_matrix(model));
  std::printf("%.4f %.4f %.3f\n", figures.analysis, figures.factorization, figures.elements);
  return 0;
}
