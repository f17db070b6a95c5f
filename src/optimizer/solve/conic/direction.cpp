// A step is found in this order: the right-hand sides of complementarity, those of the system, the
// offset, the step of tau, and what follows from these for all variables.
#include "solve/conic/direction.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "solve/check/vectors.h"
#include "solve/conic/matrix_block.h"

namespace vorlan::conic {

Direction::Direction(const ConicProblem& problem, const Iterate& at, const Residuals& residuals,
                     const AllowedResiduals& allowed, Scalings* scalings, NewtonSystem* system,
                     Tau tau)
    : problem_(problem),
      at_(at),
      residuals_(residuals),
      scalings_(*scalings),
      system_(*system),
      allowed_(allowed),
      tau_(tau),
      rhs_(problem),
      offset_(problem),
      tau_offset_(problem),
      bound_rhs_(problem.bounds.size()) {
  cone_start_.push_back(0);
  for (const ConeBlock& block : problem.cones) {
    cone_start_.push_back(cone_start_.back() + block.vars.size());
  }
  cone_rhs_.resize(cone_start_.back());
  for (size_t m = 0; m < problem.matrices.size(); ++m) {
    matrices_.emplace_back(problem.matrices[m], at.matrices[m], &scalings->matrix(m));
  }
  solve_for_tau();
}

std::span<double> Direction::cone_rhs(size_t c) {
  return std::span<double>(cone_rhs_).subspan(cone_start_[c], problem_.cones[c].vars.size());
}

std::span<const double> Direction::cone_rhs(size_t c) const {
  return std::span<const double>(cone_rhs_).subspan(cone_start_[c], problem_.cones[c].vars.size());
}

// The system's answer to a unit of dtau, right-hand sides -q + G'diag(h)h and b + <A_i, W C W>, is
// solved for less x / tau and y / tau. That leaves of the sides
//
//   -(residual + 2 G'z + 2 E'z_J + G'diag(h) residual) / tau,   (2 <A_i, X> - residual) / tau,
//
// where nothing is large that cancels later.
void Direction::solve_for_tau() {
  const double factor = 1.0 / at_.tau;
  std::copy(residuals_.dual.begin(), residuals_.dual.end(), rhs_.x.begin());
  add(2.0, at_.cone_dual, &rhs_.x);
  for (double& value : rhs_.x) value *= -factor;
  for (size_t k = 0; k < problem_.bounds.size(); ++k) {
    const Bound& bound = problem_.bounds[k];
    const double term = 2.0 * at_.z[k] + scalings_.bounds()[k] * residuals_.bound[k];
    rhs_.x[index(bound.var)] -= factor * bound.sign * term;
  }
  for (size_t i = 0; i < rhs_.y.size(); ++i) rhs_.y[i] = -factor * residuals_.primal[i];
  const double share = factor * at_.matrix_residual;
  for (size_t m = 0; m < matrices_.size(); ++m) {
    add_products(problem_.matrices[m], at_.matrices[m].x, 2.0 * factor, rhs_.y);
    system_.products(m).add_residual_products(share, &rhs_.y);
  }
  solve_system(at_.tau, &tau_offset_);
  tau_factor_ = factor_of_tau();
}

// The factor of dtau in the last equation, as the sum of squares that it is:
//
//   kappa / tau + |u|_P^2 + |(s + residual) / tau + G u|^2 + |x / tau + u|_H^2
//               + |C - sum_i (v_i + y_i / tau) A_i|_W^2
//
// with the offset (u, v) for a unit of dtau. Its terms multiplied out cancel, once W is large, to
// nothing but rounding errors.
double Direction::factor_of_tau() {
  const std::vector<double>& u = tau_offset_.x;
  std::vector<double> product(u.size(), 0.0);
  add_product(problem_.quadratic, 1.0, u, product);
  double sum = at_.kappa / at_.tau + std::max(0.0, dot(u, product));
  for (size_t k = 0; k < problem_.bounds.size(); ++k) {
    const Bound& bound = problem_.bounds[k];
    const double distance =
        (at_.s[k] + residuals_.bound[k]) / at_.tau + bound.sign * u[index(bound.var)];
    sum += scalings_.bounds()[k] * distance * distance;
  }
  std::vector<double> column = at_.x;
  for (size_t j = 0; j < column.size(); ++j) column[j] = column[j] / at_.tau + u[j];
  std::vector<double> members;
  std::vector<double> image;
  for (size_t c = 0; c < scalings_.num_cones(); ++c) {
    gather(problem_.cones[c], column, &members);
    image.resize(members.size());
    scalings_.cone(c).multiply(members, image);
    sum += dot(members, image);
  }
  column = tau_offset_.y;
  add(1.0 / at_.tau, at_.y, &column);
  std::vector<double> squares(matrices_.size());
  scalings_.for_each_matrix([&](size_t m) { squares[m] = matrices_[m].column_square(column); });
  for (const double square : squares) sum += square;
  return sum;
}

void Direction::aim_at_boundary() {
  for (size_t k = 0; k < bound_rhs_.size(); ++k) bound_rhs_[k] = -at_.z[k];
  for (size_t c = 0; c < problem_.cones.size(); ++c) {
    const std::vector<int32_t>& vars = problem_.cones[c].vars;
    for (size_t i = 0; i < vars.size(); ++i) cone_rhs(c)[i] = -at_.cone_dual[index(vars[i])];
  }
  pair_rhs_ = -at_.tau * at_.kappa;
  for (MatrixDirection& matrix : matrices_) matrix.aim_at_boundary();
}

void Direction::aim_at_path(double mu, Step* affine) {
  for (size_t k = 0; k < bound_rhs_.size(); ++k) {
    bound_rhs_[k] = -at_.z[k] + (mu - affine->s[k] * affine->z[k]) / at_.s[k];
  }
  std::vector<double> s, z, ds, dz;
  for (size_t c = 0; c < problem_.cones.size(); ++c) {
    const ConeBlock& block = problem_.cones[c];
    gather(block, at_.x, &s);
    gather(block, at_.cone_dual, &z);
    gather(block, affine->x, &ds);
    gather(block, affine->cone_dual, &dz);
    scalings_.cone(c).centering_rhs({s, z}, mu, {ds, dz}, cone_rhs(c));
  }
  pair_rhs_ = -at_.tau * at_.kappa + (mu - affine->tau * affine->kappa);
  scalings_.for_each_matrix(
      [&](size_t m) { matrices_[m].aim_at_path(mu, std::move(affine->matrices[m])); });
}

// The right-hand sides of the system, from those of complementarity.
void Direction::set_rhs(double reduction) {
  for (size_t j = 0; j < rhs_.x.size(); ++j) rhs_.x[j] = -reduction * residuals_.dual[j];
  for (size_t k = 0; k < problem_.bounds.size(); ++k) {
    const Bound& bound = problem_.bounds[k];
    const double term = bound_rhs_[k] - scalings_.bounds()[k] * reduction * residuals_.bound[k];
    rhs_.x[index(bound.var)] += bound.sign * term;
  }
  for (size_t c = 0; c < problem_.cones.size(); ++c) {
    const std::vector<int32_t>& vars = problem_.cones[c].vars;
    for (size_t i = 0; i < vars.size(); ++i) rhs_.x[index(vars[i])] += cone_rhs(c)[i];
  }
  for (size_t i = 0; i < rhs_.y.size(); ++i) rhs_.y[i] = -reduction * residuals_.primal[i];
  const double share = reduction * at_.matrix_residual;
  for (size_t m = 0; m < matrices_.size(); ++m) {
    matrices_[m].add_rhs_products(-1.0, rhs_.y);
    system_.products(m).add_residual_products(share, &rhs_.y);
  }
}

// The last equation of the embedding as it stands, with everything else as a function of dtau. It
// holds whatever the other equations leave, but its terms can be much larger than what is left of
// them: `rounding` is what that may be wrong by.
double Direction::last_equation(double reduction, double* rounding) const {
  constexpr double kRounding = 1e-15;
  double sum = 0.0;
  double size = 0.0;
  const auto take = [&](double term) {
    sum += term;
    size += std::fabs(term);
  };
  take(reduction * residuals_.gap);
  take(pair_rhs_ / at_.tau);
  for (size_t j = 0; j < offset_.x.size(); ++j) {
    take((problem_.cost[j] + 2.0 / at_.tau * residuals_.px[j]) * offset_.x[j]);
  }
  for (size_t i = 0; i < offset_.y.size(); ++i) take(-problem_.rhs[i] * offset_.y[i]);
  for (size_t k = 0; k < problem_.bounds.size(); ++k) {
    const Bound& bound = problem_.bounds[k];
    const double change =
        bound.sign * offset_.x[index(bound.var)] + reduction * residuals_.bound[k];
    take(bound.value * scalings_.bounds()[k] * change);
    take(-bound.value * bound_rhs_[k]);
  }
  const double share = reduction * at_.matrix_residual;
  for (size_t m = 0; m < matrices_.size(); ++m) {
    const MatrixProducts& products = system_.products(m);
    const std::vector<MatrixPart>& parts = problem_.matrices[m].parts;
    for (size_t p = 0; p < parts.size(); ++p) {
      take(products.cost_column()[p] * offset_.y[index(parts[p].row)]);
    }
    take(matrices_[m].rhs_cost_product());
    take(-share * (products.cost_square() - products.cost_identity()));
  }
  *rounding = kRounding * size;
  return sum;
}

// The last equation without matrix variables, with q, b and h expressed by the residuals and the
// iterate: the large terms are each other's opposites then, and what is left are products of
// residuals with the offset, and complementarity. Nothing cancels where tau is small, but it relies
// on the offset to solve its system.
double Direction::last_equation_by_residuals(double reduction) const {
  double sum = reduction * scalings_.degree() * scalings_.mu(at_) + pair_rhs_ +
               dot(residuals_.dual, offset_.x) + dot(residuals_.primal, offset_.y);
  for (size_t k = 0; k < problem_.bounds.size(); ++k) {
    const Bound& bound = problem_.bounds[k];
    const double residual = residuals_.bound[k];
    const double scaled = scalings_.bounds()[k] * residual;
    sum -= scaled * (bound.sign * offset_.x[index(bound.var)] + reduction * residual);
    sum += (at_.s[k] + residual) * bound_rhs_[k];
  }
  for (size_t c = 0; c < problem_.cones.size(); ++c) {
    const std::vector<int32_t>& vars = problem_.cones[c].vars;
    for (size_t i = 0; i < vars.size(); ++i) sum += at_.x[index(vars[i])] * cone_rhs(c)[i];
  }
  return sum / at_.tau;
}

// The second form is taken where the two differ by no more than the rounding of the first.
double Direction::tau_step(double reduction) const {
  double rounding = 0.0;
  const double sum = last_equation(reduction, &rounding);
  if (!matrices_.empty()) return sum / tau_factor_;
  const double by_residuals = last_equation_by_residuals(reduction);
  return (std::fabs(sum - by_residuals) > rounding ? sum : by_residuals) / tau_factor_;
}

// How many times more the residuals of a solution are than a step should leave of the equations: a
// small share of the iterate's own, or what is allowed. They move the gap by their products with x
// and y, which is to be little beside mu.
double Direction::excess(std::span<const double> of_x, std::span<const double> of_y) const {
  constexpr double kShare = 1e-2;
  double product = 0.0;
  double most = 0.0;
  const auto take = [&](std::span<const double> left, const std::vector<double>& own,
                        const std::vector<double>& point, const auto& allowed) {
    const double share = kShare * largest(own);
    for (size_t i = 0; i < left.size(); ++i) {
      const double size = std::fabs(left[i]);
      most = std::max(most, size / std::max(share, at_.tau * allowed(i)));
      product += size * std::fabs(point[i]);
    }
  };
  take(of_x, residuals_.dual, at_.x, [this](size_t j) { return allowed_.dual(j); });
  take(of_y, residuals_.primal, at_.y, [this](size_t i) { return allowed_.primal(i); });
  const double objective = std::max(std::fabs(residuals_.cost), std::fabs(residuals_.value));
  const double gap =
      std::max(kShare * scalings_.degree() * scalings_.mu(at_), at_.tau * allowed_.gap * objective);
  return std::max(most, product / gap);
}

// Solves for the right-hand sides. The residuals that are left count in the unit given: the offset
// for a unit of dtau is taken tau times at most. Cones and quadratic terms ask for all digits:
// their steps magnify what is left.
void Direction::solve_system(double unit, NewtonVector* solution) {
  if (!problem_.is_linear() || allowed_.scaling == nullptr) return system_.solve(rhs_, solution);
  system_.solve(rhs_, solution, [&](std::span<const double> of_x, std::span<const double> of_y) {
    return unit * excess(of_x, of_y);
  });
}

void Direction::solve_for_offset(double reduction, Step* step) {
  step->reduction = reduction;
  set_rhs(reduction);
  solve_system(1.0, &offset_);
  step->tau = tau_ == Tau::kHeld ? 0.0 : tau_step(reduction);
  add(step->tau, tau_offset_.x, &offset_.x);
  add(step->tau, tau_offset_.y, &offset_.y);
  complete(step);
}

Step Direction::find_affine() {
  aim_at_boundary();
  Step step;
  solve_for_offset(1.0, &step);
  const double ratio = step.tau / at_.tau;
  step.matrices.resize(matrices_.size());
  scalings_.for_each_matrix([&](size_t m) {
    step.matrices[m] =
        matrices_[m].find_affine(offset_.y, ratio, (ratio + 1.0) * at_.matrix_residual);
  });
  return step;
}

Step Direction::find(double reduction, double mu, Step affine) {
  aim_at_path(mu, &affine);
  affine = {};  // its memory is as good for the step
  Step step;
  solve_for_offset(reduction, &step);
  const double ratio = step.tau / at_.tau;
  step.matrices.resize(matrices_.size());
  scalings_.for_each_matrix([&](size_t m) {
    step.matrices[m] =
        matrices_[m].find(offset_.y, ratio, (ratio + reduction) * at_.matrix_residual);
  });
  refine(&step);
  return step;
}

// A product that is far too large is taken back by no more than the largest one allowed: its pair
// is no reason to turn the step.
Step Direction::correct_centrality(const Step& step, double length, double mu) {
  constexpr double kFar = 10.0;
  length = std::min(1.0, length);
  const auto correction = [&](double product) {
    const double allowed = std::clamp(product, mu / kFar, mu * kFar);
    return std::max(allowed - product, -mu * kFar);
  };
  for (size_t k = 0; k < bound_rhs_.size(); ++k) {
    const double s = at_.s[k] + length * step.s[k];
    const double z = at_.z[k] + length * step.z[k];
    bound_rhs_[k] += correction(s * z) / at_.s[k];
  }
  pair_rhs_ += correction((at_.tau + length * step.tau) * (at_.kappa + length * step.kappa));
  Step corrected;
  solve_for_offset(step.reduction, &corrected);
  refine(&corrected);
  return corrected;
}

// The other scalar variables follow from the offset and tau's step.
void Direction::complete(Step* step) const {
  const double ratio = step->tau / at_.tau;
  step->x = offset_.x;
  step->y = offset_.y;
  add(ratio, at_.x, &step->x);
  add(ratio, at_.y, &step->y);
  step->kappa = tau_ == Tau::kHeld ? 0.0 : (pair_rhs_ - at_.kappa * step->tau) / at_.tau;
  step->s.resize(bound_rhs_.size());
  step->z.resize(bound_rhs_.size());
  for (size_t k = 0; k < problem_.bounds.size(); ++k) {
    const Bound& bound = problem_.bounds[k];
    step->s[k] = bound.sign * offset_.x[index(bound.var)] + ratio * at_.s[k] +
                 (ratio + step->reduction) * residuals_.bound[k];
    step->z[k] = bound_rhs_[k] - scalings_.bounds()[k] * step->s[k];
  }
  // The cone's scaling takes the iterate's members to their duals.
  step->cone_dual.assign(problem_.num_cone_duals(), 0.0);
  std::vector<double> ds, z, dz;
  for (size_t c = 0; c < problem_.cones.size(); ++c) {
    const ConeBlock& block = problem_.cones[c];
    gather(block, offset_.x, &ds);
    gather(block, at_.cone_dual, &z);
    dz.resize(ds.size());
    scalings_.cone(c).multiply(ds, dz);
    for (size_t i = 0; i < dz.size(); ++i) dz[i] = cone_rhs(c)[i] - ratio * z[i] - dz[i];
    scatter(block, dz, &step->cone_dual);
  }
}

// Says whether a residual of the equations matters to the gap, to which it adds its product with y.
bool Direction::moves_gap(const std::vector<double>& residual) const {
  constexpr double kShare = 0.1;
  double product = 0.0;
  for (size_t i = 0; i < residual.size(); ++i) product += std::fabs(residual[i] * at_.y[i]);
  return product > kShare * scalings_.degree() * scalings_.mu(at_);
}

// A correction costs as much as a step.
bool Direction::is_allowed(const std::vector<double>& residual) const {
  if (allowed_.scaling == nullptr) return false;
  for (size_t i = 0; i < residual.size(); ++i) {
    if (!(std::fabs(residual[i]) <= at_.tau * allowed_.primal(i))) return false;
  }
  return !moves_gap(residual);
}

void Direction::take_correction(double factor, NewtonVector* correction, Step* step) {
  add(factor, correction->x, &offset_.x);
  add(factor, correction->y, &offset_.y);
  for (double& value : correction->y) value *= factor;
  scalings_.for_each_matrix(
      [&](size_t m) { matrices_[m].correct(correction->y, &step->matrices[m]); });
  complete(step);
}

// The residual that the step leaves of the equations is solved for once more, with a right-hand
// side as small as that. It is more than it should be where tau is small, and always of matrix
// variables: their step is computed from dy through products with W, whose rounding errors grow as
// W's condition does.
void Direction::refine(Step* step) {
  constexpr int kMostCorrections = 4;
  constexpr double kGoodShare = 0.1;
  constexpr double kSlowCorrection = 0.5;
  NewtonVector correction(problem_);
  double before = kInfinity;
  for (int k = 0; k < kMostCorrections; ++k) {
    // Minus the residual of A dx + <A_i, dX> - b dtau = -reduction * residual.
    for (size_t i = 0; i < rhs_.y.size(); ++i) {
      rhs_.y[i] = problem_.rhs[i] * step->tau - step->reduction * residuals_.primal[i];
    }
    add_product(problem_.matrix, -1.0, step->x, rhs_.y);
    for (size_t m = 0; m < matrices_.size(); ++m) {
      add_products(problem_.matrices[m], step->matrices[m].x, -1.0, rhs_.y);
    }
    const double error = largest(rhs_.y);
    if (error > before) {
      take_correction(-1.0, &correction, step);
      return;
    }
    const bool is_good = error <= kGoodShare * step->reduction * largest(residuals_.primal);
    if (is_good || error > kSlowCorrection * before) return;
    if (matrices_.empty() ? !moves_gap(rhs_.y) : is_allowed(rhs_.y)) return;
    before = error;
    std::fill(rhs_.x.begin(), rhs_.x.end(), 0.0);
    system_.solve(rhs_, &correction);
    take_correction(1.0, &correction, step);
  }
}

double Direction::distance_of_cones() const { return largest(cone_rhs_); }

}  // namespace vorlan::conic
