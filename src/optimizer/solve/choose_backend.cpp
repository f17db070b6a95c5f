// The table of backends: the first row that is for the model decides.
#include "solve/choose_backend.h"

#include <algorithm>
#include <cmath>
#include <iterator>

#include "solve/conic/conic_backend.h"
#include "solve/highs/highs_backend.h"
#include "solve/outer/outer_backend.h"
#include "solve/reformulate/reformulating_backend.h"
#include "task/parameter_index.h"

namespace vorlan {
namespace {

bool has_linear_logic(const Model& model, const Parameters&) {
  return model.has_logic() && model.is_linear();
}

// Sets, indicators, and quadratic terms of binary variables, which need not be convex.
bool may_need_other_form(const Model& model, const Parameters&) {
  return may_need_reformulation(model);
}

bool is_mixed_linear(const Model& model, const Parameters&) {
  return model.is_mixed_integer() && model.is_linear();
}

bool is_mixed(const Model& model, const Parameters&) { return model.is_mixed_integer(); }

// Interior-point solutions are those that have no basis: of the conic method, and of an interior
// point that no crossover follows.
bool wants_no_basis(const Model&, const Parameters& parameters) {
  return wants_interior_point(parameters) && !parameters.is_on(IntParam::kCrossover);
}

bool wants_interior(const Model&, const Parameters& parameters) {
  return wants_interior_point(parameters);
}

bool is_any(const Model&, const Parameters&) { return true; }

struct Row {
  bool (*is_for)(const Model& model, const Parameters& parameters);
  const Backend* backend;
  SolveMethod method;
  SolutionKind solution;
};

// The first row that is for a model holds.
constexpr Row kRows[] = {
    {has_linear_logic, &kReformulatingBackend, SolveMethod::kBranchAndCut, SolutionKind::kInteger},
    {may_need_other_form, &kReformulatingBackend, SolveMethod::kOuterApproximation,
     SolutionKind::kInteger},
    {is_mixed_linear, &kHighsBackend, SolveMethod::kBranchAndCut, SolutionKind::kInteger},
    {is_mixed, &kOuterApproximationBackend, SolveMethod::kOuterApproximation,
     SolutionKind::kInteger},
    {wants_conic_method, &kConicBackend, SolveMethod::kConic, SolutionKind::kInterior},
    {wants_no_basis, &kHighsBackend, SolveMethod::kInterior, SolutionKind::kInterior},
    {wants_interior, &kHighsBackend, SolveMethod::kInterior, SolutionKind::kBasic},
    {is_any, &kHighsBackend, SolveMethod::kSimplex, SolutionKind::kBasic},
};

// A linear model of no more rows, columns and elements together is solved within a few
// milliseconds, while a child process costs about one: nothing is won by being able to kill it.
constexpr int64_t kTinyModelSize = 2000;

bool is_tiny(const Model& model) { return model.is_linear() && model.size() <= kTinyModelSize; }

bool runs_in_child(const Model& model, const Parameters& parameters, bool by_simplex) {
  const int32_t choice = parameters.get(IntParam::kChildProcess);
  if (choice != kChildAutomatic) return choice == kChildOn;
  return !by_simplex || !is_tiny(model) || reads_files(parameters) ||
         std::isfinite(parameters.get(DoubleParam::kMemoryLimit));
}

}  // namespace

bool reads_files(const Parameters& parameters) {
  constexpr StringParam kFiles[] = {StringParam::kStartFile, StringParam::kBasisInFile,
                                    StringParam::kBranchingPriorityFile};
  return std::any_of(std::begin(kFiles), std::end(kFiles),
                     [&](StringParam file) { return !parameters.get(file).empty(); });
}

SolvePlan choose_backend(const Model& model, const Parameters& parameters) {
  const Row& row = *std::find_if(std::begin(kRows), std::end(kRows) - 1,
                                 [&](const Row& r) { return r.is_for(model, parameters); });
  const bool by_simplex = row.method == SolveMethod::kSimplex;
  return {row.backend,
          row.method,
          row.solution,
          by_simplex,
          runs_in_child(model, parameters, by_simplex),
          ClaimTolerances(model, parameters),
          minimized_cutoffs(model, parameters)};
}

}  // namespace vorlan
