// The direction of a step and how far it can be gone.
#include <algorithm>
#include <cmath>

#include "solve/check/vectors.h"
#include "solve/conic/interior_point.h"

namespace vorlan::conic {
namespace {

// The longest step that keeps a value positive.
double step_to_zero(double value, double change, double limit) {
  return change < 0.0 ? std::min(limit, -value / change) : limit;
}

}  // namespace

// A step is the iterate's own multiple dtau / tau and a turn beside it. The system's answer to a
// unit of dtau, right-hand sides -q + G'diag(h)h and b + <A_i, W C W>, is solved for less x / tau
// and y / tau: of the sides, which the scalings of active bounds and cones make huge, that leaves
//
//   -(residual + 2 G'z + 2 E'z_J + G'diag(h) residual) / tau,   (2 <A_i, X> - residual) / tau,
//
// where nothing is large that cancels later.
void InteriorPointMethod::solve_turn_of_tau() {
  const double factor = 1.0 / now_.tau;
  for (size_t j = 0; j < num_var(); ++j) {
    f_[j] = -factor * (residuals_.dual[j] + 2.0 * now_.cone_dual[j]);
  }
  for (size_t k = 0; k < problem_.bounds.size(); ++k) {
    const Bound& bound = problem_.bounds[k];
    const double term = 2.0 * now_.z[k] + bound_scaling_[k] * residuals_.bound[k];
    f_[index(bound.var)] -= factor * bound.sign * term;
  }
  for (size_t i = 0; i < num_row(); ++i) g_[i] = -factor * residuals_.primal[i];
  const double share = factor * now_.matrix_residual;
  for (const MatrixCone& matrix : matrices_) {
    matrix.add_products(matrix.x(), 2.0 * factor, g_.data());
    for (size_t p = 0; p < matrix.parts().size(); ++p) {
      g_[index(matrix.parts()[p].row)] +=
          share * (matrix.cost_column()[p] - matrix.identity_column()[p]);
    }
  }
  system_->solve(f_.data(), g_.data(), tau_turn_x_.data(), tau_turn_y_.data());
  set_tau_factor();
}

// The factor of dtau in the last equation, as the sum of squares that it is:
//
//   kappa / tau + |u|_P^2 + |(s + residual) / tau + G u|^2 + |x / tau + u|_H^2
//               + |C - sum_i (v_i + y_i / tau) A_i|_W^2
//
// with the turn (u, v) of tau, since its terms multiplied out cancel, once W is large, to nothing
// but rounding errors.
void InteriorPointMethod::set_tau_factor() {
  std::vector<double> product(num_var(), 0.0);
  add_product(problem_.quadratic, 1.0, tau_turn_x_.data(), product.data());
  tau_factor_ = now_.kappa / now_.tau + std::max(0.0, dot(tau_turn_x_, product));
  for (size_t k = 0; k < problem_.bounds.size(); ++k) {
    const Bound& bound = problem_.bounds[k];
    const double distance =
        (now_.s[k] + residuals_.bound[k]) / now_.tau + bound.sign * tau_turn_x_[index(bound.var)];
    tau_factor_ += bound_scaling_[k] * distance * distance;
  }
  std::vector<double> column = now_.x;
  for (size_t j = 0; j < num_var(); ++j) column[j] = column[j] / now_.tau + tau_turn_x_[j];
  std::vector<double> members;
  std::vector<double> image;
  for (size_t c = 0; c < cones_.size(); ++c) {
    members.resize(problem_.cones[c].vars.size());
    image.resize(members.size());
    gather(problem_.cones[c], column, members.data());
    cones_[c]->multiply(members.data(), image.data());
    tau_factor_ += dot(members, image);
  }
  column = tau_turn_y_;
  add(1.0 / now_.tau, now_.y, &column);
  for (MatrixCone& matrix : matrices_) tau_factor_ += matrix.column_square(column.data());
}

// Right-hand sides of the complementarity conditions and with them of the system.
void InteriorPointMethod::set_rhs(double rest, double mu_target, bool affine) {
  for (size_t k = 0; k < bound_rhs_.size(); ++k) {
    bound_rhs_[k] = -now_.z[k];
    if (!affine) bound_rhs_[k] += (mu_target - affine_.s[k] * affine_.z[k]) / now_.s[k];
  }
  std::vector<double> s, z, ds, dz;
  for (size_t c = 0; c < cones_.size(); ++c) {
    const ConeBlock& block = problem_.cones[c];
    const size_t size = block.vars.size();
    double* out = &cone_rhs_[cone_start_[c]];
    z.resize(size);
    gather(block, now_.cone_dual, z.data());
    for (size_t i = 0; i < size; ++i) out[i] = -z[i];
    if (affine) continue;
    for (auto* space : {&s, &ds, &dz}) space->resize(size);
    gather(block, now_.x, s.data());
    gather(block, affine_.x, ds.data());
    gather(block, affine_.cone_dual, dz.data());
    cones_[c]->centering_rhs(s.data(), z.data(), mu_target, ds.data(), dz.data(), out);
  }
  complementarity_rhs_ = -now_.tau * now_.kappa;
  if (!affine) complementarity_rhs_ += mu_target - affine_.tau * affine_.kappa;

  for (size_t j = 0; j < num_var(); ++j) f_[j] = -rest * residuals_.dual[j];
  for (size_t k = 0; k < problem_.bounds.size(); ++k) {
    const Bound& bound = problem_.bounds[k];
    f_[index(bound.var)] +=
        bound.sign * (bound_rhs_[k] - bound_scaling_[k] * rest * residuals_.bound[k]);
  }
  for (size_t c = 0; c < cones_.size(); ++c) {
    const ConeBlock& block = problem_.cones[c];
    for (size_t i = 0; i < block.vars.size(); ++i) {
      f_[index(block.vars[i])] += cone_rhs_[cone_start_[c] + i];
    }
  }
  for (size_t i = 0; i < num_row(); ++i) g_[i] = -rest * residuals_.primal[i];
  const double share = rest * now_.matrix_residual;
  for (MatrixCone& matrix : matrices_) {
    if (affine) {
      matrix.set_affine_rhs();
    } else {
      matrix.set_centering_rhs(mu_target);
    }
    matrix.add_products(matrix.unscaled_rhs(), -1.0, g_.data());
    for (size_t p = 0; p < matrix.parts().size(); ++p) {
      g_[index(matrix.parts()[p].row)] +=
          share * (matrix.cost_column()[p] - matrix.identity_column()[p]);
    }
  }
}

// The last equation of the embedding as it stands, with everything else as a function of dtau: what
// tau_factor_ dtau must be. It holds whatever the other equations leave, but its terms can be much
// larger than what is left of them: `rounding` is what that may be wrong by.
double InteriorPointMethod::last_equation(double rest, double* rounding) const {
  constexpr double kRounding = 1e-15;
  double sum = 0.0;
  double size = 0.0;
  const auto take = [&](double term) {
    sum += term;
    size += std::fabs(term);
  };
  take(rest * residuals_.gap);
  take(complementarity_rhs_ / now_.tau);
  for (size_t j = 0; j < num_var(); ++j) {
    take((problem_.cost[j] + 2.0 / now_.tau * residuals_.px[j]) * turn_x_[j]);
  }
  for (size_t i = 0; i < num_row(); ++i) take(-problem_.rhs[i] * turn_y_[i]);
  for (size_t k = 0; k < problem_.bounds.size(); ++k) {
    const Bound& bound = problem_.bounds[k];
    const double change = bound.sign * turn_x_[index(bound.var)] + rest * residuals_.bound[k];
    take(bound.value * bound_scaling_[k] * change);
    take(-bound.value * bound_rhs_[k]);
  }
  const double share = rest * now_.matrix_residual;
  for (const MatrixCone& matrix : matrices_) {
    for (size_t p = 0; p < matrix.parts().size(); ++p) {
      take(matrix.cost_column()[p] * turn_y_[index(matrix.parts()[p].row)]);
    }
    take(matrix.cost_product(matrix.unscaled_rhs()));
    take(-share * matrix.cost_residual());
  }
  *rounding = kRounding * size;
  return sum;
}

// The same without matrix variables, with q, b and h expressed by the residuals and the iterate:
// the large terms are each other's opposites then, and what is left are products of residuals with
// the turn, and complementarity. Nothing cancels where tau is small, but it relies on the turn to
// solve its system.
double InteriorPointMethod::last_equation_by_residuals(double rest) const {
  double sum = rest * degree_ * complementarity() + complementarity_rhs_ +
               dot(residuals_.dual, turn_x_) + dot(residuals_.primal, turn_y_);
  for (size_t k = 0; k < problem_.bounds.size(); ++k) {
    const Bound& bound = problem_.bounds[k];
    const double residual = residuals_.bound[k];
    const double scaled = bound_scaling_[k] * residual;
    sum -= scaled * (bound.sign * turn_x_[index(bound.var)] + rest * residual);
    sum += (now_.s[k] + residual) * bound_rhs_[k];
  }
  for (size_t c = 0; c < cones_.size(); ++c) {
    const ConeBlock& block = problem_.cones[c];
    for (size_t i = 0; i < block.vars.size(); ++i) {
      sum += now_.x[index(block.vars[i])] * cone_rhs_[cone_start_[c] + i];
    }
  }
  return sum / now_.tau;
}

// Of the two forms the first, unless it is rounding by which they differ.
double InteriorPointMethod::tau_step(double rest) const {
  double rounding = 0.0;
  const double sum = last_equation(rest, &rounding);
  if (!matrices_.empty()) return sum / tau_factor_;
  const double by_residuals = last_equation_by_residuals(rest);
  return (std::fabs(sum - by_residuals) > rounding ? sum : by_residuals) / tau_factor_;
}

void InteriorPointMethod::find_step(double rest, double mu_target, bool affine, Step* step) {
  set_rhs(rest, mu_target, affine);
  system_->solve(f_.data(), g_.data(), turn_x_.data(), turn_y_.data());
  step->tau = holds_tau_ ? 0.0 : tau_step(rest);
  add(step->tau, tau_turn_x_, &turn_x_);
  add(step->tau, tau_turn_y_, &turn_y_);
  finish_step(rest, step);
  const double ratio = step->tau / now_.tau;
  for (MatrixCone& matrix : matrices_) {
    matrix.set_step(turn_y_.data(), ratio, (ratio + rest) * now_.matrix_residual, affine);
  }
}

// What the turn and tau's step imply for the whole one.
void InteriorPointMethod::finish_step(double rest, Step* step) {
  const double ratio = step->tau / now_.tau;
  step->x = turn_x_;
  step->y = turn_y_;
  add(ratio, now_.x, &step->x);
  add(ratio, now_.y, &step->y);
  step->kappa = holds_tau_ ? 0.0 : (complementarity_rhs_ - now_.kappa * step->tau) / now_.tau;
  step->s.resize(bound_rhs_.size());
  step->z.resize(bound_rhs_.size());
  for (size_t k = 0; k < problem_.bounds.size(); ++k) {
    const Bound& bound = problem_.bounds[k];
    step->s[k] = bound.sign * turn_x_[index(bound.var)] + ratio * now_.s[k] +
                 (ratio + rest) * residuals_.bound[k];
    step->z[k] = bound_rhs_[k] - bound_scaling_[k] * step->s[k];
  }
  // The cone's scaling takes the iterate's members to their duals.
  step->cone_dual.assign(num_var(), 0.0);
  std::vector<double> ds, z, dz;
  for (size_t c = 0; c < cones_.size(); ++c) {
    const ConeBlock& block = problem_.cones[c];
    for (auto* space : {&ds, &z, &dz}) space->resize(block.vars.size());
    gather(block, turn_x_, ds.data());
    gather(block, now_.cone_dual, z.data());
    cones_[c]->multiply(ds.data(), dz.data());
    for (size_t i = 0; i < dz.size(); ++i) {
      dz[i] = cone_rhs_[cone_start_[c] + i] - ratio * z[i] - dz[i];
    }
    scatter(block, dz.data(), &step->cone_dual);
  }
}

// Whether a residual of the equations matters to the gap, to which it adds its product with y.
bool InteriorPointMethod::moves_gap(const std::vector<double>& residual) const {
  constexpr double kShare = 0.1;
  double product = 0.0;
  for (size_t i = 0; i < num_row(); ++i) product += std::fabs(residual[i] * now_.y[i]);
  return product > kShare * degree_ * complementarity();
}

// What the step leaves of the equations is solved for once more, with a right-hand side as small as
// that. It is more than it should be where tau is small, and always of matrix variables: their step
// is computed from dy through products with W, whose rounding errors grow as W's condition does.
void InteriorPointMethod::correct_primal(double rest, Step* step) {
  constexpr int kMostCorrections = 4;
  constexpr double kGoodShare = 0.1;
  std::vector<double> dx;
  std::vector<double> dy;
  const auto apply = [&](double factor) {
    add(factor, dx, &turn_x_);
    add(factor, dy, &turn_y_);
    for (double& value : dy) value *= factor;
    for (MatrixCone& matrix : matrices_) matrix.correct_step(dy.data());
    finish_step(rest, step);
  };
  double before = kInfinity;
  for (int k = 0; k < kMostCorrections; ++k) {
    // Minus the residual of A dx + <A_i, dX> - b dtau = -rest * residual.
    for (size_t i = 0; i < num_row(); ++i) {
      g_[i] = problem_.rhs[i] * step->tau - rest * residuals_.primal[i];
    }
    add_product(problem_.matrix, -1.0, step->x.data(), g_.data());
    for (const MatrixCone& matrix : matrices_) matrix.add_step_products(-1.0, g_.data());
    const double error = largest(g_);
    if (error > before) {
      apply(-1.0);
      return;
    }
    if (error <= kGoodShare * rest * largest(residuals_.primal) || error > 0.5 * before) return;
    if (matrices_.empty() && !moves_gap(g_)) return;
    before = error;
    dx.resize(num_var());
    dy.resize(num_row());
    std::fill(f_.begin(), f_.end(), 0.0);
    system_->solve(f_.data(), g_.data(), dx.data(), dy.data());
    apply(1.0);
  }
}

double InteriorPointMethod::step_length(const Step& step) const {
  // Beyond 1 the residuals would change their sign.
  double limit = 1.0 / kLeastToBoundary;
  limit = step_to_zero(now_.tau, step.tau, limit);
  limit = step_to_zero(now_.kappa, step.kappa, limit);
  for (size_t k = 0; k < step.s.size(); ++k) {
    limit = step_to_zero(now_.s[k], step.s[k], limit);
    limit = step_to_zero(now_.z[k], step.z[k], limit);
  }
  for (const MatrixCone& matrix : matrices_) limit = matrix.step_length(limit);
  std::vector<double> s, ds, z, dz;
  for (size_t c = 0; c < cones_.size(); ++c) {
    const ConeBlock& block = problem_.cones[c];
    for (auto* space : {&s, &ds, &z, &dz}) space->resize(block.vars.size());
    gather(block, now_.x, s.data());
    gather(block, step.x, ds.data());
    gather(block, now_.cone_dual, z.data());
    gather(block, step.cone_dual, dz.data());
    limit = cones_[c]->step_length(s.data(), ds.data(), z.data(), dz.data(), limit);
  }
  return limit;
}

}  // namespace vorlan::conic
