// Checks of a model; see model_check.h.
#include "format/common/model_check.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <numeric>
#include <tuple>
#include <utility>

#include "format/common/writer_words.h"
#include "task/numeric.h"
#include "task/text.h"

namespace vorlan {
namespace {

using Part = ModelPart;

// The noun is a singular.
std::string count_text(const char* what, size_t count, const char* noun, size_t expected) {
  return format_text(
      "%s has %s where there %s %s", what, counted(static_cast<int64_t>(count), "element").c_str(),
      expected == 1 ? "is" : "are", counted(static_cast<int64_t>(expected), noun).c_str());
}

ModelFault not_finite(Part part, const char* what, size_t place) {
  return {part, format_text("element %zu of %s is no finite number", place, what)};
}

ModelFault check_finite(Part part, const char* what, const std::vector<double>& values) {
  // 0 times a number is 0 unless the number is not finite: one pass without a branch.
  double sum = 0.0;
  for (const double value : values) sum += 0.0 * value;
  if (sum == 0.0) return {};
  const auto found = std::find_if(values.begin(), values.end(),
                                  [](double value) { return !std::isfinite(value); });
  return not_finite(part, what, static_cast<size_t>(found - values.begin()));
}

ModelFault check_bounds(Part part, const char* what, const std::vector<double>& values,
                        const char* noun, size_t expected) {
  if (values.size() != expected) return {part, count_text(what, values.size(), noun, expected)};
  for (size_t i = 0; i < values.size(); ++i) {
    if (std::isnan(values[i])) return {part, format_text("element %zu of %s is NaN", i, what)};
  }
  return {};
}

ModelFault check_variables(const Model& model) {
  const size_t count = model.cost.size();
  if (count > static_cast<size_t>(INT32_MAX)) return {Part::kVariables, "too many variables"};
  if (!std::isfinite(model.constant)) return {Part::kObjective, "the constant is no finite number"};
  ModelFault fault = check_finite(Part::kObjective, "the costs", model.cost);
  if (fault.text.empty()) {
    fault = check_bounds(Part::kVariables, "lower", model.var_lower, "variable", count);
  }
  if (fault.text.empty()) {
    fault = check_bounds(Part::kVariables, "upper", model.var_upper, "variable", count);
  }
  if (!fault.text.empty()) return fault;
  if (model.var_kind.size() != count) {
    return {Part::kVariables, count_text("kind", model.var_kind.size(), "variable", count)};
  }
  for (size_t j = 0; j < count; ++j) {
    if (model.var_kind[j] <= VarKind::kSemiInteger) continue;
    return {Part::kVariables, format_text("variable %zu has the unknown kind %d", j,
                                          static_cast<int>(model.var_kind[j]))};
  }
  return {};
}

ModelFault check_constraints(const Model& model) {
  const size_t count = model.con_lower.size();
  if (count > static_cast<size_t>(INT32_MAX)) return {Part::kConstraints, "too many constraints"};
  ModelFault fault =
      check_bounds(Part::kConstraints, "lower", model.con_lower, "constraint", count);
  if (!fault.text.empty()) return fault;
  return check_bounds(Part::kConstraints, "upper", model.con_upper, "constraint", count);
}

// Rows of a column that do not ascend may still be different ones.
bool has_duplicate(std::vector<int32_t> rows) {
  std::sort(rows.begin(), rows.end());
  return std::adjacent_find(rows.begin(), rows.end()) != rows.end();
}

ModelFault check_matrix(const Model& model) {
  ModelFault fault = find_start_fault(model);
  if (!fault.text.empty()) return fault;
  const SparseMatrix& matrix = model.matrix;
  for (size_t j = 0; j < model.cost.size(); ++j) {
    const int64_t begin = matrix.start[j];
    const int64_t end = matrix.start[j + 1];
    bool ascending = true;
    int32_t last = -1;
    for (int64_t k = begin; k < end; ++k) {
      const int32_t row = matrix.row[index(k)];
      if (row < 0 || row >= model.num_con()) {
        return {Part::kCoefficients, format_text("element %lld is in row %d of %d",
                                                 static_cast<long long>(k), row, model.num_con())};
      }
      ascending = ascending && row > last;
      last = row;
    }
    if (!ascending && has_duplicate({matrix.row.begin() + begin, matrix.row.begin() + end})) {
      return {Part::kCoefficients, format_text("column %zu has a row twice", j)};
    }
  }
  return check_finite(Part::kCoefficients, "the coefficients", matrix.value);
}

// The places of an entry, in the order in which a list of entries is sorted.
struct Place {
  int32_t con, matrix_var, col, row;

  bool operator<(const Place& other) const {
    return std::tie(con, matrix_var, col, row) <
           std::tie(other.con, other.matrix_var, other.col, other.row);
  }
};

Place place_of(const TriangleEntry& e) { return {0, 0, e.col, e.row}; }
Place place_of(const ConQuadraticEntry& e) { return {e.con, 0, e.entry.col, e.entry.row}; }
Place place_of(const MatrixCostEntry& e) { return {0, e.matrix_var, e.entry.col, e.entry.row}; }
Place place_of(const MatrixCoefficient& e) {
  return {e.con, e.matrix_var, e.entry.col, e.entry.row};
}
double value_of(const TriangleEntry& e) { return e.value; }
template <class Entry>
double value_of(const Entry& e) {
  return e.entry.value;
}

template <class Entry>
ModelFault check_entries(const Model& model, Part part, bool of_matrix_vars, bool of_cons,
                         const std::vector<Entry>& entries) {
  for (size_t k = 0; k < entries.size(); ++k) {
    const Place place = place_of(entries[k]);
    const auto fault = [&](const char* text) {
      return ModelFault{part, format_text("entry %zu %s", k, text)};
    };
    if (of_cons && (place.con < 0 || place.con >= model.num_con())) {
      return fault("names a constraint that is not there");
    }
    if (of_matrix_vars && (place.matrix_var < 0 || place.matrix_var >= model.num_matrix_var())) {
      return fault("names a matrix variable that is not there");
    }
    const int32_t dimension =
        of_matrix_vars ? model.matrix_vars[index(place.matrix_var)].dimension : model.num_var();
    if (place.col < 0 || place.row >= dimension) return fault("is outside the matrix");
    if (place.row < place.col) return fault("is not in the lower triangle");
    if (!std::isfinite(value_of(entries[k]))) return fault("is no finite number");
    if (k > 0 && !(place_of(entries[k - 1]) < place)) return fault("names a place twice");
  }
  return {};
}

ModelFault check_matrix_variables(const Model& model) {
  if (model.matrix_vars.size() > static_cast<size_t>(INT32_MAX)) {
    return {Part::kMatrixVariables, "too many matrix variables"};
  }
  for (size_t j = 0; j < model.matrix_vars.size(); ++j) {
    if (model.matrix_vars[j].dimension >= 1) continue;
    return {Part::kMatrixVariables, format_text("matrix variable %zu has the dimension %d", j,
                                                model.matrix_vars[j].dimension)};
  }
  return {};
}

// Members and exponents that the kind of cone wants.
const char* cone_shape_fault(const Cone& cone) {
  const size_t members = cone.vars.size();
  const bool power = cone.kind == ConeKind::kPower || cone.kind == ConeKind::kDualPower;
  if (cone.kind > ConeKind::kDualPower) return "has an unknown kind";
  if (members == 0) return "has no members";
  if (cone.kind == ConeKind::kRotatedQuadratic && members < 2) return "needs two members";
  const bool exponential =
      cone.kind == ConeKind::kExponential || cone.kind == ConeKind::kDualExponential;
  if (exponential && members != 3) return "needs three members";
  if (!power) return cone.exponents.empty() ? nullptr : "has exponents that its kind does not have";
  if (cone.exponents.empty() || cone.exponents.size() > members) {
    return "needs one exponent at least and no more than members";
  }
  const bool positive = std::all_of(cone.exponents.begin(), cone.exponents.end(),
                                    [](double e) { return e > 0.0 && std::isfinite(e); });
  return positive ? nullptr : "has an exponent that is not positive and finite";
}

ModelFault check_cones(const Model& model) {
  std::vector<bool> taken(model.cones.empty() ? 0 : model.cost.size());
  for (size_t i = 0; i < model.cones.size(); ++i) {
    const auto fault = [i](const char* text) {
      return ModelFault{Part::kCones, format_text("cone %zu %s", i, text)};
    };
    const Cone& cone = model.cones[i];
    const char* shape = cone_shape_fault(cone);
    if (shape != nullptr) return fault(shape);
    for (const int32_t var : cone.vars) {
      if (var < 0 || var >= model.num_var()) return fault("has a member that is not there");
      if (taken[index(var)]) return fault("has a member that is in a cone already");
      taken[index(var)] = true;
    }
  }
  return {};
}

std::string shown_variable(const Model& model, int32_t var) {
  return shown_name(model.var_names, index(var), "variable");
}

template <class Entry>
bool has_entry_of(const std::vector<Entry>& entries, int32_t con) {
  const auto found = std::lower_bound(entries.begin(), entries.end(), con,
                                      [](const Entry& e, int32_t c) { return e.con < c; });
  return found != entries.end() && found->con == con;
}

ModelFault check_sets(const Model& model) {
  if (model.sets.size() > static_cast<size_t>(INT32_MAX)) return {Part::kSets, "too many sets"};
  for (size_t i = 0; i < model.sets.size(); ++i) {
    const std::string fault = find_set_fault(model, model.sets[i]);
    if (!fault.empty()) return {Part::kSets, format_text("set %zu: %s", i, fault.c_str())};
  }
  return {};
}

ModelFault check_indicators(const Model& model) {
  for (size_t i = 0; i < model.indicators.size(); ++i) {
    std::string fault = find_indicator_fault(model, model.indicators[i]);
    if (fault.empty() && i > 0 && model.indicators[i - 1].con >= model.indicators[i].con) {
      fault = "its constraint has another one";
    }
    if (fault.empty()) continue;
    return {Part::kIndicators, format_text("indicator %zu: %s", i, fault.c_str())};
  }
  return {};
}

}  // namespace

std::string find_set_fault(const Model& model, const OrderedSet& set) {
  if (set.kind > SetKind::kSos2) return "its kind is unknown";
  if (set.vars.empty()) return "it has no members";
  if (set.weights.size() != set.vars.size()) return "it has not one weight for each member";
  for (size_t k = 0; k < set.vars.size(); ++k) {
    const int32_t var = set.vars[k];
    if (var < 0 || var >= model.num_var()) return "a member is not there";
    if (!std::isfinite(set.weights[k])) return "a weight is not finite";
    if (k == 0 || set.weights[k - 1] < set.weights[k]) continue;
    if (set.weights[k - 1] > set.weights[k]) return "the weights descend";
    if (set.kind == SetKind::kSos1) continue;  // which has no neighbours
    return shown_variable(model, set.vars[k - 1]) + " and " + shown_variable(model, var) +
           " have the same weight, so that their order is not known";
  }
  std::vector<int32_t> vars = set.vars;
  std::sort(vars.begin(), vars.end());
  const auto twice = std::adjacent_find(vars.begin(), vars.end());
  return twice == vars.end() ? std::string() : shown_variable(model, *twice) + " is in it twice";
}

std::string find_indicator_fault(const Model& model, const Indicator& indicator) {
  if (indicator.con < 0 || indicator.con >= model.num_con()) return "its constraint is not there";
  if (indicator.binary < 0 || indicator.binary >= model.num_var()) {
    return "its variable is not there";
  }
  if (!model.is_binary(indicator.binary)) {
    return shown_variable(model, indicator.binary) + " is not binary";
  }
  if (has_entry_of(model.quadratic_coefficients, indicator.con) ||
      has_entry_of(model.matrix_coefficients, indicator.con)) {
    return shown_name(model.con_names, index(indicator.con), "constraint") + " is not linear";
  }
  return {};
}

void sort_members(OrderedSet* set) {
  const bool sortable = std::all_of(set->weights.begin(), set->weights.end(),
                                    [](double weight) { return std::isfinite(weight); });
  if (!sortable || std::is_sorted(set->weights.begin(), set->weights.end())) return;
  std::vector<size_t> order(set->vars.size());
  std::iota(order.begin(), order.end(), size_t{0});
  std::stable_sort(order.begin(), order.end(),
                   [set](size_t a, size_t b) { return set->weights[a] < set->weights[b]; });
  const OrderedSet unsorted = *set;
  for (size_t k = 0; k < order.size(); ++k) {
    set->vars[k] = unsorted.vars[order[k]];
    set->weights[k] = unsorted.weights[order[k]];
  }
}

ModelFault find_start_fault(const Model& model) {
  const std::vector<int64_t>& start = model.matrix.start;
  const auto fault = [](std::string text) {
    return ModelFault{Part::kCoefficients, std::move(text)};
  };
  if (start.size() != model.cost.size() + 1) {
    return fault(count_text("start", start.size(), "variable", model.cost.size()));
  }
  if (start.front() != 0) return fault("start does not begin with 0");
  if (!std::is_sorted(start.begin(), start.end())) return fault("start descends");
  if (start.back() != static_cast<int64_t>(model.matrix.row.size())) {
    return fault(format_text("start ends with %lld and not with the number of elements, %zu",
                             static_cast<long long>(start.back()), model.matrix.row.size()));
  }
  if (model.matrix.row.size() == model.matrix.value.size()) return {};
  return fault(count_text("value", model.matrix.value.size(), "row", model.matrix.row.size()));
}

ModelFault find_model_fault(const Model& model) {
  ModelFault fault = check_variables(model);
  if (fault.text.empty()) fault = check_constraints(model);
  if (fault.text.empty()) fault = check_matrix_variables(model);
  if (fault.text.empty()) fault = check_matrix(model);
  if (fault.text.empty()) fault = check_cones(model);
  if (fault.text.empty()) {
    fault = check_entries(model, Part::kQuadraticCost, false, false, model.quadratic_cost);
  }
  if (fault.text.empty()) {
    fault = check_entries(model, Part::kQuadraticCoefficients, false, true,
                          model.quadratic_coefficients);
  }
  if (fault.text.empty()) {
    fault = check_entries(model, Part::kMatrixCost, true, false, model.matrix_cost);
  }
  if (fault.text.empty()) {
    fault = check_entries(model, Part::kMatrixCoefficients, true, true, model.matrix_coefficients);
  }
  if (fault.text.empty()) fault = check_sets(model);
  if (fault.text.empty()) fault = check_indicators(model);
  return fault;
}

}  // namespace vorlan
