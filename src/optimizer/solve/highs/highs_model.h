// The task's model as HiGHS takes it.
#pragma once

#include "solve/backend.h"

class Highs;

namespace vorlan {

class SemiContinuous;

// Hands the model over; semi-continuous variables are what *semi makes of them. A failure says what
// HiGHS cannot take.
[[nodiscard]] Status pass_model(const MinimizeProblem& problem, SemiContinuous* semi, Highs* highs);

// True when the model has a number that HiGHS does not take as it is, unless it is told to: bounds
// and costs that count as infinite, coefficients that count as 0 or are refused.
bool has_extreme_numbers(const MinimizeProblem& problem);

}  // namespace vorlan
