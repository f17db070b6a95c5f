// The six kinds of cones are three: a rotated quadratic cone is a quadratic one in other
// coordinates, and a dual cone is the other one with the parts of its points exchanged.
#include "solve/conic/make_cone.h"

#include <numbers>

#include "solve/conic/nonsymmetric_cone.h"
#include "solve/conic/second_order_cone.h"

namespace vorlan::conic {

std::unique_ptr<ScaledCone> make_cone(const ConeBlock& block) {
  const size_t size = block.vars.size();
  const double shift = block.head_exponent * std::numbers::ln2;
  switch (block.kind) {
    case ConeKind::kQuadratic:
      return std::make_unique<SecondOrderCone>(size, SecondOrderCone::Axes::kOwn);
    case ConeKind::kRotatedQuadratic:
      return std::make_unique<SecondOrderCone>(size, SecondOrderCone::Axes::kRotated);
    case ConeKind::kExponential:
      return std::make_unique<NonsymmetricCone>(make_exponential_barrier(shift),
                                                NonsymmetricCone::Side::kPrimal);
    case ConeKind::kDualExponential:
      return std::make_unique<NonsymmetricCone>(make_exponential_barrier(-shift),
                                                NonsymmetricCone::Side::kDual);
    case ConeKind::kPower:
      return std::make_unique<NonsymmetricCone>(make_power_barrier(size, block.exponents),
                                                NonsymmetricCone::Side::kPrimal);
    case ConeKind::kDualPower:
      return std::make_unique<NonsymmetricCone>(make_power_barrier(size, block.exponents),
                                                NonsymmetricCone::Side::kDual);
  }
  return nullptr;
}

}  // namespace vorlan::conic
