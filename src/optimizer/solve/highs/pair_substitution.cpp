// While the equations are read, each variable that stays stands for a column of its own, and the
// members of a column that goes move to another. The columns are numbered at the end.
#include "solve/highs/pair_substitution.h"

#include <algorithm>
#include <cmath>

namespace vorlan {
namespace {

// Factors outside of this range would spread the coefficients of rows too far.
constexpr double kMostFactor = 1e3;

bool is_tame(double factor) {
  const double size = std::fabs(factor);
  return size <= kMostFactor && size >= 1.0 / kMostFactor;
}

}  // namespace

std::vector<PairSubstitution::Terms> PairSubstitution::rows_of(const Model& model) {
  std::vector<Terms> rows(model.con_lower.size());
  const SparseMatrix& a = model.matrix;
  for (int32_t j = 0; j < model.num_var(); ++j) {
    for (size_t k = index(a.start[index(j)]); k < index(a.start[index(j) + 1]); ++k) {
      if (a.value[k] != 0.0) rows[index(a.row[k])].emplace_back(j, a.value[k]);
    }
  }
  return rows;
}

PairSubstitution::PairSubstitution(const Model& model)
    : used_(model.con_lower.size(), false), lower_(model.var_lower), upper_(model.var_upper) {
  for (int32_t j = 0; j < model.num_var(); ++j) {
    images_.push_back({j, 1.0, 0.0});
    members_.push_back({j});
  }
  const std::vector<Terms> rows = rows_of(model);
  for (size_t i = 0; i < rows.size(); ++i) {
    const double rhs = model.con_lower[i];
    if (rows[i].size() == 2 && rhs == model.con_upper[i] && std::isfinite(rhs)) {
      use_equation(i, rows[i], rhs, model.var_kind);
    }
  }
  number_columns();
}

void PairSubstitution::use_equation(size_t row, const Terms& terms, double rhs,
                                    const std::vector<VarKind>& kinds) {
  Terms columns;
  rhs -= substitute(terms, &columns);
  if (columns.size() != 2) return;
  auto [kept, kept_value] = columns[0];
  auto [replaced, value] = columns[1];
  if (is_integer(kinds[index(replaced)])) {
    std::swap(kept, replaced);
    std::swap(kept_value, value);
  }
  const Image image{kept, -kept_value / value, rhs / value};
  if (is_integer(kinds[index(replaced)]) || !is_tame(image.factor)) return;
  used_[row] = true;
  join(kept, image, replaced);
}

void PairSubstitution::join(int32_t kept, const Image& image, int32_t replaced) {
  for (const int32_t var : members_[index(replaced)]) {
    Image& own = images_[index(var)];
    own.offset += own.factor * image.offset;
    own.factor *= image.factor;
    own.column = kept;
    members_[index(kept)].push_back(var);
  }
  members_[index(replaced)].clear();
}

void PairSubstitution::number_columns() {
  std::vector<std::vector<int32_t>> columns;
  for (std::vector<int32_t>& vars : members_) {
    if (vars.empty()) continue;
    for (const int32_t var : vars)
      images_[index(var)].column = static_cast<int32_t>(columns.size());
    columns.push_back(std::move(vars));
  }
  members_ = std::move(columns);
}

double PairSubstitution::substitute(const Terms& terms, Terms* columns) const {
  constexpr double kRounding = 1e-14;
  double constant = 0.0;
  double size = 0.0;
  columns->clear();
  for (const auto& [var, value] : terms) {
    const Image& own = image(var);
    constant += value * own.offset;
    size = std::max(size, std::fabs(value * own.factor));
    columns->emplace_back(own.column, value * own.factor);
  }
  std::stable_sort(columns->begin(), columns->end(),
                   [](const auto& a, const auto& b) { return a.first < b.first; });
  size_t last = 0;
  for (size_t k = 1; k < columns->size(); ++k) {
    if ((*columns)[k].first == (*columns)[last].first) {
      (*columns)[last].second += (*columns)[k].second;
    } else {
      (*columns)[++last] = (*columns)[k];
    }
  }
  columns->resize(columns->empty() ? 0 : last + 1);
  std::erase_if(*columns,
                [&](const auto& term) { return std::fabs(term.second) <= kRounding * size; });
  return constant;
}

void PairSubstitution::set_bounds(int32_t var, double lower, double upper) {
  lower_[index(var)] = lower;
  upper_[index(var)] = upper;
}

// Bounds that only rounding makes cross allow both values.
std::pair<double, double> PairSubstitution::bounds_of_column(int32_t column) const {
  constexpr double kCrossing = 1e-9;
  double lower = -kInfinity;
  double upper = kInfinity;
  for (const int32_t var : members_[index(column)]) {
    const Image& own = image(var);
    double from = (lower_[index(var)] - own.offset) / own.factor;
    double to = (upper_[index(var)] - own.offset) / own.factor;
    if (own.factor < 0.0) std::swap(from, to);
    lower = std::max(lower, from);
    upper = std::min(upper, to);
  }
  if (lower > upper && lower - upper <= kCrossing * std::max(1.0, std::fabs(lower))) {
    std::swap(lower, upper);
  }
  return {lower, upper};
}

}  // namespace vorlan
