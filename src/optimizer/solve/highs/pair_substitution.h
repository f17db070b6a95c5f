// Variables that an equation with one other variable determines, such as the copies that cones need,
// replaced by a multiple of the other one. A linear model that is solved thousands of times has no
// use for their columns and rows.
#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "task/model.h"
#include "task/numeric.h"

namespace vorlan {

class PairSubstitution {
 public:
  using Terms = std::vector<std::pair<int32_t, double>>;  // (column, coefficient)

  // The elements of each row of a linear model.
  static std::vector<Terms> rows_of(const Model& model);

  // Of the equations of a linear model. Where there is a choice, integer variables stay.
  explicit PairSubstitution(const Model& model);

  // A variable of the model is factor * column + offset.
  struct Image {
    int32_t column;
    double factor, offset;
  };
  const Image& image(int32_t var) const { return images_[index(var)]; }
  int32_t num_variables() const { return static_cast<int32_t>(images_.size()); }
  int32_t num_columns() const { return static_cast<int32_t>(members_.size()); }
  // Whether a row of the model is an equation that the images satisfy by themselves.
  bool is_used(size_t row) const { return used_[row]; }

  // The terms in columns. What is constant in them is returned.
  double substitute(const Terms& terms, Terms* columns) const;

  // Sets the bounds of a variable of the model.
  void set_bounds(int32_t var, double lower, double upper);
  // The values of a column that satisfy the bounds of all its variables.
  std::pair<double, double> bounds_of_column(int32_t column) const;

 private:
  void join(int32_t kept, const Image& image, int32_t replaced);
  void use_equation(size_t row, const Terms& terms, double rhs, const std::vector<VarKind>& kinds);
  void number_columns();

  std::vector<Image> images_;                  // by variable
  std::vector<std::vector<int32_t>> members_;  // by column
  std::vector<bool> used_;
  std::vector<double> lower_, upper_;  // by variable
};

}  // namespace vorlan
