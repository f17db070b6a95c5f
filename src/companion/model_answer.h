// The result of a solve, in words for people and as an exit status for scripts.
#pragma once

#include <string>
#include <vector>

#include "session.h"

namespace vorlan::companion {

// The ways in which a solve ends. The number is the exit status of the program.
enum class SolveOutcome {
  kOptimal = 0,
  kFailed = 1,  // the model could not be read, solved or written
  kUsage = 2,
  kInfeasible = 3,
  kUnbounded = 4,
  kStoppedWithPoint = 5,
  kStoppedWithoutPoint = 6,
  kUnknown = 7,
};

struct Item {
  std::string name;
  double value = 0.0;
  double dual = 0.0;  // of a variable its reduced cost, of a constraint its price
};

struct MatrixEntry {
  std::string name;
  int row = 0;
  int column = 0;
  double value = 0.0;
};

struct ModelAnswer {
  std::string model;
  SolveOutcome outcome = SolveOutcome::kUnknown;
  std::string termination;  // symbolic name of the code, empty where the solve ran to its end
  bool has_point = false;
  bool has_duals = false;
  std::string conflict;     // of an infeasible model what cannot hold together, where that is known
  bool is_minimal = false;  // nothing of the conflict can be left out
  double objective = 0.0;
  double seconds = 0.0;
  ModelSizes sizes;
  std::vector<Item> variables;
  std::vector<Item> constraints;
  std::vector<MatrixEntry> matrix_entries;  // of the lower triangles, without zeros
};

// The answer that the session holds after a solve. Where it holds a certificate, the values are
// those of the certificate: the direction of an unbounded model, the multipliers of an infeasible one.
ModelAnswer read_answer(const Session& session, const std::string& model,
                        const std::string& termination);

// Takes the conflict from the log of the solve. Unlike the multipliers it names cones, integers and
// sets as well, and no constraint whose multiplier is an accident of the method.
void take_conflict(ModelAnswer& answer, const std::string& log);

// One line that says what came of the solve.
std::string sentence(const ModelAnswer& answer);

// A word for each outcome, for programs: "optimal", "infeasible", ...
const char* word(SolveOutcome outcome);

}  // namespace vorlan::companion
