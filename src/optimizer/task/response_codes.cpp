// The table of response codes and its lookup.
#include "task/response_codes.h"

#include <algorithm>

namespace vorlan {
namespace {

constexpr CodeEntry kCodes[] = {
#define VORLAN_CODE(enumerator, number, name, text) {Code::enumerator, name, text},
#include "task/response_codes.def"
#undef VORLAN_CODE
};

}  // namespace

std::span<const CodeEntry> response_codes() { return kCodes; }

const CodeEntry* find_code(int32_t number) {
  const auto by_number = [](const CodeEntry& entry, int32_t wanted) {
    return static_cast<int32_t>(entry.code) < wanted;
  };
  const CodeEntry* entry =
      std::lower_bound(std::begin(kCodes), std::end(kCodes), number, by_number);
  if (entry == std::end(kCodes) || static_cast<int32_t>(entry->code) != number) return nullptr;
  return entry;
}

}  // namespace vorlan
