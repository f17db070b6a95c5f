// Translates what HiGHS ended with into the library's outcomes, points and certificates, so that
// nothing else needs to know HiGHS's words for them.
#pragma once

#include <string>

#include "solve/backend.h"

class Highs;

namespace vorlan {

void stop_with(Code termination, BackendResult* result);

// Outcome and termination code from HiGHS's status. False when that is a failure.
bool set_outcome(const Highs& highs, const Parameters& parameters, BackendResult* result);

// Status keys, where HiGHS has a basis.
void copy_basis(const Highs& highs, const Model& model, BackendResult* result);

// Point, duals and status keys, as far as HiGHS has them.
void copy_solution(const Highs& highs, const Model& model, BackendResult* result);

// Iterations, nodes, objective, bound and gap; without the constant that HiGHS counts in.
void copy_figures(const Highs& highs, const MinimizeProblem& problem, Progress* progress);

// An answer in the words of the log: the objective and violation of a linear model's point. A
// mixed-integer model's may be in other units than the user's.
std::string describe_answer(const MinimizeProblem& problem, const BackendResult& result);

}  // namespace vorlan
