// The table of backends.
#include "solve/choose_backend.h"

#include "solve/conic/conic_backend.h"
#include "solve/highs/highs_backend.h"
#include "solve/outer/outer_backend.h"

namespace vorlan {

bool wants_conic_method(const Model& model, const Parameters& parameters) {
  if (model.is_mixed_integer()) return false;
  return !model.is_linear() || parameters.get(IntParam::kOptimizer) == kConicMethod;
}

const Backend* choose_backend(const Model& model, const Parameters& parameters) {
  if (wants_conic_method(model, parameters)) return &kConicBackend;
  if (kHighsBackend.accepts(model)) return &kHighsBackend;
  return kOuterApproximationBackend.accepts(model) ? &kOuterApproximationBackend : nullptr;
}

}  // namespace vorlan
