// HiGHS keeps factorization and basis between solves as long as presolve is off and rows are only
// added. Its clock runs over all solves of an object, so that limits are set from where it stands.
#include "solve/highs/dynamic_lp.h"

#include <algorithm>

#include "Highs.h"
#include "solve/highs/highs_options.h"

namespace vorlan {
namespace {

// Every row may be violated by the tolerance, which weakens the bound of a sum of many cuts.
constexpr double kTolerance = 1e-9;
// New rows and returns to a basis throw the weights of steepest edge away. Each row costs a solve
// with the basis to have its weight anew; those of Devex begin at 1.
constexpr int kHighsDevexWeights = 1;

}  // namespace

struct DynamicLp::Solver {
  Highs highs;
};

struct DynamicLp::Basis {
  HighsBasis basis;
};

DynamicLp::DynamicLp(const Model& model, double cost_factor)
    : solver_(std::make_unique<Solver>()), cost_factor_(cost_factor) {
  Highs& highs = solver_->highs;
  highs.setOptionValue("output_flag", false);
  highs.setOptionValue("presolve", "off");
  highs.setOptionValue("solver", "simplex");
  highs.setOptionValue("threads", 1);
  highs.setOptionValue("simplex_dual_edge_weight_strategy", kHighsDevexWeights);
  highs.setOptionValue("simplex_strategy", kHighsDualStrategy);
  highs.setOptionValue("primal_feasibility_tolerance", kTolerance);
  highs.setOptionValue("dual_feasibility_tolerance", kTolerance);
  HighsLp lp;
  lp.num_col_ = model.num_var();
  lp.num_row_ = model.num_con();
  for (const double cost : model.cost) lp.col_cost_.push_back(cost_factor * cost);
  lp.col_lower_ = model.var_lower;
  lp.col_upper_ = model.var_upper;
  lp.row_lower_ = model.con_lower;
  lp.row_upper_ = model.con_upper;
  lp.a_matrix_.format_ = MatrixFormat::kColwise;
  lp.a_matrix_.start_.assign(model.matrix.start.begin(), model.matrix.start.end());
  lp.a_matrix_.index_.assign(model.matrix.row.begin(), model.matrix.row.end());
  lp.a_matrix_.value_ = model.matrix.value;
  highs.passModel(std::move(lp));
}

DynamicLp::~DynamicLp() = default;

void DynamicLp::set_bounds(int32_t var, double lower, double upper) {
  solver_->highs.changeColBounds(var, lower, upper);
}

void DynamicLp::add_row(double lower, double upper,
                        const std::vector<std::pair<int32_t, double>>& terms) {
  std::vector<HighsInt> columns;
  std::vector<double> values;
  for (const auto& [column, value] : terms) {
    columns.push_back(column);
    values.push_back(value);
  }
  solver_->highs.addRow(lower, upper, static_cast<HighsInt>(terms.size()), columns.data(),
                        values.data());
}

DynamicLp::Answer DynamicLp::run_once() {
  Highs& highs = solver_->highs;
  const HighsStatus status = highs.run();
  iterations_ += std::max<int64_t>(0, highs.getInfo().simplex_iteration_count);
  if (status == HighsStatus::kError) return Answer::kUnsolved;
  switch (highs.getModelStatus()) {
    case HighsModelStatus::kOptimal:
      return Answer::kOptimal;
    case HighsModelStatus::kInfeasible:
      return Answer::kInfeasible;
    case HighsModelStatus::kObjectiveBound:
      return Answer::kCutOff;
    case HighsModelStatus::kIterationLimit:
      return Answer::kIterationLimit;
    default:
      return Answer::kUnsolved;
  }
}

DynamicLp::Answer DynamicLp::solve(double cutoff, int32_t limit, double seconds) {
  Highs& highs = solver_->highs;
  const double end = highs.getRunTime() + seconds;
  highs.setOptionValue("objective_bound", cutoff * cost_factor_);
  highs.setOptionValue("simplex_iteration_limit", limit < 0 ? kHighsIInf : limit);
  highs.setOptionValue("time_limit", end);
  const Answer answer = run_once();
  if (answer != Answer::kUnsolved || highs.getRunTime() >= end) return answer;
  highs.clearSolver();
  return run_once();
}

double DynamicLp::objective() const {
  return solver_->highs.getInfo().objective_function_value / cost_factor_;
}

const std::vector<double>& DynamicLp::x() const { return solver_->highs.getSolution().col_value; }

double DynamicLp::reduced_cost(int32_t var) const {
  const auto& duals = solver_->highs.getSolution().col_dual;
  return index(var) < duals.size() ? duals[index(var)] / cost_factor_ : 0.0;
}

DynamicLp::BasisHandle DynamicLp::basis() const {
  return std::make_shared<Basis>(Basis{solver_->highs.getBasis()});
}

void DynamicLp::use_basis(const BasisHandle& basis) {
  if (basis == nullptr || !basis->basis.valid) return;
  HighsBasis whole = basis->basis;
  const auto rows = static_cast<size_t>(solver_->highs.getNumRow());
  if (whole.row_status.size() > rows) return;
  whole.row_status.resize(rows, HighsBasisStatus::kBasic);
  solver_->highs.setBasis(whole);
}

}  // namespace vorlan
