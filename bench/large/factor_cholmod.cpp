// CHOLMOD's supernodal factorization; see factor_figures.h.
// usage: bench_factor_cholmod KIND SIZE SIZE
#include <suitesparse/cholmod.h>

#include <algorithm>

#include "large/factor_figures.h"

namespace {

using vorlan::conic::UpperTriangle;

cholmod_sparse* copy(const UpperTriangle& matrix, cholmod_common* common) {
  const auto order = static_cast<size_t>(matrix.order);
  cholmod_sparse* to =
      cholmod_l_allocate_sparse(order, order, matrix.row.size(), 1, 1, 1, CHOLMOD_REAL, common);
  std::copy(matrix.start.begin(), matrix.start.end(), static_cast<SuiteSparse_long*>(to->p));
  std::copy(matrix.row.begin(), matrix.row.end(), static_cast<SuiteSparse_long*>(to->i));
  std::copy(matrix.value.begin(), matrix.value.end(), static_cast<double*>(to->x));
  return to;
}

FactorFigures measure(const UpperTriangle& matrix) {
  cholmod_common common;
  cholmod_l_start(&common);
  common.supernodal = CHOLMOD_SUPERNODAL;
  cholmod_sparse* a = copy(matrix, &common);
  cholmod_factor* factor = nullptr;
  FactorFigures figures;
  figures.time_analysis([&] { factor = cholmod_l_analyze(a, &common); });
  figures.time_factorization([&] { cholmod_l_factorize(a, factor, &common); });
  figures.elements = 1e-6 * common.lnz;
  cholmod_l_free_factor(&factor, &common);
  cholmod_l_free_sparse(&a, &common);
  cholmod_l_finish(&common);
  return figures;
}

}  // namespace

int main(int argc, char** argv) { return print_factor_figures(argc, argv, measure); }
