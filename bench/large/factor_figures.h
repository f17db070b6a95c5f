// The programs that factor the matrix of a model with structure, apart from how they do it: each has
// a library of its own, which brings a BLAS. They print the processor seconds of ordering and
// analysis, those of the numbers (the least of three), and the millions of elements of the factor.
#pragma once

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "formats/processor_time.h"
#include "large/normal_matrix.h"

struct FactorFigures {
  double analysis = 0.0;
  double factorization = 1e300;
  double elements = 0.0;  // millions

  template <class Analyze>
  void time_analysis(const Analyze& analyze) {
    const double begin = processor_seconds();
    analyze();
    analysis = processor_seconds() - begin;
  }
  template <class Factor>
  void time_factorization(const Factor& factor) {
    for (int round = 0; round < 3; ++round) {
      const double begin = processor_seconds();
      factor();
      factorization = std::min(factorization, processor_seconds() - begin);
    }
  }
};

// The exit status of a program with the arguments KIND SIZE SIZE (structured_model.h has the kinds).
template <class Measure>
int print_factor_figures(int argc, char** argv, const Measure& measure) {
  StructuredModel model;
  if (argc != 4 ||
      !StructuredModel::make(argv[1], std::atoi(argv[2]), std::atoi(argv[3]), &model)) {
    std::fprintf(stderr, "usage: %s KIND SIZE SIZE\n", argv[0]);
    return 2;
  }
  const FactorFigures figures = measure(normal_matrix(model));
  std::printf("%.4f %.4f %.3f\n", figures.analysis, figures.factorization, figures.elements);
  return 0;
}
