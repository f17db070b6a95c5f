// Cones and rows around a point whose integers are whole, so that most models are feasible.
#include "random_mixed_model.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "cone_points.h"
#include "conic_models.h"
#include "proofs/verify.h"
#include "proved_answer.h"
#include "solve/check/checker.h"
#include "solve/check/clean_rays.h"
#include "solve/check/terms.h"
#include "solve/conic/conic_backend.h"

namespace vorlan::test {
namespace {

class Maker {
 public:
  explicit Maker(uint32_t seed) : random_(seed), switch_random_(seed + 1000003U) {}

  Model make(MixedFamily family) {
    add_variables();
    if (switch_random_.chance(40)) add_switch();
    const int num_rows = random_.whole(0, 2);
    for (int i = 0; i < num_rows; ++i) add_linear_row();
    if (family == MixedFamily::kEverything) {
      const int parts = random_.whole(2, 3);
      for (int k = 0; k < parts; ++k) {
        add_part(static_cast<MixedFamily>(random_.whole(0, kNumMixedFamilies - 2)));
      }
    } else {
      add_part(family);
    }
    if (random_.chance(30)) turn_round();
    model_.constant = random_.between(-2.0, 2.0);
    return std::move(model_);
  }

 private:
  int32_t add_variable(VarKind kind, double lower, double upper, double cost, double value) {
    model_.cost.push_back(cost);
    model_.var_lower.push_back(lower);
    model_.var_upper.push_back(upper);
    model_.var_kind.push_back(kind);
    model_.matrix.start.push_back(model_.matrix.start.back());
    point_.push_back(value);
    return model_.num_var() - 1;
  }

  void add_variables() {
    const int num_integer = random_.whole(1, 3);
    for (int k = 0; k < num_integer; ++k) {
      const int lower = random_.chance(50) ? 0 : random_.whole(-2, 1);
      const int upper = lower + random_.whole(1, 3);
      add_variable(VarKind::kInteger, lower, upper, random_.between(-2.0, 2.0),
                   random_.whole(lower, upper));
    }
    if (random_.chance(30)) {
      add_variable(VarKind::kSemiContinuous, 1.0, 3.0, random_.between(-2.0, 2.0),
                   random_.chance(50) ? 0.0 : 2.0);
    }
    if (random_.chance(10)) add_variable(VarKind::kSemiInteger, 2.0, 4.0, 0.5, 3.0);
    const int num_continuous = random_.whole(1, 3);
    for (int k = 0; k < num_continuous; ++k) {
      const double bound = random_.chance(8) ? kInfinity : 4.0;
      add_variable(VarKind::kContinuous, -bound, bound, random_.between(-2.0, 2.0),
                   random_.between(-2.0, 2.0));
    }
    num_free_to_use_ = model_.num_var();
  }

  // A binary variable that switches continuous ones off, and stands in rows itself now and then.
  void add_switch() {
    const int32_t num_before = model_.num_var();
    const bool off_at_one = switch_random_.chance(30);
    add_variable(VarKind::kInteger, 0.0, 1.0, switch_random_.between(-1.0, 1.0),
                 off_at_one ? 0.0 : 1.0);
    for (int32_t j = 0; j < num_before; ++j) {
      const bool is_continuous = model_.var_kind[static_cast<size_t>(j)] == VarKind::kContinuous;
      if (!is_continuous || switch_random_.chance(30)) continue;
      std::vector<double> row(model_.cost.size(), 0.0);
      row[static_cast<size_t>(j)] = 1.0;
      row.back() = off_at_one ? 4.0 : -4.0;
      add_constraint(&model_, -kInfinity, off_at_one ? 4.0 : 0.0, row);
      row.back() = -row.back();
      add_constraint(&model_, off_at_one ? -4.0 : 0.0, kInfinity, row);
    }
    if (switch_random_.chance(50)) num_free_to_use_ = model_.num_var();
  }

  // A row over the variables that stand for themselves, and its value at the point.
  std::vector<double> random_row(double* value) {
    std::vector<double> row(model_.cost.size(), 0.0);
    for (int32_t j = 0; j < num_free_to_use_; ++j) {
      if (random_.chance(60)) row[static_cast<size_t>(j)] = random_.between(-2.0, 2.0);
    }
    *value = 0.0;
    for (size_t j = 0; j < row.size(); ++j) *value += row[j] * point_[j];
    return row;
  }

  void add_linear_row() {
    double value = 0.0;
    const std::vector<double> row = random_row(&value);
    const double room = random_.chance(15) ? -random_.between(0.0, 3.0) : random_.between(0.0, 2.0);
    const bool below = random_.chance(50);
    add_constraint(&model_, below ? -kInfinity : value - room, below ? value + room : kInfinity,
                   row);
  }

  void add_part(MixedFamily family) {
    switch (family) {
      case MixedFamily::kQuadraticObjective:
        return add_quadratic_objective();
      case MixedFamily::kQuadraticRow:
        return add_quadratic_row();
      case MixedFamily::kMatrix:
        return add_matrix();
      default:
        return add_cone(static_cast<ConeKind>(static_cast<int>(family) -
                                              static_cast<int>(MixedFamily::kQuadraticCone)));
    }
  }

  // Elements of F'F.
  std::vector<TriangleEntry> random_form() {
    const auto n = static_cast<size_t>(num_free_to_use_);
    std::vector<std::vector<double>> factor(static_cast<size_t>(random_.whole(1, 3)));
    for (auto& row : factor) {
      for (size_t j = 0; j < n; ++j) {
        row.push_back(random_.chance(50) ? random_.between(-1.5, 1.5) : 0.0);
      }
    }
    std::vector<TriangleEntry> entries;
    for (size_t col = 0; col < n; ++col) {
      for (size_t row = col; row < n; ++row) {
        double sum = 0.0;
        for (const auto& f : factor) sum += f[row] * f[col];
        if (sum == 0.0) continue;
        entries.push_back({static_cast<int32_t>(row), static_cast<int32_t>(col), sum});
      }
    }
    return entries;
  }

  void add_quadratic_objective() {
    if (model_.quadratic_cost.empty()) model_.quadratic_cost = random_form();
  }

  void add_quadratic_row() {
    double value = 0.0;
    std::vector<double> row = random_row(&value);
    const std::vector<TriangleEntry> form = random_form();
    for (const TriangleEntry& e : form) {
      const double half = e.row == e.col ? 0.5 : 1.0;
      value +=
          half * e.value * point_[static_cast<size_t>(e.row)] * point_[static_cast<size_t>(e.col)];
    }
    const double room = random_.chance(15) ? -random_.between(1.0, 6.0) : random_.between(0.1, 2.0);
    const double sign = random_.chance(30) ? -1.0 : 1.0;
    for (double& coefficient : row) coefficient *= sign;
    const double side = sign * (value + room);
    const int32_t con = model_.num_con();
    add_constraint(&model_, sign > 0.0 ? -kInfinity : side, sign > 0.0 ? side : kInfinity, row);
    for (TriangleEntry e : form) {
      e.value *= sign;
      model_.quadratic_coefficients.push_back({con, e});
    }
  }

  // A member is a free variable, a variable that stands for itself, or equal to a row.
  int32_t add_member(double value, bool free_head) {
    if (free_head) {
      return add_variable(VarKind::kContinuous, -kInfinity, kInfinity, random_.between(0.2, 2.0),
                          value);
    }
    double at_point = 0.0;
    const int32_t var = add_variable(VarKind::kContinuous, -kInfinity, kInfinity, 0.0, value);
    std::vector<double> row = random_row(&at_point);
    row.resize(model_.cost.size(), 0.0);
    row[static_cast<size_t>(var)] = -1.0;
    add_constraint(&model_, at_point - value, at_point - value, row);
    return var;
  }

  void add_cone(ConeKind kind) {
    Cone cone = random_cone(kind, 0, &random_);
    std::vector<double> values = interior_point(cone, false, &random_);
    if (random_.chance(15)) {
      for (double& value : values) value *= -random_.between(0.2, 1.0);
    }
    const bool free_head = random_.chance(40);
    for (size_t k = 0; k < values.size(); ++k) {
      cone.vars[k] = add_member(values[k], free_head && k == 0);
    }
    // A factor that an integer variable switches.
    const bool takes_integer = kind == ConeKind::kRotatedQuadratic && model_.var_lower[0] >= 0.0 &&
                               !has_switch_ && random_.chance(50);
    if (takes_integer) {
      cone.vars[1] = 0;
      has_switch_ = true;
    }
    model_.cones.push_back(std::move(cone));
  }

  // An integer and a continuous variable beside a matrix of order 2 or 3.
  void add_matrix() {
    const int32_t order = random_.whole(2, 3);
    const int32_t matrix = model_.num_matrix_var();
    model_.matrix_vars.push_back({order});
    for (int32_t k = 0; k < order; ++k) {
      model_.matrix_cost.push_back({matrix, {k, k, random_.between(0.5, 2.0)}});
    }
    const int num_rows = random_.whole(1, 2);
    for (int i = 0; i < num_rows; ++i) {
      double value = 0.0;
      const std::vector<double> row = random_row(&value);
      const double room = random_.between(0.5, 2.0);
      for (int32_t col = 0; col < order; ++col) {
        for (int32_t below = col; below < order; ++below) {
          if (!random_.chance(60)) continue;
          model_.matrix_coefficients.push_back(
              {model_.num_con(), matrix, {below, col, random_.between(-1.5, 1.5)}});
        }
      }
      add_constraint(&model_, value + room, random_.chance(30) ? value + room : kInfinity, row);
    }
  }

  void turn_round() {
    model_.maximize = true;
    for (double& cost : model_.cost) cost = -cost;
    for (TriangleEntry& e : model_.quadratic_cost) e.value = -e.value;
    for (MatrixCostEntry& e : model_.matrix_cost) e.entry.value = -e.entry.value;
  }

  Random random_, switch_random_;
  Model model_;
  std::vector<double> point_;
  int32_t num_free_to_use_ = 0;
  bool has_switch_ = false;
};

class Silent : public BackendMonitor {
 public:
  void log(std::string_view) override {}
  bool should_stop(const Progress&) override { return false; }
  void incumbent(std::span<const double>, std::span<const double>) override {}
};

// Values that a variable is to be fixed at; of a semi-continuous one that is on, an interval.
struct Choice {
  double lower, upper;
};

std::vector<Choice> choices_of(const Model& model, size_t j) {
  std::vector<Choice> choices;
  const double lower = model.var_lower[j];
  const double upper = model.var_upper[j];
  const VarKind kind = model.var_kind[j];
  if (kind == VarKind::kContinuous) return {{lower, upper}};
  if (is_semi(kind)) choices.push_back({0.0, 0.0});
  if (kind == VarKind::kSemiContinuous) {
    choices.push_back({lower, upper});
  } else {
    for (double value = lower; value <= upper; value += 1.0) choices.push_back({value, value});
  }
  return choices;
}

bool is_fixed_at_zero(const Model& model, int32_t var) {
  return model.var_lower[index(var)] == 0.0 && model.var_upper[index(var)] == 0.0;
}

// Whether a factor of the product that bounds the other members is fixed at 0.
bool has_zero_factor(const Model& model, const Cone& cone) {
  if (cone.kind != ConeKind::kRotatedQuadratic) return false;
  return is_fixed_at_zero(model, cone.vars[0]) || is_fixed_at_zero(model, cone.vars[1]);
}

// Where a factor of 2 x0 x1 >= |x|^2 is fixed at 0 the other members are 0. Within a tolerance t the
// conic method would let them be as large as the root of t, and the objective with them.
Model without_zero_factors(Model model) {
  std::vector<Cone> cones;
  for (const Cone& cone : model.cones) {
    const auto may_be_zero = [&model](int32_t var) {
      return model.var_lower[index(var)] <= 0.0 && model.var_upper[index(var)] >= 0.0;
    };
    const auto rest = cone.vars.begin() + 2;
    if (!has_zero_factor(model, cone) || !std::all_of(rest, cone.vars.end(), may_be_zero)) {
      cones.push_back(cone);
      continue;
    }
    std::for_each(rest, cone.vars.end(), [&model](int32_t var) {
      model.var_lower[index(var)] = model.var_upper[index(var)] = 0.0;
    });
    for (auto factor = cone.vars.begin(); factor != rest; ++factor) {
      double& lower = model.var_lower[index(*factor)];
      lower = std::max(lower, 0.0);
    }
  }
  model.cones = std::move(cones);
  return model;
}

// Looks for a proof where one is asked for.
template <class IsProved>
void count(IsProved&& is_proved, Enumeration* result) {
  if (result->proves) ++(is_proved() ? result->proved : result->unproved);
}

bool is_proved_infeasible(const Model& model, const BackendResult& found) {
  return proofs::verify_infeasible(proof_model(model), {found.y, found.snx, found.x}).empty();
}

// No feasible point has a better objective than the one that was found, but for the error.
bool is_proved_best(const MinimizeProblem& problem, const BackendResult& found, double error) {
  proofs::Model exact = proof_model(problem.model);
  exact.constant = 0.0;
  const double least = objective_sum(problem, found.x, found.barx).value - error;
  return proofs::proved_bound(exact, {found.y, found.snx, found.x}, found.barx, least) >= least;
}

bool is_proved_unbounded(const MinimizeProblem& problem, BackendResult* found) {
  if (!complete_primal_ray(problem, found)) return false;
  return proofs::verify_unbounded(proof_model(problem.model), found->x, found->barx).empty();
}

void try_one(const Model& given, Enumeration* result) {
  const Model model = without_zero_factors(given);
  constexpr double kFeasible = 1e-8;
  constexpr double kNoGap = 1e-5;
  const MinimizeProblem problem(model);
  Silent monitor;
  BackendResult found;
  const Status status = kConicBackend.solve(problem, Parameters(), kInfinity, &monitor, &found);
  ASSERT_TRUE(status.ok()) << status.message();
  if (found.outcome == Outcome::kInfeasible) {
    // The ray of quadratic constraints needs a point that the method does not give.
    const bool has_proof = model.quadratic_coefficients.empty();
    if (has_proof && !complete_dual_ray(model, &found)) result->doubtful = true;
    count([&] { return is_proved_infeasible(model, found); }, result);
  } else if (found.outcome == Outcome::kUnbounded) {
    // The ray says nothing about points.
    Model feasibility = model;
    feasibility.cost.assign(model.cost.size(), 0.0);
    feasibility.quadratic_cost.clear();
    feasibility.matrix_cost.clear();
    Enumeration any;
    try_one(feasibility, &any);
    count([&] { return is_proved_unbounded(problem, &found); }, result);
    result->doubtful = result->doubtful || any.doubtful;
    result->unbounded = result->unbounded || any.feasible;
  } else if (found.outcome == Outcome::kOptimal &&
             primal_violation(model, found.x, found.barx) <= kFeasible) {
    const double sense = problem.sense_factor();
    const double objective =
        sense * objective_sum(problem, found.x, found.barx).value + model.constant;
    const double error = kNoGap * std::max(1.0, std::fabs(objective));
    count([&] { return is_proved_best(problem, found, error); }, result);
    if (!result->feasible || sense * objective < sense * result->objective) {
      result->objective = objective;
    }
    result->feasible = true;
    if (duality_gap(problem, found) > kNoGap) result->doubtful = true;
  } else {
    result->doubtful = true;
  }
}

void try_all(Model* model, size_t var, const Model& original, Enumeration* result) {
  if (var == original.cost.size()) return try_one(*model, result);
  for (const Choice& choice : choices_of(original, var)) {
    model->var_lower[var] = choice.lower;
    model->var_upper[var] = choice.upper;
    try_all(model, var + 1, original, result);
  }
}

}  // namespace

Model make_mixed_model(MixedFamily family, uint32_t seed) {
  return Maker(seed * static_cast<uint32_t>(kNumMixedFamilies) + static_cast<uint32_t>(family))
      .make(family);
}

Enumeration enumerate(const Model& model, Proofs proofs) {
  Enumeration result;
  result.proves = proofs == Proofs::kYes;
  Model fixed = model;
  fixed.var_kind.assign(model.cost.size(), VarKind::kContinuous);
  try_all(&fixed, 0, model, &result);
  return result;
}

}  // namespace vorlan::test
