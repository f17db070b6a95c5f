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
  kSets,
  kIndicators,
};
inline constexpr size_t kNumModelParts = 12;

struct ModelFault {
  ModelPart part = ModelPart::kObjective;
  std::string text;  // empty: no fault
};

ModelFault find_model_fault(const Model& model);

// What is wrong with a set, and with an indicator, for readers that know their places; empty if
// nothing is. The lists of quadratic terms and of elements of matrix variables must be sorted.
std::string find_set_fault(const Model& model, const OrderedSet& set);
std::string find_indicator_fault(const Model& model, const Indicator& indicator);

// Brings the members of a set into the order of their weights, if these are finite.
void sort_members(OrderedSet* set);

// The part of the above that says whether the columns of the matrix can be gone through.
ModelFault find_start_fault(const Model& model);

}  // namespace vorlan
