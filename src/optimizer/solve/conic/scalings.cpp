// Each function goes over bounds, cones and matrix variables in turn.
#include "solve/conic/scalings.h"

#include <algorithm>
#include <cmath>

#include "solve/conic/make_cone.h"

namespace vorlan::conic {
namespace {

// The longest step that keeps a value positive.
double step_to_zero(double value, double change, double limit) {
  return change < 0.0 ? std::min(limit, -value / change) : limit;
}

}  // namespace

Scalings::Scalings(const ConicProblem& problem, const DenseAlgebra* algebra)
    : problem_(problem), algebra_(algebra), bounds_(problem.bounds.size(), 1.0) {
  degree_ += static_cast<double>(problem.bounds.size());
  for (const ConeBlock& block : problem.cones) {
    cones_.push_back(make_cone(block));
    degree_ += cones_.back()->degree();
  }
  for (const MatrixBlock& block : problem.matrices) {
    matrices_.emplace_back(Face(index(block.dimension), block.null.vector), *algebra);
    degree_ += block.face_order();
  }
}

Iterate Scalings::start() const {
  Iterate at;
  at.tau = at.kappa = 1.0;
  at.x.assign(problem_.cost.size(), 0.0);
  at.y.assign(problem_.rhs.size(), 0.0);
  at.s.assign(problem_.bounds.size(), 1.0);
  at.z.assign(problem_.bounds.size(), 1.0);
  at.cone_dual.assign(problem_.num_cone_duals(), 0.0);
  std::vector<double> s;
  std::vector<double> z;
  for (size_t c = 0; c < cones_.size(); ++c) {
    s.resize(cones_[c]->size());
    z.resize(s.size());
    cones_[c]->start(s, z);
    scatter(problem_.cones[c], s, &at.x);
    scatter(problem_.cones[c], z, &at.cone_dual);
  }
  for (const MatrixScaling& matrix : matrices_) at.matrices.push_back(matrix.start());
  return at;
}

bool Scalings::update(const Iterate& at) {
  for (size_t k = 0; k < bounds_.size(); ++k) {
    if (!(at.s[k] > 0.0) || !(at.z[k] > 0.0)) return false;
    bounds_[k] = at.z[k] / at.s[k];
  }
  const double path_mu = mu(at);
  std::vector<double> s;
  std::vector<double> z;
  for (size_t c = 0; c < cones_.size(); ++c) {
    gather(problem_.cones[c], at.x, &s);
    gather(problem_.cones[c], at.cone_dual, &z);
    if (!cones_[c]->update({s, z}, path_mu)) return false;
  }
  std::vector<char> is_inside(matrices_.size());
  for_each_matrix([&](size_t m) { is_inside[m] = matrices_[m].update(at.matrices[m]) ? 1 : 0; });
  return std::find(is_inside.begin(), is_inside.end(), 0) == is_inside.end();
}

void Scalings::for_each_matrix(const std::function<void(size_t)>& work) const {
  constexpr double kShare = 0.5;  // of what a thread does in the mean
  const auto size_of = [&](size_t m) { return std::pow(problem_.matrices[m].dimension, 3); };
  double all = 0.0;
  for (size_t m = 0; m < matrices_.size(); ++m) all += size_of(m);
  ThreadTeam* const team = algebra_ == nullptr ? nullptr : algebra_->team_for(all);
  const double large =
      team == nullptr ? 0.0 : kShare * all / static_cast<double>(team->num_threads());
  std::vector<size_t> others;
  for (size_t m = 0; m < matrices_.size(); ++m) {
    if (team == nullptr || size_of(m) > large) {
      work(m);
    } else {
      others.push_back(m);
    }
  }
  run_pieces(team, others.size(), [&](size_t piece, size_t) { work(others[piece]); });
}

double Scalings::step_length(const Iterate& at, const Step& step) const {
  // A step longer than 1 would change the signs of the residuals.
  double limit = 1.0 / kLeastToBoundary;
  limit = step_to_zero(at.tau, step.tau, limit);
  limit = step_to_zero(at.kappa, step.kappa, limit);
  for (size_t k = 0; k < step.s.size(); ++k) {
    limit = step_to_zero(at.s[k], step.s[k], limit);
    limit = step_to_zero(at.z[k], step.z[k], limit);
  }
  std::vector<double> limits(matrices_.size(), limit);
  for_each_matrix(
      [&](size_t m) { limits[m] = conic::step_length(matrices_[m], step.matrices[m], limit); });
  for (const double length : limits) limit = std::min(limit, length);
  std::vector<double> s, ds, z, dz;
  for (size_t c = 0; c < cones_.size(); ++c) {
    const ConeBlock& block = problem_.cones[c];
    gather(block, at.x, &s);
    gather(block, step.x, &ds);
    gather(block, at.cone_dual, &z);
    gather(block, step.cone_dual, &dz);
    limit = cones_[c]->step_length({s, z}, {ds, dz}, limit);
  }
  return limit;
}

}  // namespace vorlan::conic
