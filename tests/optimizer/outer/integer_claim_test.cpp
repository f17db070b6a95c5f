// What is claimed of integer models whose data are large, small or decimal: that there is no point,
// an optimum, and a bound where a limit ends the search. The optimum is known by trying all
// integers in whole numbers; one more variable, which may be large, has an interval that is left
// for it.
//
// More of them: VORLAN_RANDOM_MODELS=4000 vorlan_outer_tests --gtest_filter='IntegerClaims.*'
// VORLAN_RANDOM_FIRST chooses others, and VORLAN_RANDOM_FILE=model.ptf writes the last one.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "known_model.h"
#include "random_count.h"
#include "task/numeric.h"

namespace vorlan {
namespace {

using test::Builder;
using test::Known;
using test::MixedSolve;
using test::Random;
using test::Verdict;

// A row in whole numbers: lower <= sum <= upper.
struct WholeRow {
  std::vector<int64_t> value;
  int64_t lower = 0, upper = 0;
  double unit = 1.0;
};

constexpr int64_t kNoSide = INT64_MAX / 4;

int64_t floor_of_ratio(int64_t a, int64_t b) {
  const int64_t quotient = a / b;
  return quotient - (a % b != 0 && (a < 0) != (b < 0) ? 1 : 0);
}

int64_t ceil_of_ratio(int64_t a, int64_t b) { return -floor_of_ratio(-a, b); }

// The last variable is the one that may be large.
struct WholeModel {
  std::vector<int64_t> cost, lower, upper;
  std::vector<WholeRow> rows;
  double cost_unit = 1.0;

  Model model() const {
    Builder builder;
    for (size_t j = 0; j < cost.size(); ++j) {
      builder.add(cost_unit * static_cast<double>(cost[j]), static_cast<double>(lower[j]),
                  static_cast<double>(upper[j]), VarKind::kInteger);
    }
    for (const WholeRow& row : rows) {
      std::vector<std::pair<int32_t, double>> terms;
      for (size_t j = 0; j < row.value.size(); ++j) {
        const double value = row.unit * static_cast<double>(row.value[j]);
        if (value != 0.0) terms.emplace_back(static_cast<int32_t>(j), value);
      }
      const auto side = [&](int64_t whole) { return row.unit * static_cast<double>(whole); };
      builder.add_row(row.lower == -kNoSide ? -kInfinity : side(row.lower),
                      row.upper == kNoSide ? kInfinity : side(row.upper), terms);
    }
    return builder.make();
  }

  // The least cost of a point; infinite where there is none.
  double optimum() const {
    std::vector<int64_t> x(lower.begin(), lower.end());
    double best = kInfinity;
    for (bool more = true; more; more = next(&x)) best = std::min(best, best_beside(x));
    return best;
  }

 private:
  // The next integers of all variables but the last.
  bool next(std::vector<int64_t>* x) const {
    for (size_t j = 0; j + 1 < x->size(); ++j) {
      if (++(*x)[j] <= upper[j]) return true;
      (*x)[j] = lower[j];
    }
    return false;
  }

  double best_beside(const std::vector<int64_t>& x) const {
    const size_t last = x.size() - 1;
    int64_t least = lower[last];
    int64_t most = upper[last];
    for (const WholeRow& row : rows) {
      int64_t sum = 0;
      for (size_t j = 0; j < last; ++j) sum += row.value[j] * x[j];
      const int64_t a = row.value[last];
      if (a == 0 && (sum < row.lower || sum > row.upper)) return kInfinity;
      if (a == 0) continue;
      const int64_t from = a > 0 ? row.lower : row.upper;
      const int64_t to = a > 0 ? row.upper : row.lower;
      if (std::abs(from) != kNoSide) least = std::max(least, ceil_of_ratio(from - sum, a));
      if (std::abs(to) != kNoSide) most = std::min(most, floor_of_ratio(to - sum, a));
    }
    if (least > most) return kInfinity;
    int64_t total = cost[last] * (cost[last] >= 0 ? least : most);
    for (size_t j = 0; j < last; ++j) total += cost[j] * x[j];
    return cost_unit * static_cast<double>(total);
  }
};

double decimal_unit(Random* random) { return std::pow(10.0, random->whole(-6, 10)); }

WholeRow random_row(const std::vector<int64_t>& point, bool is_fine, Random* random) {
  WholeRow row;
  row.unit = decimal_unit(random);
  const int most = is_fine ? 99999 : 9;
  int64_t sum = 0;
  for (size_t j = 0; j < point.size(); ++j) {
    const bool is_last = j + 1 == point.size();
    row.value.push_back(random->chance(70) ? random->whole(-most, most) : 0);
    if (is_last && random->chance(60)) row.value.back() = random->chance(50) ? 1 : -1;
    sum += row.value.back() * point[j];
  }
  const int64_t room = static_cast<int64_t>(most) * random->whole(0, 2);
  const int kind = random->whole(0, 2);
  row.lower = kind == 2 ? -kNoSide : sum - (kind == 0 ? 0 : room);
  row.upper = kind == 1 ? kNoSide : sum + (kind == 0 ? 0 : room);
  return row;
}

// Around a point, which every row leaves; so there is an optimum.
WholeModel random_model(Random* random) {
  WholeModel model;
  std::vector<int64_t> point;
  for (int j = random->whole(2, 4); j > 0; --j) {
    model.lower.push_back(random->chance(15) ? -1 : 0);
    model.upper.push_back(random->chance(60) ? 1 : random->whole(2, 4));
    model.cost.push_back(random->chance(80) ? random->whole(-20, 40) * int64_t{1'000'000} : 0);
    point.push_back(random->whole(0, static_cast<int>(model.upper.back())));
  }
  const int64_t reach = std::llround(std::pow(10.0, random->whole(0, 8)));
  model.lower.push_back(0);
  model.upper.push_back(reach);
  model.cost.push_back(random->whole(-9, 9) * std::max<int64_t>(1, 1'000'000 / reach));
  point.push_back(static_cast<int64_t>(random->between(0.0, 1.0) * static_cast<double>(reach)));
  model.cost_unit = 1e-6 * decimal_unit(random);
  for (int i = random->whole(1, 4); i > 0; --i) {
    model.rows.push_back(random_row(point, random->chance(50), random));
  }
  return model;
}

void expect_right_claims(const char* parameter, const char* value, bool is_limited) {
#if defined(__SANITIZE_ADDRESS__)
  constexpr uint32_t kDefaultCount = 10;
#else
  constexpr uint32_t kDefaultCount = 100;
#endif
  const uint32_t first = test::number_from("VORLAN_RANDOM_FIRST", 1);
  const uint32_t count = test::number_from("VORLAN_RANDOM_MODELS", kDefaultCount);
  int verdicts[3] = {};
  for (uint32_t seed = first; seed < first + count; ++seed) {
    Random random(seed);
    const WholeModel whole = random_model(&random);
    const Known known = {whole.model(), whole.optimum()};
    MixedSolve mixed(known.model);
    mixed.put("VLN_IPAR_CHILD_PROCESS", "off");
    mixed.put("VLN_DPAR_MIP_RELATIVE_GAP", "1e-6");
    mixed.put("VLN_DPAR_MIP_ABSOLUTE_GAP", "0");
    mixed.put(parameter, value);
    mixed.write_where_asked();
    mixed.solve();
    const Verdict verdict = mixed.status().ok() ? judge(known, mixed) : Verdict::kUnsolved;
    ++verdicts[static_cast<int>(verdict)];
    EXPECT_NE(verdict, Verdict::kWrong)
        << "seed " << seed << ": the optimum is " << known.optimum << '\n'
        << mixed.log() << mixed.status().message();
  }
  std::printf("%d right, %d wrong, %d not solved\n", verdicts[0], verdicts[1], verdicts[2]);
  if (!is_limited) {
    EXPECT_LE(verdicts[2], static_cast<int>(count / 100));
  }
}

TEST(IntegerClaims, OptimaOfRandomModels) {
  expect_right_claims("VLN_DPAR_TIME_LIMIT", "60", false);
}
TEST(IntegerClaims, BoundsOfRandomModelsAtANodeLimit) {
  expect_right_claims("VLN_IPAR_MIP_NODE_LIMIT", "1", true);
}
TEST(IntegerClaims, BoundsOfRandomModelsAtTheFirstPoint) {
  expect_right_claims("VLN_IPAR_MIP_SOLUTION_LIMIT", "1", true);
}

// Models that HiGHS's presolve has called infeasible, or whose worse points it has called optimal.
struct Claim {
  const char* model;
  double optimum;
};

constexpr Claim kClaims[] = {
    // 3 x + 9 y - 2 z = 18 and two rows of the size 1e13.
    {R"(Maximize
 170000 x - 40000 y + 90000 z
Subject To
 c1: - 6.6565e+11 x + 9.5087e+12 y + 4.01976e+12 z >= 9.0174e+12
 c2: 3e+09 x + 9e+09 y - 2e+09 z = 1.8e+10
 c3: - 6.79664e+13 x + 6.3476e+12 y - 1.11892e+13 z = 1.26952e+13
Bounds
 y <= 2
Generals
 y
Binaries
 x z
End
)",
     -80000.0},
    // Decimals: 3 x - 9 y - 7 z = 6 in tenths.
    {R"(Maximize
 - 2000 x + 3300 y - 200 z
Subject To
 c1: 0.30000000000000004 x - 0.9 y - 0.7000000000000001 z = 0.6000000000000001
 c2: 50000 x + 30000 z <= 110000
 c3: 85218700000 x - 45931200000 y - 56460100000 z = 170437400000
Bounds
 x <= 3
 y <= 2
 z <= 3
Generals
 x y z
End
)",
     -4000.0},
    // Of sides beyond 1e20.
    {R"(Minimize
 25000000 x + 5000000 y + 200 z
Subject To
 c1: - 9.03875e+14 x - 3.68183e+14 y - 2.18747e+14 z = -1.61460252045e+20
Bounds
 y <= 3
 z <= 1e+06
Generals
 y z
Binaries
 x
End
)",
     172622000.0},
    // A cost of 1e-7, and 5e6 times of it.
    {R"(Minimize
 0 x + 7 y + 1e-07 z
Subject To
 c1: 2e+10 x + 7e+10 y + 9e+10 z >= 4.2269531e+17
Bounds
 z <= 1e+07
Generals
 z
Binaries
 x y
End
)",
     0.4696615},
    // A row that misses its side by less than its rounding at the only points.
    {R"(Minimize
 0 u + 8e-05 x + 0.00036 y + 8e-05 z
Subject To
 c1: 0.79 u + 0.5700000000000001 v + 0.36 x + 0.56 y + 0.28 z = 233880.44
Bounds
 v <= 3
 y <= 3
 z <= 1e+06
Generals
 v y z
Binaries
 u x
End
)",
     66.82296},
    // A condition on two variables that are large together.
    {R"(Maximize
 1e+10 r + 1.6e+11 s + 4e+10 t + 3.6e+11 u + 0 v - 5e+10 w
Subject To
 c1: - 767360 s + 58480 t - 107030 u + 6450 v = -760910
 c2: t = 0 -> - 0.02 r - 0.02 v + 0.04 w = 2430536.5
Bounds
 v <= 3
 w <= 1e+08
Generals
 v w
Binaries
 r s t u
End
)",
     -3.03817049e18},
};

TEST(IntegerClaims, LargeAndDecimalRowsAreSolved) {
  for (const Claim& claim : kClaims) {
    MixedSolve mixed;
    mixed.put("VLN_IPAR_CHILD_PROCESS", "off");
    mixed.put("VLN_DPAR_MIP_RELATIVE_GAP", "1e-9");
    mixed.put("VLN_DPAR_MIP_ABSOLUTE_GAP", "0");
    mixed.read(claim.model);
    mixed.solve();
    ASSERT_TRUE(mixed.status().ok());
    EXPECT_EQ(mixed.solution().status, SolutionStatus::kIntegerOptimal) << claim.model;
    EXPECT_NEAR(mixed.solution().primal_objective, claim.optimum, 1e-6 * std::fabs(claim.optimum))
        << claim.model << mixed.log();
  }
}

}  // namespace
}  // namespace vorlan
