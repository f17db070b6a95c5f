// Solves in tests, with the log in memory.
#include "mixed_solve.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>

#include "format/problem_file.h"
#include "scratch_folder.h"
#include "solve/optimize.h"
#include "task/parameter_index.h"

namespace vorlan::test {

// Without races: on an idle machine the winner's nodes and log would be told.
MixedSolve::MixedSolve() {
  task_.parameters.set(IntParam::kReproducible, 1);
  task_.log.link_function(
      &log_, [](void* log, const char* text) { static_cast<std::string*>(log)->append(text); });
}

MixedSolve::MixedSolve(const Model& model) : MixedSolve() { task_.model = model; }

void MixedSolve::put(const char* name, const char* value) {
  ASSERT_TRUE(task_.parameters.put_by_name(name, value).ok()) << name;
}

void MixedSolve::read(const std::string& text) {
  const ScratchFolder folder;
  const std::string path = folder.write("model.ptf", "Minimize ] extended problem 1\n" + text);
  const Status status = read_problem_file(&task_, path.c_str());
  ASSERT_TRUE(status.ok()) << status.message() << '\n' << text;
}

void MixedSolve::write_where_asked() {
  const char* file = std::getenv("VORLAN_RANDOM_FILE");
  if (file == nullptr) return;
  EXPECT_TRUE(write_problem_file(&task_, file).ok());
}

void MixedSolve::solve() { status_ = optimize(&task_, &termination_); }

const Solution& MixedSolve::solution() const {
  return task_.solutions[static_cast<size_t>(SolutionKind::kInteger)];
}

double MixedSolve::figure(const std::string& name) const {
  for (const Figure& figure : task_.solver_result.figures) {
    if (figure.name == name) return figure.value;
  }
  return std::nan("");
}

}  // namespace vorlan::test
