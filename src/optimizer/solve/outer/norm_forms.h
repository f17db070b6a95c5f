// The square of a norm as a quadratic form of the variables that its members follow from: |y|^2 with
// y = F x is x'F'F x. Binary variables may switch x off, but not y, so that only the form can have its
// diagonal taken out and made stronger (diagonal_part.h). Cones whose norms are multiples of each
// other, as the limit of a risk and its price are, share a form.
#pragma once

#include <vector>

#include "solve/outer/fixed_model.h"
#include "solve/outer/switches.h"
#include "task/model.h"
#include "task/numeric.h"

namespace vorlan::outer {

struct NormForm {
  // factor * x[var] is at least the norm.
  struct Head {
    size_t cone;
    int32_t var;
    double factor;
    bool is_fixed;
  };
  std::vector<TriangleEntry> square;  // of the norm, the lower triangle
  double most = kInfinity;            // the largest value that a head leaves the norm
  std::vector<Head> heads;
};

// Of all quadratic cones whose members follow from switched variables by equations, but for those of
// so many variables that the diagonal part is out of reach.
std::vector<NormForm> find_norm_forms(const Model& model, const RowView& rows,
                                      const std::vector<Switch>& switches);

}  // namespace vorlan::outer
