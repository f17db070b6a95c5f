// Certificates in words.
#include "solve/reasons.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "solve/check/rays.h"
#include "task/numeric.h"
#include "task/packed_matrices.h"
#include "task/text.h"

namespace vorlan {
namespace {

// So many parts are named; of more than that nobody sees the point.
constexpr size_t kMostNamed = 12;
// Multipliers of an interior point are never quite 0: below this share of the largest they are.
constexpr double kNothing = 1e-7;

std::string shown(const NameList& names, size_t place, const char* kind) {
  if (names[place].empty()) return format_text("%s %zu", kind, place + 1);
  return on_one_line(names[place]);
}

// "need >= 10", "x = 3", "-1 <= x <= 1"
std::string describe_sides(const std::string& name, uint8_t marks, double lower, double upper) {
  const bool both = (marks & Conflict::kLower) != 0 && (marks & Conflict::kUpper) != 0;
  if (both && lower == upper) return format_text("%s = %.10g", name.c_str(), lower);
  if (both && lower > upper) {
    return format_text("%s >= %.10g and %s <= %.10g", name.c_str(), lower, name.c_str(), upper);
  }
  if (both) return format_text("%.10g <= %s <= %.10g", lower, name.c_str(), upper);
  const bool is_lower = (marks & Conflict::kLower) != 0;
  return format_text("%s %s %.10g", name.c_str(), is_lower ? ">=" : "<=", is_lower ? lower : upper);
}

// "a, b and c"; the last of many are counted.
std::string enumerate(std::vector<std::string> parts) {
  if (parts.size() > kMostNamed) {
    const size_t more = parts.size() - kMostNamed;
    parts.resize(kMostNamed);
    parts.push_back(format_text("%zu more", more));
  }
  std::string text;
  for (size_t k = 0; k < parts.size(); ++k) {
    const bool is_last = k + 1 == parts.size();
    text += (k == 0 ? "" : is_last ? " and " : ", ") + parts[k];
  }
  return text;
}

// " where z = 1" behind a constraint that holds there alone.
std::string describe_condition(const Model& model, size_t con) {
  const auto found =
      std::find_if(model.indicators.begin(), model.indicators.end(),
                   [con](const Indicator& indicator) { return index(indicator.con) == con; });
  if (found == model.indicators.end()) return {};
  const std::string binary = shown(model.var_names, index(found->binary), "variable");
  return format_text(" where %s = %d", binary.c_str(), found->active ? 1 : 0);
}

std::vector<std::string> parts_of(const Model& model, const Conflict& conflict) {
  std::vector<std::string> parts;
  const size_t num_con = model.con_lower.size();
  const size_t num_var = model.cost.size();
  constexpr uint8_t kSides = Conflict::kLower | Conflict::kUpper;
  for (size_t i = 0; i < num_con; ++i) {
    const uint8_t marks = conflict.marks[i];
    if (marks == 0) continue;
    parts.push_back(describe_sides(shown(model.con_names, i, "constraint"), marks,
                                   model.con_lower[i], model.con_upper[i]) +
                    describe_condition(model, i));
  }
  for (size_t j = 0; j < num_var; ++j) {
    const uint8_t marks = conflict.marks[num_con + j];
    const std::string name = marks == 0 ? "" : shown(model.var_names, j, "variable");
    if ((marks & kSides) != 0) {
      parts.push_back(describe_sides(name, marks, model.var_lower[j], model.var_upper[j]));
    }
    if ((marks & Conflict::kIntegrality) != 0) parts.push_back(name + " integer");
  }
  for (size_t k = 0; k < model.cones.size(); ++k) {
    if (conflict.marks[num_con + num_var + k] == 0) continue;
    parts.push_back(model.cone_names[k].empty() ? format_text("cone %zu", k + 1)
                                                : "cone " + on_one_line(model.cone_names[k]));
  }
  for (size_t k = 0; k < model.sets.size(); ++k) {
    if (conflict.marks[num_con + num_var + model.cones.size() + k] == 0) continue;
    const char* kind = model.sets[k].kind == SetKind::kSos1 ? "SOS1" : "SOS2";
    parts.push_back(model.set_names[k].empty()
                        ? format_text("%s set %zu", kind, k + 1)
                        : format_text("%s set ", kind) + on_one_line(model.set_names[k]));
  }
  return parts;
}

double size_of(double multiplier, double side) {
  return std::fabs(multiplier) * std::max(1.0, std::isfinite(side) ? std::fabs(side) : 0.0);
}

// The sides whose multipliers are more than nothing, which may differ from item to item.
template <class Least>
void mark_sides(const std::vector<double>& lower_dual, const std::vector<double>& upper_dual,
                const std::vector<double>& lower, const std::vector<double>& upper,
                const Least& least, uint8_t* marks) {
  for (size_t i = 0; i < lower.size(); ++i) {
    const bool at_lower = size_of(lower_dual[i], lower[i]) > least(i);
    const bool at_upper = size_of(upper_dual[i], upper[i]) > least(i);
    if (at_lower && std::isfinite(lower[i])) marks[i] |= Conflict::kLower;
    if (at_upper && std::isfinite(upper[i])) marks[i] |= Conflict::kUpper;
    if (marks[i] != 0 && lower[i] == upper[i]) marks[i] = Conflict::kLower | Conflict::kUpper;
  }
}

double largest_size(const std::vector<double>& dual, const std::vector<double>& side) {
  double most = 0.0;
  for (size_t i = 0; i < dual.size(); ++i) most = std::max(most, size_of(dual[i], side[i]));
  return most;
}

// For each variable the sum of the terms whose difference its multiplier is, without signs.
std::vector<double> sizes_of_reduced_costs(const Model& model, const std::vector<double>& y) {
  std::vector<double> sizes(model.cost.size(), 0.0);
  for (size_t j = 0; j < sizes.size(); ++j) {
    for (size_t k = index(model.matrix.start[j]); k < index(model.matrix.start[j + 1]); ++k) {
      sizes[j] += std::fabs(model.matrix.value[k] * y[index(model.matrix.row[k])]);
    }
  }
  return sizes;
}

// What a simplex method's ray needs: it has zeros, and a multiplier of a bound counts beside its own
// terms, be it as small as it may beside others.
void mark_needs_of_basic_ray(const Model& model, const Solution& ray, double most, uint8_t* marks) {
  constexpr double kRounding = 1e-9;
  const double least = 1e-13 * most;
  const std::vector<double> sizes = sizes_of_reduced_costs(model, ray.y);
  mark_sides(
      ray.slc, ray.suc, model.con_lower, model.con_upper, [&](size_t) { return least; }, marks);
  mark_sides(
      ray.slx, ray.sux, model.var_lower, model.var_upper,
      [&](size_t j) { return kRounding * sizes[j]; }, marks + model.con_lower.size());
}

Conflict conflict_of_ray(const Model& model, const Solution& ray, SolutionKind kind) {
  const size_t num_con = model.con_lower.size();
  const size_t num_var = model.cost.size();
  Conflict conflict;
  conflict.marks.assign(num_con + num_var + model.cones.size() + model.sets.size(), 0);
  const double most =
      std::max({largest_size(ray.slc, model.con_lower), largest_size(ray.suc, model.con_upper),
                largest_size(ray.slx, model.var_lower), largest_size(ray.sux, model.var_upper)});
  const double least = kNothing * most;
  uint8_t* const marks = conflict.marks.data();
  if (kind == SolutionKind::kBasic) {
    mark_needs_of_basic_ray(model, ray, most, marks);
    return conflict;
  }
  const auto nothing = [least](size_t) { return least; };
  mark_sides(ray.slc, ray.suc, model.con_lower, model.con_upper, nothing, marks);
  mark_sides(ray.slx, ray.sux, model.var_lower, model.var_upper, nothing, marks + num_con);
  for (size_t k = 0; k < model.cones.size(); ++k) {
    for (const int32_t var : model.cones[k].vars) {
      if (std::fabs(ray.snx[index(var)]) > least) marks[num_con + num_var + k] = 1;
    }
  }
  return conflict;
}

std::vector<std::string> matrix_parts(const Model& model, const Solution& ray) {
  std::vector<std::string> parts;
  const std::vector<size_t> starts = packed_starts(model);
  for (size_t k = 0; k < model.matrix_vars.size(); ++k) {
    double most = 0.0;
    for (size_t e = starts[k]; e < starts[k + 1] && e < ray.bars.size(); ++e) {
      most = std::max(most, std::fabs(ray.bars[e]));
    }
    if (most <= kNothing) continue;
    parts.push_back(shown(model.matrix_var_names, k, "matrix variable") + " positive semidefinite");
  }
  return parts;
}

std::string explain_infeasible(std::vector<std::string> parts) {
  if (parts.empty()) return {};
  const char* verb = parts.size() == 1 ? " cannot hold\n" : " cannot hold together\n";
  return "Infeasible: " + enumerate(std::move(parts)) + verb;
}

// The ray without steps that are small beside its largest, where it is one without them, too. The
// check takes long for matrix variables.
std::vector<double> without_small_steps(const Model& model, const Solution& ray, double least) {
  std::vector<double> x = ray.xx;
  bool has_changed = false;
  for (double& step : x) {
    if (step == 0.0 || std::fabs(step) > least) continue;
    step = 0.0;
    has_changed = true;
  }
  const bool is_ray =
      has_changed && ray.barx.empty() && is_primal_ray(MinimizeProblem(model), x, ray.barx);
  return is_ray ? x : ray.xx;
}

std::string explain_unbounded(const Model& model, const Solution& ray) {
  constexpr double kSmall = 1e-3;
  double most = 0.0;
  for (const double step : ray.xx) most = std::max(most, std::fabs(step));
  const std::vector<double> steps = without_small_steps(model, ray, kSmall * most);
  std::vector<std::string> parts;
  for (size_t j = 0; j < steps.size(); ++j) {
    if (std::fabs(steps[j]) <= kNothing * most) continue;
    parts.push_back(
        format_text("%s (%+.4g)", shown(model.var_names, j, "variable").c_str(), steps[j]));
  }
  const std::vector<size_t> starts = packed_starts(model);
  for (size_t k = 0; k < model.matrix_vars.size(); ++k) {
    const auto is_part = [](double element) { return std::fabs(element) > kNothing; };
    const auto begin = ray.barx.begin() + static_cast<ptrdiff_t>(starts[k]);
    const auto end = ray.barx.begin() + static_cast<ptrdiff_t>(starts[k + 1]);
    if (std::any_of(begin, end, is_part)) {
      parts.push_back(shown(model.matrix_var_names, k, "matrix variable"));
    }
  }
  if (parts.empty()) return {};
  return "Unbounded: the objective improves for ever along " + enumerate(std::move(parts)) + '\n';
}

}  // namespace

std::string explain(const Model& model, SolutionKind kind, const Solution& solution,
                    const Conflict& conflict) {
  if (!conflict.marks.empty()) {
    std::string text = explain_infeasible(parts_of(model, conflict));
    if (conflict.is_minimal) text += "  none of them can be left out\n";
    return text;
  }
  if (solution.status == SolutionStatus::kPrimalInfeasibleCertificate) {
    std::vector<std::string> parts = parts_of(model, conflict_of_ray(model, solution, kind));
    for (std::string& part : matrix_parts(model, solution)) parts.push_back(std::move(part));
    return explain_infeasible(std::move(parts));
  }
  if (solution.status == SolutionStatus::kDualInfeasibleCertificate) {
    return explain_unbounded(model, solution);
  }
  return {};
}

}  // namespace vorlan
