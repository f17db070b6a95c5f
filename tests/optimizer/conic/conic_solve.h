// Solving with the conic method in this process, for tests that look at solutions and residuals.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "task/numeric.h"
#include "task/status.h"
#include "task/task.h"

namespace vorlan::test {

struct Solved {
  Task task;
  Status status;
  std::string log;

  // Of the simplex method where there is one, else the interior one.
  const Solution& solution() const {
    const Solution& basic = task.solutions[index(SolutionKind::kBasic)];
    return basic.defined ? basic : task.solutions[index(SolutionKind::kInterior)];
  }
  // A figure of the log, "duality gap" for example; infinite if it has none.
  double figure(const std::string& name) const;
};

// Solves the model that the task of `solved` holds, with the conic or another optimizer.
void solve_conic(Solved* solved);
void solve_with(const char* optimizer, Solved* solved);

// The text with each $name in it replaced by its value: models with parts that are computed.
std::string fill_in(std::string text,
                    const std::vector<std::pair<const char*, std::string>>& values);

// Reads a model given as the text of a PTF file, without its opening line, and solves it.
void solve_ptf(const std::string& text, Solved* solved);

// Whether the certificates that the solution holds prove the model infeasible or unbounded.
bool proves_infeasible(const Solved& solved);
bool proves_unbounded(const Solved& solved);

}  // namespace vorlan::test
