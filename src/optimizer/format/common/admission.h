// The checks that a writer makes before it writes anything: whether the format can hold the model.
// A failure names the part that it cannot hold.
#pragma once

#include <string>

#include "task/model.h"
#include "task/status.h"

namespace vorlan {

class Admission {
 public:
  // `file` is what messages call the format: "a CBF file".
  Admission(const char* file, const Model& model) : file_(file), model_(model) {}

  Status refuse(const std::string& what) const;

  // The checks, for a writer to choose from. The first one comes before any other.
  Status check_sound() const;    // sizes, indices and numbers
  Status check_sides() const;    // no side or bound is an infinity that nothing can reach
  Status check_linear() const;   // no quadratic terms
  Status check_no_semi() const;  // no semi-continuous variables
  Status check_no_integers() const;
  Status check_no_cones() const;
  Status check_no_logic() const;    // neither special ordered sets nor indicators
  Status check_scalar() const;      // neither cones nor matrix variables
  Status check_constant() const;    // the objective's is finite
  Status check_variables() const;   // their costs are finite and their bounds are numbers
  Status check_side_order() const;  // the sides are numbers and in their order
  Status check_side_numbers() const;
  Status check_elements() const;  // all coefficients are finite
  Status check_logic() const;     // sets and indicators are sound

 private:
  Status refuse_kind(bool (*is_refused)(VarKind), const char* what) const;
  std::string variable(size_t index) const;
  std::string constraint(size_t index) const;

  const char* file_;
  const Model& model_;
};

// The first failure of these checks.
template <class... Checks>
Status admit(const Admission& admission, Checks... checks) {
  Status status;
  ((status.ok() ? void(status = (admission.*checks)()) : void()), ...);
  return status;
}

// True if a format without names loses any.
bool has_names(const Model& model);

}  // namespace vorlan
