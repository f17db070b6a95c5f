// The models have few rows and small whole numbers, so that ties, degenerate vertices and empty
// rows come often.
#include "random_model.h"

#include <cmath>
#include <cstdlib>
#include <limits>
#include <random>

namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

class Generator {
 public:
  Generator(RandomKind kind, uint32_t seed) : kind_(kind), random_(seed) {}

  RandomModel make() {
    model_.maximize = chance(50);
    model_.constant = chance(30) ? between(-9, 9) : 0.0;
    const int num_var = whole(1, kind_ == RandomKind::kIntegerBox ? 5 : 7);
    for (int j = 0; j < num_var; ++j) add_variable();
    const int num_con = whole(kind_ == RandomKind::kLinear ? 0 : 1, 7);
    const bool feasible = chance(60);
    for (int i = 0; i < num_con; ++i) add_constraint(feasible);
    return model_;
  }

 private:
  // The generator's own arithmetic: the standard's distributions differ between libraries.
  int whole(int low, int high) {
    return low + static_cast<int>(random_() % static_cast<uint32_t>(high - low + 1));
  }
  double between(int low, int high) { return whole(low, high); }
  bool chance(int percent) { return whole(1, 100) <= percent; }

  void add_variable() {
    model_.cost.push_back(chance(80) ? between(-5, 5) : 0.0);
    model_.integer.push_back(kind_ == RandomKind::kIntegerBox ||
                             (kind_ == RandomKind::kMixed && chance(60)));
    double lower = 0.0;
    double upper = kInfinity;
    if (kind_ == RandomKind::kIntegerBox) {
      upper = 3.0;
    } else if (kind_ == RandomKind::kMixed) {
      lower = between(-4, 2);
      upper = lower + between(0, 6);
    } else {
      const int form = whole(0, 5);
      if (form == 1 || form == 2) lower = -kInfinity;
      if (form == 2 || form == 3) upper = between(0, 5);
      if (form == 4) lower = upper = between(-3, 3);
    }
    model_.lower.push_back(lower);
    model_.upper.push_back(upper);
    const double nearest = std::isfinite(lower) ? lower : std::min(upper, 0.0);
    point_.push_back(std::min(upper, nearest + between(0, 2)));
  }

  // At the point that makes all constraints hold, or anywhere.
  void add_constraint(bool feasible) {
    std::vector<double> row(model_.num_var(), 0.0);
    double activity = 0.0;
    for (size_t j = 0; j < row.size(); ++j) {
      if (chance(65)) row[j] = between(-4, 4);
      activity += row[j] * point_[j];
    }
    const double side = feasible ? activity : between(-9, 9);
    const double room = feasible ? between(0, 3) : 0.0;
    const int form = whole(0, 5);
    const bool has_lower = form >= 2;
    const bool has_upper = form <= 1 || form >= 4;
    model_.con_lower.push_back(has_lower ? side - room : -kInfinity);
    model_.con_upper.push_back(has_upper ? side + (form == 5 ? -room : room) : kInfinity);
    if (model_.con_upper.back() < model_.con_lower.back() || form == 5) {
      model_.con_upper.back() = model_.con_lower.back();
      if (feasible) model_.con_lower.back() = model_.con_upper.back() = activity;
    }
    model_.matrix.push_back(row);
  }

  RandomKind kind_;
  std::mt19937 random_;
  RandomModel model_;
  std::vector<double> point_;
};

std::string text_of(double value) { return std::to_string(static_cast<int>(value)); }

std::string bound_lines(const RandomModel& model, size_t j) {
  const std::string name = " B X" + std::to_string(j);
  const double lower = model.lower[j];
  const double upper = model.upper[j];
  if (lower == upper) return " FX" + name + " " + text_of(lower) + "\n";
  if (!std::isfinite(lower) && !std::isfinite(upper)) return " FR" + name + "\n";
  std::string lines = std::isfinite(lower) ? " LO" + name + " " + text_of(lower) + "\n"  //
                                           : " MI" + name + "\n";
  lines += std::isfinite(upper) ? " UP" + name + " " + text_of(upper) + "\n" : " PL" + name + "\n";
  return lines;
}

}  // namespace

RandomModel make_random_model(RandomKind kind, uint32_t seed) {
  return Generator(kind, seed).make();
}

std::string RandomModel::mps() const {
  std::string rows = " N C\n";
  std::string sides = "RHS\n";
  std::string ranges = "RANGES\n";
  if (constant != 0.0) sides += " B C " + text_of(-constant) + "\n";
  for (size_t i = 0; i < num_con(); ++i) {
    const std::string name = " R" + std::to_string(i);
    const bool has_lower = std::isfinite(con_lower[i]);
    const bool has_upper = std::isfinite(con_upper[i]);
    const char* type = !has_upper ? " G" : !has_lower ? " L" : " E";
    const bool ranged = has_lower && has_upper && con_lower[i] < con_upper[i];
    rows += (ranged ? " G" : type) + name + "\n";
    sides += " B" + name + " " + text_of(has_lower ? con_lower[i] : con_upper[i]) + "\n";
    if (ranged) ranges += " B" + name + " " + text_of(con_upper[i] - con_lower[i]) + "\n";
  }
  std::string columns;
  std::string bounds;
  for (size_t j = 0; j < num_var(); ++j) {
    const std::string name = " X" + std::to_string(j);
    if (integer[j]) columns += " M 'MARKER' 'INTORG'\n";
    columns += name + " C " + text_of(cost[j]) + "\n";
    for (size_t i = 0; i < num_con(); ++i) {
      if (matrix[i][j] == 0.0) continue;
      columns += name + " R" + std::to_string(i) + " " + text_of(matrix[i][j]) + "\n";
    }
    if (integer[j]) columns += " M 'MARKER' 'INTEND'\n";
    bounds += bound_lines(*this, j);
  }
  return "NAME A\nROWS\n" + rows + "COLUMNS\n" + columns + sides + ranges + "BOUNDS\n" + bounds +
         "ENDATA\n";
}

uint32_t num_random_models() {
  const char* number = std::getenv("VORLAN_RANDOM_MODELS");
  return number == nullptr ? 300 : static_cast<uint32_t>(std::strtoul(number, nullptr, 10));
}
