// Which backend solves a model.
#pragma once

#include "solve/backend.h"

namespace vorlan {

// Whether the conic method is for this model: a continuous one with quadratic terms, cones or
// matrix variables, or any continuous one where the parameter asks for it.
bool wants_conic_method(const Model& model, const Parameters& parameters);

// The backend for the model, or nullptr when none takes it.
const Backend* choose_backend(const Model& model, const Parameters& parameters);

}  // namespace vorlan
