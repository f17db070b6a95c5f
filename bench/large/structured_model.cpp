#include "structured_model.h"

#include <random>

namespace {

using Entry = StructuredModel::Entry;

size_t index(int32_t number) { return static_cast<size_t>(number); }

// Numbers that do not hang on the standard library: its distributions differ.
class Random {
 public:
  double uniform(double from, double to) {
    return from + (to - from) * static_cast<double>(engine_()) / 4294967296.0;
  }
  int32_t below(int32_t limit) {
    return static_cast<int32_t>(uniform(0.0, static_cast<double>(limit)));
  }
  // About normal: the sum of twelve.
  double normal() {
    double sum = -6.0;
    for (int k = 0; k < 12; ++k) sum += uniform(0.0, 1.0);
    return sum;
  }

 private:
  std::mt19937 engine_{20221};
};

StructuredModel transport(int32_t plants, int32_t customers) {
  Random random;
  StructuredModel model;
  for (int32_t i = 0; i < plants; ++i) {
    model.add_row('L', random.uniform(1.1, 1.5) * 10.0 * customers / plants);
  }
  for (int32_t j = 0; j < customers; ++j) model.add_row('G', random.uniform(5.0, 14.0));
  std::vector<std::pair<double, double>> places;
  places.reserve(index(plants + customers));
  for (int32_t k = 0; k < plants + customers; ++k) {
    places.emplace_back(random.uniform(0.0, 100.0), random.uniform(0.0, 100.0));
  }
  for (int32_t i = 0; i < plants; ++i) {
    for (int32_t j = 0; j < customers; ++j) {
      const auto& [x, y] = places[index(i)];
      const auto& [u, v] = places[index(plants + j)];
      const double cost = (x - u) * (x - u) + (y - v) * (y - v) + random.uniform(1.0, 200.0);
      model.add_column(cost, {{i, 1.0}, {plants + j, 1.0}});
    }
  }
  return model;
}

// Rows: the balances of all periods, then two machines, the store and the lateness of each period.
StructuredModel planning(int32_t products, int32_t periods) {
  Random random;
  StructuredModel model;
  const auto balance = [products](int32_t product, int32_t period) {
    return period * products + product;
  };
  std::vector<double> base;
  base.reserve(index(products));
  for (int32_t p = 0; p < products; ++p) base.push_back(random.uniform(5.0, 50.0));
  for (int32_t t = 0; t < periods; ++t) {
    for (int32_t p = 0; p < products; ++p) {
      const double season = 1.0 + 0.6 * (t % 12 < 6 ? 1.0 : -1.0);
      model.add_row('E', base[index(p)] * season * random.uniform(0.5, 1.5));
    }
  }
  const int32_t first_capacity = products * periods;
  for (int32_t t = 0; t < periods; ++t) {
    model.add_row('L', 60.0 * products);
    model.add_row('L', 60.0 * products);
    model.add_row('L', 100.0 * products);
    model.add_row('L', 10.0 * products);
  }
  for (int32_t t = 0; t < periods; ++t) {
    const int32_t capacity = first_capacity + 4 * t;
    for (int32_t p = 0; p < products; ++p) {
      model.add_column(random.uniform(1.0, 10.0), {{balance(p, t), 1.0},
                                                   {capacity, random.uniform(0.5, 2.0)},
                                                   {capacity + 1, random.uniform(0.5, 2.0)}});
      std::vector<Entry> kept = {{balance(p, t), -1.0}};
      if (t + 1 < periods) kept.push_back({balance(p, t + 1), 1.0});
      kept.push_back({capacity + 2, random.uniform(0.5, 2.0)});
      model.add_column(random.uniform(0.1, 1.0), std::move(kept));
      std::vector<Entry> late = {{balance(p, t), 1.0}};
      if (t + 1 < periods) late.push_back({balance(p, t + 1), -1.0});
      late.push_back({capacity + 3, 1.0});
      model.add_column(random.uniform(5.0, 20.0), std::move(late));
    }
  }
  return model;
}

StructuredModel staircase(int32_t stages, int32_t rows) {
  Random random;
  StructuredModel model;
  // A known point makes the equations solvable.
  const int32_t columns = 2 * rows;
  std::vector<double> rhs(index(stages * rows), 0.0);
  struct Plan {
    double cost;
    std::vector<Entry> entries;
  };
  std::vector<Plan> plans;
  for (int32_t s = 0; s < stages; ++s) {
    for (int32_t j = 0; j < columns; ++j) {
      Plan plan{random.uniform(1.0, 10.0), {}};
      const double level = j % 2 == 0 ? random.uniform(1.0, 10.0) : 0.0;
      std::vector<int32_t> own = {j % rows};
      for (int k = 0; k < 4; ++k) own.push_back(random.below(rows));
      if (s + 1 < stages && j < rows / 5) {
        own.push_back(rows + random.below(rows));
        own.push_back(rows + random.below(rows));
      }
      for (size_t k = 0; k < own.size(); ++k) {
        bool again = false;
        for (size_t l = 0; l < k; ++l) again = again || own[l] == own[k];
        if (again) continue;
        const double value = random.uniform(-1.0, 2.0);
        plan.entries.push_back({s * rows + own[k], value});
        rhs[index(s * rows + own[k])] += value * level;
      }
      plans.push_back(std::move(plan));
    }
  }
  for (const double value : rhs) model.add_row('E', value);
  for (Plan& plan : plans) {
    const int32_t column = model.add_column(plan.cost, std::move(plan.entries));
    model.columns[index(column)].upper = 100.0;
  }
  return model;
}

// Of each unit and hour: on, started, power. Rows: demand and reserve of each hour; of each unit and
// hour least and largest power, the switch, two ramps and the time up.
StructuredModel commitment(int32_t units, int32_t hours) {
  Random random;
  StructuredModel model;
  struct Unit {
    double least, most, fuel, fixed, start;
  };
  std::vector<Unit> all;
  double total = 0.0;
  for (int32_t u = 0; u < units; ++u) {
    const double most = random.uniform(50.0, 500.0);
    all.push_back({0.4 * most, most, random.uniform(10.0, 50.0), random.uniform(100.0, 1000.0),
                   random.uniform(500.0, 5000.0)});
    total += most;
  }
  for (int32_t h = 0; h < hours; ++h) {
    const double demand = total * (0.5 + 0.2 * (h % 24 < 12 ? h % 12 : 12 - h % 12) / 12.0);
    model.add_row('G', demand);
    model.add_row('G', 1.1 * demand);
  }
  constexpr int32_t kRows = 6;
  const auto row = [&](int32_t u, int32_t h, int32_t k) {
    return 2 * hours + (u * hours + h) * kRows + k;
  };
  for (int32_t u = 0; u < units; ++u) {
    for (int32_t h = 0; h < hours; ++h) {
      model.add_row('G', 0.0);
      model.add_row('L', 0.0);
      model.add_row('L', 0.0);
      model.add_row('L', (h == 0 ? 1.0 : 0.3) * all[index(u)].most);
      model.add_row('L', (h == 0 ? 1.0 : 0.3) * all[index(u)].most);
      model.add_row('L', 0.0);
    }
  }
  constexpr int32_t kTimeUp = 4;
  for (int32_t u = 0; u < units; ++u) {
    const Unit& unit = all[index(u)];
    for (int32_t h = 0; h < hours; ++h) {
      std::vector<Entry> on = {{2 * h + 1, unit.most},
                               {row(u, h, 0), -unit.least},
                               {row(u, h, 1), -unit.most},
                               {row(u, h, 2), 1.0},
                               {row(u, h, 5), -1.0}};
      std::vector<Entry> power = {{2 * h, 1.0},
                                  {row(u, h, 0), 1.0},
                                  {row(u, h, 1), 1.0},
                                  {row(u, h, 3), 1.0},
                                  {row(u, h, 4), -1.0}};
      if (h + 1 < hours) {
        on.push_back({row(u, h + 1, 2), -1.0});
        on.push_back({row(u, h + 1, 3), -unit.least});
        power.push_back({row(u, h + 1, 3), -1.0});
        power.push_back({row(u, h + 1, 4), 1.0});
      }
      std::vector<Entry> started = {{row(u, h, 2), -1.0}};
      for (int32_t k = h; k < hours && k < h + kTimeUp; ++k) started.push_back({row(u, k, 5), 1.0});
      model.columns[index(model.add_column(unit.fixed, std::move(on)))].upper = 1.0;
      model.add_column(unit.fuel, std::move(power));
      model.columns[index(model.add_column(unit.start, std::move(started)))].upper = 1.0;
    }
  }
  return model;
}

enum class Square { kObjective, kCone };

// Adds the columns of Ax + r = b and of 1/2 |r|^2 behind those of x.
void add_residuals(StructuredModel* model, int32_t rows, Square square) {
  if (square == Square::kCone) {
    const int32_t head = model->add_row('E', 1.0);
    model->cone = model->add_column(1.0, {});
    model->add_column(0.0, {{head, 1.0}});
  }
  for (int32_t i = 0; i < rows; ++i) {
    const int32_t column = model->add_column(0.0, {{i, 1.0}}, true);
    if (square == Square::kObjective) model->columns[index(column)].square = 1.0;
  }
}

// A dense matrix and the right-hand side of a sparse point with noise.
std::vector<std::vector<Entry>> dense_columns(int32_t rows, int32_t columns,
                                              StructuredModel* model) {
  Random random;
  std::vector<double> rhs;
  rhs.reserve(index(rows));
  for (int32_t i = 0; i < rows; ++i) rhs.push_back(random.normal());
  std::vector<std::vector<Entry>> all;
  for (int32_t j = 0; j < columns; ++j) {
    all.emplace_back();
    const double level = j % 10 == 0 ? random.uniform(0.5, 3.0) : 0.0;
    for (int32_t i = 0; i < rows; ++i) {
      all.back().push_back({i, random.normal()});
      rhs[index(i)] += level * all.back().back().value;
    }
  }
  for (const double side : rhs) model->add_row('E', side);
  return all;
}

// The same with a fiftieth of the elements.
std::vector<std::vector<Entry>> sparse_columns(int32_t rows, int32_t columns,
                                               StructuredModel* model) {
  constexpr int32_t kShare = 50;
  Random random;
  std::vector<std::vector<Entry>> all(index(columns));
  std::vector<double> level(index(columns), 0.0);
  for (size_t j = 0; j < level.size(); j += 10) level[j] = random.uniform(0.5, 3.0);
  for (int32_t i = 0; i < rows; ++i) {
    double side = random.normal();
    for (int32_t k = 0; k < 1 + columns / kShare; ++k) {
      const size_t j = index(random.below(columns));
      if (!all[j].empty() && all[j].back().row == i) continue;
      all[j].push_back({i, random.normal()});
      side += level[j] * all[j].back().value;
    }
    model->add_row('E', side);
  }
  return all;
}

enum class Density { kFull, kSparse };

StructuredModel lasso(int32_t rows, int32_t columns, Density density, Square square) {
  StructuredModel model;
  std::vector<std::vector<Entry>> matrix = density == Density::kFull
                                               ? dense_columns(rows, columns, &model)
                                               : sparse_columns(rows, columns, &model);
  const double weight = 0.1 * rows;
  for (int32_t j = 0; j < columns; ++j) {
    const int32_t above = model.add_row('G', 0.0);
    const int32_t below = model.add_row('G', 0.0);
    std::vector<Entry>& entries = matrix[index(j)];
    entries.push_back({above, -1.0});
    entries.push_back({below, 1.0});
    model.add_column(0.0, std::move(entries), true);
    model.add_column(weight, {{above, 1.0}, {below, 1.0}});
  }
  add_residuals(&model, rows, square);
  return model;
}

StructuredModel squares(int32_t rows, int32_t columns, Square square) {
  StructuredModel model;
  std::vector<std::vector<Entry>> matrix = dense_columns(rows, columns, &model);
  for (std::vector<Entry>& entries : matrix) model.add_column(0.0, std::move(entries));
  add_residuals(&model, rows, square);
  return model;
}

StructuredModel support_vectors(int32_t rows, int32_t columns) {
  Random random;
  StructuredModel model;
  std::vector<std::vector<Entry>> matrix(index(columns));
  std::vector<Entry> offset;
  for (int32_t i = 0; i < rows; ++i) {
    model.add_row('G', 1.0);
    const double side = i % 2 == 0 ? 1.0 : -1.0;
    for (int k = 0; k < 1 + columns / 10; ++k) {
      std::vector<Entry>& column = matrix[index(random.below(columns))];
      if (!column.empty() && column.back().row == i) continue;
      column.push_back({i, side * (random.normal() + 0.3 * side)});
    }
    offset.push_back({i, side});
  }
  for (std::vector<Entry>& entries : matrix) {
    model.columns[index(model.add_column(0.0, std::move(entries), true))].square = 1.0;
  }
  model.add_column(0.0, std::move(offset), true);
  for (int32_t i = 0; i < rows; ++i) model.add_column(1.0, {{i, 1.0}});
  return model;
}

// The stationary heat y of a cube of nodes follows its sources u, -laplace(y) = u, and is to be near a
// given one.
StructuredModel grid(int32_t side, int32_t controls) {
  Random random;
  StructuredModel model;
  const int32_t nodes = side * side * side;
  for (int32_t i = 0; i < nodes; ++i) model.add_row('E', 0.0);
  for (int32_t i = 0; i < nodes; ++i) {
    std::vector<Entry> entries = {{i, 6.0}};
    for (int32_t step = 1; step < nodes; step *= side) {
      const int32_t place = i / step % side;
      if (place > 0) entries.push_back({i - step, -1.0});
      if (place + 1 < side) entries.push_back({i + step, -1.0});
    }
    const int32_t heat = model.add_column(-random.uniform(0.0, 1.0), std::move(entries), true);
    model.columns[index(heat)].square = 1.0;
  }
  for (int32_t i = 0; i < nodes; ++i) {
    if (random.below(100) >= controls) continue;
    const int32_t source = model.add_column(0.0, {{i, -1.0}});
    model.columns[index(source)].square = 0.01;
    model.columns[index(source)].upper = 0.5;
  }
  return model;
}

}  // namespace

int32_t StructuredModel::add_row(char kind, double rhs) {
  rows.push_back({kind, rhs});
  return static_cast<int32_t>(rows.size()) - 1;
}

int32_t StructuredModel::add_column(double cost, std::vector<Entry> entries, bool is_free) {
  columns.push_back({cost, 0.0, is_free, 0.0, std::move(entries)});
  return static_cast<int32_t>(columns.size()) - 1;
}

bool StructuredModel::make(const std::string& kind, int32_t a, int32_t b, StructuredModel* model) {
  if (kind == "transport") {
    *model = transport(a, b);
  } else if (kind == "planning") {
    *model = planning(a, b);
  } else if (kind == "staircase") {
    *model = staircase(a, b);
  } else if (kind == "commitment") {
    *model = commitment(a, b);
  } else if (kind == "lasso") {
    *model = lasso(a, b, Density::kFull, Square::kObjective);
  } else if (kind == "lasso-cone") {
    *model = lasso(a, b, Density::kFull, Square::kCone);
  } else if (kind == "sparse-lasso") {
    *model = lasso(a, b, Density::kSparse, Square::kObjective);
  } else if (kind == "sparse-lasso-cone") {
    *model = lasso(a, b, Density::kSparse, Square::kCone);
  } else if (kind == "squares") {
    *model = squares(a, b, Square::kObjective);
  } else if (kind == "squares-cone") {
    *model = squares(a, b, Square::kCone);
  } else if (kind == "support-vectors") {
    *model = support_vectors(a, b);
  } else if (kind == "grid") {
    *model = grid(a, b);
  } else {
    return false;
  }
  return true;
}
