// The unit of a head is what makes it as large as the member that it is compared with.
#include "solve/conic/exponential_units.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace vorlan::conic {
namespace {

// A head that is nearer to 1 than by this power of two needs no unit.
constexpr int32_t kLeastChange = 10;
constexpr int32_t kMostExponent = 200;

// How many powers of two are between the head and the member that the exponential multiplies: x and
// y, or in the dual cone u >= -w exp(v / w - 1) u and -w.
int32_t distance_of_head(const ConeBlock& cone, const std::vector<double>& x) {
  const double head = x[index(cone.vars[0])];
  const double other =
      cone.kind == ConeKind::kExponential ? x[index(cone.vars[1])] : -x[index(cone.vars[2])];
  if (!(head > 0.0) || !(other > 0.0)) return 0;
  const double distance = std::log2(head) - std::log2(other);
  return static_cast<int32_t>(
      std::clamp(std::round(distance), -1.0 * kMostExponent, 1.0 * kMostExponent));
}

}  // namespace

bool is_exponential(const ConeBlock& cone) {
  return cone.kind == ConeKind::kExponential || cone.kind == ConeKind::kDualExponential;
}

bool choose_units_of_heads(const InteriorPoint& point, std::vector<ConeBlock>* cones) {
  bool has_changed = false;
  for (ConeBlock& cone : *cones) {
    if (!is_exponential(cone)) continue;
    const int32_t change = distance_of_head(cone, point.x);
    if (std::abs(change) < kLeastChange) continue;
    const int32_t next = std::clamp(cone.head_exponent + change, -kMostExponent, kMostExponent);
    has_changed = has_changed || next != cone.head_exponent;
    cone.head_exponent = next;
  }
  return has_changed;
}

}  // namespace vorlan::conic
