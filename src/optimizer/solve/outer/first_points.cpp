// Fix and propagate: M. Fischetti, D. Salvagnin, Feasibility pump 2.0, Mathematical Programming
// Computation 1, 2009, describes the propagation of rounded variables.
#include "solve/outer/first_points.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "solve/outer/bound_propagation.h"
#include "task/numeric.h"

namespace vorlan::outer {
namespace {

enum class Order {
  kNearestFirst,  // those nearest to an integer first, each to its nearest integer
  kLargestOn,     // binary variables from the largest down, each on
  kLargestFirst,  // binary variables from the largest down, each to its nearest integer
};
constexpr Order kOrders[] = {Order::kLargestOn, Order::kNearestFirst, Order::kLargestFirst};

double distance_to_integer(double value) { return std::fabs(value - std::round(value)); }

bool is_binary(const BoundPropagation& bounds, int32_t var) {
  return bounds.lower(var) == 0.0 && bounds.upper(var) == 1.0;
}

// The integers that are still open, in the order in which they are fixed.
std::vector<int32_t> sort_integers(const Model& model, const BoundPropagation& bounds,
                                   const std::vector<double>& x, Order order) {
  std::vector<std::pair<double, int32_t>> ranked;
  for (int32_t j = 0; index(j) < x.size(); ++j) {
    if (model.var_kind[index(j)] != VarKind::kInteger) continue;
    const bool by_size = order != Order::kNearestFirst && is_binary(bounds, j);
    ranked.emplace_back(by_size ? 1.0 - x[index(j)] : distance_to_integer(x[index(j)]), j);
  }
  std::stable_sort(ranked.begin(), ranked.end());
  std::vector<int32_t> vars;
  vars.reserve(ranked.size());
  for (const auto& [rank, var] : ranked) vars.push_back(var);
  return vars;
}

// Fixes a variable at the possible value that is nearest to the one wanted, or, where that leads to
// a contradiction, beside it.
bool fix(int32_t var, double wanted, BoundPropagation* bounds) {
  const double value = std::clamp(wanted, bounds->lower(var), bounds->upper(var));
  const size_t mark = bounds->mark();
  if (bounds->tighten(var, value, value)) return true;
  bounds->undo(mark);
  const bool can_rise = value < bounds->upper(var);
  const double other = can_rise ? value + 1.0 : value - 1.0;
  if (other < bounds->lower(var)) return false;
  if (bounds->tighten(var, other, other)) return true;
  bounds->undo(mark);
  return false;
}

// Fixes all integers one after the other; empty where one has no value left.
std::vector<double> round_in_order(const Model& linear, const std::vector<double>& x, Order order,
                                   BoundPropagation* bounds) {
  std::vector<double> point = x;
  for (const int32_t var : sort_integers(linear, *bounds, x, order)) {
    const bool on = order == Order::kLargestOn && is_binary(*bounds, var);
    if (!fix(var, on ? 1.0 : std::round(x[index(var)]), bounds)) return {};
    point[index(var)] = bounds->lower(var);
  }
  return point;
}

// A dive by batches of variables. Where the continuous model has no point with a batch, half of it is
// tried, and in the end the other side of its first variable.
class Dive {
 public:
  Dive(const Model& linear, std::vector<double> x, const SolveWithin& solve)
      : linear_(linear), x_(std::move(x)), solve_(solve), bounds_(linear) {}

  std::vector<double> run() {
    constexpr int kMostFailures = 12;
    constexpr int kMostSteps = 40;
    if (!bounds_.tighten_all()) return {};
    size_t most = x_.size();  // of a batch
    int failures = 0;
    for (int step = 0; step < kMostSteps && failures < kMostFailures; ++step) {
      const std::vector<int32_t> batch = choose_batch(most);
      if (batch.empty()) return solve_there() ? x_ : std::vector<double>();
      const size_t mark = bounds_.mark();
      const bool possible = std::all_of(batch.begin(), batch.end(), [this](int32_t var) {
        return fix(var, wanted(var), &bounds_);
      });
      if (possible && solve_there()) {
        if (choose_batch(1).empty()) return x_;
        most = 2 * batch.size();
        continue;
      }
      bounds_.undo(mark);
      if (batch.size() == 1 && failures++ == 0 && solve_with_rest_off()) return x_;
      most = batch.size() / 2;
      if (most == 0 && !exclude(batch.front())) return {};
      most = std::max<size_t>(1, most);
    }
    return {};
  }

 private:
  double wanted(int32_t var) const {
    return is_binary(bounds_, var) ? 1.0 : std::round(x_[index(var)]);
  }

  // The largest open variables, a third of those that the point has on in sum, so that a dive takes
  // few steps and goes carefully at its end.
  std::vector<int32_t> choose_batch(size_t most) const {
    constexpr double kShare = 1.0 / 3.0;
    std::vector<int32_t> vars = sort_integers(linear_, bounds_, x_, Order::kLargestOn);
    std::erase_if(vars, [this](int32_t var) { return bounds_.lower(var) == bounds_.upper(var); });
    double sum = 0.0;
    for (const int32_t var : vars) sum += std::clamp(x_[index(var)], 0.0, 1.0);
    const auto share = static_cast<size_t>(std::max(1.0, kShare * sum));
    vars.resize(std::min({share, most, vars.size()}));
    return vars;
  }

  // Where no other variable can be on, enough of them may be.
  bool solve_with_rest_off() {
    const size_t mark = bounds_.mark();
    const std::vector<double> x = x_;
    for (const int32_t var : sort_integers(linear_, bounds_, x, Order::kLargestOn)) {
      if (fix(var, std::floor(x[index(var)]), &bounds_)) continue;
      bounds_.undo(mark);
      return false;
    }
    if (solve_there()) return true;
    bounds_.undo(mark);
    return false;
  }

  // Takes the value that was wanted from a variable, and all beyond it.
  bool exclude(int32_t var) {
    const double value = std::clamp(wanted(var), bounds_.lower(var), bounds_.upper(var));
    const bool is_upper = value > bounds_.lower(var);
    return is_upper ? bounds_.tighten(var, bounds_.lower(var), value - 1.0)
                    : bounds_.tighten(var, value + 1.0, bounds_.upper(var));
  }

  // Solves the continuous model within the bounds. Fixed integers are whole in the point.
  bool solve_there() {
    std::vector<double> lower = linear_.var_lower;
    std::vector<double> upper = linear_.var_upper;
    const auto for_integers = [this](auto&& act) {
      for (int32_t j = 0; index(j) < x_.size(); ++j) {
        if (linear_.var_kind[index(j)] == VarKind::kInteger) act(j);
      }
    };
    for_integers([&](int32_t j) {
      lower[index(j)] = bounds_.lower(j);
      upper[index(j)] = bounds_.upper(j);
    });
    std::vector<double> found = solve_(lower, upper);
    if (found.empty()) return false;
    x_ = std::move(found);
    for_integers([&](int32_t j) {
      if (bounds_.lower(j) == bounds_.upper(j)) x_[index(j)] = bounds_.lower(j);
    });
    return true;
  }

  const Model& linear_;
  std::vector<double> x_;
  const SolveWithin& solve_;
  BoundPropagation bounds_;
};

// The activity of each row at a point without its integers, and the only integer variable that the
// row has; -1 where it has none or more.
struct SwitchRow {
  double rest = 0.0;
  int32_t integer = -1;
  double factor = 0.0;
  int num_integers = 0;
};

std::vector<SwitchRow> switch_rows(const Model& linear, const std::vector<double>& x) {
  std::vector<SwitchRow> rows(linear.con_lower.size());
  for (size_t j = 0; j < linear.cost.size(); ++j) {
    const bool integer = linear.var_kind[j] == VarKind::kInteger;
    // Columns that the point does not have are those of curved parts.
    const double value = j < x.size() ? x[j] : std::nan("");
    for (size_t k = index(linear.matrix.start[j]); k < index(linear.matrix.start[j + 1]); ++k) {
      SwitchRow& row = rows[index(linear.matrix.row[k])];
      if (!integer) {
        row.rest += linear.matrix.value[k] * value;
        continue;
      }
      ++row.num_integers;
      row.integer = static_cast<int32_t>(j);
      row.factor = linear.matrix.value[k];
    }
  }
  return rows;
}

}  // namespace

std::vector<double> with_least_integers(const Model& linear, const std::vector<double>& x) {
  BoundPropagation bounds(linear);
  if (!bounds.tighten_all()) return {};
  std::vector<double> needed = x;
  for (int32_t j = 0; index(j) < x.size(); ++j) {
    const bool is_whole = linear.var_kind[index(j)] == VarKind::kInteger;
    if (is_whole && std::isfinite(bounds.lower(j))) needed[index(j)] = bounds.lower(j);
  }
  const std::vector<SwitchRow> rows = switch_rows(linear, x);
  for (size_t i = 0; i < rows.size(); ++i) {
    const SwitchRow& row = rows[i];
    if (row.num_integers != 1 || index(row.integer) >= x.size() || std::isnan(row.rest)) continue;
    const double side = row.factor > 0.0 ? linear.con_lower[i] : linear.con_upper[i];
    if (row.factor == 0.0 || !std::isfinite(side)) continue;
    double& value = needed[index(row.integer)];
    value = std::max(value, std::min((side - row.rest) / row.factor, bounds.upper(row.integer)));
  }
  return needed;
}

std::vector<double> dive(const Model& linear, std::vector<double> x, const SolveWithin& solve) {
  return Dive(linear, std::move(x), solve).run();
}

size_t count_integers(const Model& linear, size_t num_variables) {
  const auto end = linear.var_kind.begin() + static_cast<ptrdiff_t>(num_variables);
  return static_cast<size_t>(std::count(linear.var_kind.begin(), end, VarKind::kInteger));
}

size_t count_on(const Model& linear, const std::vector<double>& x) {
  double sum = 0.0;
  for (size_t j = 0; j < x.size(); ++j) {
    if (linear.var_kind[j] == VarKind::kInteger) sum += std::clamp(x[j], 0.0, 1.0);
  }
  return static_cast<size_t>(std::round(sum));
}

std::vector<double> with_largest_on(const Model& linear, const std::vector<double>& x,
                                    size_t count) {
  BoundPropagation bounds(linear);
  if (!bounds.tighten_all()) return {};
  std::vector<double> point = x;
  size_t place = 0;
  for (const int32_t var : sort_integers(linear, bounds, x, Order::kLargestOn)) {
    const bool on = place++ < count;
    const double value = on ? std::ceil(x[index(var)]) : std::floor(x[index(var)]);
    if (!fix(var, is_binary(bounds, var) ? (on ? 1.0 : 0.0) : value, &bounds)) return {};
    point[index(var)] = bounds.lower(var);
  }
  return point;
}

std::vector<std::vector<double>> first_points(const Model& linear, const std::vector<double>& x) {
  std::vector<std::vector<double>> points;
  BoundPropagation bounds(linear);
  if (!bounds.tighten_all()) return points;
  for (const Order order : kOrders) {
    const size_t mark = bounds.mark();
    std::vector<double> point = round_in_order(linear, x, order, &bounds);
    bounds.undo(mark);
    if (!point.empty()) points.push_back(std::move(point));
  }
  return points;
}

std::vector<double> with_largest_rounded_up(const Model& linear, const std::vector<double>& x) {
  BoundPropagation bounds(linear);
  if (!bounds.tighten_all()) return {};
  return round_in_order(linear, x, Order::kLargestOn, &bounds);
}

}  // namespace vorlan::outer
