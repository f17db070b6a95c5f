// The completion of starts.
#include "solve/complete_start.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "solve/check/checker.h"
#include "solve/check/terms.h"
#include "solve/choose_backend.h"
#include "task/packed_matrices.h"
#include "task/parameter_index.h"
#include "task/text.h"

namespace vorlan {
namespace {

// A start is to help, not to become a search of its own.
constexpr int32_t kMostNodes = 500;
// Values that other programs wrote with few digits are integers all the same.
constexpr double kNearlyWhole = 1e-4;

bool is_fixed(const StartPoint& start, const Model& model, size_t j) {
  const bool is_off = is_semi(model.var_kind[j]) && start.x[j] == 0.0;
  return start.given[j] && (is_integer(model.var_kind[j]) || is_off);
}

bool fixes_any(const StartPoint& start, const Model& model) {
  for (size_t j = 0; j < start.x.size(); ++j) {
    if (is_fixed(start, model, j)) return true;
  }
  return false;
}

// The model with the given integers fixed. Returns a variable whose value is no whole number within
// its bounds, or -1.
int32_t fix_integers(const StartPoint& start, Model* model) {
  for (size_t j = 0; j < start.x.size(); ++j) {
    const bool is_off = is_semi(model->var_kind[j]) && start.x[j] == 0.0;
    if (!is_fixed(start, *model, j)) continue;
    const double value = std::round(start.x[j]);
    const bool inside = value >= model->var_lower[j] && value <= model->var_upper[j];
    if (std::fabs(start.x[j] - value) > kNearlyWhole || (!inside && !is_off)) {
      return static_cast<int32_t>(j);
    }
    model->var_kind[j] = VarKind::kContinuous;
    model->var_lower[j] = model->var_upper[j] = value;
  }
  return -1;
}

bool is_feasible(const Model& model, const SolvePlan& plan, const BackendResult& point) {
  return point.certificate == Certificate::kNone && point.x.size() == model.cost.size() &&
         point.barx.size() == packed_starts(model).back() &&
         primal_violation(model, point.x, point.barx) <= plan.tolerances.primal;
}

// A start without gaps may need no solve.
bool is_whole_point(const MinimizeProblem& problem, const SolvePlan& plan, const StartPoint& start,
                    BackendResult* point) {
  if (std::find(start.given.begin(), start.given.end(), false) != start.given.end()) return false;
  point->x = start.x;
  for (size_t j = 0; j < start.x.size(); ++j) {
    if (is_integer(problem.model.var_kind[j])) point->x[j] = std::round(start.x[j]);
  }
  return is_feasible(problem.model, plan, *point);
}

bool solve_rest(const MinimizeProblem& problem, const SolvePlan& plan, const StartPoint& start,
                const Parameters& parameters, double seconds, BackendMonitor* monitor,
                BackendResult* point, int32_t* culprit) {
  if (!fixes_any(start, problem.model)) return false;
  Model model = problem.model;
  *culprit = fix_integers(start, &model);
  if (*culprit >= 0) return false;
  Parameters limited = parameters;
  limited.set(IntParam::kMipNodeLimit,
              std::min(kMostNodes, parameters.get(IntParam::kMipNodeLimit)));
  SilentMonitor silent(monitor);
  *point = {};
  const SolvePlan rest = choose_backend(model, limited);
  const Status status =
      rest.backend->solve(MinimizeProblem(model), limited, seconds, &silent, point);
  return status.ok() && is_feasible(problem.model, plan, *point);
}

Solution make_start(const MinimizeProblem& problem, BackendResult&& point) {
  Solution solution;
  const size_t num_var = problem.cost.size();
  const size_t num_con = problem.model.con_lower.size();
  solution.defined = true;
  solution.status = SolutionStatus::kPrimalFeasible;
  solution.xx = std::move(point.x);
  solution.barx = std::move(point.barx);
  solution.bars.assign(solution.barx.size(), 0.0);
  solution.skx.assign(num_var, StatusKey::kUnknown);
  solution.skc.assign(num_con, StatusKey::kUnknown);
  for (auto array : {&Solution::slx, &Solution::sux}) (solution.*array).assign(num_var, 0.0);
  for (auto array : {&Solution::xc, &Solution::slc, &Solution::suc, &Solution::y}) {
    (solution.*array).assign(num_con, 0.0);
  }
  return solution;
}

// Why no point was found, as far as one value tells.
std::string describe_failure(const Model& model, const StartPoint& start, int32_t culprit) {
  if (!fixes_any(start, model)) return "it is not used: none of them is an integer\n";
  if (culprit < 0) return "no feasible point with these values was found\n";
  const size_t j = index(culprit);
  const std::string name = model.var_names[j].empty() ? format_text("variable %zu", j + 1)
                                                      : on_one_line(model.var_names[j]);
  return format_text("it is not used: %s = %.10g is no whole number from %.10g to %.10g\n",
                     name.c_str(), start.x[j], model.var_lower[j], model.var_upper[j]);
}

// False, with a line of the log, of a file without values.
bool has_values(const StartPoint& start, BackendMonitor* monitor) {
  if (std::find(start.given.begin(), start.given.end(), true) != start.given.end()) return true;
  monitor->log("Start: the file gives no value of a variable\n");
  return false;
}

std::string given_of_all(const Model& model, const StartPoint& start) {
  const auto given = std::count(start.given.begin(), start.given.end(), true);
  return format_text("Start: %lld of %s given; ", static_cast<long long>(given),
                     counted(model.num_var(), "variable").c_str());
}

}  // namespace

bool complete_start(const MinimizeProblem& problem, const SolvePlan& plan, const StartPoint& start,
                    const Parameters& parameters, double seconds, BackendMonitor* monitor,
                    Solution* solution) {
  if (start.x.size() != problem.cost.size() || start.is_empty()) return false;
  if (!has_values(start, monitor)) return false;
  const std::string what = given_of_all(problem.model, start);
  BackendResult point;
  int32_t culprit = -1;
  if (!is_whole_point(problem, plan, start, &point) &&
      !solve_rest(problem, plan, start, parameters, seconds, monitor, &point, &culprit)) {
    monitor->log(what + describe_failure(problem.model, start, culprit));
    return false;
  }
  const double objective = objective_sum(problem, point.x, point.barx).value;
  monitor->log(what + format_text("a feasible point with objective %.10g\n",
                                  problem.model.stated_objective(objective)));
  *solution = make_start(problem, std::move(point));
  return true;
}

bool place_start(const MinimizeProblem& problem, const StartPoint& start, BackendMonitor* monitor,
                 Solution* solution) {
  if (start.x.size() != problem.cost.size() || start.is_empty()) return false;
  if (!has_values(start, monitor)) return false;
  BackendResult point;
  point.x = start.x;
  for (size_t j = 0; j < start.x.size(); ++j) {
    const double least = std::max(problem.model.var_lower[j], start.given[j] ? start.x[j] : 0.0);
    point.x[j] = std::min(problem.model.var_upper[j], least);
  }
  monitor->log(given_of_all(problem.model, start) + "the simplex method begins near that point\n");
  *solution = make_start(problem, std::move(point));
  return true;
}

}  // namespace vorlan
