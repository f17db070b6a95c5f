// What the log says of a solve at its beginning and at its end, and the same as figures for result
// files.
#pragma once

#include <vector>

#include "solve/backend.h"
#include "task/task.h"

namespace vorlan {

// What a solve comes to.
struct SolveEnd {
  SolutionKind kind = SolutionKind::kBasic;
  Code termination = Code::kOk;
  Progress progress;
  Solution solution;
  Residuals residuals;
  double seconds = 0.0;
};

void log_start(const Task& task);
void log_end(const Task& task, const SolveEnd& end);
std::vector<Figure> make_figures(const Model& model, const SolveEnd& end);

}  // namespace vorlan
