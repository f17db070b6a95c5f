// A member a + b z, with z binary, adds a^2 and the difference of its two squares, where z is the side
// that has the larger one.
#include "solve/outer/binary_norms.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <optional>

#include "solve/outer/switches.h"

namespace vorlan::outer {
namespace {

// The longest chain of equations from a member to a binary variable.
constexpr int kMostEquations = 3;

// The values of a variable while a binary variable is 0 and 1.
struct TwoValues {
  int32_t binary;
  double at_zero, at_one;
};

class Finder {
 public:
  Finder(const Model& model, const RowView& rows, const std::vector<double>& lower,
         const std::vector<double>& upper)
      : model_(model), rows_(rows), lower_(lower), upper_(upper) {}

  BinaryNorm find(const CanonicalCone& cone) {
    BinaryNorm norm;
    for (size_t k = cone.num_heads(); k < cone.members.size(); ++k) add(cone.members[k], &norm);
    for (const auto& [binary, difference] : differences_) {
      if (difference == 0.0) continue;
      const bool is_complement = difference < 0.0;
      if (is_complement) norm.constant += difference;
      norm.literals.push_back({binary, is_complement, std::fabs(difference)});
    }
    norm.constant = std::max(0.0, norm.constant);
    return norm;
  }

 private:
  void add(const Member& member, BinaryNorm* norm) {
    const double scale = member.scale * member.scale;
    const double fixed = fixed_value(model_, rows_, member.var);
    if (!std::isnan(fixed)) {
      norm->constant += scale * fixed * fixed;
    } else if (const auto values = find_values(member.var, kMostEquations)) {
      norm->constant += scale * values->at_zero * values->at_zero;
      differences_[values->binary] +=
          scale * (values->at_one - values->at_zero) * (values->at_one + values->at_zero);
    } else {
      norm->is_whole = false;
    }
  }

  bool is_binary(int32_t var) const {
    const size_t j = index(var);
    return model_.var_kind[j] == VarKind::kInteger && lower_[j] == 0.0 && upper_[j] == 1.0;
  }

  // Through so many equations at most.
  std::optional<TwoValues> find_values(int32_t var, int equations) const {
    if (is_binary(var)) return TwoValues{var, 0.0, 1.0};
    if (is_semi(model_.var_kind[index(var)]) || equations == 0) return {};
    const SparseMatrix& a = model_.matrix;
    for (size_t k = index(a.start[index(var)]); k < index(a.start[index(var) + 1]); ++k) {
      const auto row = index(a.row[k]);
      const size_t first = rows_.start[row];
      const bool is_pair = rows_.linear[row] && rows_.start[row + 1] - first == 2 &&
                           model_.con_lower[row] == model_.con_upper[row];
      if (!is_pair || a.value[k] == 0.0) continue;
      const size_t other = rows_.var[first] == var ? first + 1 : first;
      if (rows_.var[other] == var) continue;
      const auto values = find_values(rows_.var[other], equations - 1);
      if (!values.has_value()) continue;
      const double rhs = model_.con_lower[row];
      return TwoValues{values->binary, (rhs - rows_.value[other] * values->at_zero) / a.value[k],
                       (rhs - rows_.value[other] * values->at_one) / a.value[k]};
    }
    return {};
  }

  const Model& model_;
  const RowView& rows_;
  const std::vector<double>& lower_;
  const std::vector<double>& upper_;
  std::map<int32_t, double> differences_;
};

}  // namespace

BinaryNorm find_binary_norm(const Model& model, const RowView& rows, const CanonicalCone& cone,
                            const std::vector<double>& lower, const std::vector<double>& upper) {
  return Finder(model, rows, lower, upper).find(cone);
}

AffineBound highest_plane(const BinaryNorm& norm, const std::vector<double>& x) {
  std::vector<BinaryNorm::Literal> order = norm.literals;
  std::stable_sort(order.begin(), order.end(),
                   [&](const BinaryNorm::Literal& a, const BinaryNorm::Literal& b) {
                     return a.value(x) > b.value(x);
                   });
  AffineBound plane;
  plane.constant = std::sqrt(norm.constant);
  double sum = norm.constant;
  double last = plane.constant;
  for (const BinaryNorm::Literal& literal : order) {
    sum += literal.square;
    const double gain = literal.square / (std::sqrt(sum) + last);
    last = std::sqrt(sum);
    if (literal.is_complement) plane.constant += gain;
    plane.terms.emplace_back(literal.binary, literal.is_complement ? -gain : gain);
  }
  return plane;
}

}  // namespace vorlan::outer
