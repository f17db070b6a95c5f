// The task's parameters as HiGHS options.
#pragma once

#include "task/parameters.h"
#include "task/status.h"

class Highs;

namespace vorlan {

// Sets all options for a solve of at most the given seconds.
Status set_highs_options(const Parameters& parameters, double seconds, Highs* highs);

}  // namespace vorlan
