// The scaling is a BFGS update of the barrier's Hessian, in dense algebra of the order of the cone.
#include "solve/conic/nonsymmetric_cone.h"

#include <Eigen/Cholesky>
#include <Eigen/LU>
#include <algorithm>
#include <utility>
#include <vector>

namespace vorlan::conic {
namespace {

using Matrix = Eigen::MatrixXd;
using Vector = Eigen::VectorXd;
using ConstMatrixMap = Eigen::Map<const Matrix>;
using MatrixMap = Eigen::Map<Matrix>;
using ConstVectorMap = Eigen::Map<const Vector>;

ConstMatrixMap map(const DenseMatrix& matrix) {
  return {matrix.view().data(), static_cast<Eigen::Index>(matrix.rows()),
          static_cast<Eigen::Index>(matrix.cols())};
}

MatrixMap map(DenseMatrix* matrix) {
  return {matrix->view().data(), static_cast<Eigen::Index>(matrix->rows()),
          static_cast<Eigen::Index>(matrix->cols())};
}

ConstVectorMap map(std::span<const double> values) {
  return {values.data(), static_cast<Eigen::Index>(values.size())};
}

std::span<const double> view(const Vector& vector) { return {vector.data(), index(vector.size())}; }

std::span<double> view(Vector* vector) { return {vector->data(), index(vector->size())}; }

// The neighbourhood: 1 / mu' >= kNeighbourhood mu, as wide as the reference takes it.
constexpr double kNeighbourhood = 1e-6;
// Nearer to the central path than this the two conditions on H are one.
constexpr double kOnPath = 1e-6;

}  // namespace

NonsymmetricCone::NonsymmetricCone(std::unique_ptr<Barrier> barrier, Side side)
    : ScaledCone(barrier->size()),
      barrier_(std::move(barrier)),
      side_(side),
      barrier_hessian_(size(), size()),
      hessian_(size(), size()) {}

ConePoint NonsymmetricCone::of_barrier(const ConePoint& point) const {
  return side_ == Side::kPrimal ? point : ConePoint{point.z, point.s};
}

void NonsymmetricCone::start(std::span<double> s, std::span<double> z) const {
  if (side_ == Side::kDual) std::swap(s, z);
  barrier_->central_point(s);
  barrier_->gradient(s, z);
  for (double& value : z) value = -value;
}

bool NonsymmetricCone::is_inside(const ConePoint& own) const {
  return barrier_->inside(own.s) && barrier_->dual_inside(own.z);
}

void NonsymmetricCone::blend(const ConePoint& own, const ConePoint& shadow) {
  const auto n = static_cast<Eigen::Index>(size());
  const ConstVectorMap s = map(own.s);
  const ConstVectorMap z = map(own.z);
  const ConstVectorMap s_shadow = map(shadow.s);
  const ConstVectorMap z_shadow = map(shadow.z);
  const double own_mu = s.dot(z) / degree();
  const double shadow_mu = s_shadow.dot(z_shadow) / degree();
  const Matrix base = own_mu * map(barrier_hessian_);
  map(&hessian_) = base;
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
  if (Eigen::LLT<Matrix>(symmetric).info() == Eigen::Success) map(&hessian_) = symmetric;
}

bool NonsymmetricCone::update(const ConePoint& at, double mu) {
  const ConePoint own = of_barrier(at);
  if (!is_inside(own)) return false;
  std::vector<double> shadow(size());
  std::vector<double> dual_shadow(size());
  barrier_->shadow(own.z, shadow);
  barrier_->gradient(own.s, dual_shadow);
  for (double& value : dual_shadow) value = -value;
  const double shadow_mu = map(shadow).dot(map(dual_shadow)) / degree();
  if (!(shadow_mu * mu * kNeighbourhood <= 1.0)) return false;
  barrier_->hessian(own.s, barrier_hessian_);
  blend(own, {shadow, dual_shadow});
  return side_ == Side::kPrimal || invert_hessian();
}

// The scaling of the dual cone is the inverse of that of the barrier's own.
bool NonsymmetricCone::invert_hessian() {
  const auto n = static_cast<Eigen::Index>(size());
  const Eigen::LLT<Matrix> factor(map(hessian_));
  if (factor.info() != Eigen::Success) return false;
  const Matrix inverse = factor.solve(Matrix::Identity(n, n));
  map(&hessian_) = 0.5 * (inverse + inverse.transpose());
  return true;
}

void NonsymmetricCone::hessian(MatrixView h) const {
  for (size_t j = 0; j < size(); ++j) {
    const std::span<const double> column = hessian_.view().column(j);
    std::copy(column.begin(), column.end(), h.column(j).begin());
  }
}

void NonsymmetricCone::multiply(std::span<const double> ds, std::span<double> out) const {
  Eigen::Map<Vector>(out.data(), static_cast<Eigen::Index>(out.size())) = map(hessian_) * map(ds);
}

// The right-hand side in the barrier's own parts is -z - mu grad f(s) + 1/2 f'''(s)[ds, inv(f''(s))
// dz].
void NonsymmetricCone::centering_rhs(const ConePoint& at, double mu_target, const ConePoint& affine,
                                     std::span<double> out) const {
  const auto n = static_cast<Eigen::Index>(size());
  const ConePoint own = of_barrier(at);
  const ConePoint step = of_barrier(affine);
  Vector gradient(n);
  Vector third = Vector::Zero(n);
  barrier_->gradient(own.s, view(&gradient));
  const Eigen::LLT<Matrix> factor(map(barrier_hessian_));
  if (factor.info() == Eigen::Success) {
    const Vector back = factor.solve(map(step.z));
    barrier_->third(own.s, step.s, view(back), view(&third));
    if (!third.allFinite()) third.setZero();
  }
  const Vector rhs = -map(own.z) - mu_target * gradient + 0.5 * third;
  Eigen::Map<Vector> result(out.data(), n);
  if (side_ == Side::kDual) {
    result = map(hessian_) * rhs;
  } else {
    result = rhs;
  }
}

double NonsymmetricCone::step_length(const ConePoint& at, const ConePoint& step,
                                     double limit) const {
  const ConePoint own = of_barrier(at);
  const ConePoint change = of_barrier(step);
  Vector s(static_cast<Eigen::Index>(size()));
  Vector z(static_cast<Eigen::Index>(size()));
  const auto holds = [&](double length) {
    s = map(own.s) + length * map(change.s);
    z = map(own.z) + length * map(change.z);
    return is_inside({view(s), view(z)});
  };
  // The boundary has no formula: the step is shortened until it holds, and then lengthened by
  // bisection.
  constexpr double kShortest = 1e-12;
  constexpr double kShortening = 0.7;
  constexpr int kBisections = 6;
  double length = limit;
  while (!holds(length)) {
    length *= kShortening;
    if (length < kShortest) return 0.0;
  }
  if (length == limit) return length;
  double outside = length / kShortening;
  for (int k = 0; k < kBisections; ++k) {
    const double middle = 0.5 * (length + outside);
    (holds(middle) ? length : outside) = middle;
  }
  return length;
}

}  // namespace vorlan::conic
