// See conic_solve.h.
#include "conic_solve.h"

#include <gtest/gtest.h>

#include "format/problem_file.h"
#include "scratch_folder.h"
#include "solve/check/checker.h"
#include "solve/check/clean_rays.h"
#include "solve/check/rays.h"
#include "solve/optimize.h"

namespace vorlan::test {

double Solved::figure(const std::string& name) const {
  for (const Figure& figure : task.solver_result.figures) {
    if (figure.name == name) return figure.value;
  }
  return kInfinity;
}

void solve_conic(Solved* solved) { solve_with("conic", solved); }

void solve_with(const char* optimizer, Solved* solved) {
  solved->task.log.link_function(&solved->log, [](void* log, const char* text) {
    static_cast<std::string*>(log)->append(text);
  });
  for (const auto& [name, value] :
       {std::pair{"VLN_IPAR_CHILD_PROCESS", "off"}, std::pair{"VLN_IPAR_OPTIMIZER", optimizer}}) {
    ASSERT_TRUE(solved->task.parameters.put_by_name(name, value).ok());
  }
  Code termination = Code::kOk;
  solved->status = optimize(&solved->task, &termination);
}

std::string fill_in(std::string text,
                    const std::vector<std::pair<const char*, std::string>>& values) {
  for (const auto& [name, value] : values) {
    const std::string place = "$" + std::string(name);
    for (size_t at = text.find(place); at != std::string::npos;
         at = text.find(place, at + value.size())) {
      text.replace(at, place.size(), value);
    }
  }
  return text;
}

void solve_ptf(const std::string& text, Solved* solved) {
  const ScratchFolder folder;
  const std::string path = folder.write("model.ptf", "Minimize ] extended problem 1\n" + text);
  const Status status = read_problem_file(&solved->task, path.c_str());
  ASSERT_TRUE(status.ok()) << status.message() << '\n' << text;
  solve_conic(solved);
  ASSERT_TRUE(solved->status.ok()) << solved->status.message() << '\n' << text;
}

bool proves_infeasible(const Solved& solved) {
  const Solution& s = solved.solution();
  BackendResult ray;
  ray.x = s.xx;
  ray.y = s.y;
  ray.snx = s.snx;
  const double factor = MinimizeProblem(solved.task.model).sense_factor();
  for (auto* values : {&ray.y, &ray.snx}) {
    for (double& value : *values) value *= factor;
  }
  return s.status == SolutionStatus::kPrimalInfeasibleCertificate &&
         complete_dual_ray(solved.task.model, &ray);
}

bool proves_unbounded(const Solved& solved) {
  const Solution& s = solved.solution();
  return s.status == SolutionStatus::kDualInfeasibleCertificate &&
         is_primal_ray(MinimizeProblem(solved.task.model), s.xx, s.barx);
}

}  // namespace vorlan::test
