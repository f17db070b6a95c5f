// Copies models and solutions into the verifier's own structures, with the signs of a minimization.
#include "proved_answer.h"

#include <algorithm>
#include <cmath>

#include "proofs/verify.h"
#include "task/numeric.h"
#include "task/text.h"

namespace vorlan::test {
namespace {

proofs::ConeKind kind_of(ConeKind kind) {
  switch (kind) {
    case ConeKind::kQuadratic:
      return proofs::ConeKind::quadratic;
    case ConeKind::kRotatedQuadratic:
      return proofs::ConeKind::rotated;
    case ConeKind::kExponential:
      return proofs::ConeKind::exponential;
    case ConeKind::kDualExponential:
      return proofs::ConeKind::dual_exponential;
    case ConeKind::kPower:
      return proofs::ConeKind::power;
    default:
      return proofs::ConeKind::dual_power;
  }
}

proofs::Square square_of(const TriangleEntry& entry, double factor = 1.0) {
  return {index(entry.row), index(entry.col), factor * entry.value};
}

std::vector<double> times(std::vector<double> values, double factor) {
  for (double& value : values) value *= factor;
  return values;
}

proofs::Multipliers multipliers_of(const Model& model, const Solution& s) {
  const double sense = model.sense_factor();
  return {times(s.y, sense), times(s.snx, sense), s.xx};
}

std::string faults_of_optimum(const Model& model, const Solution& s, const Allowed& allow) {
  const proofs::Model exact = proof_model(model);
  const double sense = model.sense_factor();
  const proofs::PointFigures point = proofs::figures_of_point(exact, s.xx, s.barx);
  const double allowed =
      allow.tolerance * std::max({allow.size, point.terms, std::fabs(s.primal_objective)});
  const double claimed = sense * s.dual_objective;
  const double bound =
      proofs::proved_bound(exact, multipliers_of(model, s), s.barx, claimed - allowed);
  std::string faults;
  if (!(point.violation <= allow.tolerance)) {
    faults += format_text("the point is infeasible by %.3g; ", point.violation);
  }
  if (!(std::fabs(point.objective - sense * s.primal_objective) <= allowed)) {
    faults += format_text("the point has the objective %.9g, claimed %.9g; ",
                          sense * point.objective, s.primal_objective);
  }
  if (!(bound >= claimed - allowed)) {
    faults +=
        format_text("the bound %.9g is proved, claimed %.9g; ", sense * bound, s.dual_objective);
  }
  if (!(claimed <= point.objective + allowed)) {
    faults += format_text("the bound %.9g is beyond the point's %.9g; ", s.dual_objective,
                          sense * point.objective);
  }
  return faults;
}

}  // namespace

proofs::Model proof_model(const Model& model) {
  const double sense = model.sense_factor();
  proofs::Model exact;
  exact.constant = sense * model.constant;
  exact.cost = times(model.cost, sense);
  exact.lower = model.var_lower;
  exact.upper = model.var_upper;
  for (const TriangleEntry& e : model.quadratic_cost) exact.squares.push_back(square_of(e, sense));
  for (const MatrixCostEntry& e : model.matrix_cost) {
    exact.matrix_cost.push_back({index(e.matrix_var), square_of(e.entry, sense)});
  }
  for (size_t i = 0; i < model.con_lower.size(); ++i) {
    exact.rows.push_back({model.con_lower[i], model.con_upper[i], {}, {}, {}});
  }
  const SparseMatrix& a = model.matrix;
  for (size_t j = 0; j < model.cost.size(); ++j) {
    for (size_t k = index(a.start[j]); k < index(a.start[j + 1]); ++k) {
      exact.rows[index(a.row[k])].terms.push_back({j, a.value[k]});
    }
  }
  for (const ConQuadraticEntry& e : model.quadratic_coefficients) {
    exact.rows[index(e.con)].squares.push_back(square_of(e.entry));
  }
  for (const MatrixCoefficient& e : model.matrix_coefficients) {
    exact.rows[index(e.con)].matrix_terms.push_back({index(e.matrix_var), square_of(e.entry)});
  }
  for (const Cone& cone : model.cones) {
    exact.cones.push_back({kind_of(cone.kind), {}, cone.exponents});
    for (const int32_t var : cone.vars) exact.cones.back().vars.push_back(index(var));
  }
  for (const MatrixVariable& variable : model.matrix_vars) {
    exact.dimensions.push_back(index(variable.dimension));
  }
  return exact;
}

std::string faults_of_proof(const Model& model, const Solution& solution, const Allowed& allowed,
                            Proved* proved) {
  std::string faults;
  switch (solution.status) {
    case SolutionStatus::kOptimal:
      faults = faults_of_optimum(model, solution, allowed);
      proved->optimal += faults.empty();
      break;
    case SolutionStatus::kPrimalInfeasibleCertificate:
      faults = proofs::verify_infeasible(proof_model(model), multipliers_of(model, solution));
      proved->infeasible += faults.empty();
      break;
    case SolutionStatus::kDualInfeasibleCertificate:
      faults = proofs::verify_unbounded(proof_model(model), solution.xx, solution.barx);
      proved->unbounded += faults.empty();
      break;
    default:
      break;
  }
  return faults;
}

}  // namespace vorlan::test
