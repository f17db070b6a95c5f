// Factors a matrix made from a model with structure by the conic method's sparse factorization. Prints the processor seconds of
// ordering and analysis, those of the numbers (the least of three), and the millions of elements of the
// factor. The two programs are apart, since each brings a BLAS.
// usage: bench_factor_own KIND SIZE SIZE   (structured_model.h has the kinds)
#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "formats/processor_time.h"
#include "large/normal_matrix.h"

namespace {

using vorlan::conic::DenseAlgebra;
using vorlan::conic::SparseLdl;
using vorlan::conic::UpperTriangle;

struct Figures {
  double analysis = 0.0;
  double factorization = 1e300;
  double elements = 0.0;  // millions
};

Figures measure(const UpperTriangle& matrix) {
  vorlan::Status failure;
  const std::vector<int8_t> signs(static_cast<size_t>(matrix.order), 1);
  SparseLdl ldl;
  ldl.use(DenseAlgebra::load(&failure));
  Figures figures;
  double begin = processor_seconds();
  ldl.analyze(matrix, {});
  figures.analysis = processor_seconds() - begin;
  for (int round = 0; round < 3; ++round) {
    begin = processor_seconds();
    ldl.factor(matrix, signs);
    figures.factorization = std::min(figures.factorization, processor_seconds() - begin);
  }
  figures.elements = 1e-6 * static_cast<double>(ldl.num_elements());
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
