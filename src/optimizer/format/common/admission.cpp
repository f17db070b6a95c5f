// The checks of a model before it is written; see admission.h.
#include "format/common/admission.h"

#include <algorithm>
#include <cmath>

#include "format/common/model_check.h"
#include "format/common/writer_words.h"
#include "task/numeric.h"
#include "task/text.h"

namespace vorlan {
namespace {

bool is_out_of_reach(double lower, double upper) {
  return lower == kInfinity || upper == -kInfinity;
}

}  // namespace

Status Admission::refuse(const std::string& what) const {
  return {Code::kErrFileCannotHold,
          format_text("%s cannot hold the model: %s", file_, what.c_str())};
}

std::string Admission::variable(size_t index) const {
  return shown_name(model_.var_names, index, "variable");
}

std::string Admission::constraint(size_t index) const {
  return shown_name(model_.con_names, index, "constraint");
}

Status Admission::check_sound() const {
  const ModelFault fault = find_model_fault(model_);
  return fault.text.empty() ? Status() : refuse(fault.text);
}

Status Admission::check_sides() const {
  for (size_t j = 0; j < model_.cost.size(); ++j) {
    if (!is_out_of_reach(model_.var_lower[j], model_.var_upper[j])) continue;
    return refuse("a bound of " + variable(j) + " is an infinity on the wrong side");
  }
  for (size_t i = 0; i < model_.con_lower.size(); ++i) {
    if (!is_out_of_reach(model_.con_lower[i], model_.con_upper[i])) continue;
    return refuse("a side of " + constraint(i) + " is an infinity on the wrong side");
  }
  return {};
}

Status Admission::check_linear() const {
  if (!model_.quadratic_cost.empty()) return refuse("its objective has quadratic terms");
  if (model_.quadratic_coefficients.empty()) return {};
  const size_t con = index(model_.quadratic_coefficients.front().con);
  return refuse(constraint(con) + " has quadratic terms");
}

Status Admission::check_no_semi() const { return refuse_kind(is_semi, "is semi-continuous"); }

Status Admission::check_no_integers() const {
  return refuse_kind([](VarKind kind) { return kind == VarKind::kInteger; }, "is integer");
}

Status Admission::refuse_kind(bool (*is_refused)(VarKind), const char* what) const {
  const auto found = std::find_if(model_.var_kind.begin(), model_.var_kind.end(), is_refused);
  if (found == model_.var_kind.end()) return {};
  return refuse(variable(index(found - model_.var_kind.begin())) + ' ' + what);
}

Status Admission::check_no_cones() const {
  if (model_.cones.empty()) return {};
  return refuse(shown_name(model_.cone_names, 0, "cone") + " is a cone of scalar variables");
}

Status Admission::check_no_logic() const {
  if (!model_.sets.empty()) {
    return refuse(shown_name(model_.set_names, 0, "set") + " is a special ordered set");
  }
  if (model_.indicators.empty()) return {};
  return refuse(constraint(index(model_.indicators.front().con)) +
                " holds under a condition (an indicator)");
}

Status Admission::check_scalar() const {
  if (model_.num_cone() > 0) return refuse("it has " + counted(model_.num_cone(), "cone"));
  if (model_.num_matrix_var() == 0) return {};
  return refuse("it has " + counted(model_.num_matrix_var(), "matrix variable"));
}

Status Admission::check_constant() const {
  if (std::isfinite(model_.constant)) return {};
  return refuse("the objective's constant is not finite");
}

Status Admission::check_variables() const {
  for (size_t j = 0; j < model_.cost.size(); ++j) {
    if (!std::isfinite(model_.cost[j])) {
      return refuse("the objective's coefficient of " + variable(j) + " is not finite");
    }
    if (std::isnan(model_.var_lower[j]) || std::isnan(model_.var_upper[j])) {
      return refuse("a bound of " + variable(j) + " is no number");
    }
  }
  return {};
}

Status Admission::check_side_numbers() const {
  for (size_t i = 0; i < model_.con_lower.size(); ++i) {
    if (!std::isnan(model_.con_lower[i]) && !std::isnan(model_.con_upper[i])) continue;
    return refuse("a side of " + constraint(i) + " is no number");
  }
  return {};
}

Status Admission::check_side_order() const {
  Status status = check_side_numbers();
  for (size_t i = 0; status.ok() && i < model_.con_lower.size(); ++i) {
    if (model_.con_lower[i] <= model_.con_upper[i]) continue;
    status = refuse("the lower side of " + constraint(i) + " is above its upper side");
  }
  return status;
}

Status Admission::check_elements() const {
  const SparseMatrix& matrix = model_.matrix;
  for (size_t k = 0; k < matrix.value.size(); ++k) {
    if (std::isfinite(matrix.value[k])) continue;
    return refuse("a coefficient of " + constraint(index(matrix.row[k])) + " is not finite");
  }
  for (const TriangleEntry& entry : model_.quadratic_cost) {
    if (std::isfinite(entry.value)) continue;
    return refuse("a quadratic coefficient of the objective is not finite");
  }
  for (const ConQuadraticEntry& term : model_.quadratic_coefficients) {
    if (std::isfinite(term.entry.value)) continue;
    return refuse("a quadratic coefficient of " + constraint(index(term.con)) + " is not finite");
  }
  const auto all_finite = [](const auto& list) {
    return std::all_of(list.begin(), list.end(),
                       [](const auto& term) { return std::isfinite(term.entry.value); });
  };
  if (all_finite(model_.matrix_cost) && all_finite(model_.matrix_coefficients)) return {};
  return refuse("a coefficient of a matrix variable is not finite");
}

Status Admission::check_logic() const {
  for (size_t i = 0; i < model_.sets.size(); ++i) {
    const std::string fault = find_set_fault(model_, model_.sets[i]);
    if (!fault.empty()) return refuse(shown_name(model_.set_names, i, "set") + ": " + fault);
  }
  for (const Indicator& indicator : model_.indicators) {
    const std::string fault = find_indicator_fault(model_, indicator);
    if (!fault.empty()) return refuse(fault);
  }
  return {};
}

bool has_names(const Model& model) {
  return !model.name.empty() || !model.objective_name.empty() || model.var_names.longest() > 0 ||
         model.con_names.longest() > 0 || model.cone_names.longest() > 0 ||
         model.matrix_var_names.longest() > 0 || model.set_names.longest() > 0;
}

}  // namespace vorlan
