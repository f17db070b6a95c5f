// The texts that the log has at the beginning and at the end of a solve, and the same as figures
// for result files. One place makes both, so that they agree.
#pragma once

#include <vector>

#include "solve/backend.h"
#include "solve/solve_plan.h"
#include "task/task.h"

namespace vorlan {

// The end of a solve.
struct SolveEnd {
  SolutionKind kind = SolutionKind::kBasic;
  Outcome outcome = Outcome::kUnknown;  // what was claimed
  bool is_held = false;                 // by the task from an earlier solve
  Code termination = Code::kOk;
  Progress progress;
  Solution solution;
  Residuals residuals;
  double seconds = 0.0;
};

// The library with its threads, those of racers that may join included, the parameters that somebody
// has set, and the model.
void log_start(const Task& task, const SolvePlan& plan, size_t num_racers);
// The text also says where the answer is one that was held, and where the statuses are weaker than
// the claim.
void log_end(const Task& task, const SolveEnd& end);
std::vector<Figure> make_figures(const Model& model, const SolveEnd& end);

}  // namespace vorlan
