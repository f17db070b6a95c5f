// The check that a model is one: its sizes fit each other, indices exist, lists are in their order,
// numbers have a meaning where they stand. A model from a file passes this check before anything
// else sees it, and a model that would not pass is not written.
#pragma once

#include <string>

#include "task/model.h"

namespace vorlan {

// The part of a model that has the fault, for a message that can name its place in a file.
enum class ModelPart : uint8_t {
  kObjective,
  kQuadraticCost,
  kMatrixCost,
  kVariables,
  kCones,
  kConstraints,
  kQuadraticCoefficients,
  kMatrixCoefficients,
  kCoefficients,
  kMatrixVariables,
};
inline constexpr size_t kNumModelParts = 10;

struct ModelFault {
  ModelPart part = ModelPart::kObjective;
  std::string text;  // empty: no fault
};

ModelFault find_model_fault(const Model& model);

// The part of the above that says whether the columns of the matrix can be gone through.
ModelFault find_start_fault(const Model& model);

}  // namespace vorlan
