// Proofs that a model has no optimum.
//
// Rays are read last, because asking for one may solve again and so change everything else.
#pragma once

#include "solve/backend.h"

class Highs;

namespace vorlan {

// True for an outcome that is a claim and needs a certificate.
bool lacks_certificate(Outcome outcome);

// The certificate of a linear model without an optimum. Presolve and interior point leave none, so
// that the model may have to be solved again by the simplex method alone. What the first solve
// claimed stands when the second is stopped; it falls when the second is done and has no proof.
void certify(const MinimizeProblem& problem, const Parameters& parameters, double seconds,
             BackendMonitor* monitor, Highs* highs, BackendResult* result);

// Branch and bound does not tell unbounded from infeasible. A mixed-integer model that has a point,
// and a relaxation with a ray, is unbounded: numbers are rational here, so that some multiple of
// the ray leads from integers to integers.
void tell_unbounded(const MinimizeProblem& problem, const Parameters& parameters, double seconds,
                    Highs* highs, BackendResult* result);

}  // namespace vorlan
