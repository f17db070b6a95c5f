// Mixed-integer linear models whose binary variables switch rows by coefficients of 1e4 to 1e9, as
// they are written down when nobody asks for the least coefficient. Branch and bound takes a binary
// variable of 1e-7 for 0, which beside such a coefficient is not. The optimum of each model is
// known by trying all integers.
//
// More of them: VORLAN_RANDOM_MODELS=100 vorlan_outer_tests --gtest_filter='*LargeSwitches*'
// One of them: VORLAN_RANDOM_FIRST=4711 VORLAN_RANDOM_MODELS=1 likewise, and with
// VORLAN_RANDOM_FILE=model.ptf it is written to a file.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <numeric>
#include <string>
#include <vector>

#include "known_model.h"
#include "solve/check/vectors.h"
#include "task/numeric.h"

namespace vorlan {
namespace {

using test::Builder;
using test::Known;
using test::Random;

using Terms = std::vector<std::pair<int32_t, double>>;

std::vector<double> numbers(int count, int low, int high, Random* random) {
  std::vector<double> values(index(count));
  for (double& value : values) value = random->whole(low, high);
  return values;
}

bool is_in(uint32_t set, size_t k) { return (set >> k & 1U) != 0; }

double sum_of(const std::vector<double>& values, uint32_t set) {
  double sum = 0.0;
  for (size_t k = 0; k < values.size(); ++k) sum += is_in(set, k) ? values[k] : 0.0;
  return sum;
}

// The least of a worth over all sets of so many things; an infinite one is no set.
double best_set(size_t count, const std::function<double(uint32_t)>& worth) {
  double best = kInfinity;
  for (uint32_t set = 0; set < (1U << count); ++set) best = std::min(best, worth(set));
  return best;
}

// Lot sizing: a period that produces pays a setup, what is made early is stored, x <= M setup.
Known lot_sizes(double large, Random* random) {
  const int periods = random->whole(3, 6);
  const std::vector<double> demand = numbers(periods, 1, 40, random);
  const std::vector<double> setup = numbers(periods, 10, 120, random);
  const std::vector<double> making = numbers(periods, 1, 5, random);
  const double storing = random->whole(1, 3);
  Builder builder;
  int32_t stock = -1;
  for (size_t t = 0; t < demand.size(); ++t) {
    const int32_t made = builder.add(making[t], 0.0, kInfinity);
    const int32_t on = builder.add_binary(setup[t]);
    const int32_t left = builder.add(storing, 0.0, kInfinity);
    builder.add_row(-kInfinity, 0.0, {{made, 1.0}, {on, -large}});
    Terms balance = {{made, 1.0}, {left, -1.0}};
    if (stock >= 0) balance.emplace_back(stock, 1.0);
    builder.add_row(demand[t], demand[t], balance);
    stock = left;
  }
  const auto worth = [&](uint32_t on) {
    double total = sum_of(setup, on);
    for (size_t t = 0; t < demand.size(); ++t) {
      double least = kInfinity;
      for (size_t s = 0; s <= t; ++s) {
        const double price = making[s] + storing * static_cast<double>(t - s);
        if (is_in(on, s)) least = std::min(least, price);
      }
      total += least * demand[t];
    }
    return total;
  };
  return {builder.make(), best_set(demand.size(), worth)};
}

// Goods go from plants over depots to customers, and both are opened at a price.
Known two_levels(double large, Random* random) {
  const int plants = random->whole(2, 3);
  const int depots = random->whole(2, 3);
  const std::vector<double> demand = numbers(random->whole(2, 4), 1, 30, random);
  const std::vector<double> price = numbers(plants + depots, 20, 200, random);
  const std::vector<double> first = numbers(plants * depots, 1, 9, random);
  const std::vector<double> second = numbers(depots * 4, 1, 9, random);
  const auto cost = [&](int plant, int depot, size_t customer) {
    return first[index(plant * depots + depot)] + second[index(depot * 4) + customer];
  };
  Builder builder;
  std::vector<Terms> leaves(price.size()), arrives(demand.size());
  for (size_t k = 0; k < price.size(); ++k) leaves[k] = {{builder.add_binary(price[k]), -large}};
  for (int plant = 0; plant < plants; ++plant) {
    for (int depot = 0; depot < depots; ++depot) {
      for (size_t c = 0; c < demand.size(); ++c) {
        const int32_t x = builder.add(cost(plant, depot, c), 0.0, kInfinity);
        leaves[index(plant)].emplace_back(x, 1.0);
        leaves[index(plants + depot)].emplace_back(x, 1.0);
        arrives[c].emplace_back(x, 1.0);
      }
    }
  }
  for (const Terms& terms : leaves) builder.add_row(-kInfinity, 0.0, terms);
  for (size_t c = 0; c < demand.size(); ++c) builder.add_row(demand[c], kInfinity, arrives[c]);
  const auto worth = [&](uint32_t open) {
    double total = sum_of(price, open);
    for (size_t c = 0; c < demand.size(); ++c) {
      double least = kInfinity;
      for (int plant = 0; plant < plants; ++plant) {
        for (int depot = 0; depot < depots; ++depot) {
          const bool is_open = is_in(open, index(plant)) && is_in(open, index(plants + depot));
          if (is_open) least = std::min(least, cost(plant, depot, c));
        }
      }
      total += least * demand[c];
    }
    return total;
  };
  return {builder.make(), best_set(price.size(), worth)};
}

// Jobs on two machines, in any order on each: the least weighted sum of their ends. Rows for a pair
// of jobs count when both are on the machine and in the order that the row is for.
Known two_machines(double large, Random* random) {
  const int jobs = random->whole(3, 4);
  const std::vector<double> length = numbers(jobs, 1, 9, random);
  const std::vector<double> weight = numbers(jobs, 1, 9, random);
  const std::vector<double> faster = numbers(jobs, 0, 1, random);  // on the second machine
  Builder builder;
  std::vector<int32_t> start, second;
  for (size_t k = 0; k < length.size(); ++k) {
    start.push_back(builder.add(weight[k], 0.0, kInfinity));
    builder.model().constant += weight[k] * length[k];
  }
  for (size_t k = 0; k < length.size(); ++k) {
    second.push_back(builder.add_binary(-weight[k] * faster[k]));
  }
  for (size_t a = 0; a < length.size(); ++a) {
    for (size_t b = a + 1; b < length.size(); ++b) {
      const int32_t y = builder.add_binary();  // 1: b before a
      for (const auto& [before, after, late] : {std::tuple{a, b, false}, std::tuple{b, a, true}}) {
        for (const bool is_second : {false, true}) {
          // start[after] - start[before] + faster >= length - M (what does not fit)
          double fits = length[before];
          Terms terms = {{start[after], 1.0}, {start[before], -1.0}};
          terms.emplace_back(y, late ? -large : large);
          if (late) fits -= large;
          double of_before = is_second ? -large : large;
          if (is_second) fits -= 2.0 * large;
          terms.emplace_back(second[after], of_before);
          of_before += faster[before];
          terms.emplace_back(second[before], of_before);
          builder.add_row(fits, kInfinity, terms);
        }
      }
    }
  }
  std::vector<size_t> order(length.size());
  std::iota(order.begin(), order.end(), 0);
  double best = kInfinity;
  do {
    best = std::min(best, best_set(length.size(), [&](uint32_t on_second) {
                      double time[2] = {0.0, 0.0};
                      double total = 0.0;
                      for (const size_t k : order) {
                        const size_t machine = is_in(on_second, k) ? 1 : 0;
                        time[machine] += length[k] - (machine == 1 ? faster[k] : 0.0);
                        total += weight[k] * time[machine];
                      }
                      return total;
                    }));
  } while (std::next_permutation(order.begin(), order.end()));
  return {builder.make(), best};
}

// Of some wishes x >= d, each switched by an indicator that is written with M, so many are granted.
Known indicators(double large, Random* random) {
  const int amounts = random->whole(2, 3);
  const int wishes = random->whole(4, 6);
  const int granted = random->whole(2, wishes - 1);
  const std::vector<double> price = numbers(amounts, 1, 9, random);
  const std::vector<double> wish = numbers(wishes, 1, 60, random);
  const std::vector<double> fee = numbers(wishes, 0, 20, random);
  Builder builder;
  for (const double p : price) builder.add(p, 0.0, kInfinity);
  Terms count;
  for (size_t k = 0; k < wish.size(); ++k) {
    const int32_t z = builder.add_binary(fee[k]);
    const auto x = static_cast<int32_t>(k % price.size());
    builder.add_row(wish[k] - large, kInfinity, {{x, 1.0}, {z, -large}});
    count.emplace_back(z, 1.0);
  }
  builder.add_row(granted, kInfinity, count);
  const auto worth = [&](uint32_t set) {
    if (__builtin_popcount(set) < granted) return kInfinity;
    std::vector<double> most(price.size(), 0.0);
    for (size_t k = 0; k < wish.size(); ++k) {
      double& x = most[k % price.size()];
      if (is_in(set, k)) x = std::max(x, wish[k]);
    }
    return sum_of(fee, set) + std::inner_product(price.begin(), price.end(), most.begin(), 0.0);
  };
  return {builder.make(), best_set(wish.size(), worth)};
}

// A demand is met by machines that run at a least power or not at all; without a largest power, M
// is in its place. The machines are semi-continuous variables or have a switch and two rows.
Known least_powers(double large, bool semi, Random* random) {
  const int machines = random->whole(3, 5);
  const std::vector<double> least = numbers(machines, 5, 30, random);
  const std::vector<double> price = numbers(machines, 1, 9, random);
  const std::vector<double> fee =
      semi ? std::vector<double>(index(machines), 0.0) : numbers(machines, 5, 90, random);
  const double demand = random->whole(30, 80);
  Builder builder;
  Terms power;
  for (size_t k = 0; k < least.size(); ++k) {
    int32_t x = -1;
    if (semi) {
      x = builder.add(price[k], least[k], large, VarKind::kSemiContinuous);
    } else {
      x = builder.add(price[k], 0.0, kInfinity);
      const int32_t z = builder.add_binary(fee[k]);
      builder.add_row(-kInfinity, 0.0, {{x, 1.0}, {z, -large}});
      builder.add_row(0.0, kInfinity, {{x, 1.0}, {z, -least[k]}});
    }
    power.emplace_back(x, 1.0);
  }
  builder.add_row(demand, demand, power);
  const auto worth = [&](uint32_t on) {
    const double rest = demand - sum_of(least, on);
    if (on == 0 || rest < 0.0) return kInfinity;
    double total = sum_of(fee, on);
    double cheapest = kInfinity;
    for (size_t k = 0; k < least.size(); ++k) {
      if (!is_in(on, k)) continue;
      total += price[k] * least[k];
      cheapest = std::min(cheapest, price[k]);
    }
    return total + cheapest * rest;
  };
  return {builder.make(), best_set(least.size(), worth)};
}

// Points on a line near their targets, none of which may lie in a forbidden stretch: either at its
// one side or at the other, by rows in which M stands with a negative sign.
Known forbidden_stretches(double large, Random* random) {
  const int points = random->whole(1, 3);
  Builder builder;
  double total = 0.0;
  for (int k = 0; k < points; ++k) {
    const double target = random->whole(20, 80);
    const double weight = random->whole(1, 9);
    const int32_t x = builder.add(0.0, -kInfinity, kInfinity);
    const int32_t away = builder.add(weight, 0.0, kInfinity);
    builder.add_row(-kInfinity, target, {{x, 1.0}, {away, -1.0}});
    builder.add_row(target, kInfinity, {{x, 1.0}, {away, 1.0}});
    std::vector<std::pair<double, double>> stretches;
    std::vector<double> places = {target};
    for (int s = random->whole(1, 3); s > 0; --s) {
      const double low = target + random->whole(-15, 5);
      const double high = low + random->whole(3, 20);
      const int32_t y = builder.add_binary();
      builder.add_row(-kInfinity, low, {{x, 1.0}, {y, -large}});           // x <= low + M y
      builder.add_row(-kInfinity, large - high, {{x, -1.0}, {y, large}});  // x >= high - M (1 - y)
      stretches.emplace_back(low, high);
      places.insert(places.end(), {low, high});
    }
    double best = kInfinity;
    for (const double place : places) {
      const bool possible = std::all_of(stretches.begin(), stretches.end(), [&](const auto& s) {
        return place <= s.first || place >= s.second;
      });
      if (possible) best = std::min(best, std::fabs(place - target));
    }
    total += weight * best;
  }
  return {builder.make(), total};
}

// Amounts that have one of some values each, by x - d <= M (1 - z) and x - d >= -M (1 - z), with a
// least sum, near their targets, at a price of each value.
Known chosen_values(double large, Random* random) {
  constexpr size_t kValues = 3;
  const int amounts = random->whole(1, 2);
  const double least_sum = amounts * random->whole(20, 40);
  std::vector<std::vector<double>> value, price;
  std::vector<double> target;
  Builder builder;
  Terms sum;
  for (int k = 0; k < amounts; ++k) {
    value.push_back(numbers(kValues, 10, 60, random));
    price.push_back(numbers(kValues, 0, 30, random));
    value.back()[0] = 60.0;  // some choice reaches the sum
    target.push_back(random->whole(10, 60));
    const int32_t x = builder.add(0.0, -kInfinity, kInfinity);
    const int32_t away = builder.add(1.0, 0.0, kInfinity);
    builder.add_row(-kInfinity, target.back(), {{x, 1.0}, {away, -1.0}});
    builder.add_row(target.back(), kInfinity, {{x, 1.0}, {away, 1.0}});
    sum.emplace_back(x, 1.0);
    Terms one;
    for (size_t v = 0; v < kValues; ++v) {
      const double d = value.back()[v];
      const int32_t z = builder.add_binary(price.back()[v]);
      builder.add_row(-kInfinity, d + large, {{x, 1.0}, {z, large}});
      builder.add_row(d - large, kInfinity, {{x, 1.0}, {z, -large}});
      one.emplace_back(z, 1.0);
    }
    builder.add_row(1.0, 1.0, one);
  }
  builder.add_row(least_sum, kInfinity, sum);
  double best = kInfinity;
  for (size_t code = 0; code < (amounts == 1 ? kValues : kValues * kValues); ++code) {
    double reached = 0.0;
    double total = 0.0;
    for (size_t k = 0, rest = code; k < value.size(); ++k, rest /= kValues) {
      const size_t v = rest % kValues;
      reached += value[k][v];
      total += price[k][v] + std::fabs(value[k][v] - target[k]);
    }
    if (reached >= least_sum) best = std::min(best, total);
  }
  return {builder.make(), best};
}

// Points in the plane near their targets in sum and in difference, whose first coordinates have one of
// some values each. No single row bounds a coordinate: two together do, under a limit of the costs.
Known turned_targets(double large, Random* random) {
  constexpr size_t kValues = 4;
  const int points = random->whole(1, 4);
  Builder builder;
  double total = 0.0;
  for (int k = 0; k < points; ++k) {
    const int32_t x = builder.add(0.0, -kInfinity, kInfinity);
    const int32_t y = builder.add(0.0, -kInfinity, kInfinity);
    const double target[2] = {static_cast<double>(random->whole(10, 90)),
                              static_cast<double>(random->whole(-30, 30))};
    const double weight[2] = {static_cast<double>(random->whole(1, 5)),
                              static_cast<double>(random->whole(1, 5))};
    for (const size_t turn : {0U, 1U}) {
      const double sign = turn == 0 ? 1.0 : -1.0;
      const int32_t away = builder.add(weight[turn], 0.0, kInfinity);
      builder.add_row(-kInfinity, target[turn], {{x, 1.0}, {y, sign}, {away, -1.0}});
      builder.add_row(target[turn], kInfinity, {{x, 1.0}, {y, sign}, {away, 1.0}});
    }
    const std::vector<double> values = numbers(kValues, 0, 90, random);
    const std::vector<double> price = numbers(kValues, 0, 30, random);
    Terms one;
    double best = kInfinity;
    for (size_t v = 0; v < kValues; ++v) {
      const int32_t z = builder.add_binary(price[v]);
      builder.add_row(-kInfinity, values[v] + large, {{x, 1.0}, {z, large}});
      builder.add_row(values[v] - large, kInfinity, {{x, 1.0}, {z, -large}});
      one.emplace_back(z, 1.0);
      for (const double at : {target[0] - values[v], values[v] - target[1]}) {
        const double cost = weight[0] * std::fabs(values[v] + at - target[0]) +
                            weight[1] * std::fabs(values[v] - at - target[1]);
        best = std::min(best, price[v] + cost);
      }
    }
    builder.add_row(1.0, 1.0, one);
    total += best;
  }
  return {builder.make(), total};
}

// What is not covered costs M a unit in the objective. There is always a cover.
Known penalties(double large, Random* random) {
  const int things = random->whole(4, 7);
  const std::vector<double> size = numbers(things, 2, 20, random);
  const std::vector<double> price = numbers(things, 3, 40, random);
  const double all = std::accumulate(size.begin(), size.end(), 0.0);
  const double demand = std::floor(random->between(0.3, 0.9) * all);
  Builder builder;
  Terms cover;
  for (size_t k = 0; k < size.size(); ++k) {
    cover.emplace_back(builder.add_binary(price[k]), size[k]);
  }
  cover.emplace_back(builder.add(large, 0.0, kInfinity), 1.0);
  builder.add_row(demand, kInfinity, cover);
  const auto worth = [&](uint32_t set) {
    return sum_of(price, set) + large * std::max(0.0, demand - sum_of(size, set));
  };
  return {builder.make(), best_set(size.size(), worth)};
}

// Roads are built at a price, without a limit of what they carry from the first place to others.
Known networks(double large, Random* random) {
  const int places = random->whole(3, 5);
  struct Road {
    int from, to;
  };
  std::vector<Road> roads;
  for (int from = 0; from < places; ++from) {
    for (int to = from + 1; to < places; ++to) roads.push_back({from, to});
  }
  const int count = static_cast<int>(roads.size());
  const std::vector<double> price = numbers(count, 10, 90, random);
  const std::vector<double> cost = numbers(count, 1, 9, random);
  const std::vector<double> demand = numbers(places, 1, 20, random);
  Builder builder;
  std::vector<Terms> balance(demand.size());
  for (size_t r = 0; r < roads.size(); ++r) {
    const int32_t x = builder.add(cost[r], 0.0, kInfinity);
    const int32_t z = builder.add_binary(price[r]);
    builder.add_row(-kInfinity, 0.0, {{x, 1.0}, {z, -large}});
    balance[index(roads[r].from)].emplace_back(x, -1.0);
    balance[index(roads[r].to)].emplace_back(x, 1.0);
  }
  for (size_t k = 1; k < demand.size(); ++k) builder.add_row(demand[k], demand[k], balance[k]);
  const auto worth = [&](uint32_t built) {
    std::vector<double> way(demand.size(), kInfinity);
    way[0] = 0.0;
    double total = sum_of(price, built);
    for (size_t k = 1; k < demand.size(); ++k) {
      for (size_t r = 0; r < roads.size(); ++r) {
        if (index(roads[r].to) != k || !is_in(built, r)) continue;
        way[k] = std::min(way[k], way[index(roads[r].from)] + cost[r]);
      }
      total += demand[k] * way[k];
    }
    return total;
  };
  return {builder.make(), best_set(roads.size(), worth)};
}

// One supplier's price falls from an amount on; the last stretch has no end but M. Each stretch has
// a switch, and a fee for each supplier.
Known discounts(double large, Random* random) {
  const int suppliers = random->whole(2, 3);
  const double demand = random->whole(20, 100);
  struct Stretch {
    double low, high, price, fee;
  };
  std::vector<std::vector<Stretch>> offers;
  Builder builder;
  Terms bought;
  for (int s = 0; s < suppliers; ++s) {
    const double edge = random->whole(10, 70);
    const double price = random->whole(4, 9);
    const double fee = random->whole(0, 60);
    offers.push_back({{0.0, 0.0, 0.0, 0.0}, {0.0, edge, price, fee}});
    offers.back().push_back({edge, large, price - random->whole(1, 3), fee});
    Terms one;
    for (size_t k = 1; k < 3; ++k) {
      const Stretch& stretch = offers.back()[k];
      const int32_t x = builder.add(stretch.price, 0.0, kInfinity);
      const int32_t z = builder.add_binary(stretch.fee);
      builder.add_row(-kInfinity, 0.0, {{x, 1.0}, {z, -stretch.high}});
      builder.add_row(0.0, kInfinity, {{x, 1.0}, {z, -stretch.low}});
      one.emplace_back(z, 1.0);
      bought.emplace_back(x, 1.0);
    }
    builder.add_row(-kInfinity, 1.0, one);
  }
  builder.add_row(demand, kInfinity, bought);
  double best = kInfinity;
  int codes = 1;
  for (int s = 0; s < suppliers; ++s) codes *= 3;
  for (int code = 0; code < codes; ++code) {
    std::vector<Stretch> chosen;
    double rest = demand;
    double total = 0.0;
    for (int s = 0, left = code; s < suppliers; ++s, left /= 3) {
      chosen.push_back(offers[index(s)][index(left % 3)]);
      rest -= chosen.back().low;
      total += chosen.back().fee + chosen.back().low * chosen.back().price;
    }
    std::sort(chosen.begin(), chosen.end(),
              [](const Stretch& a, const Stretch& b) { return a.price < b.price; });
    for (const Stretch& stretch : chosen) {
      const double more = std::clamp(rest, 0.0, stretch.high - stretch.low);
      rest -= more;
      total += more * stretch.price;
    }
    if (rest <= 0.0) best = std::min(best, total);
  }
  return {builder.make(), best};
}

// Goods in pieces of a fraction of a coin go from two places, opened at a price, to customers. A
// place has room for exactly what all of them ask for.
Known facilities(double large, Random* random) {
  constexpr size_t kPlaces = 2;
  const std::vector<double> price = numbers(kPlaces, 50, 150, random);  // a thousandth of large
  const std::vector<double> demand = numbers(random->whole(2, 4), 1, 10, random);
  const double all = std::accumulate(demand.begin(), demand.end(), 0.0);
  Builder builder;
  std::vector<Terms> arrives(demand.size());
  std::vector<std::vector<double>> cost;  // thousandths of a coin
  for (const double p : price) {
    cost.push_back(numbers(static_cast<int>(demand.size()), 5, 20, random));
    Terms leaves = {{builder.add_binary(p * large / 1000.0), -all * large}};
    for (size_t c = 0; c < demand.size(); ++c) {
      const int32_t x = builder.add(cost.back()[c] / 1000.0, 0.0, kInfinity);
      leaves.emplace_back(x, 1.0);
      arrives[c].emplace_back(x, 1.0);
    }
    builder.add_row(-kInfinity, 0.0, leaves);
  }
  for (size_t c = 0; c < demand.size(); ++c) {
    builder.add_row(demand[c] * large, demand[c] * large, arrives[c]);
  }
  const auto worth = [&](uint32_t open) {
    double total = sum_of(price, open);
    for (size_t c = 0; c < demand.size(); ++c) {
      double least = kInfinity;
      for (size_t k = 0; k < kPlaces; ++k)
        least = is_in(open, k) ? std::min(least, cost[k][c]) : least;
      total += least * demand[c];
    }
    return total * large / 1000.0;
  };
  return {builder.make(), best_set(kPlaces, worth)};
}

// Orders that are worth more than they cost, or not, some of which must be taken: an order that is
// taken asks for its amount by a condition, and what all of them ask for has room.
Known conditions(double large, Random* random) {
  const int count = random->whole(2, 5);
  const int least = random->whole(0, count);
  Builder builder;
  std::vector<double> loss;
  Terms amounts, taken;
  double room = 0.0;
  for (int k = 0; k < count; ++k) {
    const double amount = large * random->whole(1, 9);
    const double cost = random->whole(1, 9);
    const double worth = large * cost * random->whole(1, 9);
    const int32_t x = builder.add(cost, 0.0, kInfinity);
    const int32_t z = builder.add_binary(-worth);
    const int32_t con = builder.add_row(amount, kInfinity, {{x, 1.0}});
    builder.model().indicators.push_back({con, z, true});
    amounts.emplace_back(x, 1.0);
    taken.emplace_back(z, 1.0);
    room += 2.0 * amount;
    loss.push_back(cost * amount - worth);
  }
  builder.add_row(least, kInfinity, taken);
  builder.add_row(-kInfinity, room, amounts);
  std::sort(loss.begin(), loss.end());
  double best = 0.0;
  for (int k = 0; k < count; ++k) {
    if (k < least || loss[index(k)] < 0.0) best += loss[index(k)];
  }
  return {builder.make(), best};
}

struct Shape {
  const char* name;
  std::function<Known(double, Random*)> make;
};

const std::vector<Shape>& shapes() {
  static const std::vector<Shape> kShapes = {
      {"LotSizes", lot_sizes},
      {"TwoLevels", two_levels},
      {"TwoMachines", two_machines},
      {"Indicators", indicators},
      {"LeastPowers", [](double large, Random* r) { return least_powers(large, false, r); }},
      {"SemiContinuous", [](double large, Random* r) { return least_powers(large, true, r); }},
      {"ForbiddenStretches", forbidden_stretches},
      {"ChosenValues", chosen_values},
      {"TurnedTargets", turned_targets},
      {"Penalties", penalties},
      {"Networks", networks},
      {"Discounts", discounts},
      {"Conditions", conditions},
      {"Facilities", facilities},
  };
  return kShapes;
}

class LargeSwitches : public testing::TestWithParam<size_t> {};

TEST_P(LargeSwitches, AreSolvedAndRight) {
  test::expect_right_answers({1e4, 1e6, 1e7, 1e8, 1e9}, shapes()[GetParam()].make);
}

// The gap is relative to the objective as the model states it, here 0 at the optimum. A fifth of the
// costs alone would let poorer points pass.
TEST(LotSizes, AreAllowedAGapOfTheObjectiveWithItsConstant) {
  for (uint32_t seed = 1; seed <= 6; ++seed) {
    Random random(seed);
    Known known = lot_sizes(1e7, &random);
    known.model.constant = -known.optimum;
    test::MixedSolve mixed(known.model);
    mixed.put("VLN_DPAR_MIP_RELATIVE_GAP", "0.2");
    mixed.put("VLN_DPAR_MIP_ABSOLUTE_GAP", "0");
    mixed.solve();
    EXPECT_NEAR(mixed.solution().primal_objective, 0.0, 1e-5 * known.optimum) << mixed.log();
  }
}

// Branching on each switch would settle these models, too: 26 nodes for this one.
TEST(TurnedTargets, AreBoundedByLinearPrograms) {
  Random random(5);
  test::MixedSolve mixed(turned_targets(1e9, &random).model);
  mixed.solve();
  EXPECT_EQ(mixed.solution().status, SolutionStatus::kIntegerOptimal);
  EXPECT_LE(mixed.figure("nodes"), 5.0);
}

// In units in which the goods are about 1, costs of them above a million have led presolve to cut
// off the optimum of one such model in twelve.
TEST(Facilities, AreRightInSmallCoins) {
  for (const double large : {1e7, 1e8, 1e9}) {
    for (uint32_t seed = 1; seed <= 40; ++seed) {
      Random random(seed);
      const Known known = facilities(large, &random);
      test::MixedSolve mixed(known.model);
      mixed.put("VLN_IPAR_CHILD_PROCESS", "off");
      mixed.solve();
      EXPECT_EQ(judge(known, mixed), test::Verdict::kRight)
          << large << ", seed " << seed << ": the optimum is " << known.optimum << mixed.log();
    }
  }
}

std::string name_of_shape(const testing::TestParamInfo<size_t>& info) {
  return shapes()[info.param].name;
}

INSTANTIATE_TEST_SUITE_P(Shapes, LargeSwitches, testing::Range(size_t{0}, shapes().size()),
                         name_of_shape);

}  // namespace
}  // namespace vorlan
