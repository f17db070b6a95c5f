// The environment says how many random models a test tries, and from which on
// (VORLAN_RANDOM_MODELS, VORLAN_RANDOM_FIRST), so that a failing model can be made again by its
// number.
#pragma once

#include <cstdint>
#include <cstdlib>

namespace vorlan::test {

inline uint32_t number_from(const char* variable, uint32_t otherwise) {
  const char* number = std::getenv(variable);
  return number == nullptr ? otherwise : static_cast<uint32_t>(std::strtoul(number, nullptr, 10));
}

}  // namespace vorlan::test
