// How large the data of a model make its variables and multipliers: the box that a proof is about.
//
// A ray in doubles that is wrong by its rounding still excludes all points up to some size. The
// verifier asks that these be larger by far than the sizes below, which scale in step with rows,
// columns, costs and right-hand sides. They are no part of the proof itself.
#pragma once

#include <vector>

#include "model.h"

namespace proofs {

struct Sizes {
  explicit Sizes(const Model& model);

  std::vector<double> var;                    // of x_j
  std::vector<double> row;                    // of the terms of a row
  std::vector<double> multiplier;             // of y_i
  std::vector<double> gradient;               // of the terms of a column
  std::vector<std::vector<double>> diagonal;  // of each matrix variable
  std::vector<std::vector<double>> diagonal_gradient;
};

}  // namespace proofs
