// Products of a binary variable with a binary or bounded one, in quadratic terms that are not
// convex: each is a variable with four constraints that leave it no other value than the product.
// Convex terms stay as they are, since the methods for them need no bounds.
#include <cmath>

#include "solve/conic/convexity.h"
#include "solve/reformulate/reformulation.h"
#include "task/numeric.h"

namespace vorlan::reformulate {
namespace {

constexpr int32_t kObjective = -1;

}  // namespace

Status Reformulation::add_products() {
  if (!user_.quadratic_cost.empty() && !is_convex(user_.quadratic_cost, -kInfinity, kInfinity)) {
    Status status = replace_products(kObjective, &model_.quadratic_cost());
    if (!status.ok()) return status;
  }
  const std::vector<ConQuadraticEntry>& all = user_.quadratic_coefficients;
  std::vector<ConQuadraticEntry> kept;
  for (size_t begin = 0; begin < all.size();) {
    const int32_t con = all[begin].con;
    std::vector<TriangleEntry> entries;
    size_t end = begin;
    for (; end < all.size() && all[end].con == con; ++end) entries.push_back(all[end].entry);
    if (!is_convex(entries, user_.con_lower[index(con)], user_.con_upper[index(con)])) {
      Status status = replace_products(con, &entries);
      if (!status.ok()) return status;
    }
    for (const TriangleEntry& entry : entries) kept.push_back({con, entry});
    begin = end;
  }
  model_.quadratic_coefficients() = std::move(kept);
  return {};
}

// Convex in the direction of its finite side; of the objective, which has none, in its own sense.
bool Reformulation::is_convex(const std::vector<TriangleEntry>& entries, double lower,
                              double upper) const {
  const bool has_lower = lower > -kInfinity;
  const bool has_upper = upper < kInfinity;
  if (has_lower && has_upper) return false;
  const double factor = has_lower ? -1.0 : has_upper ? 1.0 : user_.sense_factor();
  return conic::factor_convex(entries, factor, conic::FactorRows::kLeftOut).convex;
}

// Takes out what has an exact linear form, and leaves the entries that have none.
Status Reformulation::replace_products(int32_t con, std::vector<TriangleEntry>* entries) {
  std::vector<TriangleEntry> left;
  for (const TriangleEntry& entry : *entries) {
    double value = 0.0;
    if (entry.value == 0.0) continue;
    const bool square = entry.row == entry.col;
    if (square && user_.is_binary(entry.row)) {
      add_linear(con, entry.row, 0.5 * entry.value);
    } else if (!square && is_fixed(entry.row, &value)) {
      add_linear(con, entry.col, value * entry.value);
    } else if (!square && is_fixed(entry.col, &value)) {
      add_linear(con, entry.row, value * entry.value);
    } else if (!square && (user_.is_binary(entry.row) || user_.is_binary(entry.col))) {
      int32_t product = -1;
      Status status = add_product(entry.row, entry.col, &product);
      if (!status.ok()) return status;
      add_linear(con, product, entry.value);
    } else {
      left.push_back(entry);
    }
  }
  changed_ = changed_ || left.size() < entries->size();
  *entries = std::move(left);
  return {};
}

void Reformulation::add_linear(int32_t con, int32_t var, double coefficient) {
  if (con == kObjective) {
    model_.add_cost(var, coefficient);
  } else {
    model_.add_term(con, var, coefficient);
  }
}

Status Reformulation::add_product(int32_t first, int32_t second, int32_t* product) {
  const auto [known, is_new] = products_.try_emplace({first, second}, -1);
  if (!is_new) {
    *product = known->second;
    return {};
  }
  const int32_t z = user_.is_binary(first) ? first : second;
  const int32_t x = z == first ? second : first;
  const double lower = bounds_.lower(x);
  const double upper = bounds_.upper(x);
  if (!(std::max(upper, -lower) <= kFarthest)) {
    return refuse("the product of " + variable(z) + " and " + variable(x), x);
  }
  note_size(std::max(upper, -lower));
  const int32_t w =
      model_.add_variable(std::min(0.0, lower), std::max(0.0, upper), VarKind::kContinuous);
  const auto add_row = [&](double of_x, double of_z, double least, double most) {
    const int32_t row = model_.add_row(least, most);
    model_.add_term(row, w, 1.0);
    model_.add_term(row, x, of_x);
    model_.add_term(row, z, of_z);
  };
  add_row(0.0, -upper, -kInfinity, 0.0);      // w <= upper z
  add_row(0.0, -lower, 0.0, kInfinity);       // w >= lower z
  add_row(-1.0, -lower, -kInfinity, -lower);  // w <= x - lower (1 - z)
  add_row(-1.0, -upper, -upper, kInfinity);   // w >= x - upper (1 - z)
  completions_.emplace_back([w, x, z](std::vector<double>* point) {
    (*point)[index(w)] = (*point)[index(x)] * (*point)[index(z)];
  });
  *product = known->second = w;
  return {};
}

bool Reformulation::is_fixed(int32_t var, double* value) const {
  const auto j = index(var);
  *value = user_.var_lower[j];
  return user_.var_lower[j] == user_.var_upper[j] && !is_semi(user_.var_kind[j]);
}

}  // namespace vorlan::reformulate
