// Switches are found in rows of two variables first. Equations then hand them on.
#include "solve/outer/switches.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <tuple>
#include <utility>

#include "solve/check/vectors.h"

namespace vorlan::outer {
namespace {

// The longest chain of equations through which a switch is handed on.
constexpr int kMostPasses = 10;

class Finder {
 public:
  Finder(const Model& model, const RowView& rows)
      : model_(model), rows_(rows), switches_(model.cost.size()) {
    for (int32_t j = 0; j < model.num_var(); ++j) {
      fixed_.push_back(fixed_value(model, rows, j));
      own_ranges_.push_back(own_range(index(j)));
    }
    narrow_by_single_rows();
  }

  std::vector<Switch> find() {
    look_at_pairs();
    for (int pass = 0; pass < kMostPasses && hand_on(); ++pass) {
    }
    return std::move(switches_);
  }

 private:
  struct Interval {
    double lower, upper;
  };

  Interval own_range(size_t var) const {
    const bool semi = is_semi(model_.var_kind[var]);
    return {semi ? std::min(0.0, model_.var_lower[var]) : model_.var_lower[var],
            semi ? std::max(0.0, model_.var_upper[var]) : model_.var_upper[var]};
  }

  // Some formats have no bounds, only constraints of one variable.
  void narrow_by_single_rows() {
    for (size_t row = 0; row < rows_.linear.size(); ++row) {
      const size_t k = rows_.start[row];
      const bool is_single = rows_.linear[row] && rows_.start[row + 1] - k == 1;
      if (is_single && rows_.value[k] != 0.0)
        narrow_to_row(row, k, 0.0, &own_ranges_[index(rows_.var[k])]);
    }
  }

  // Narrows a range to the values that a row allows the variable at one of its places, where the
  // other terms come to the rest.
  void narrow_to_row(size_t row, size_t place, double rest, Interval* range) const {
    const double factor = rows_.value[place];
    double lower = (model_.con_lower[row] - rest) / factor;
    double upper = (model_.con_upper[row] - rest) / factor;
    if (factor < 0.0) std::swap(lower, upper);
    range->lower = std::max(range->lower, lower);
    range->upper = std::min(range->upper, upper);
  }

  bool is_binary(int32_t var) const {
    const Interval& range = own_ranges_[index(var)];
    return model_.var_kind[index(var)] == VarKind::kInteger && range.lower == 0.0 &&
           range.upper == 1.0;
  }

  // Narrows the range that the variable at one place of a row has while the binary variable, at the
  // other place, has the given value.
  void narrow(size_t row, size_t place, size_t binary_place, bool at_one) {
    const auto var = index(rows_.var[place]);
    const int32_t binary = rows_.var[binary_place];
    const double rest = at_one ? rows_.value[binary_place] : 0.0;
    const auto key = std::tuple(rows_.var[place], binary, at_one);
    Interval& range = ranges_.try_emplace(key, own_ranges_[var]).first->second;
    narrow_to_row(row, place, rest, &range);
    const bool is_off = range.lower == range.upper && !switches_[var].exists();
    if (is_off) switches_[var] = {binary, at_one, range.lower + 0.0};
  }

  void look_at_pairs() {
    for (size_t row = 0; row < rows_.linear.size(); ++row) {
      const size_t first = rows_.start[row];
      if (!rows_.linear[row] || rows_.start[row + 1] - first != 2) continue;
      for (const size_t k : {first, first + 1}) {
        const size_t other = 2 * first + 1 - k;
        const bool usable = rows_.value[k] != 0.0 && rows_.value[other] != 0.0;
        if (!usable || !is_binary(rows_.var[k])) continue;
        narrow(row, other, k, false);
        narrow(row, other, k, true);
      }
    }
  }

  // Where all variables of an equation but one are off together, or fixed, that one is off, too.
  bool hand_on() {
    bool found = false;
    for (size_t row = 0; row < rows_.linear.size(); ++row) {
      if (!rows_.linear[row] || model_.con_lower[row] != model_.con_upper[row]) continue;
      found = hand_on_in(row) || found;
    }
    return found;
  }

  bool hand_on_in(size_t row) {
    const size_t none = rows_.start[row + 1];
    size_t last = none;
    Switch common = first_switch(row);
    if (!common.exists()) return false;
    double rest = model_.con_lower[row];
    for (size_t k = rows_.start[row]; k < none; ++k) {
      const double value = value_when_off(rows_.var[k], common);
      if (!std::isnan(value)) {
        rest -= rows_.value[k] * value;
      } else if (last != none || switches_[index(rows_.var[k])].exists()) {
        return false;
      } else {
        last = k;
      }
    }
    if (last == none || rows_.value[last] == 0.0) return false;
    common.value = rest / rows_.value[last];
    switches_[index(rows_.var[last])] = common;
    return true;
  }

  Switch first_switch(size_t row) const {
    for (size_t k = rows_.start[row]; k < rows_.start[row + 1]; ++k) {
      const Switch& own = switches_[index(rows_.var[k])];
      if (own.exists() && std::isnan(fixed_[index(rows_.var[k])])) return own;
    }
    return {};
  }

  // The value of a variable while the switch is off; NaN when it is not known.
  double value_when_off(int32_t var, const Switch& common) const {
    if (var == common.binary) return common.off_at_one ? 1.0 : 0.0;
    if (!std::isnan(fixed_[index(var)])) return fixed_[index(var)];
    const Switch& own = switches_[index(var)];
    return own.exists() && own.same_as(common) ? own.value : std::nan("");
  }

  const Model& model_;
  const RowView& rows_;
  std::map<std::tuple<int32_t, int32_t, bool>, Interval> ranges_;
  std::vector<Switch> switches_;
  std::vector<double> fixed_;
  std::vector<Interval> own_ranges_;
};

bool is_equation(const Model& model, const RowView& rows, size_t row) {
  return model.con_lower[row] == model.con_upper[row] && rows.linear[row];
}

// By bounds, or by an equation without other variables.
double fixed_alone(const Model& model, const RowView& rows, int32_t var) {
  const size_t j = index(var);
  if (is_semi(model.var_kind[j])) return std::nan("");
  if (model.var_lower[j] == model.var_upper[j]) return model.var_lower[j];
  const SparseMatrix& a = model.matrix;
  for (size_t k = index(a.start[j]); k < index(a.start[j + 1]); ++k) {
    const size_t row = index(a.row[k]);
    const bool is_alone = rows.start[row + 1] - rows.start[row] == 1 && a.value[k] != 0.0;
    if (is_equation(model, rows, row) && is_alone) return model.con_lower[row] / a.value[k];
  }
  return std::nan("");
}

}  // namespace

double fixed_value(const Model& model, const RowView& rows, int32_t var) {
  const double alone = fixed_alone(model, rows, var);
  if (!std::isnan(alone) || is_semi(model.var_kind[index(var)])) return alone;
  const SparseMatrix& a = model.matrix;
  for (size_t k = index(a.start[index(var)]); k < index(a.start[index(var) + 1]); ++k) {
    const size_t row = index(a.row[k]);
    const size_t first = rows.start[row];
    const bool is_pair = rows.start[row + 1] - first == 2 && a.value[k] != 0.0;
    if (!is_pair || !is_equation(model, rows, row)) continue;
    const size_t other = rows.var[first] == var ? first + 1 : first;
    const double value =
        rows.var[other] == var ? std::nan("") : fixed_alone(model, rows, rows.var[other]);
    if (std::isnan(value)) continue;
    return (model.con_lower[row] - rows.value[other] * value) / a.value[k];
  }
  return std::nan("");
}

std::vector<Switch> find_switches(const Model& model, const RowView& rows) {
  return Finder(model, rows).find();
}

}  // namespace vorlan::outer
