// The scalings of bounds, cones and matrix variables at an iterate.
//
// They are what makes an interior-point method primal-dual: each pair of a variable and its dual is
// linearized symmetrically at the iterate. The Newton system takes its matrix from them, the
// direction its right-hand sides, and the step its length.
#pragma once

#include <functional>
#include <memory>
#include <span>
#include <vector>

#include "solve/conic/iterate.h"
#include "solve/conic/scaled_cone.h"

namespace vorlan::conic {

class Scalings {
 public:
  // Matrix variables need the dense algebra; others do without (nullptr).
  Scalings(const ConicProblem& problem, const DenseAlgebra* algebra);

  // The iterate that the method starts from.
  Iterate start() const;
  // Chooses the scalings; false: the iterate is not inside all cones, or too far from the central
  // path.
  bool update(const Iterate& at);
  // The longest step that stays inside, at most 1 / kLeastToBoundary.
  double step_length(const Iterate& at, const Step& step) const;

  // The number of complementary pairs, which a cone counts by its barrier parameter.
  double degree() const { return degree_; }
  double mu(const Iterate& at) const { return at.complementarity() / degree_; }

  const std::vector<double>& bounds() const { return bounds_; }  // z / s
  size_t num_cones() const { return cones_.size(); }
  const ScaledCone& cone(size_t c) const { return *cones_[c]; }
  MatrixScaling& matrix(size_t m) { return matrices_[m]; }
  const MatrixScaling& matrix(size_t m) const { return matrices_[m]; }
  // Does something for each matrix variable by its number, which concerns no other one: with all
  // threads for those with a large share of the work, and for the others side by side.
  void for_each_matrix(const std::function<void(size_t)>& work) const;

  // The share of the way to the boundary that a step goes at least.
  static constexpr double kLeastToBoundary = 0.9;

 private:
  const ConicProblem& problem_;
  const DenseAlgebra* algebra_;
  double degree_ = 1.0;
  std::vector<double> bounds_;
  std::vector<std::unique_ptr<ScaledCone>> cones_;
  std::vector<MatrixScaling> matrices_;
};

}  // namespace vorlan::conic
