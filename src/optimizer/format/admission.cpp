// The checks of a model before it is written; see admission.h.
#include "format/admission.h"

#include <limits>

#include "format/model_check.h"
#include "format/writer_words.h"
#include "task/text.h"

namespace vorlan {
namespace {

constexpr double kInf = std::numeric_limits<double>::infinity();

bool is_out_of_reach(double lower, double upper) { return lower == kInf || upper == -kInf; }

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
  const auto con = static_cast<size_t>(model_.quadratic_coefficients.front().con);
  return refuse(constraint(con) + " has quadratic terms");
}

Status Admission::check_no_semi() const {
  for (size_t j = 0; j < model_.cost.size(); ++j) {
    if (is_semi(model_.var_kind[j])) return refuse(variable(j) + " is semi-continuous");
  }
  return {};
}

Status Admission::check_no_integers() const {
  for (size_t j = 0; j < model_.cost.size(); ++j) {
    if (model_.var_kind[j] == VarKind::kInteger) return refuse(variable(j) + " is integer");
  }
  return {};
}

Status Admission::check_no_cones() const {
  if (model_.cones.empty()) return {};
  return refuse(shown_name(model_.cone_names, 0, "cone") + " is a cone of scalar variables");
}

bool has_names(const Model& model) {
  return !model.name.empty() || !model.objective_name.empty() || model.var_names.longest() > 0 ||
         model.con_names.longest() > 0 || model.cone_names.longest() > 0 ||
         model.matrix_var_names.longest() > 0;
}

}  // namespace vorlan
