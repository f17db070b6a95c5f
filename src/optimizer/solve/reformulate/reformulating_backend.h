// The backend in front of the others for models with special ordered sets, indicators or products of
// binary variables: it gives the model another form, solves that, and answers for the model itself.
#pragma once

#include "solve/backend.h"

namespace vorlan {

// True if a model is for it: a mixed-integer one that has sets or indicators, or quadratic terms of
// binary variables. Where these are convex, the model stays as it is.
bool may_need_reformulation(const Model& model);

extern const Backend kReformulatingBackend;

}  // namespace vorlan
