// The steps of a reformulation and what they share.
#include "solve/reformulate/reformulation.h"

#include <algorithm>
#include <cmath>

#include "task/numeric.h"
#include "task/text.h"

namespace vorlan::reformulate {

Reformulation::Reformulation(const MinimizeProblem& problem, const Parameters& parameters,
                             double end, BackendMonitor* monitor)
    : problem_(problem),
      user_(problem.model),
      bounds_(problem.model, parameters, end, monitor),
      model_(problem.model),
      changed_(problem.model.has_logic()) {}

Status Reformulation::make() {
  Status status = add_sets();
  if (status.ok()) status = add_indicators();
  if (status.ok()) status = add_products();
  return status;
}

Model Reformulation::take_model() {
  num_var_ = index(model_.num_var());
  return model_.take();
}

std::string Reformulation::description() const {
  std::string what;
  const auto add = [&what](size_t count, const char* one, const char* many) {
    if (count == 0) return;
    what += format_text("%s%zu %s", what.empty() ? "" : ", ", count, count == 1 ? one : many);
  };
  add(user_.sets.size(), "special ordered set", "special ordered sets");
  add(user_.indicators.size(), "indicator", "indicators");
  add(products_.size(), "product of a binary variable", "products of binary variables");
  if (what.empty()) what = "squares of binary variables";
  std::string text =
      format_text("Made linear: %s; by %d more variables and %d more constraints", what.c_str(),
                  model_.num_var() - user_.num_var(), model_.num_con() - user_.num_con());
  if (farthest_ > 1.0) text += format_text(", with coefficients up to %.3g", farthest_);
  if (bounds_.num_solves() > 0) {
    text += format_text(", for which %lld linear programs gave bounds",
                        static_cast<long long>(bounds_.num_solves()));
  }
  return text + '\n';
}

void Reformulation::complete(std::vector<double>* x) const {
  x->resize(num_var_, 0.0);
  for (const Completion& completion : completions_) completion(x);
}

std::string Reformulation::variable(int32_t var) const {
  const std::string_view name = user_.var_names[index(var)];
  if (name.empty()) return format_text("variable %d", var);
  return "variable '" + std::string(name) + '\'';
}

Status Reformulation::refuse(const std::string& what, int32_t var) {
  const double size = std::max(std::fabs(bounds_.lower(var)), std::fabs(bounds_.upper(var)));
  std::string found = "the constraints leave it without a bound";
  if (std::isfinite(size)) {
    found = format_text(
        "the constraints let it be as large as %g, and %g is the most that can be "
        "taken",
        size, kFarthest);
  }
  return {Code::kErrNoBound, what + " needs bounds of " + variable(var) + ": " + found};
}

void Reformulation::note_size(double size) { farthest_ = std::max(farthest_, size); }

}  // namespace vorlan::reformulate
