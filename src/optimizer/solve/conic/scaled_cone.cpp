// The cones by kind.
#include "solve/conic/scaled_cone.h"

#include "solve/conic/nonsymmetric_cone.h"
#include "solve/conic/second_order_cone.h"

namespace vorlan::conic {

std::unique_ptr<ScaledCone> make_cone(const ConeBlock& block) {
  const auto size = static_cast<int32_t>(block.vars.size());
  switch (block.kind) {
    case ConeKind::kRotatedQuadratic:
      return std::make_unique<SecondOrderCone>(size, true);
    case ConeKind::kExponential:
    case ConeKind::kDualExponential:
      return std::make_unique<NonsymmetricCone>(make_exponential_barrier(),
                                                block.kind == ConeKind::kDualExponential);
    case ConeKind::kPower:
    case ConeKind::kDualPower:
      return std::make_unique<NonsymmetricCone>(make_power_barrier(size, block.exponents),
                                                block.kind == ConeKind::kDualPower);
    default:
      return std::make_unique<SecondOrderCone>(size, false);
  }
}

}  // namespace vorlan::conic
