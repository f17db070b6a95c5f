// Scaling, shadows and the neighbourhood of the central path.
#include "solve/conic/nonsymmetric_cone.h"

#include <Eigen/Cholesky>
#include <Eigen/LU>
#include <cmath>
#include <utility>

namespace vorlan::conic {
namespace {

using Matrix = Eigen::MatrixXd;
using Vector = Eigen::VectorXd;
using MatrixView = Eigen::Map<const Matrix>;
using VectorView = Eigen::Map<const Vector>;

// The neighbourhood: 1 / mu' >= kNeighbourhood mu, as wide as the reference takes it.
constexpr double kNeighbourhood = 1e-6;
// Nearer to the central path than this the two conditions on H are one.
constexpr double kOnPath = 1e-6;

}  // namespace

NonsymmetricCone::NonsymmetricCone(std::unique_ptr<Barrier> barrier, bool dual)
    : ScaledCone(barrier->size()), barrier_(std::move(barrier)), dual_(dual) {
  const auto elements = static_cast<size_t>(size()) * static_cast<size_t>(size());
  barrier_hessian_.resize(elements);
  hessian_.resize(elements);
}

void NonsymmetricCone::start(double* s, double* z) const {
  if (dual_) std::swap(s, z);
  barrier_->central_point(s);
  barrier_->gradient(s, z);
  for (int32_t i = 0; i < size(); ++i) z[i] = -z[i];
}

bool NonsymmetricCone::inside(const double* member, const double* dual_member) const {
  return barrier_->inside(member) && barrier_->dual_inside(dual_member);
}

void NonsymmetricCone::blend(const double* member, const double* dual_member,
                             const std::vector<double>& shadow,
                             const std::vector<double>& dual_shadow) {
  const auto n = size();
  const VectorView s(member, n);
  const VectorView z(dual_member, n);
  const VectorView s_shadow(shadow.data(), n);
  const VectorView z_shadow(dual_shadow.data(), n);
  const double own_mu = s.dot(z) / degree();
  const double shadow_mu = s_shadow.dot(z_shadow) / degree();
  Eigen::Map<Matrix> scaling(hessian_.data(), n, n);
  const Matrix base = own_mu * MatrixView(barrier_hessian_.data(), n, n);
  scaling = base;
  if (!(own_mu * shadow_mu - 1.0 > kOnPath)) return;
  Matrix from(n, 2);
  Matrix to(n, 2);
  from << s, s_shadow;
  to << z, z_shadow;
  const Eigen::Matrix2d inner = from.transpose() * to;
  const Matrix image = base * from;
  const Eigen::Matrix2d base_inner = from.transpose() * image;
  const Matrix blended = base + to * inner.inverse() * to.transpose() -
                         image * base_inner.inverse() * image.transpose();
  const Matrix symmetric = 0.5 * (blended + blended.transpose());
  if (Eigen::LLT<Matrix>(symmetric).info() == Eigen::Success) scaling = symmetric;
}

bool NonsymmetricCone::update(const double* s, const double* z, double mu) {
  const double* member = dual_ ? z : s;
  const double* dual_member = dual_ ? s : z;
  if (!inside(member, dual_member)) return false;
  const auto n = size();
  std::vector<double> shadow(static_cast<size_t>(n));
  std::vector<double> dual_shadow(static_cast<size_t>(n));
  barrier_->shadow(dual_member, shadow.data());
  barrier_->gradient(member, dual_shadow.data());
  for (double& value : dual_shadow) value = -value;
  const double shadow_mu =
      VectorView(shadow.data(), n).dot(VectorView(dual_shadow.data(), n)) / degree();
  if (!(shadow_mu * mu * kNeighbourhood <= 1.0)) return false;
  barrier_->hessian(member, barrier_hessian_.data());
  blend(member, dual_member, shadow, dual_shadow);
  if (!dual_) return true;
  const Eigen::LLT<Matrix> factor(MatrixView(hessian_.data(), n, n));
  if (factor.info() != Eigen::Success) return false;
  const Matrix inverse = factor.solve(Matrix::Identity(n, n));
  Eigen::Map<Matrix>(hessian_.data(), n, n) = 0.5 * (inverse + inverse.transpose());
  return true;
}

void NonsymmetricCone::hessian(double* h) const { std::copy(hessian_.begin(), hessian_.end(), h); }

void NonsymmetricCone::multiply(const double* ds, double* out) const {
  const auto n = size();
  Eigen::Map<Vector>(out, n) = MatrixView(hessian_.data(), n, n) * VectorView(ds, n);
}

// In the barrier's own parts: -z - mu grad f(s) + 1/2 f'''(s)[ds, inv(f''(s)) dz].
void NonsymmetricCone::centering_rhs(const double* s, const double* z, double mu_target,
                                     const double* ds, const double* dz, double* out) const {
  const auto n = size();
  const double* member = dual_ ? z : s;
  const double* dual_member = dual_ ? s : z;
  const double* step = dual_ ? dz : ds;
  const double* dual_step = dual_ ? ds : dz;
  Vector gradient(n);
  Vector third = Vector::Zero(n);
  barrier_->gradient(member, gradient.data());
  const Eigen::LLT<Matrix> factor(MatrixView(barrier_hessian_.data(), n, n));
  if (factor.info() == Eigen::Success) {
    const Vector back = factor.solve(VectorView(dual_step, n));
    barrier_->third(member, step, back.data(), third.data());
    if (!third.allFinite()) third.setZero();
  }
  const Vector rhs = -VectorView(dual_member, n) - mu_target * gradient + 0.5 * third;
  Eigen::Map<Vector> result(out, n);
  if (dual_) {
    result = MatrixView(hessian_.data(), n, n) * rhs;
  } else {
    result = rhs;
  }
}

double NonsymmetricCone::step_length(const double* s, const double* ds, const double* z,
                                     const double* dz, double limit) const {
  const auto n = size();
  Vector s_new(n);
  Vector z_new(n);
  const auto holds = [&](double step) {
    s_new = VectorView(s, n) + step * VectorView(ds, n);
    z_new = VectorView(z, n) + step * VectorView(dz, n);
    return dual_ ? inside(z_new.data(), s_new.data()) : inside(s_new.data(), z_new.data());
  };
  constexpr double kShortest = 1e-12;
  double step = limit;
  while (!holds(step)) {
    step *= 0.7;
    if (step < kShortest) return 0.0;
  }
  if (step == limit) return step;
  double outside = step / 0.7;
  constexpr int kBisections = 6;
  for (int k = 0; k < kBisections; ++k) {
    const double middle = 0.5 * (step + outside);
    (holds(middle) ? step : outside) = middle;
  }
  return step;
}

}  // namespace vorlan::conic
