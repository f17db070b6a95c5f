// Mixed-integer models in units from 1e-15 to 1e12, whose optimum is known from the same model in
// the unit 1: by trying all integers, or in closed form. No answer may depend on the unit.
//
// More of them: VORLAN_RANDOM_MODELS=100 vorlan_outer_tests --gtest_filter='Units/*'
// One of them: VORLAN_RANDOM_FIRST=4711 VORLAN_RANDOM_MODELS=1 likewise, and with
// VORLAN_RANDOM_FILE=model.ptf it is written to a file.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <string>
#include <vector>

#include "cone_points.h"
#include "known_model.h"
#include "mixed_solve.h"
#include "solve/check/vectors.h"
#include "task/numeric.h"

namespace vorlan {
namespace {

using test::Builder;
using test::expect_right_answers;
using test::Known;
using test::Random;

// max sum c x with sum d x^2 <= q u^2, x <= u z and at most k switches on: sqrt(q) u times the
// root of the sum of the k largest c^2 / d. At c = d = k = 1, q = 0.111 and u = 1e6:
// max x, x^2 <= 1.11e11, x <= 1e6 z.
Known switched_squares(double unit, Random* random) {
  const int n = random->whole(1, 4);
  const int most = random->whole(1, n);
  constexpr double kShare = 0.111;
  Builder builder;
  builder.model().maximize = true;
  std::vector<double> worth;
  std::vector<std::pair<int32_t, double>> count;
  std::vector<TriangleEntry> squares;
  for (int k = 0; k < n; ++k) {
    const double c = random->between(0.5, 2.0);
    const double d = random->between(1.0, 2.0);
    worth.push_back(c * c / d);
    const int32_t x = builder.add(c, 0.0, kInfinity);
    const int32_t z = builder.add_binary();
    builder.add_row(-kInfinity, 0.0, {{x, 1.0}, {z, -unit}});
    count.emplace_back(z, 1.0);
    squares.push_back({x, x, 2.0 * d});
  }
  builder.add_row(-kInfinity, most, count);
  const int32_t row = builder.add_row(-kInfinity, kShare * unit * unit, {});
  for (const TriangleEntry& e : squares) builder.model().quadratic_coefficients.push_back({row, e});
  std::sort(worth.rbegin(), worth.rend());
  const double sum = std::accumulate(worth.begin(), worth.begin() + most, 0.0);
  return {builder.make(), std::sqrt(kShare * sum) * unit};
}

constexpr int kShares = 6;
constexpr int kMostShares = 3;

// Shares by their returns, and how they vary together. A portfolio spends a budget of 1.
struct Market {
  double gain[kShares];
  double factors[kShares][kShares + 2];
  double covariance[kShares][kShares] = {};

  explicit Market(Random* random) {
    for (double& g : gain) g = random->between(0.02, 0.2);
    for (auto& row : factors) {
      for (double& f : row) f = random->between(-0.3, 0.3);
    }
    for (int k = 0; k < kShares; ++k) {
      for (int l = 0; l < kShares; ++l) {
        for (int f = 0; f < kShares + 2; ++f) covariance[k][l] += factors[k][f] * factors[l][f];
      }
    }
  }
  double mean() const { return std::accumulate(gain, gain + kShares, 0.0) / kShares; }
  double risk(const std::vector<double>& x) const {
    double sum = 0.0;
    for (size_t k = 0; k < kShares; ++k) {
      for (size_t l = 0; l < kShares; ++l) sum += 0.5 * x[k] * covariance[k][l] * x[l];
    }
    return sum;
  }
};

// Solves a small system by elimination; empty when it is singular.
std::vector<double> solve_system(std::vector<std::vector<double>> a, std::vector<double> b) {
  const size_t n = b.size();
  for (size_t k = 0; k < n; ++k) {
    size_t best = k;
    for (size_t i = k; i < n; ++i) {
      if (std::fabs(a[i][k]) > std::fabs(a[best][k])) best = i;
    }
    if (std::fabs(a[best][k]) < 1e-12) return {};
    std::swap(a[k], a[best]);
    std::swap(b[k], b[best]);
    for (size_t i = 0; i < n; ++i) {
      if (i == k) continue;
      const double factor = a[i][k] / a[k][k];
      for (size_t j = k; j < n; ++j) a[i][j] -= factor * a[k][j];
      b[i] -= factor * b[k];
    }
  }
  for (size_t k = 0; k < n; ++k) b[k] /= a[k][k];
  return b;
}

// What each share of a portfolio may be, and the return that it is to have at least.
struct Rules {
  double least = 0.0, most = 1.0;  // of a share that is held
  int most_shares = kMostShares;
  double gain = 0.0;
};

// The least risk under such rules. At an optimum each share is out, at one of its bounds, or free,
// and the return is at its limit or not: each case is a system of equations, of whose solutions
// those that keep the rules compete.
double least_risk(const Market& market, const Rules& rules) {
  enum State { kOut, kLeast, kMost, kFree };
  constexpr double kNear = 1e-9;
  const auto keeps_rules = [&](const std::vector<double>& x) {
    double gain = 0.0;
    int held = 0;
    for (size_t k = 0; k < kShares; ++k) {
      gain += market.gain[k] * x[k];
      if (std::fabs(x[k]) <= kNear) continue;
      ++held;
      if (x[k] < rules.least - kNear || x[k] > rules.most + kNear) return false;
    }
    return gain >= rules.gain - kNear && held <= rules.most_shares;
  };
  double best = kInfinity;
  for (int code = 0; code < 1 << (2 * kShares); ++code) {
    std::vector<double> x(kShares, 0.0);
    std::vector<size_t> open;
    double spent = 0.0;
    double gained = 0.0;
    bool is_other = true;  // than the cases so far
    for (size_t k = 0; k < kShares; ++k) {
      const int state = code >> (2 * k) & 3;
      is_other = is_other && (state != kLeast || rules.least > 0.0);
      is_other = is_other && (state != kMost || rules.most < 1.0);
      if (state == kFree) open.push_back(k);
      x[k] = state == kLeast ? rules.least : state == kMost ? rules.most : 0.0;
      spent += x[k];
      gained += market.gain[k] * x[k];
    }
    for (const size_t equations : {1U, 2U}) {
      const size_t n = open.size();
      if (n < equations || !is_other) continue;
      std::vector<std::vector<double>> a(n + equations, std::vector<double>(n + equations, 0.0));
      std::vector<double> b(n + equations, 0.0);
      for (size_t i = 0; i < n; ++i) {
        for (size_t j = 0; j < n; ++j) a[i][j] = market.covariance[open[i]][open[j]];
        for (size_t k = 0; k < kShares; ++k) b[i] -= market.covariance[open[i]][k] * x[k];
        a[i][n] = a[n][i] = 1.0;
        if (equations == 2) a[i][n + 1] = a[n + 1][i] = market.gain[open[i]];
      }
      b[n] = 1.0 - spent;
      if (equations == 2) b[n + 1] = rules.gain - gained;
      const std::vector<double> values = solve_system(a, b);
      if (values.empty()) continue;
      std::vector<double> whole = x;
      for (size_t i = 0; i < n; ++i) whole[open[i]] = values[i];
      if (keeps_rules(whole)) best = std::min(best, market.risk(whole));
    }
  }
  return best;
}

// The largest return at a limited risk, as the return whose least risk is the limit: that grows
// with the return.
double largest_gain(const Market& market, double risk) {
  double low = 0.0;
  double high = 1.0;
  for (int step = 0; step < 60; ++step) {
    Rules rules;
    rules.gain = 0.5 * (low + high);
    (least_risk(market, rules) <= risk ? low : high) = rules.gain;
  }
  return low;
}

enum class Risk { kRow, kObjective, kCone, kSemiContinuous };

// At most three shares of a budget: the largest return at a limited risk, or the least risk at a
// return. Semi-continuous shares may be more, but none is small.
Known portfolio(Risk risk, double budget, Random* random) {
  const bool by_return = risk == Risk::kRow;
  const bool semi = risk == Risk::kSemiContinuous;
  const Market market(random);
  Rules rules;
  if (semi) rules = {0.2, 0.6, kShares, 0.0};
  const double limit = by_return ? 1.3 * least_risk(market, rules) : 0.0;
  rules.gain = by_return ? 0.0 : market.mean();
  Builder builder;
  builder.model().maximize = by_return;
  std::vector<std::pair<int32_t, double>> sum, gain, count;
  for (const double mu : market.gain) {
    const VarKind kind = semi ? VarKind::kSemiContinuous : VarKind::kContinuous;
    const double upper = semi ? rules.most * budget : kInfinity;
    const double lower = semi ? rules.least * budget : 0.0;
    const int32_t x = builder.add(by_return ? mu : 0.0, lower, upper, kind);
    sum.emplace_back(x, 1.0);
    gain.emplace_back(x, mu);
  }
  for (int32_t k = 0; k < kShares && !semi; ++k) {
    const int32_t z = builder.add_binary();
    builder.add_row(-kInfinity, 0.0, {{k, 1.0}, {z, -budget}});
    count.emplace_back(z, 1.0);
  }
  builder.add_row(budget, budget, sum);
  if (!semi) builder.add_row(-kInfinity, kMostShares, count);
  if (!by_return) builder.add_row(rules.gain * budget, kInfinity, gain);
  if (risk == Risk::kCone) {
    Cone cone{ConeKind::kQuadratic, {builder.add(1.0, 0.0, kInfinity)}, {}};
    for (size_t f = 0; f < kShares + 2; ++f) {
      const int32_t w = builder.add(0.0, -kInfinity, kInfinity);
      cone.vars.push_back(w);
      std::vector<std::pair<int32_t, double>> terms = {{w, -1.0}};
      for (int32_t k = 0; k < kShares; ++k) terms.emplace_back(k, market.factors[k][f]);
      builder.add_row(0.0, 0.0, terms);
    }
    builder.model().cones.push_back(cone);
    return {builder.make(), std::sqrt(2.0 * least_risk(market, rules)) * budget};
  }
  const int32_t row = by_return ? builder.add_row(-kInfinity, limit * budget * budget, {}) : -1;
  for (int32_t col = 0; col < kShares; ++col) {
    for (int32_t other = col; other < kShares; ++other) {
      const TriangleEntry entry{other, col, market.covariance[other][col]};
      if (by_return) {
        builder.model().quadratic_coefficients.push_back({row, entry});
      } else {
        builder.model().quadratic_cost.push_back(entry);
      }
    }
  }
  if (by_return) return {builder.make(), largest_gain(market, limit) * budget};
  return {builder.make(), least_risk(market, rules) * budget * budget};
}

// Plants that are opened at a price, and bring their goods to customers: the cheapest open plant
// for each customer, over all sets of plants.
Known fixed_charges(double large, Random* random) {
  const int plants = random->whole(2, 4);
  const int customers = random->whole(2, 5);
  std::vector<double> price(static_cast<size_t>(plants));
  std::vector<double> demand(static_cast<size_t>(customers));
  std::vector<std::vector<double>> cost(price.size(), std::vector<double>(demand.size()));
  for (double& f : price) f = random->whole(20, 200);
  for (double& d : demand) d = random->whole(1, 30);
  for (auto& row : cost) {
    for (double& c : row) c = random->whole(1, 9);
  }
  Builder builder;
  std::vector<std::vector<std::pair<int32_t, double>>> arrives(demand.size());
  for (size_t i = 0; i < price.size(); ++i) {
    const int32_t z = builder.add_binary(price[i]);
    std::vector<std::pair<int32_t, double>> leaves = {{z, -large}};
    for (size_t j = 0; j < demand.size(); ++j) {
      const int32_t x = builder.add(cost[i][j], 0.0, kInfinity);
      leaves.emplace_back(x, 1.0);
      arrives[j].emplace_back(x, 1.0);
    }
    builder.add_row(-kInfinity, 0.0, leaves);
  }
  for (size_t j = 0; j < demand.size(); ++j) builder.add_row(demand[j], kInfinity, arrives[j]);
  double best = kInfinity;
  for (uint32_t open = 1; open < (1U << price.size()); ++open) {
    double total = 0.0;
    for (size_t i = 0; i < price.size(); ++i) total += (open >> i & 1U) != 0 ? price[i] : 0.0;
    for (size_t j = 0; j < demand.size(); ++j) {
      double least = kInfinity;
      for (size_t i = 0; i < price.size(); ++i) {
        if ((open >> i & 1U) != 0) least = std::min(least, cost[i][j]);
      }
      total += least * demand[j];
    }
    best = std::min(best, total);
  }
  return {builder.make(), best};
}

// Jobs on one machine: the least weighted sum of their ends, over all orders.
Known machine_orders(double large, Random* random) {
  const int jobs = random->whole(3, 4);
  std::vector<double> length, weight, release;
  for (int k = 0; k < jobs; ++k) {
    length.push_back(random->whole(1, 9));
    weight.push_back(random->whole(1, 9));
    release.push_back(random->whole(0, 9));
  }
  Builder builder;
  for (int k = 0; k < jobs; ++k) {
    builder.add(weight[index(k)], release[index(k)], kInfinity);
    builder.model().constant += weight[index(k)] * length[index(k)];
  }
  for (int32_t a = 0; a < jobs; ++a) {
    for (int32_t b = a + 1; b < jobs; ++b) {
      const int32_t y = builder.add_binary();  // 1: b before a
      builder.add_row(length[index(a)], kInfinity, {{b, 1.0}, {a, -1.0}, {y, large}});
      builder.add_row(length[index(b)] - large, kInfinity, {{a, 1.0}, {b, -1.0}, {y, -large}});
    }
  }
  std::vector<int32_t> order(length.size());
  std::iota(order.begin(), order.end(), 0);
  double best = kInfinity;
  do {
    double time = 0.0;
    double total = 0.0;
    for (const int32_t k : order) {
      time = std::max(time, release[index(k)]) + length[index(k)];
      total += weight[index(k)] * time;
    }
    best = std::min(best, total);
  } while (std::next_permutation(order.begin(), order.end()));
  return {builder.make(), best};
}

// min 5 z + a r with z + a r >= 1, r <= 100 / a: all by r, at 1.
Known tiny_coefficients(double unit, Random* random) {
  const double a = random->between(1.0, 4.0) / unit;
  Builder builder;
  const int32_t z = builder.add_binary(5.0);
  const int32_t r = builder.add(a, 0.0, 100.0 / a);
  builder.add_row(1.0, kInfinity, {{z, 1.0}, {r, a}});
  return {builder.make(), 1.0};
}

// The same with continuous quantities, and what all of it costs, in the unit. Every constraint has
// such a quantity.
Known in_units(double unit, Known known) {
  Model& model = known.model;
  const auto is_quantity = [&](size_t j) { return model.var_kind[j] == VarKind::kContinuous; };
  for (size_t j = 0; j < model.cost.size(); ++j) {
    if (is_quantity(j)) {
      model.var_lower[j] *= unit;
      model.var_upper[j] *= unit;
      continue;
    }
    model.cost[j] *= unit;
    for (size_t k = index(model.matrix.start[j]); k < index(model.matrix.start[j + 1]); ++k) {
      model.matrix.value[k] *= unit;
    }
  }
  for (size_t i = 0; i < model.con_lower.size(); ++i) {
    model.con_lower[i] *= unit;
    model.con_upper[i] *= unit;
  }
  model.constant *= unit;
  known.optimum *= unit;
  return known;
}

// The most that fits in of a few things, whose worth is in the unit.
Known packed_things(double unit, Random* random) {
  constexpr uint32_t kThings = 10;
  Builder builder;
  builder.model().maximize = true;
  std::vector<std::pair<int32_t, double>> weights;
  std::vector<double> worth;
  for (uint32_t k = 0; k < kThings; ++k) {
    worth.push_back(random->whole(20, 60));
    weights.emplace_back(builder.add_binary(unit * worth.back()), random->whole(20, 60));
  }
  constexpr double kRoom = 200.0;
  builder.add_row(-kInfinity, kRoom, weights);
  double best = 0.0;
  for (uint32_t set = 0; set < 1U << kThings; ++set) {
    double weight = 0.0;
    double total = 0.0;
    for (uint32_t k = 0; k < kThings; ++k) {
      if ((set >> k & 1U) == 0) continue;
      weight += weights[k].second;
      total += worth[k];
    }
    if (weight <= kRoom) best = std::max(best, total);
  }
  return {builder.make(), unit * best};
}

// Of so many pieces of the size of the unit, n go to one side and the others to the other: each side
// is a member of a cone, and what both are worth together is its last member.
struct Sides {
  int32_t number, left, right;
};

Sides add_sides(int pieces, double price, double unit, Builder* builder) {
  builder->model().maximize = true;
  Sides sides;
  sides.number = builder->add(-price * unit, 0.0, pieces, VarKind::kInteger);
  sides.left = builder->add(0.0, -kInfinity, kInfinity);
  sides.right = builder->add(0.0, -kInfinity, kInfinity);
  builder->add_row(0.0, 0.0, {{sides.left, 1.0}, {sides.number, -unit}});
  builder->add_row(pieces * unit, pieces * unit, {{sides.right, 1.0}, {sides.number, unit}});
  return sides;
}

// The best over all n.
template <class Worth>
double best_of(int pieces, Worth&& worth) {
  double best = worth(0);
  for (int n = 1; n <= pieces; ++n) best = std::max(best, worth(n));
  return best;
}

// max v - p n with v <= left^a right^(1 - a).
Known power_sides(double unit, Random* random) {
  const int pieces = random->whole(3, 12);
  const double price = random->between(-0.1, 0.1);
  const double a = random->between(0.2, 0.8);
  Builder builder;
  const Sides sides = add_sides(pieces, price, unit, &builder);
  const int32_t v = builder.add(1.0, -kInfinity, kInfinity);
  builder.model().cones = {{ConeKind::kPower, {sides.left, sides.right, v}, {a, 1.0 - a}}};
  const double best = best_of(
      pieces, [&](int n) { return std::pow(n, a) * std::pow(pieces - n, 1.0 - a) - price * n; });
  return {builder.make(), unit * best};
}

// max u + v - p n with u <= log(1 + left) and v <= log(1 + right), all in the unit.
Known logarithmic_sides(double unit, Random* random) {
  const int pieces = random->whole(3, 12);
  const double price = random->between(-0.1, 0.1);
  Builder builder;
  const Sides sides = add_sides(pieces, price, unit, &builder);
  for (const int32_t side : {sides.left, sides.right}) {
    const int32_t whole = builder.add(0.0, -kInfinity, kInfinity);
    const int32_t one = builder.add(0.0, unit, unit);
    const int32_t worth = builder.add(1.0, -kInfinity, kInfinity);
    builder.add_row(unit, unit, {{whole, 1.0}, {side, -1.0}});
    builder.model().cones.push_back({ConeKind::kExponential, {whole, one, worth}, {}});
  }
  const double best =
      best_of(pieces, [&](int n) { return std::log1p(n) + std::log1p(pieces - n) - price * n; });
  return {builder.make(), unit * best};
}

// max X21 - p n with X11 = left and X22 = right: the root of their product.
Known matrix_sides(double unit, Random* random) {
  const int pieces = random->whole(3, 12);
  const double price = random->between(-0.1, 0.1);
  Builder builder;
  const Sides sides = add_sides(pieces, price, unit, &builder);
  Model& model = builder.model();
  model.matrix_vars.push_back({2});
  model.matrix_cost.push_back({0, {1, 0, 0.5}});
  for (const auto& [place, side] : {std::pair{0, sides.left}, std::pair{1, sides.right}}) {
    const int32_t row = builder.add_row(0.0, 0.0, {{side, -1.0}});
    model.matrix_coefficients.push_back({row, 0, {place, place, 1.0}});
  }
  const double best =
      best_of(pieces, [&](int n) { return std::sqrt(n * (pieces - n)) - price * n; });
  return {builder.make(), unit * best};
}

enum class Family {
  kSwitchedSquares,
  kRiskRow,
  kRiskObjective,
  kRiskCone,
  kSemiContinuous,
  kPowerSides,
  kLogarithmicSides,
  kMatrixSides,
  kPackedThings,
  kChargesInUnits,
  kOrdersInUnits,
  kFixedCharges,
  kMachineOrders,
  kTinyCoefficients,
};
constexpr int kNumFamilies = static_cast<int>(Family::kTinyCoefficients) + 1;

bool is_linear(Family family) { return family >= Family::kFixedCharges; }

constexpr double kLargeSwitch = 1e3;

Known make(Family family, double unit, Random* random) {
  switch (family) {
    case Family::kSwitchedSquares:
      return switched_squares(unit, random);
    case Family::kRiskRow:
      return portfolio(Risk::kRow, unit, random);
    case Family::kRiskObjective:
      return portfolio(Risk::kObjective, unit, random);
    case Family::kRiskCone:
      return portfolio(Risk::kCone, unit, random);
    case Family::kSemiContinuous:
      return portfolio(Risk::kSemiContinuous, unit, random);
    case Family::kPowerSides:
      return power_sides(unit, random);
    case Family::kLogarithmicSides:
      return logarithmic_sides(unit, random);
    case Family::kMatrixSides:
      return matrix_sides(unit, random);
    case Family::kPackedThings:
      return packed_things(unit, random);
    case Family::kChargesInUnits:
      return in_units(unit, fixed_charges(kLargeSwitch, random));
    case Family::kOrdersInUnits:
      return in_units(unit, machine_orders(kLargeSwitch, random));
    case Family::kFixedCharges:
      return fixed_charges(unit, random);
    case Family::kMachineOrders:
      return machine_orders(unit, random);
    default:
      return tiny_coefficients(unit, random);
  }
}

// Units of the continuous quantities, or the sizes of the switches.
std::vector<double> units_of(Family family) {
  if (family == Family::kTinyCoefficients) return {1.0, 1e6, 1e8, 1e9, 1e10, 1e12};
  if (is_linear(family)) return {1e4, 1e5, 1e6, 1e7, 1e8, 1e9};
  if (family >= Family::kPackedThings) return {1e-15, 1e-12, 1e-9, 1e-6, 1.0, 1e6, 1e9, 1e11};
  return {1e-12, 1e-9, 1e-6, 1e-3, 1.0, 1e3, 1e5, 1e6, 1e7, 1e9, 1e12};
}

class Units : public testing::TestWithParam<int> {};

TEST_P(Units, HaveNoPartInTheAnswer) {
  const auto family = static_cast<Family>(GetParam());
  expect_right_answers(units_of(family), [family](double unit, Random* random) {
    return make(family, unit, random);
  });
}

std::string name_of_family(const testing::TestParamInfo<int>& info) {
  static constexpr const char* kNames[] = {
      "SwitchedSquares", "RiskRow",          "RiskObjective", "RiskCone",        "SemiContinuous",
      "PowerSides",      "LogarithmicSides", "MatrixSides",   "PackedThings",    "ChargesInUnits",
      "OrdersInUnits",   "FixedCharges",     "MachineOrders", "TinyCoefficients"};
  return kNames[info.param];
}

// By default objectives that differ by less than 1e-6 count as one, unless all data are smaller.
TEST(AbsoluteGap, IsInPartsOfSmallObjectives) {
  for (const double unit : {1e-9, 1e-12}) {
    Random random(3);
    const Known known = packed_things(unit, &random);
    test::MixedSolve mixed(known.model);
    mixed.put("VLN_DPAR_MIP_RELATIVE_GAP", "1e-6");
    mixed.solve();
    EXPECT_EQ(mixed.solution().status, SolutionStatus::kIntegerOptimal);
    EXPECT_NEAR(mixed.solution().primal_objective / unit, known.optimum / unit, 1e-5);
    EXPECT_NEAR(mixed.figure("bound") / unit, known.optimum / unit, 1e-3);
  }
}

INSTANTIATE_TEST_SUITE_P(Families, Units, testing::Range(0, kNumFamilies), name_of_family);

}  // namespace
}  // namespace vorlan
