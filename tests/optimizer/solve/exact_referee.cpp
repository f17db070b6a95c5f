// A simplex method with Bland's rule on dense tableaus of GMP's rationals. Doubles are rationals,
// so that nothing is rounded.
#include "solve/exact_referee.h"

#include <gmpxx.h>

#include <cmath>
#include <vector>

namespace vorlan::test {
namespace {

using Row = std::vector<mpq_class>;

// Inequalities a'x <= b in free variables; each row ends with b.
class System {
 public:
  explicit System(size_t num_var) : num_var_(num_var) {}

  // lower <= a'x <= upper, where the sides may be infinite.
  void add(const std::vector<double>& a, double lower, double upper) {
    if (std::isfinite(upper)) add_less_equal(a, upper, 1);
    if (std::isfinite(lower)) add_less_equal(a, lower, -1);
  }

  bool has_solution() const;

 private:
  void add_less_equal(const std::vector<double>& a, double side, int sign) {
    Row row;
    for (const double element : a) row.push_back(sign * mpq_class(element));
    row.push_back(sign * mpq_class(side));
    rows_.push_back(row);
  }

  size_t num_var_;
  std::vector<Row> rows_;
};

// Phase one: minimizes the sum of artificial variables of A(p - q) + s - t = b, whose cost row is
// the last. The columns are p, q, s, the artificial variables, b.
class PhaseOne {
 public:
  PhaseOne(const std::vector<Row>& rows, size_t num_var) : width_(2 * num_var + 2 * rows.size()) {
    const size_t m = rows.size();
    for (size_t i = 0; i < m; ++i) {
      const int sign = rows[i].back() < 0 ? -1 : 1;
      Row row(width_ + 1);
      for (size_t j = 0; j < num_var; ++j) {
        row[j] = sign * rows[i][j];
        row[num_var + j] = -row[j];
      }
      row[2 * num_var + i] = sign;
      row[width_] = sign * rows[i].back();
      basis_.push_back(2 * num_var + (sign < 0 ? m : 0) + i);
      if (sign < 0) row[basis_.back()] = 1;
      tableau_.push_back(row);
    }
    Row cost(width_ + 1);
    for (size_t i = 0; i < m; ++i) {
      if (basis_[i] < 2 * num_var + m) continue;
      for (size_t j = 0; j <= width_; ++j) cost[j] -= tableau_[i][j];
      cost[basis_[i]] = 0;
    }
    // Only what can leave the basis is artificial.
    last_column_ = 2 * num_var + m;
    tableau_.push_back(cost);
  }

  bool reaches_zero() {
    while (improve()) {
    }
    return tableau_.back()[width_] == 0;
  }

 private:
  bool improve() {
    const Row& cost = tableau_.back();
    size_t entering = 0;
    while (entering < last_column_ && cost[entering] >= 0) ++entering;
    if (entering == last_column_) return false;
    size_t leaving = basis_.size();
    mpq_class least;
    for (size_t i = 0; i < basis_.size(); ++i) {
      if (tableau_[i][entering] <= 0) continue;
      const mpq_class ratio = tableau_[i][width_] / tableau_[i][entering];
      const bool better = leaving == basis_.size() || ratio < least ||
                          (ratio == least && basis_[i] < basis_[leaving]);
      if (!better) continue;
      leaving = i;
      least = ratio;
    }
    if (leaving == basis_.size()) return false;  // cannot be: the sum is bounded below
    pivot(leaving, entering);
    return true;
  }

  void pivot(size_t leaving, size_t entering) {
    const mpq_class inverse = 1 / tableau_[leaving][entering];
    for (mpq_class& element : tableau_[leaving]) element *= inverse;
    for (size_t i = 0; i < tableau_.size(); ++i) {
      if (i == leaving || tableau_[i][entering] == 0) continue;
      const mpq_class factor = tableau_[i][entering];
      for (size_t j = 0; j <= width_; ++j) tableau_[i][j] -= factor * tableau_[leaving][j];
    }
    basis_[leaving] = entering;
  }

  size_t width_;
  size_t last_column_ = 0;
  std::vector<Row> tableau_;
  std::vector<size_t> basis_;
};

bool System::has_solution() const { return PhaseOne(rows_, num_var_).reaches_zero(); }

std::vector<std::vector<double>> dense_rows(const Model& model) {
  std::vector<std::vector<double>> rows(model.con_lower.size(),
                                        std::vector<double>(model.cost.size(), 0.0));
  for (size_t j = 0; j < model.cost.size(); ++j) {
    for (int64_t k = model.matrix.start[j]; k < model.matrix.start[j + 1]; ++k) {
      const auto place = static_cast<size_t>(k);
      rows[static_cast<size_t>(model.matrix.row[place])][j] += model.matrix.value[place];
    }
  }
  return rows;
}

// The finite sides of the model, moved to 0 for directions.
System system_of(const Model& model, bool directions) {
  const auto side = [directions](double value) {
    return directions && std::isfinite(value) ? 0.0 : value;
  };
  System system(model.cost.size());
  const auto rows = dense_rows(model);
  for (size_t i = 0; i < rows.size(); ++i) {
    system.add(rows[i], side(model.con_lower[i]), side(model.con_upper[i]));
  }
  for (size_t j = 0; j < model.cost.size(); ++j) {
    std::vector<double> unit(model.cost.size(), 0.0);
    unit[j] = 1.0;
    system.add(unit, side(model.var_lower[j]), side(model.var_upper[j]));
  }
  return system;
}

}  // namespace

bool has_feasible_point(const Model& model) { return system_of(model, false).has_solution(); }

bool has_falling_direction(const Model& model) {
  System system = system_of(model, true);
  system.add(model.cost, -INFINITY, -1.0);
  return system.has_solution();
}

}  // namespace vorlan::test
