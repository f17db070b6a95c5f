// The best iterate so far.
//
// Rounding makes the last iterates of a run worse than those before, so that the answer is not the
// last one.
#pragma once

#include <algorithm>
#include <memory>
#include <utility>

#include "solve/conic/iterate.h"

namespace vorlan::conic {

class BestPoint {
 public:
  explicit BestPoint(const Tolerances& tolerances) : tolerances_(tolerances) {}

  // Says whether an iterate is nearer to its tolerances than the one that is held.
  bool is_farther_than(const Measures& measures) const {
    return measures.worst(tolerances_) < worst();
  }
  // Says whether an iterate is nearer to feasible, primal and dual, or as feasible as the
  // tolerances ask for with a gap that is less.
  bool is_less_feasible_than(const Measures& measures) const {
    const double now = std::max(1.0, infeasibility(measures));
    const double before = std::max(1.0, infeasibility(measures_));
    return now < before || (now == before && measures.gap < measures_.gap);
  }
  // Takes the iterate, whatever was held. One that several hold takes the memory of one.
  void hold(std::shared_ptr<const Iterate> iterate, const Measures& measures) {
    iterate_ = std::move(iterate);
    measures_ = measures;
  }

  // Without the duals of matrix variables, which the others determine.
  const Iterate& iterate() const { return *iterate_; }
  // All infinite before the first iterate.
  const Measures& measures() const { return measures_; }
  double worst() const { return measures_.worst(tolerances_); }

 private:
  double infeasibility(const Measures& measures) const {
    return std::max(measures.primal, measures.dual) / tolerances_.feasibility;
  }

  Tolerances tolerances_;
  std::shared_ptr<const Iterate> iterate_ = std::make_shared<const Iterate>();
  Measures measures_;
};

}  // namespace vorlan::conic
