// HiGHS as a backend for linear and mixed-integer models. Only this folder knows HiGHS.
#pragma once

#include "solve/backend.h"

namespace vorlan {

extern const Backend kHighsBackend;

// This one is for mixed-integer relaxations, whose caller sees to their scale and looks at the
// integers itself: they are as near to whole numbers as the tolerance says, and large coefficients
// can make use of that.
extern const Backend kHighsRelaxationBackend;

}  // namespace vorlan
