// The continuous model that is left when the integer variables are fixed, and the semi-continuous
// ones are on or off.
//
// Everything that the fixed values decide is taken out of this model: variables that equations
// determine, constraints and cones in which nothing is left to choose, and cones of which only a
// face is left. The interior-point method needs an interior, and such parts have none.
#pragma once

#include <vector>

#include "solve/backend.h"

namespace vorlan::outer {

// The linear part of a model, by rows.
struct RowView {
  std::vector<size_t> start;
  std::vector<int32_t> var;
  std::vector<double> value;
  std::vector<bool> linear;  // whether the row has nothing else

  explicit RowView(const Model& model);
};

// The values of integer and semi-continuous variables that are nearest to a point. The value of a
// semi-continuous variable that is not integer is 0 when it is off, and infinite when it is on.
std::vector<double> find_assignment(const Model& model, const std::vector<double>& x);

class FixedModel {
 public:
  // A violation of no more than the tolerance, relative to the size of what is violated, counts as
  // none.
  FixedModel(const Model& model, const RowView& rows, const std::vector<double>& assignment,
             double tolerance);

  // Whether the fixed values alone show that nothing is feasible.
  bool infeasible() const { return infeasible_; }
  // Whether they determine everything.
  bool determined() const;
  const Model& model() const { return left_; }
  // The model whose quadratic constraints may be violated, by as little as possible. Where they make
  // the model infeasible, their tangents at the optimum of this one prove it.
  Model elastic_model() const;

  // Sets the fixed variables of a point to their exact values.
  void complete(std::vector<double>* x) const;
  // The cones that the fixed values have taken out of the model.
  const std::vector<size_t>& dropped_cones() const { return dropped_cones_; }

 private:
  bool is_fixed(int32_t var) const;
  double fixed_value(int32_t var) const;
  void fix(int32_t var, double value);
  void bound_below(int32_t var, double value);
  void bound_above(int32_t var, double value);
  void fix_assignment(const std::vector<double>& assignment);
  void count_open();
  void propagate();
  void look_at_row(int32_t row);
  void settle_last(int32_t row);
  void look_at_cone(int32_t cone);
  void look_at_face(int32_t cone);
  void fix_behind(const Cone& cone, size_t heads);
  void drop_cone(int32_t cone);
  double activity(int32_t row, int32_t without, double* size) const;
  void check_row(int32_t row);
  void substitute_quadratic_rows();
  void remove_dropped_cones();

  const Model& model_;
  const RowView& rows_;
  double tolerance_;
  Model left_;
  bool infeasible_ = false;
  std::vector<bool> fixed_;
  std::vector<double> value_;
  std::vector<double> implied_lower_, implied_upper_;  // by inequalities with one open variable
  std::vector<int32_t> open_in_row_, open_in_cone_;
  std::vector<bool> linear_row_, has_matrices_;
  std::vector<int32_t> cone_of_;
  std::vector<bool> dropped_;
  std::vector<size_t> dropped_cones_;
  std::vector<std::vector<TriangleEntry>> quadratic_;  // by row, empty for linear ones
  std::vector<int32_t> to_visit_;                      // fixed variables
};

}  // namespace vorlan::outer
