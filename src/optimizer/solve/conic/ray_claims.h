// Claims that a model is infeasible or unbounded, by the ray that an iterate of the embedding is
// near to.
//
// A claim is made only with a proof, and a proof costs as much as an iteration or more. So a ray
// that was no proof is not looked at again before it is much better.
#pragma once

#include <utility>

#include "solve/conic/iterate.h"

namespace vorlan::conic {

class RayClaims {
 public:
  RayClaims(const ConicProblem& problem, RayProof proves)
      : problem_(problem), proves_(std::move(proves)) {}

  // True: the iterate's ray proves the claim, which the result states then. `violation` is what the
  // ray leaves of its conditions.
  bool claim(Certificate certificate, double violation, const Iterate& iterate,
             InteriorPoint* result);

 private:
  const ConicProblem& problem_;
  RayProof proves_;
  double refuted_dual_ = kInfinity, refuted_primal_ = kInfinity;  // violations of rays not proven
};

}  // namespace vorlan::conic
