// bench_beside_ipopt NUM_VAR ROUNDS: the smoothed series of so many variables by the optimizer
// library and by Ipopt in turn; prints the median seconds of both. Both start from the model in
// memory. The objectives must agree.
#include <IpStdCInterface.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "local_model.h"
#include "statistics.h"
#include "timed_task.h"

namespace {

const SmoothedSeries& series_of(UserDataPtr data) {
  return *static_cast<const SmoothedSeries*>(data);
}

Bool objective(Index n, Number* x, Bool, Number* value, UserDataPtr data) {
  const SmoothedSeries& series = series_of(data);
  *value = 0.0;
  for (Index i = 0; i < n; ++i) {
    const double miss = x[i] - series.target[static_cast<size_t>(i)];
    *value += 0.5 * miss * miss;
    if (i + 1 == n) break;
    const double step = x[i + 1] - x[i];
    *value += 0.5 * SmoothedSeries::kStiffness * step * step;
  }
  return TRUE;
}

Bool gradient(Index n, Number* x, Bool, Number* out, UserDataPtr data) {
  const SmoothedSeries& series = series_of(data);
  for (Index i = 0; i < n; ++i) out[i] = x[i] - series.target[static_cast<size_t>(i)];
  for (Index i = 0; i + 1 < n; ++i) {
    const double force = SmoothedSeries::kStiffness * (x[i + 1] - x[i]);
    out[i + 1] += force;
    out[i] -= force;
  }
  return TRUE;
}

Bool constraints(Index, Number* x, Bool, Index m, Number* out, UserDataPtr) {
  for (Index i = 0; i < m; ++i) out[i] = x[i] - 2.0 * x[i + 1] + x[i + 2];
  return TRUE;
}

Bool jacobian(Index, Number*, Bool, Index m, Index, Index* row, Index* col, Number* values,
              UserDataPtr) {
  constexpr double kBend[] = {1.0, -2.0, 1.0};
  for (Index i = 0; i < m; ++i) {
    for (Index k = 0; k < 3; ++k) {
      if (values != nullptr) {
        values[3 * i + k] = kBend[k];
      } else {
        row[3 * i + k] = i;
        col[3 * i + k] = i + k;
      }
    }
  }
  return TRUE;
}

// The lower triangle: the diagonal, then the elements below it.
Bool hessian(Index n, Number*, Bool, Number factor, Index, Number*, Bool, Index, Index* row,
             Index* col, Number* values, UserDataPtr) {
  for (Index i = 0; i < n; ++i) {
    const int neighbours = (i > 0) + (i + 1 < n);
    if (values != nullptr) {
      values[i] = factor * (1.0 + neighbours * SmoothedSeries::kStiffness);
      if (i + 1 < n) values[n + i] = -factor * SmoothedSeries::kStiffness;
    } else {
      row[i] = col[i] = i;
      if (i + 1 < n) row[n + i] = i + 1, col[n + i] = i;
    }
  }
  return TRUE;
}

IpoptProblem make_problem(Index n) {
  std::vector<Number> lower(static_cast<size_t>(n), 0.0);
  std::vector<Number> upper(static_cast<size_t>(n), SmoothedSeries::kTop);
  std::vector<Number> side(static_cast<size_t>(n - 2), SmoothedSeries::kBend);
  std::vector<Number> other_side(static_cast<size_t>(n - 2), -SmoothedSeries::kBend);
  IpoptProblem problem = CreateIpoptProblem(n, lower.data(), upper.data(), n - 2, other_side.data(),
                                            side.data(), 3 * (n - 2), 2 * n - 1, 0, objective,
                                            constraints, gradient, jacobian, hessian);
  const auto set = [problem](const char* option, const char* value) {
    AddIpoptStrOption(problem, const_cast<char*>(option), const_cast<char*>(value));
  };
  AddIpoptIntOption(problem, const_cast<char*>("print_level"), 0);
  AddIpoptNumOption(problem, const_cast<char*>("tol"), 1e-8);
  set("sb", "yes");
  set("hessian_constant", "yes");
  set("jac_c_constant", "yes");
  set("jac_d_constant", "yes");
  return problem;
}

double solve_by_ipopt(IpoptProblem problem, SmoothedSeries* series, double* optimum) {
  std::vector<Number> x(series->target.size(), 0.5 * SmoothedSeries::kTop);
  const double start = now();
  const ApplicationReturnStatus status =
      IpoptSolve(problem, x.data(), nullptr, optimum, nullptr, nullptr, nullptr, series);
  const double seconds = now() - start;
  if (status == Solve_Succeeded) return seconds;
  std::fprintf(stderr, "Ipopt ends with %d\n", static_cast<int>(status));
  std::exit(1);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  SmoothedSeries series(std::strtoul(argv[1], nullptr, 10));
  TimedTask task(series.text(), ".lp");
  IpoptProblem problem = make_problem(static_cast<Index>(series.target.size()));
  std::vector<double> ours;
  std::vector<double> theirs;
  for (int round = 0; round < std::atoi(argv[2]); ++round) {
    double optimum = 0.0;
    theirs.push_back(solve_by_ipopt(problem, &series, &optimum));
    const TimedTask::Figures figures = task.solve();
    ours.push_back(figures.seconds);
    if (std::fabs(figures.objective - optimum) > 1e-6 * std::fabs(optimum)) {
      std::fprintf(stderr, "%.10g is not %.10g\n", figures.objective, optimum);
      return 1;
    }
  }
  FreeIpoptProblem(problem);
  std::printf("%.4f %.4f\n", median(ours), median(theirs));
}
