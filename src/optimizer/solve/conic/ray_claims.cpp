// The proof itself is the caller's, who knows the model.
#include "solve/conic/ray_claims.h"

namespace vorlan::conic {

bool RayClaims::claim(Certificate certificate, double violation, const Iterate& iterate,
                      InteriorPoint* result) {
  constexpr double kMuchBetter = 0.1;
  const bool dual = certificate == Certificate::kDualRay;
  double& refuted = dual ? refuted_dual_ : refuted_primal_;
  if (violation > kMuchBetter * refuted) return false;
  InteriorPoint ray;
  ray.outcome = dual ? Outcome::kInfeasible : Outcome::kUnbounded;
  ray.certificate = certificate;
  iterate.write(problem_, 1.0, &ray);
  if (!proves_(ray)) {
    refuted = violation;
    return false;
  }
  result->outcome = ray.outcome;
  result->certificate = certificate;
  return true;
}

}  // namespace vorlan::conic
