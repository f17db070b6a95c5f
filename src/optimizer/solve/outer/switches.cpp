// How switches are found; see switches.h.
#include "solve/outer/switches.h"

#include <algorithm>
#include <map>
#include <utility>

#include "solve/sparse_columns.h"
#include "solve/vectors.h"

namespace vorlan::outer {
namespace {

// Equations hand a switch on no further than through a chain of this length.
constexpr int kMostPasses = 10;

struct Interval {
  double lower, upper;
};

bool is_binary(const Model& model, int32_t var) {
  const size_t j = index(var);
  return model.var_kind[j] == VarKind::kInteger && model.var_lower[j] >= 0.0 &&
         model.var_upper[j] <= 1.0;
}

class Finder {
 public:
  Finder(const Model& model, const RowView& rows)
      : model_(model), rows_(rows), switches_(model.cost.size(), -1) {}

  std::vector<int32_t> find() {
    look_at_pairs();
    for (int pass = 0; pass < kMostPasses && hand_on(); ++pass) {
    }
    return std::move(switches_);
  }

 private:
  // The values that the other variable of a row can have where the binary one is 0.
  void narrow(size_t row, size_t other, int32_t binary) {
    const auto var = index(rows_.var[other]);
    const double factor = rows_.value[other];
    double lower = model_.con_lower[row] / factor;
    double upper = model_.con_upper[row] / factor;
    if (factor < 0.0) std::swap(lower, upper);
    const bool semi = is_semi(model_.var_kind[var]);
    const Interval own = {semi ? std::min(0.0, model_.var_lower[var]) : model_.var_lower[var],
                          semi ? std::max(0.0, model_.var_upper[var]) : model_.var_upper[var]};
    Interval& range = ranges_.try_emplace({rows_.var[other], binary}, own).first->second;
    range.lower = std::max(range.lower, lower);
    range.upper = std::min(range.upper, upper);
    const bool is_off = range.lower >= 0.0 && range.upper <= 0.0;
    if (is_off && switches_[var] < 0) switches_[var] = binary;
  }

  void look_at_pairs() {
    for (size_t row = 0; row < rows_.linear.size(); ++row) {
      const size_t first = rows_.start[row];
      if (!rows_.linear[row] || rows_.start[row + 1] - first != 2) continue;
      for (const size_t k : {first, first + 1}) {
        const size_t other = 2 * first + 1 - k;
        if (rows_.value[k] == 0.0 || rows_.value[other] == 0.0) continue;
        if (is_binary(model_, rows_.var[k])) narrow(row, other, rows_.var[k]);
      }
    }
  }

  // Where all other variables of an equation with the right-hand side 0 are off, so is the last.
  bool hand_on() {
    bool found = false;
    for (size_t row = 0; row < rows_.linear.size(); ++row) {
      if (!rows_.linear[row] || model_.con_lower[row] != 0.0 || model_.con_upper[row] != 0.0) {
        continue;
      }
      found = hand_on_in(row) || found;
    }
    return found;
  }

  bool hand_on_in(size_t row) {
    int32_t last = -1;
    int32_t common = -1;
    for (size_t k = rows_.start[row]; k < rows_.start[row + 1]; ++k) {
      const int32_t var = rows_.var[k];
      const int32_t own = is_binary(model_, var) ? var : switches_[index(var)];
      const bool is_last = own < 0;
      if (rows_.value[k] == 0.0 || (is_last && last >= 0)) return false;
      if (!is_last && common >= 0 && own != common) return false;
      (is_last ? last : common) = is_last ? var : own;
    }
    if (last < 0 || common < 0) return false;
    switches_[index(last)] = common;
    return true;
  }

  const Model& model_;
  const RowView& rows_;
  std::map<std::pair<int32_t, int32_t>, Interval> ranges_;
  std::vector<int32_t> switches_;
};

}  // namespace

std::vector<int32_t> find_switches(const Model& model, const RowView& rows) {
  return Finder(model, rows).find();
}

int32_t common_switch(const std::vector<int32_t>& switches, const std::vector<int32_t>& vars) {
  if (vars.empty()) return -1;
  const int32_t first = switches[index(vars[0])];
  const bool common = std::all_of(vars.begin(), vars.end(),
                                  [&](int32_t var) { return switches[index(var)] == first; });
  return common ? first : -1;
}

}  // namespace vorlan::outer
