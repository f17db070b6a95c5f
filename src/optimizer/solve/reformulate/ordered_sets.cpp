// Special ordered sets as binary variables and linear constraints.
#include <algorithm>
#include <bit>
#include <cmath>
#include <utility>

#include "solve/reformulate/reformulation.h"
#include "task/numeric.h"
#include "task/text.h"

namespace vorlan::reformulate {
namespace {

// From so many members on a set with a fixed sum gets a code for each segment instead of a switch.
constexpr size_t kLeastForCodes = 9;

uint32_t gray_code(size_t number) { return static_cast<uint32_t>(number ^ (number >> 1U)); }

std::string shown_set(const Model& model, size_t place) {
  const std::string_view name = model.set_names[place];
  if (name.empty()) return format_text("set %zu", place);
  return "set '" + std::string(name) + '\'';
}

// The place of the segment that holds the nonzero members: the largest of them and the larger one of
// its neighbours.
size_t segment_of(const std::vector<int32_t>& vars, const std::vector<double>& x) {
  const auto size = [&](size_t k) { return std::fabs(x[index(vars[k])]); };
  size_t largest = 0;
  for (size_t k = 1; k < vars.size(); ++k) {
    if (size(k) > size(largest)) largest = k;
  }
  if (largest == 0) return 0;
  const bool is_last = largest + 1 == vars.size();
  return is_last || size(largest - 1) > size(largest + 1) ? largest - 1 : largest;
}

}  // namespace

Status Reformulation::add_sets() {
  for (size_t i = 0; i < user_.sets.size(); ++i) {
    Status status = add_set(i);
    if (!status.ok()) return status;
  }
  return {};
}

Status Reformulation::add_set(size_t place) {
  const OrderedSet& set = user_.sets[place];
  if (set.vars.size() <= set.most_nonzeros()) return {};
  if (set.kind == SetKind::kSos1) return add_sos1(set, place);
  double sum = 0.0;
  if (!find_sum(set, &sum)) return add_sos2(set, place);
  if (set.vars.size() < kLeastForCodes) {
    add_segments(set, sum);
  } else {
    add_codes(set, sum);
  }
  return {};
}

Status Reformulation::check_member(size_t place, int32_t var) {
  const double far = std::max(bounds_.upper(var), -bounds_.lower(var));
  if (far > kFarthest) return refuse(shown_set(user_, place), var);
  note_size(far);
  return {};
}

Status Reformulation::add_sos1(const OrderedSet& set, size_t place) {
  const int32_t choice = model_.add_row(-kInfinity, 1.0);
  for (const int32_t var : set.vars) {
    Status status = check_member(place, var);
    if (!status.ok()) return status;
    model_.add_term(choice, add_switch_of(var), 1.0);
  }
  return {};
}

// A binary variable is its own switch.
int32_t Reformulation::add_switch_of(int32_t var) {
  if (user_.is_binary(var)) return var;
  const int32_t on = model_.add_switch();
  tie(var, {on});
  completions_.emplace_back(
      [var, on](std::vector<double>* x) { (*x)[index(on)] = (*x)[index(var)] == 0.0 ? 0.0 : 1.0; });
  return on;
}

// The variable is 0 unless one of the switches is on.
void Reformulation::tie(int32_t var, const std::vector<int32_t>& switches) {
  const double lower = bounds_.lower(var);
  const double upper = bounds_.upper(var);
  const auto add_side = [&](double bound, double least, double most) {
    const int32_t row = model_.add_row(least, most);
    model_.add_term(row, var, 1.0);
    for (const int32_t on : switches) model_.add_term(row, on, -bound);
  };
  if (user_.var_upper[index(var)] > 0.0) add_side(std::max(upper, 0.0), -kInfinity, 0.0);
  if (user_.var_lower[index(var)] < 0.0) add_side(std::min(lower, 0.0), 0.0, kInfinity);
}

// Exactly one segment between neighbours is chosen; also where all members are 0, any will do.
std::vector<int32_t> Reformulation::add_segment_switches(const OrderedSet& set) {
  const size_t count = set.vars.size() - 1;
  std::vector<int32_t> switches(count);
  const int32_t choice = model_.add_row(1.0, 1.0);
  for (int32_t& on : switches) {
    on = model_.add_switch();
    model_.add_term(choice, on, 1.0);
  }
  completions_.emplace_back([vars = set.vars, switches](std::vector<double>* x) {
    for (const int32_t on : switches) (*x)[index(on)] = 0.0;
    (*x)[index(switches[segment_of(vars, *x)])] = 1.0;
  });
  return switches;
}

Status Reformulation::add_sos2(const OrderedSet& set, size_t place) {
  for (const int32_t var : set.vars) {
    Status status = check_member(place, var);
    if (!status.ok()) return status;
  }
  const std::vector<int32_t> switches = add_segment_switches(set);
  for (size_t k = 0; k < set.vars.size(); ++k) {
    std::vector<int32_t> beside;
    if (k > 0) beside.push_back(switches[k - 1]);
    if (k < switches.size()) beside.push_back(switches[k]);
    tie(set.vars[k], beside);
  }
  return {};
}

// Looks for an equation of the members alone, with one coefficient for all of them: none of them is
// negative, and all of them together are a number.
bool Reformulation::find_sum(const OrderedSet& set, double* sum) {
  const SparseMatrix& matrix = user_.matrix;
  if (row_sizes_.empty()) {
    row_sizes_.assign(user_.con_lower.size(), 0);
    for (const int32_t row : matrix.row) ++row_sizes_[index(row)];
    for (const ConQuadraticEntry& entry : user_.quadratic_coefficients) {
      row_sizes_[index(entry.con)] = -1;
    }
    for (const MatrixCoefficient& entry : user_.matrix_coefficients) {
      row_sizes_[index(entry.con)] = -1;
    }
    for (const Indicator& indicator : user_.indicators) row_sizes_[index(indicator.con)] = -1;
  }
  const auto coefficient = [&matrix](int32_t var, int32_t row) {
    for (size_t k = index(matrix.start[index(var)]); k < index(matrix.start[index(var) + 1]); ++k) {
      if (matrix.row[k] == row) return matrix.value[k];
    }
    return 0.0;
  };
  const auto is_nonnegative = [this](int32_t var) { return user_.var_lower[index(var)] >= 0.0; };
  if (!std::all_of(set.vars.begin(), set.vars.end(), is_nonnegative)) return false;
  const int32_t first = set.vars.front();
  for (size_t k = index(matrix.start[index(first)]); k < index(matrix.start[index(first) + 1]);
       ++k) {
    const int32_t row = matrix.row[k];
    const double side = user_.con_lower[index(row)];
    const double a = matrix.value[k];
    if (index(row_sizes_[index(row)]) != set.vars.size()) continue;
    if (side != user_.con_upper[index(row)] || a == 0.0 || !(side / a > 0.0)) continue;
    const bool same = std::all_of(set.vars.begin(), set.vars.end(),
                                  [&](int32_t var) { return coefficient(var, row) == a; });
    if (!same || side / a > kFarthest) continue;
    *sum = side / a;
    note_size(*sum);
    return true;
  }
  return false;
}

// The members before each place sum up to what its segments before it may have, and likewise behind.
void Reformulation::add_segments(const OrderedSet& set, double sum) {
  const std::vector<int32_t> switches = add_segment_switches(set);
  for (size_t place = 0; place < switches.size(); ++place) {
    const int32_t before = model_.add_row(-kInfinity, 0.0);
    for (size_t k = 0; k <= place; ++k) {
      model_.add_term(before, set.vars[k], 1.0);
      model_.add_term(before, switches[k], -sum);
    }
    const int32_t behind = model_.add_row(-kInfinity, 0.0);
    for (size_t k = place; k < switches.size(); ++k) {
      model_.add_term(behind, set.vars[k + 1], 1.0);
      model_.add_term(behind, switches[k], -sum);
    }
  }
}

// A Gray code numbers the segments: neighbours differ in one bit. A member whose segments all have
// the bit is 0 where the bit is chosen to be off, and one whose segments all lack it where it is on.
void Reformulation::add_codes(const OrderedSet& set, double sum) {
  const size_t count = set.vars.size() - 1;  // of segments
  const auto num_bits = static_cast<size_t>(std::bit_width(count - 1));
  std::vector<int32_t> bits(num_bits);
  for (int32_t& bit : bits) bit = model_.add_switch();
  for (size_t b = 0; b < num_bits; ++b) {
    const auto has = [b](size_t segment) { return ((gray_code(segment) >> b) & 1U) != 0; };
    const int32_t on = model_.add_row(-kInfinity, 0.0);
    const int32_t off = model_.add_row(-kInfinity, sum);
    model_.add_term(on, bits[b], -sum);
    model_.add_term(off, bits[b], sum);
    for (size_t k = 0; k < set.vars.size(); ++k) {
      const bool before = has(k == 0 ? 0 : k - 1);
      // The last member of all has no segment behind it; of other codes nobody asks.
      const bool behind = has(k == count ? count - 1 : k);
      if (before != behind) continue;
      model_.add_term(before ? on : off, set.vars[k], 1.0);
    }
  }
  completions_.emplace_back([vars = set.vars, bits](std::vector<double>* x) {
    const uint32_t code = gray_code(segment_of(vars, *x));
    for (size_t b = 0; b < bits.size(); ++b) {
      (*x)[index(bits[b])] = static_cast<double>((code >> b) & 1U);
    }
  });
}

}  // namespace vorlan::reformulate
