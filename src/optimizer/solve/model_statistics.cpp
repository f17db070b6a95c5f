// One pass over the numbers of a model for each kind of them.
#include "solve/model_statistics.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "task/numeric.h"
#include "task/text.h"

namespace vorlan {
namespace {

// Double precision has sixteen digits, of which a factorization loses some. Beyond these spans and
// sizes what is left is less than the tolerances ask for.
constexpr double kWidestMatrix = 1e9;
constexpr double kLargestSide = 1e9;
constexpr double kLargestCost = 1e9;

struct Range {
  const char* name;
  double least = kInfinity;
  double most = 0.0;

  void add(double value) {
    const double size = std::fabs(value);
    if (size == 0.0 || !std::isfinite(size)) return;
    least = std::min(least, size);
    most = std::max(most, size);
  }
  void add_all(const std::vector<double>& values) {
    for (const double value : values) add(value);
  }
  bool is_empty() const { return most == 0.0; }
};

struct Ranges {
  Range matrix{"matrix"}, cost{"objective"}, bounds{"bounds"}, sides{"sides"};
  Range quadratic{"quadratic"}, matrix_vars{"matrix variables"};

  explicit Ranges(const Model& model) {
    matrix.add_all(model.matrix.value);
    cost.add_all(model.cost);
    bounds.add_all(model.var_lower);
    bounds.add_all(model.var_upper);
    sides.add_all(model.con_lower);
    sides.add_all(model.con_upper);
    for (const TriangleEntry& e : model.quadratic_cost) quadratic.add(e.value);
    for (const ConQuadraticEntry& e : model.quadratic_coefficients) quadratic.add(e.entry.value);
    for (const MatrixCostEntry& e : model.matrix_cost) matrix_vars.add(e.entry.value);
    for (const MatrixCoefficient& e : model.matrix_coefficients) matrix_vars.add(e.entry.value);
  }
};

std::string advise_on_span(const Range& range, const char* of, const char* remedy) {
  if (range.is_empty() || range.most <= kWidestMatrix * range.least) return {};
  return format_text(
      "Advice: %s span %.0f powers of ten, [%.0e, %.0e]; %s would make the answer more exact\n", of,
      std::log10(range.most / range.least), range.least, range.most, remedy);
}

std::string advise_on_size(const Range& range, double largest, const char* of, const char* remedy) {
  if (range.most <= largest) return {};
  return format_text("Advice: %s go up to %.0e; %s would make the answer more exact\n", of,
                     range.most, remedy);
}

}  // namespace

std::string describe_ranges(const Model& model) {
  const Ranges ranges(model);
  std::string text;
  for (const Range* range : {&ranges.matrix, &ranges.cost, &ranges.bounds, &ranges.sides,
                             &ranges.quadratic, &ranges.matrix_vars}) {
    if (range->is_empty()) continue;
    text += format_text("    %-17s [%.0e, %.0e]\n", range->name, range->least, range->most);
  }
  return text.empty() ? text : "  ranges of numbers\n" + text;
}

std::string advise_on_scaling(const Model& model) {
  const Ranges ranges(model);
  constexpr const char* kUnits = "other units for variables or constraints";
  std::string advice = advise_on_span(ranges.matrix, "the matrix elements", kUnits);
  if (advice.empty()) {
    advice = advise_on_span(ranges.matrix_vars, "the elements of matrix variables", kUnits);
  }
  if (advice.empty())
    advice = advise_on_size(ranges.sides, kLargestSide, "sides of constraints", kUnits);
  if (advice.empty())
    advice = advise_on_size(ranges.cost, kLargestCost, "costs", "a larger unit of the objective");
  if (advice.empty()) {
    advice = advise_on_size(ranges.bounds, kLargestSide, "bounds of variables",
                            "no bound instead of a large one");
  }
  return advice;
}

}  // namespace vorlan
