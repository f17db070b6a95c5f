// HiGHS as a backend for linear and mixed-integer models. Only this folder knows HiGHS.
#pragma once

#include "solve/backend.h"

namespace vorlan {

extern const Backend kHighsBackend;

}  // namespace vorlan
