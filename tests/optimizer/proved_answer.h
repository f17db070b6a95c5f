// Proofs of answers by code that shares nothing with the optimizer (tests/proofs).
#pragma once

#include <string>

#include "proofs/model.h"
#include "task/model.h"
#include "task/solution.h"

namespace vorlan::test {

// Of what answers claimed, what was proved again.
struct Proved {
  int infeasible = 0, unbounded = 0, optimal = 0;
  int all() const { return infeasible + unbounded + optimal; }
};

// The continuous part of a model, as a minimization.
proofs::Model proof_model(const Model& model);

// What errors are relative to, and how large they may be.
struct Allowed {
  double size = 0.0;  // the least that errors of objectives are relative to
  double tolerance = 1e-6;
};

// Proves what a solution of a continuous model claims: a certificate, or an optimum, whose point must
// be feasible and whose bound must hold. A status that claims neither leaves nothing to prove. Returns
// what is wrong; empty if nothing is.
std::string faults_of_proof(const Model& model, const Solution& solution, const Allowed& allowed,
                            Proved* proved);

}  // namespace vorlan::test
