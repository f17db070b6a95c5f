// A member follows from switched variables by an equation that has it and nothing else beside them,
// perhaps behind an equation with one other variable, its copy.
#include "solve/outer/norm_forms.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <map>
#include <utility>

#include "solve/outer/canonical_cone.h"
#include "solve/outer/diagonal_part.h"

namespace vorlan::outer {
namespace {

constexpr int kMostCopies = 2;

using Form = std::map<int32_t, double>;

class Follower {
 public:
  Follower(const Model& model, const RowView& rows, const std::vector<Switch>& switches)
      : model_(model), rows_(rows), switches_(switches) {}

  // The variable as a sum of switched ones, by other rows than the one given; empty where it is none.
  Form follow(int32_t var, int copies, size_t but_row = SIZE_MAX) const {
    if (is_base(var)) return {{var, 1.0}};
    const SparseMatrix& a = model_.matrix;
    for (size_t k = index(a.start[index(var)]); k < index(a.start[index(var) + 1]); ++k) {
      const auto row = index(a.row[k]);
      const bool is_equation =
          rows_.linear[row] && model_.con_lower[row] == 0.0 && model_.con_upper[row] == 0.0;
      if (row == but_row || !is_equation || a.value[k] == 0.0) continue;
      Form form = terms_beside(row, var, copies);
      for (auto& [other, value] : form) value /= -a.value[k];
      if (!form.empty()) return form;
    }
    return {};
  }

 private:
  bool is_base(int32_t var) const {
    const Switch& off = switches_[index(var)];
    return off.exists() && off.value == 0.0;
  }

  Form terms_beside(size_t row, int32_t var, int copies) const {
    Form form;
    const bool is_pair = rows_.start[row + 1] - rows_.start[row] == 2;
    for (size_t k = rows_.start[row]; k < rows_.start[row + 1]; ++k) {
      const int32_t other = rows_.var[k];
      if (other == var || rows_.value[k] == 0.0) continue;
      if (is_base(other)) {
        form[other] += rows_.value[k];
      } else if (is_pair && copies > 0) {
        form = follow(other, copies - 1, row);
        for (auto& [base, value] : form) value *= rows_.value[k];
      } else {
        return {};
      }
    }
    return form;
  }

  const Model& model_;
  const RowView& rows_;
  const std::vector<Switch>& switches_;
};

std::vector<TriangleEntry> square_of_norm(const Model& model, const RowView& rows,
                                          const Follower& follower, const CanonicalCone& cone) {
  std::vector<Form> forms;
  Form places;
  for (size_t k = cone.num_heads(); k < cone.members.size(); ++k) {
    const Member& member = cone.members[k];
    if (fixed_value(model, rows, member.var) == 0.0) continue;
    Form form = follower.follow(member.var, kMostCopies);
    if (form.empty()) return {};
    for (auto& [var, value] : form) {
      value *= member.scale;
      places[var] = 0.0;
    }
    forms.push_back(std::move(form));
  }
  if (places.size() < 2 || places.size() > kMostDiagonalVariables) return {};
  std::map<std::pair<int32_t, int32_t>, double> sums;
  for (const Form& form : forms) {
    for (const auto& [row, value] : form) {
      for (const auto& [col, other] : form) {
        if (col <= row) sums[{row, col}] += value * other;
      }
    }
  }
  std::vector<TriangleEntry> entries;
  entries.reserve(sums.size());
  for (const auto& [place, value] : sums) entries.push_back({place.first, place.second, value});
  return entries;
}

// The factor by which a is b; 0 where it is no multiple. What rounding leaves is far below the
// tolerance of a cone.
double quotient(const std::vector<TriangleEntry>& a, const std::vector<TriangleEntry>& b) {
  constexpr double kRounding = 1e-11;
  if (a.size() != b.size()) return 0.0;
  double size_a = 0.0;
  double size_b = 0.0;
  for (size_t k = 0; k < a.size(); ++k) {
    if (a[k].row != b[k].row || a[k].col != b[k].col) return 0.0;
    size_a = std::max(size_a, std::fabs(a[k].value));
    size_b = std::max(size_b, std::fabs(b[k].value));
  }
  const double factor = size_a / size_b;
  for (size_t k = 0; k < a.size(); ++k) {
    if (std::fabs(a[k].value - factor * b[k].value) > kRounding * size_a) return 0.0;
  }
  return std::isfinite(factor) ? factor : 0.0;
}

}  // namespace

std::vector<NormForm> find_norm_forms(const Model& model, const RowView& rows,
                                      const std::vector<Switch>& switches) {
  const Follower follower(model, rows, switches);
  std::vector<NormForm> forms;
  for (size_t c = 0; c < model.cones.size(); ++c) {
    const CanonicalCone cone = make_canonical(model.cones[c]);
    if (cone.kind != ConeKind::kQuadratic || cone.members.size() <= 2) continue;
    std::vector<TriangleEntry> square = square_of_norm(model, rows, follower, cone);
    if (square.empty()) continue;
    const auto is_same = [&](const NormForm& form) { return quotient(square, form.square) > 0.0; };
    auto form = std::find_if(forms.begin(), forms.end(), is_same);
    if (form == forms.end()) {
      NormForm own;
      own.square = square;
      form = forms.insert(forms.end(), std::move(own));
    }
    const int32_t head = cone.members[0].var;
    const double factor = cone.members[0].scale / std::sqrt(quotient(square, form->square));
    const double value = fixed_value(model, rows, head);
    const bool is_fixed = value > 0.0;
    form->heads.push_back({c, head, factor, is_fixed});
    if (is_fixed) form->most = std::min(form->most, factor * value);
  }
  return forms;
}

}  // namespace vorlan::outer
