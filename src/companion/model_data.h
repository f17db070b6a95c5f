// The data of a model. The C interface has no operations for them, so the session writes its model as a
// JSON task file, which docs/formats/task.md describes, and this reads that.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "session.h"

namespace vorlan::companion {

enum class Kind { kContinuous = 0, kInteger = 1, kSemiContinuous = 2, kSemiInteger = 3 };

enum class ConeKind {
  kQuadratic = 0,
  kRotatedQuadratic = 1,
  kExponential = 2,
  kDualExponential = 3,
  kPower = 4,
  kDualPower = 5,
};

struct Range {
  double lower = 0.0;
  double upper = 0.0;
};

// One term of a row or of the objective; `owner` is the row, and 0 of the objective.
struct LinearTerm {
  int owner = 0;
  int variable = 0;
  double value = 0.0;
};

// An element of the lower triangle of Q in 1/2 x'Qx.
struct QuadraticTerm {
  int owner = 0;
  int row = 0;
  int column = 0;
  double value = 0.0;
};

// An element of the lower triangle of A in <A, X>.
struct MatrixTerm {
  int owner = 0;
  int matrix = 0;
  int row = 0;
  int column = 0;
  double value = 0.0;
};

struct ModelCone {
  std::string name;
  ConeKind kind = ConeKind::kQuadratic;
  std::vector<int> members;
  std::vector<double> exponents;
};

// A special ordered set: at most so many members that are next to each other may differ from 0.
struct ModelSet {
  std::string name;
  int most = 1;              // 1 or 2, by its type
  std::vector<int> members;  // in the order of their weights
};

// The constraint holds where the binary variable has the value, and nowhere else.
struct Indicator {
  int constraint = 0;
  int variable = 0;
  double value = 1.0;
};

struct ModelData {
  bool maximize = false;
  double constant = 0.0;
  std::vector<double> cost;
  std::vector<Range> bounds;  // of the variables
  std::vector<Kind> kinds;
  std::vector<std::string> variable_names;
  std::vector<Range> sides;  // of the constraints
  std::vector<std::string> constraint_names;
  std::vector<LinearTerm> terms;
  std::vector<QuadraticTerm> quadratic_cost;
  std::vector<QuadraticTerm> quadratic_terms;
  std::vector<MatrixTerm> matrix_cost;
  std::vector<MatrixTerm> matrix_terms;
  std::vector<ModelCone> cones;
  std::vector<ModelSet> sets;
  std::vector<Indicator> indicators;
  std::vector<int> dimensions;  // of the matrix variables
  std::vector<std::string> matrix_names;
  std::vector<std::string> unknown_parts;  // keys of the file that this program does not know
};

// The data of the session's model.
ModelData read_model_data(Session& session);

// The bound that the last mixed-integer solve proved on the objective; not a number where there is none.
double read_bound(Session& session);

}  // namespace vorlan::companion
