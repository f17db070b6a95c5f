// How many members a cone may have, by its kind, for readers that refuse others with their place.
#pragma once

#include <algorithm>
#include <cstddef>
#include <limits>

#include "task/model.h"

namespace vorlan {

struct ConeSizes {
  size_t least, most;
};

// `exponents` is the number of exponents of a power cone, and 0 for the other kinds.
inline ConeSizes cone_sizes(ConeKind kind, size_t exponents) {
  constexpr size_t kAny = std::numeric_limits<size_t>::max();
  switch (kind) {
    case ConeKind::kQuadratic:
      return {1, kAny};
    case ConeKind::kRotatedQuadratic:
      return {2, kAny};
    case ConeKind::kExponential:
    case ConeKind::kDualExponential:
      return {3, 3};
    case ConeKind::kPower:
    case ConeKind::kDualPower:
      return {std::max<size_t>(exponents, 1), kAny};
  }
  return {0, kAny};
}

}  // namespace vorlan
