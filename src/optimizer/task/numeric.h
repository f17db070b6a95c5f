// The infinity and the conversion to container indices that all of the optimizer uses.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <type_traits>

namespace vorlan {

// An infinite bound, and a residual or objective that is not known.
inline constexpr double kInfinity = std::numeric_limits<double>::infinity();

// Counts and places of a model are signed, while containers take size_t. The value must not be
// negative.
constexpr size_t index(int64_t i) { return static_cast<size_t>(i); }

// The place of a value of an enumeration in a table that has a row for each.
template <class Enum>
requires std::is_enum_v<Enum>
constexpr size_t index(Enum value) { return static_cast<size_t>(value); }

}  // namespace vorlan
