// Optimizing a task: choice of backend, run, solutions, summary.
#pragma once

#include <functional>
#include <vector>

#include "solve/backend.h"
#include "solve/run/listener.h"
#include "task/start_point.h"
#include "task/task.h"

namespace vorlan {

// A moment of a solve, with figures as the model states them; infinite or NaN means not known.
struct ProgressRecord {
  double seconds = 0.0;
  const char* phase = "";
  int64_t iterations = 0, nodes = 0, open_nodes = -1;
  double incumbent = 0.0, bound = 0.0, gap = 0.0;
};

// What a solve is given besides its task, whom it tells of its way, and what it finds besides
// solutions. A function that is not there is not called.
struct SolveExtras {
  double begin = monotonic_seconds();  // the limits of time count from here

  // What a solve may start from; empty where nothing is asked for. These files are read in the
  // child process, where the limits and a stop reach whatever they are.
  using ReadPoint = std::function<Status(StartPoint* point)>;
  using ReadBasis = std::function<Status(Solution* basis)>;
  using ReadPriorities = std::function<Status(std::vector<int32_t>* priorities)>;
  ReadPoint read_point;            // of a mixed-integer model, or for the simplex method
  ReadBasis read_basis;            // for the simplex method
  ReadPriorities read_priorities;  // of the variables, for branching

  std::function<void(const ProgressRecord& record)> on_progress;
  std::function<void(const Solution& point)> on_better_point;  // of a mixed-integer model

  std::vector<double> ranging;  // as BackendResult has it, but in the model's own sense
  Conflict conflict;
};

// On success the task's solutions are those that this optimization defines, and *termination is
// kOk or why it ended early. On failure they are as they were.
Status optimize(Task* task, Code* termination);
Status optimize(Task* task, SolveExtras* extras, Code* termination);

}  // namespace vorlan
