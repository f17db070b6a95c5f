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

constexpr Operation kTable[] = {
#define OPERATION(name, ...) {#name, name##_parameters},
#define ECHO_OPERATION OPERATION
#include "operations.def"
#undef ECHO_OPERATION
#undef OPERATION
};

}  // namespace

std::span<const Operation> operations() { return kTable; }

const Operation* find_operation(std::string_view name) {
  const auto* found = std::ranges::find(kTable, name, &Operation::name);
  return found == std::end(kTable) ? nullptr : found;
}

}  // namespace recording
