// operations.cpp - the table operations.def as data, for whoever looks an operation up by name.
#include "operations.h"

#include <algorithm>

namespace recording {
namespace {

#define OPERATION(name, ...) \
  constexpr Parameter name##_parameters[] = {FOR_EACH_ARGUMENT(TABLED_PARAMETER, __VA_ARGS__)};
#define ECHO_OPERATION OPERATION
#include "operations.def"
#undef ECHO_OPERATION
#undef OPERATION

constexpr Operation table[] = {
#define OPERATION(name, ...) {#name, name##_parameters},
#define ECHO_OPERATION OPERATION
#include "operations.def"
#undef ECHO_OPERATION
#undef OPERATION
};

}  // namespace

std::span<const Operation> operations() { return table; }

const Operation* find_operation(std::string_view name) {
  const auto* found = std::ranges::find(table, name, &Operation::name);
  return found == std::end(table) ? nullptr : found;
}

}  // namespace recording
