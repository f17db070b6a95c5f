// The codes and figures that the last optimization of a task gave beside solutions; the task solver
// result files say them.
#pragma once

#include <string>
#include <vector>

#include "task/response_codes.h"

namespace vorlan {

// A figure of an optimization, "simplex iterations" for example.
struct Figure {
  std::string name;
  double value = 0.0;
};

struct SolverResult {
  Code response = Code::kOk;
  std::string message;  // of the response; empty on success
  Code termination = Code::kOk;
  std::vector<Figure> figures;  // of different names
};

}  // namespace vorlan
