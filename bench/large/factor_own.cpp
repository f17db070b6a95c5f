// The conic method's sparse factorization; see factor_figures.h.
// usage: bench_factor_own KIND SIZE SIZE
#include "large/factor_figures.h"

namespace {

using vorlan::conic::DenseAlgebra;
using vorlan::conic::SparseLdl;
using vorlan::conic::UpperTriangle;

FactorFigures measure(const UpperTriangle& matrix) {
  vorlan::Status failure;
  const std::vector<int8_t> signs(static_cast<size_t>(matrix.order), 1);
  SparseLdl ldl;
  ldl.use(DenseAlgebra::load(&failure));
  FactorFigures figures;
  figures.time_analysis([&] { ldl.analyze(matrix, {}); });
  figures.time_factorization([&] { ldl.factor(matrix, signs); });
  figures.elements = 1e-6 * static_cast<double>(ldl.num_elements());
  return figures;
}

}  // namespace

int main(int argc, char** argv) { return print_factor_figures(argc, argv, measure); }
