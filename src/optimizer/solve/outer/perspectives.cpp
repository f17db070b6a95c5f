// The continuous model with squares that know of their switches: x^2 <= 2 h r, where a binary z
// switches x off, becomes x^2 <= 2 h z r. Points with whole z are the same, all others are fewer.
//
//   O. Guenluek, J. Linderoth, Perspective reformulations of mixed integer nonlinear programs with
//   indicator variables, Mathematical Programming 124, 2010.
#include "solve/check/sparse_columns.h"
#include "solve/outer/derived_models.h"
#include "solve/outer/relaxation.h"
#include "task/numeric.h"

namespace vorlan::outer {

Switch Relaxation::switch_of_square(size_t c) const {
  const ConeColumns& own = cone_columns_[c];
  const std::vector<Member>& members = cones_[c].members;
  const bool square = model_.cones[c].kind == ConeKind::kRotatedQuadratic && members.size() == 3 &&
                      own.fixed_head > 0.0;
  if (!square) return {};
  const Switch& off = switches_[index(members.back().var)];
  return off.value == 0.0 && !off.off_at_one ? off : Switch();
}

Model Relaxation::perspective_model() const {
  Model model = without_integers(model_);
  std::vector<MatrixElement> elements;
  for (size_t j = 0; j < model.cost.size(); ++j) {
    for (size_t k = index(model.matrix.start[j]); k < index(model.matrix.start[j + 1]); ++k) {
      elements.push_back({model.matrix.row[k], static_cast<int32_t>(j), model.matrix.value[k]});
    }
  }
  for (size_t c = 0; c < cones_.size(); ++c) {
    const Switch off = switch_of_square(c);
    if (!off.exists()) continue;
    const int32_t head = model.num_var();
    model.cost.push_back(0.0);
    model.var_lower.push_back(0.0);
    model.var_upper.push_back(kInfinity);
    model.var_kind.push_back(VarKind::kContinuous);
    elements.push_back({model.num_con(), head, 1.0});
    elements.push_back({model.num_con(), off.binary, -cone_columns_[c].fixed_head});
    model.con_lower.push_back(0.0);
    model.con_upper.push_back(0.0);
    model.cones[c].vars[cone_columns_[c].head] = head;
  }
  if (model.num_var() > model_.num_var()) model.matrix = make_columns(elements, model.cost.size());
  return model;
}

}  // namespace vorlan::outer
