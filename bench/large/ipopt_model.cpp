// Solves a model with structure by Ipopt and prints the objective.
// usage: bench_ipopt_model KIND SIZE SIZE   (structured_model.h has the kinds; none with a cone)
#include <IpStdCInterface.h>

#include <cstdio>
#include <cstdlib>

#include "structured_model.h"

namespace {

constexpr double kNone = 1e20;  // Ipopt's infinity

const StructuredModel& model_of(UserDataPtr data) {
  return *static_cast<const StructuredModel*>(data);
}

Bool objective(Index /*n*/, Number* x, Bool /*is_new*/, Number* value, UserDataPtr data) {
  *value = 0.0;
  for (const StructuredModel::Column& column : model_of(data).columns) {
    *value += (column.cost + 0.5 * column.square * *x) * *x;
    ++x;
  }
  return TRUE;
}

Bool gradient(Index /*n*/, Number* x, Bool /*is_new*/, Number* out, UserDataPtr data) {
  for (const StructuredModel::Column& column : model_of(data).columns) {
    *out++ = column.cost + column.square * *x++;
  }
  return TRUE;
}

Bool constraints(Index /*n*/, Number* x, Bool /*is_new*/, Index m, Number* out, UserDataPtr data) {
  for (Index i = 0; i < m; ++i) out[i] = 0.0;
  for (const StructuredModel::Column& column : model_of(data).columns) {
    for (const StructuredModel::Entry& e : column.entries) out[e.row] += e.value * *x;
    ++x;
  }
  return TRUE;
}

Bool jacobian(Index /*n*/, Number* /*x*/, Bool /*is_new*/, Index /*m*/, Index /*size*/, Index* row,
              Index* col, Number* values, UserDataPtr data) {
  Index j = 0;
  for (const StructuredModel::Column& column : model_of(data).columns) {
    for (const StructuredModel::Entry& e : column.entries) {
      if (values != nullptr) {
        *values++ = e.value;
      } else {
        *row++ = e.row;
        *col++ = j;
      }
    }
    ++j;
  }
  return TRUE;
}

Bool hessian(Index /*n*/, Number* /*x*/, Bool /*is_new*/, Number factor, Index /*m*/,
             Number* /*multipliers*/, Bool /*is_new_multiplier*/, Index /*size*/, Index* row,
             Index* col, Number* values, UserDataPtr data) {
  Index j = 0;
  for (const StructuredModel::Column& column : model_of(data).columns) {
    if (column.square != 0.0) {
      if (values != nullptr) {
        *values++ = factor * column.square;
      } else {
        *row++ = j;
        *col++ = j;
      }
    }
    ++j;
  }
  return TRUE;
}

struct Sides {
  std::vector<Number> lower, upper;
};

Sides bounds_of(const StructuredModel& model) {
  Sides sides;
  for (const StructuredModel::Column& column : model.columns) {
    sides.lower.push_back(column.is_free ? -kNone : 0.0);
    sides.upper.push_back(column.upper > 0.0 ? column.upper : kNone);
  }
  return sides;
}

Sides sides_of(const StructuredModel& model) {
  Sides sides;
  for (const StructuredModel::Row& row : model.rows) {
    sides.lower.push_back(row.kind == 'L' ? -kNone : row.rhs);
    sides.upper.push_back(row.kind == 'G' ? kNone : row.rhs);
  }
  return sides;
}

// Returns Ipopt's status.
int solve(StructuredModel* model, double* value) {
  Sides bounds = bounds_of(*model);
  Sides sides = sides_of(*model);
  Index elements = 0;
  Index squares = 0;
  for (const StructuredModel::Column& column : model->columns) {
    elements += static_cast<Index>(column.entries.size());
    squares += column.square != 0.0 ? 1 : 0;
  }
  const auto columns = static_cast<Index>(model->columns.size());
  const IpoptProblem problem = CreateIpoptProblem(
      columns, bounds.lower.data(), bounds.upper.data(), static_cast<Index>(model->rows.size()),
      sides.lower.data(), sides.upper.data(), elements, squares, 0, objective, constraints,
      gradient, jacobian, hessian);
  char constant[][32] = {
      "jac_c_constant", "jac_d_constant", "hessian_constant", "yes", "print_level", "sb", "tol"};
  for (int k = 0; k < 3; ++k) AddIpoptStrOption(problem, constant[k], constant[3]);
  AddIpoptIntOption(problem, constant[4], 0);
  AddIpoptStrOption(problem, constant[5], constant[3]);
  AddIpoptNumOption(problem, constant[6], 1e-8);
  std::vector<Number> x(model->columns.size(), 1.0);
  const int status =
      IpoptSolve(problem, x.data(), nullptr, value, nullptr, nullptr, nullptr, model);
  FreeIpoptProblem(problem);
  return status;
}

}  // namespace

int main(int argc, char** argv) {
  StructuredModel model;
  if (argc != 4 ||
      !StructuredModel::make(argv[1], std::atoi(argv[2]), std::atoi(argv[3]), &model) ||
      model.cone >= 0) {
    std::fprintf(stderr, "usage: bench_ipopt_model KIND SIZE SIZE\n");
    return 2;
  }
  double value = 0.0;
  const int status = solve(&model, &value);
  std::printf("%.10g\n", value);
  return status == Solve_Succeeded || status == Solved_To_Acceptable_Level ? 0 : 1;
}
