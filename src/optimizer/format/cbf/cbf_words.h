// The names of cones in CBF files. Members stand in the order of ConeKind.
#pragma once

#include <string_view>

#include "task/model.h"
#include "task/numeric.h"

namespace vorlan {

struct CbfLinearCone {
  std::string_view word;
  double lower, upper;
};

inline constexpr CbfLinearCone kCbfLinearCones[] = {
    {"F", -kInfinity, kInfinity},
    {"L+", 0.0, kInfinity},
    {"L-", -kInfinity, 0.0},
    {"L=", 0.0, 0.0},
};

// Power cones are named "@K:" and the word, with K their place in the table of exponents.
struct CbfCone {
  std::string_view word;
  ConeKind kind;
  int version;  // of the format that has it first
};

inline constexpr CbfCone kCbfCones[] = {
    {"Q", ConeKind::kQuadratic, 1},     {"QR", ConeKind::kRotatedQuadratic, 1},
    {"EXP", ConeKind::kExponential, 2}, {"EXP*", ConeKind::kDualExponential, 2},
    {"POW", ConeKind::kPower, 3},       {"POW*", ConeKind::kDualPower, 3},
};

// True for a cone of version 4. No public text defines these: programs differ in the order of the
// members.
inline bool is_vectorized_cone(std::string_view word) {
  return word == "SVECPSD" || word == "GMEANABS" || word == "GMEANABS*";
}

inline constexpr int kCbfLastVersion = 4;

inline bool is_power(ConeKind kind) {
  return kind == ConeKind::kPower || kind == ConeKind::kDualPower;
}

}  // namespace vorlan
