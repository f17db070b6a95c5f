#include "model_answer.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <optional>
#include <string_view>

namespace vorlan::companion {

namespace {

// The numbers of the interface for a solution's status.
enum SolutionStatus {
  kStatusOptimal = 1,
  kStatusPrimalFeasible = 2,
  kStatusPrimalAndDualFeasible = 4,
  kStatusInfeasible = 5,
  kStatusUnbounded = 6,
  kStatusIntegerOptimal = 9,
};

// The numbers of the interface for the problem status of a model without an optimum, which a
// mixed-integer solve without a certificate has.
constexpr int kProblemInfeasible = 4;
constexpr int kProblemUnbounded = 5;

// The most telling solution that is defined: an integer one before a basic one before an interior one.
std::optional<int> defined_solution(const Session& session) {
  for (const int which : {VLN_SOLUTION_INTEGER, VLN_SOLUTION_BASIC, VLN_SOLUTION_INTERIOR}) {
    if (session.has_solution(which)) return which;
  }
  return std::nullopt;
}

bool is_point(int status) {
  return status == kStatusOptimal || status == kStatusPrimalFeasible ||
         status == kStatusPrimalAndDualFeasible || status == kStatusIntegerOptimal;
}

SolveOutcome outcome_of(int status, int problem, const std::string& termination) {
  if (status == kStatusOptimal || status == kStatusIntegerOptimal) return SolveOutcome::kOptimal;
  if (status == kStatusInfeasible || problem == kProblemInfeasible)
    return SolveOutcome::kInfeasible;
  if (status == kStatusUnbounded || problem == kProblemUnbounded) return SolveOutcome::kUnbounded;
  if (is_point(status)) return SolveOutcome::kStoppedWithPoint;
  return termination.empty() ? SolveOutcome::kUnknown : SolveOutcome::kStoppedWithoutPoint;
}

std::vector<Item> items(const std::vector<double>& values, const std::vector<double>& duals,
                        const auto& name) {
  std::vector<Item> items(values.size());
  for (std::size_t i = 0; i < values.size(); ++i) {
    items[i] = {name(static_cast<int>(i)), values[i], duals[i]};
  }
  return items;
}

std::vector<MatrixEntry> entries(const Session& session, int which, int count) {
  std::vector<MatrixEntry> entries;
  for (int j = 0; j < count; ++j) {
    const std::vector<double> packed = session.matrix_value(which, j);
    const int dimension = session.matrix_dimension(j);
    std::size_t position = 0;
    for (int column = 0; column < dimension; ++column) {
      for (int row = column; row < dimension; ++row, ++position) {
        if (packed[position] == 0.0) continue;
        entries.push_back({session.matrix_variable_name(j), row, column, packed[position]});
      }
    }
  }
  return entries;
}

}  // namespace

ModelAnswer read_answer(const Session& session, const std::string& model,
                        const std::string& termination) {
  ModelAnswer answer;
  answer.model = model;
  answer.termination = termination;
  answer.sizes = session.sizes();
  const std::optional<int> which = defined_solution(session);
  if (!which) {
    answer.outcome = outcome_of(0, 0, termination);
    return answer;
  }
  const int status = session.solution_status(*which);
  answer.outcome = outcome_of(status, session.problem_status(*which), termination);
  answer.has_point = is_point(status);
  answer.has_duals = *which != VLN_SOLUTION_INTEGER;
  answer.objective = session.objective(*which);
  answer.variables = items(session.values(*which), session.reduced_costs(*which),
                           [&](int j) { return session.variable_name(j); });
  answer.constraints = items(session.activities(*which), session.duals(*which),
                             [&](int i) { return session.constraint_name(i); });
  answer.matrix_entries = entries(session, *which, answer.sizes.matrix_variables);
  return answer;
}

void take_conflict(ModelAnswer& answer, const std::string& log) {
  constexpr std::string_view kBegin = "\nInfeasible: ";
  if (answer.outcome != SolveOutcome::kInfeasible) return;
  const std::size_t begin = log.rfind(kBegin);
  if (begin == std::string::npos) return;
  const std::string rest = log.substr(begin + kBegin.size());
  const std::size_t end = std::min(rest.find('\n'), rest.size());
  answer.conflict = rest.substr(0, end);
  answer.is_minimal = rest.compare(end, 9, "\n  none o") == 0;
}

std::string sentence(const ModelAnswer& answer) {
  const std::string ended = answer.termination.empty() ? "" : " (" + answer.termination + ")";
  switch (answer.outcome) {
    case SolveOutcome::kOptimal:
      return fmt::format("optimal, objective {:.10g}", answer.objective);
    case SolveOutcome::kInfeasible:
      return "infeasible: no point satisfies all constraints and bounds";
    case SolveOutcome::kUnbounded:
      return "unbounded: the objective can be improved for ever";
    case SolveOutcome::kStoppedWithPoint:
      return fmt::format("feasible, not proved optimal{}, objective {:.10g}", ended,
                         answer.objective);
    case SolveOutcome::kStoppedWithoutPoint:
      return "stopped without a point" + ended;
    default:
      return "unknown: the method came to no answer" + ended;
  }
}

const char* word(SolveOutcome outcome) {
  constexpr std::array kWords = {"optimal",   "failed",   "usage",   "infeasible",
                                 "unbounded", "feasible", "stopped", "unknown"};
  return kWords.at(static_cast<std::size_t>(outcome));
}

}  // namespace vorlan::companion
