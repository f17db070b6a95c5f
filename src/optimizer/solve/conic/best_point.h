// The best iterate so far.
//
// Rounding makes the last iterates of a run worse than those before, so that the answer is not the
// last one.
#pragma once

#include <algorithm>

#include "solve/conic/iterate.h"

namespace vorlan::conic {

class BestPoint {
 public:
  explicit BestPoint(const Tolerances& tolerances) : tolerances_(tolerances) {}

  // Takes the iterate if it is nearer to its tolerances than the best one.
  void offer(const Iterate& iterate, const Measures& measures) {
    if (measures.worst(tolerances_) < worst()) hold(iterate, measures);
  }
  // Takes the iterate if it is nearer to feasible, primal and dual, or if it is as feasible as the
  // tolerances ask for and its gap is less.
  void offer_feasible(const Iterate& iterate, const Measures& measures) {
    const double now = std::max(1.0, infeasibility(measures));
    const double before = std::max(1.0, infeasibility(measures_));
    if (now < before || (now == before && measures.gap < measures_.gap)) hold(iterate, measures);
  }
  // Takes the iterate, whatever was held.
  void hold(const Iterate& iterate, const Measures& measures) {
    iterate_.take_scalars(iterate);
    iterate_.matrices.resize(iterate.matrices.size());
    for (size_t m = 0; m < iterate.matrices.size(); ++m) {
      iterate_.matrices[m].x = iterate.matrices[m].x;
    }
    measures_ = measures;
  }

  // Without the duals of matrix variables, which the others determine.
  const Iterate& iterate() const { return iterate_; }
  // All infinite before the first iterate.
  const Measures& measures() const { return measures_; }
  double worst() const { return measures_.worst(tolerances_); }

 private:
  double infeasibility(const Measures& measures) const {
    return std::max(measures.primal, measures.dual) / tolerances_.feasibility;
  }

  Tolerances tolerances_;
  Iterate iterate_;
  Measures measures_;
};

}  // namespace vorlan::conic
