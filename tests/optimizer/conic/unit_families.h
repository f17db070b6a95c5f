// Families of small models that are the same model in every unit: money in millions, lengths in
// nanometres. Each has its answer as a formula. An optimizer that gets one of them right in one
// unit only hangs on absolute tolerances.
#pragma once

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include "task/model.h"

namespace vorlan::test {

enum class KnownStatus { kOptimal, kInfeasible, kUnbounded };

struct UnitModel {
  Model model;
  KnownStatus status = KnownStatus::kOptimal;
  double objective = 0.0;
  // What errors of the objective are relative to: its own size, or that of what is added up in it.
  double size = 0.0;
};

struct UnitFamily {
  const char* name;
  UnitModel (*make)(double unit);
};

inline void PrintTo(const UnitFamily& family, std::ostream* out) { *out << family.name; }

const std::vector<UnitFamily>& linear_unit_families();
// With quadratic terms, cones or matrix variables.
const std::vector<UnitFamily>& curved_unit_families();

// Multiplies rows, columns and the objective by powers of two from 2^-range to 2^range, chosen by
// the seed, which is the same model in other units. All members of a cone get one factor, and a
// matrix variable a congruence by a diagonal matrix. The objective is that of the new model.
void rescale(uint32_t seed, int range, UnitModel* known);

// Rotated cones and power cones, in which each of the first members may have a unit of its own, if
// the others have the weighted geometric mean of these.
bool has_axes(const Cone& cone);
// Gives the first members of these cones such units, which is the same model, too. Quadratic
// constraints stay as they are, and must not contain members of such cones.
void rescale_axes(uint32_t seed, int range, UnitModel* known);

}  // namespace vorlan::test
