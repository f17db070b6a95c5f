// Why a model has no optimum, in the words of the model: the constraints and bounds that contradict
// each other, or the variables along which the objective has no end.
#pragma once

#include <string>

#include "solve/backend.h"

namespace vorlan {

// A line for the log; empty for a solution that is no certificate, when there is no conflict.
std::string explain(const Model& model, SolutionKind kind, const Solution& solution,
                    const Conflict& conflict);

}  // namespace vorlan
