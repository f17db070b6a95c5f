// The infinity and the conversion to container indices that all of the optimizer uses.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>

namespace vorlan {

// An infinite bound, and a residual or objective that is not known.
inline constexpr double kInfinity = std::numeric_limits<double>::infinity();

// Counts and places of a model are signed, while containers take size_t. The value must not be
// negative.
constexpr size_t index(int64_t i) { return static_cast<size_t>(i); }

}  // namespace vorlan
