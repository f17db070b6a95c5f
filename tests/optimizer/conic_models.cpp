// Each model has one optimum, which follows by hand from its few terms.
#include "conic_models.h"

namespace vorlan::test {
namespace {

constexpr double kInf = kInfinity;

BackendResult answer_of(std::vector<double> x, std::vector<double> y, std::vector<double> snx) {
  BackendResult answer;
  answer.outcome = Outcome::kOptimal;
  answer.d.assign(x.size(), 0.0);
  answer.x = std::move(x);
  answer.y = std::move(y);
  answer.snx = std::move(snx);
  return answer;
}

// Minimize or maximize one variable of a cone whose other members are fixed by constraints.
SolvedModel in_cone(std::string name, Cone cone, std::vector<double> cost,
                    const std::vector<std::pair<size_t, double>>& fixed, BackendResult answer,
                    double objective) {
  Model model = free_variables(std::move(cost));
  for (const auto& [var, value] : fixed) {
    std::vector<double> row(model.cost.size(), 0.0);
    row[var] = 1.0;
    add_constraint(&model, value, value, row);
  }
  model.cones = {std::move(cone)};
  return {std::move(name), std::move(model), std::move(answer), objective};
}

// minimize x^2 + y^2 - 1, x + y >= 2, 0 <= x <= 10; the constant is not the minimization's.
SolvedModel quadratic_objective() {
  Model model = free_variables({0.0, 0.0});
  model.var_lower[0] = 0.0;
  model.var_upper[0] = 10.0;
  model.constant = -1.0;
  model.quadratic_cost = {{0, 0, 2.0}, {1, 1, 2.0}};
  add_constraint(&model, 2.0, kInf, {1.0, 1.0});
  return {"quadratic objective", model, answer_of({1.0, 1.0}, {2.0}, {}), 2.0};
}

// minimize x y + x^2 + y^2 with x = 1, so that Q has elements off its diagonal: y = -1/2.
SolvedModel mixed_terms() {
  Model model = free_variables({0.0, 0.0});
  model.quadratic_cost = {{0, 0, 2.0}, {1, 0, 1.0}, {1, 1, 2.0}};
  add_constraint(&model, 1.0, 1.0, {1.0, 0.0});
  return {"mixed terms", model, answer_of({1.0, -0.5}, {1.5}, {}), 0.75};
}

// minimize -x, x^2 + y^2 <= 1.
SolvedModel quadratic_constraint() {
  Model model = free_variables({-1.0, 0.0});
  add_constraint(&model, -kInf, 1.0, {0.0, 0.0});
  model.quadratic_coefficients = {{0, {0, 0, 2.0}}, {0, {1, 1, 2.0}}};
  return {"quadratic constraint", model, answer_of({1.0, 0.0}, {-0.5}, {}), -1.0};
}

// minimize trace X with 2 X(2,1) = 2.
SolvedModel semidefinite() {
  Model model;
  model.matrix_vars = {{2}};
  model.con_lower = model.con_upper = {2.0};
  model.matrix_cost = {{0, {0, 0, 1.0}}, {0, {1, 1, 1.0}}};
  model.matrix_coefficients = {{0, 0, {1, 0, 1.0}}};
  SolvedModel solved{"semidefinite", model, answer_of({}, {1.0}, {}), 2.0};
  solved.answer.barx = {1.0, 1.0, 1.0};
  solved.answer.bars = {1.0, -1.0, 1.0};
  return solved;
}

// minimize x + X(1,1) + 2 Y(3,2), x + 2 X(1,1) - Y(3,2) = 1, x >= 0, trace Y = 2: each kind counts,
// and Y lies behind X. Y(3,2) = -1, so that x + 2 X(1,1) = 0.
SolvedModel mixed_matrices() {
  Model model = free_variables({1.0});
  model.var_lower[0] = 0.0;
  model.matrix_vars = {{1}, {3}};
  model.matrix_cost = {{0, {0, 0, 1.0}}, {1, {2, 1, 1.0}}};
  add_constraint(&model, 1.0, 1.0, {1.0});
  add_constraint(&model, 2.0, 2.0, {0.0});
  model.matrix_coefficients = {{0, 0, {0, 0, 2.0}},
                               {0, 1, {2, 1, -0.5}},
                               {1, 1, {0, 0, 1.0}},
                               {1, 1, {1, 1, 1.0}},
                               {1, 1, {2, 2, 1.0}}};
  // S = C - y0 A_0 - y1 A_1 with y0 = 0, y1 = -1.
  SolvedModel solved{"mixed matrices", model, answer_of({0.0}, {0.0, -1.0}, {}), -2.0};
  solved.answer.d = {1.0};
  solved.answer.barx = {0.0, 0.0, 0.0, 0.0, 1.0, -1.0, 1.0};
  solved.answer.bars = {1.0, 1.0, 0.0, 0.0, 1.0, 1.0, 1.0};
  return solved;
}

}  // namespace

Model free_variables(std::vector<double> cost) {
  Model model;
  model.var_lower.assign(cost.size(), -kInf);
  model.var_upper.assign(cost.size(), kInf);
  model.var_kind.assign(cost.size(), VarKind::kContinuous);
  model.matrix.start.assign(cost.size() + 1, 0);
  model.cost = std::move(cost);
  return model;
}

void add_constraint(Model* model, double lower, double upper, const std::vector<double>& row) {
  SparseMatrix matrix;
  const SparseMatrix& old = model->matrix;
  for (size_t j = 0; j < row.size(); ++j) {
    for (auto k = static_cast<size_t>(old.start[j]); k < static_cast<size_t>(old.start[j + 1]);
         ++k) {
      matrix.row.push_back(old.row[k]);
      matrix.value.push_back(old.value[k]);
    }
    if (row[j] != 0.0) {
      matrix.row.push_back(model->num_con());
      matrix.value.push_back(row[j]);
    }
    matrix.start.push_back(static_cast<int64_t>(matrix.row.size()));
  }
  model->matrix = std::move(matrix);
  model->con_lower.push_back(lower);
  model->con_upper.push_back(upper);
}

// The part of snx in a cone is the gradient of the function that bounds its members.
std::vector<SolvedModel> solved_models() {
  const double e = 2.718281828459045;
  return {
      quadratic_objective(),
      mixed_terms(),
      quadratic_constraint(),
      semidefinite(),
      mixed_matrices(),
      // x0 >= |(3, 4)|
      in_cone("quadratic cone", {ConeKind::kQuadratic, {0, 1, 2}, {}}, {1.0, 0.0, 0.0},
              {{1, 3.0}, {2, 4.0}}, answer_of({5.0, 3.0, 4.0}, {0.6, 0.8}, {1.0, -0.6, -0.8}), 5.0),
      // 2 x0 / 2 >= 9
      in_cone("rotated cone", {ConeKind::kRotatedQuadratic, {0, 1, 2}, {}}, {1.0, 0.0, 0.0},
              {{1, 0.5}, {2, 3.0}}, answer_of({9.0, 0.5, 3.0}, {-18.0, 6.0}, {1.0, 18.0, -6.0}),
              9.0),
      // x0 >= exp(0)
      in_cone("exponential cone", {ConeKind::kExponential, {0, 1, 2}, {}}, {1.0, 0.0, 0.0},
              {{1, 1.0}, {2, 0.0}}, answer_of({1.0, 1.0, 0.0}, {1.0, 1.0}, {1.0, -1.0, -1.0}), 1.0),
      // x0 >= exp(0 - 1)
      in_cone("dual exponential cone", {ConeKind::kDualExponential, {0, 1, 2}, {}}, {1.0, 0.0, 0.0},
              {{1, 0.0}, {2, -1.0}},
              answer_of({1.0 / e, 0.0, -1.0}, {-1.0 / e, -1.0 / e}, {1.0, 1.0 / e, 1.0 / e}),
              1.0 / e),
      // x2 <= 16^(1/4) 1^(3/4)
      in_cone("power cone", {ConeKind::kPower, {0, 1, 2}, {1.0, 3.0}}, {0.0, 0.0, -1.0},
              {{0, 16.0}, {1, 1.0}},
              answer_of({16.0, 1.0, 2.0}, {-1.0 / 32.0, -1.5}, {1.0 / 32.0, 1.5, -1.0}), -2.0),
      // x2 <= (4 / (1/4))^(1/4) (0.75 / (3/4))^(3/4)
      in_cone("dual power cone", {ConeKind::kDualPower, {0, 1, 2}, {1.0, 3.0}}, {0.0, 0.0, -1.0},
              {{0, 4.0}, {1, 0.75}},
              answer_of({4.0, 0.75, 2.0}, {-0.125, -2.0}, {0.125, 2.0, -1.0}), -2.0),
  };
}

}  // namespace vorlan::test
