// The parameters' names and numbers, made from the table parameters.def.
#pragma once

#include <cstdint>

#include "task/parameters.h"

namespace vorlan {

enum class IntParam : int32_t {
#define VORLAN_INT(enumerator, index, ...) enumerator = (index),
#define VORLAN_DOUBLE(...)
#define VORLAN_STRING(...)
#include "task/parameters.def"
#undef VORLAN_INT
#undef VORLAN_DOUBLE
#undef VORLAN_STRING
};

enum class DoubleParam : int32_t {
#define VORLAN_INT(...)
#define VORLAN_DOUBLE(enumerator, index, ...) enumerator = (index),
#define VORLAN_STRING(...)
#include "task/parameters.def"
#undef VORLAN_INT
#undef VORLAN_DOUBLE
#undef VORLAN_STRING
};

enum class StringParam : int32_t {
#define VORLAN_INT(...)
#define VORLAN_DOUBLE(...)
#define VORLAN_STRING(enumerator, index, ...) enumerator = (index),
#include "task/parameters.def"
#undef VORLAN_INT
#undef VORLAN_DOUBLE
#undef VORLAN_STRING
};

}  // namespace vorlan
