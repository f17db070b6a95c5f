// Holds a point against a model's data: how far each row, bound, integer and cone is from being
// satisfied. Nothing of the optimizer takes part, so that this is a second opinion.
#pragma once

#include <string>
#include <vector>

#include "model_data.h"

namespace vorlan::companion {

struct Point {
  std::vector<double> values;                 // of the variables
  std::vector<std::vector<double>> matrices;  // packed lower triangles, column by column
};

enum class Requirement { kRow, kBound, kIntegrality, kCone, kMatrix, kSet };

struct Violation {
  Requirement requirement = Requirement::kRow;
  std::string name;
  double value = 0.0;   // of the row or the variable; of a matrix variable its least eigenvalue
  double amount = 0.0;  // by which it is violated, 0 where it is not
  double scale = 1.0;   // 1 + the size of the side that is violated
  std::string side;     // what is violated, as in ">= 3"
};

struct PointCheck {
  double objective = 0.0;
  std::vector<Violation> violations;         // all that are above 0
  std::vector<std::string> unchecked_parts;  // of the model
};

// The point has the model's sizes.
PointCheck check_point(const ModelData& model, const Point& point);

// True where the violation counts: its amount, relative to the scale, is above the tolerance.
inline bool counts(const Violation& violation, double tolerance) {
  return violation.amount > tolerance * violation.scale;
}

// True of the kinds that must be whole.
inline bool is_whole(Kind kind) { return kind == Kind::kInteger || kind == Kind::kSemiInteger; }

// A word for each requirement: "constraint", "bound", "integer", "cone", "matrix variable", "set".
const char* word(Requirement requirement);

}  // namespace vorlan::companion
