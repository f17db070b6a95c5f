// The task's parameters as HiGHS options.
#pragma once

#include "task/parameters.h"
#include "task/status.h"

class Highs;

namespace vorlan {

// Values of HiGHS's option simplex_strategy.
inline constexpr int kHighsDualStrategy = 1;
inline constexpr int kHighsPrimalStrategy = 4;

// HiGHS's interior-point method can go round forever, on tiny models too; one that works takes less
// than half as many iterations.
inline constexpr int32_t kInteriorStallIterations = 500;

enum class HighsMethod { kLinear, kBranchAndCut };

// Sets all options for a solve of at most the given seconds.
Status set_highs_options(const Parameters& parameters, HighsMethod method, double seconds,
                         Highs* highs);

// Makes very large and very small numbers of the model count as they are, as far as HiGHS lets
// them. By custom bounds and costs from 1e20 on are infinite, coefficients up to 1e-9 are 0 and
// those from 1e15 on are refused: that spares numerical trouble where they are not meant.
void take_numbers_literally(Highs* highs);

}  // namespace vorlan
