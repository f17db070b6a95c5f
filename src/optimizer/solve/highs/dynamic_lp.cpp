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
// HiGHS drops smaller coefficients, those of cuts times the factors of replaced variables are larger.
constexpr double kSmallestCoefficient = 1e-12;
// New rows and returns to a basis throw the weights of steepest edge away. Each row costs a solve
// with the basis to have its weight anew; those of Devex begin at 1.
constexpr int kHighsDevexWeights = 1;

// The rows that the substitution leaves, in terms of its columns.
void set_rows(const Model& model, const PairSubstitution& pairs, HighsLp* lp) {
  const std::vector<PairSubstitution::Terms> rows = PairSubstitution::rows_of(model);
  HighsSparseMatrix& matrix = lp->a_matrix_;
  matrix.format_ = MatrixFormat::kRowwise;
  matrix.start_ = {0};
  PairSubstitution::Terms columns;
  for (size_t i = 0; i < rows.size(); ++i) {
    if (pairs.is_used(i)) continue;
    const double constant = pairs.substitute(rows[i], &columns);
    lp->row_lower_.push_back(model.con_lower[i] - constant);
    lp->row_upper_.push_back(model.con_upper[i] - constant);
    for (const auto& [column, value] : columns) {
      matrix.index_.push_back(column);
      matrix.value_.push_back(value);
    }
    matrix.start_.push_back(static_cast<HighsInt>(matrix.index_.size()));
  }
  lp->num_row_ = static_cast<HighsInt>(lp->row_lower_.size());
}

}  // namespace

struct DynamicLp::Solver {
  Highs highs;
};

struct DynamicLp::Basis {
  HighsBasis basis;
};

DynamicLp::DynamicLp(const Model& model, double cost_factor)
    : solver_(std::make_unique<Solver>()), pairs_(model), cost_factor_(cost_factor) {
  Highs& highs = solver_->highs;
  highs.setOptionValue("output_flag", false);
  highs.setOptionValue("presolve", "off");
  highs.setOptionValue("solver", "simplex");
  highs.setOptionValue("threads", 1);
  highs.setOptionValue("simplex_dual_edge_weight_strategy", kHighsDevexWeights);
  highs.setOptionValue("simplex_strategy", kHighsDualStrategy);
  highs.setOptionValue("primal_feasibility_tolerance", kTolerance);
  highs.setOptionValue("dual_feasibility_tolerance", kTolerance);
  highs.setOptionValue("small_matrix_value", kSmallestCoefficient);
  PairSubstitution::Terms cost;
  for (int32_t j = 0; j < model.num_var(); ++j) cost.emplace_back(j, model.cost[index(j)]);
  constant_ = pairs_.substitute(PairSubstitution::Terms(cost), &cost);
  HighsLp lp;
  lp.num_col_ = pairs_.num_columns();
  lp.col_cost_.assign(index(lp.num_col_), 0.0);
  for (const auto& [column, value] : cost) lp.col_cost_[index(column)] = cost_factor * value;
  for (int32_t column = 0; column < pairs_.num_columns(); ++column) {
    const auto [lower, upper] = pairs_.bounds_of_column(column);
    lp.col_lower_.push_back(lower);
    lp.col_upper_.push_back(upper);
  }
  set_rows(model, pairs_, &lp);
  highs.passModel(std::move(lp));
}

DynamicLp::~DynamicLp() = default;

void DynamicLp::set_bounds(int32_t var, double lower, double upper) {
  pairs_.set_bounds(var, lower, upper);
  const int32_t column = pairs_.image(var).column;
  const auto [least, most] = pairs_.bounds_of_column(column);
  solver_->highs.changeColBounds(column, least, most);
}

void DynamicLp::add_row(double lower, double upper,
                        const std::vector<std::pair<int32_t, double>>& terms) {
  PairSubstitution::Terms substituted;
  const double constant = pairs_.substitute(terms, &substituted);
  std::vector<HighsInt> columns;
  std::vector<double> values;
  for (const auto& [column, value] : substituted) {
    columns.push_back(column);
    values.push_back(value);
  }
  solver_->highs.addRow(lower - constant, upper - constant, static_cast<HighsInt>(columns.size()),
                        columns.data(), values.data());
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
  highs.setOptionValue("objective_bound", (cutoff - constant_) * cost_factor_);
  highs.setOptionValue("simplex_iteration_limit", limit < 0 ? kHighsIInf : limit);
  highs.setOptionValue("time_limit", end);
  const Answer answer = run_once();
  if (answer != Answer::kUnsolved || highs.getRunTime() >= end) return answer;
  highs.clearSolver();
  return run_once();
}

double DynamicLp::objective() const {
  return solver_->highs.getInfo().objective_function_value / cost_factor_ + constant_;
}

std::vector<double> DynamicLp::x() const {
  const std::vector<double>& columns = solver_->highs.getSolution().col_value;
  std::vector<double> x;
  for (int32_t j = 0; j < pairs_.num_variables(); ++j) {
    const PairSubstitution::Image& image = pairs_.image(j);
    x.push_back(image.factor * columns[index(image.column)] + image.offset);
  }
  return x;
}

// All variables that a column stands for have a share in its cost, so that bounds of any of them have.
double DynamicLp::reduced_cost(int32_t var) const {
  const auto& duals = solver_->highs.getSolution().col_dual;
  const PairSubstitution::Image& image = pairs_.image(var);
  if (index(image.column) >= duals.size()) return 0.0;
  return duals[index(image.column)] / image.factor / cost_factor_;
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
