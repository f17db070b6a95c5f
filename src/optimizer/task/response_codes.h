// Response and termination codes as the library itself names them, and the table behind
// VLN_getcodedesc.
#pragma once

#include <cstdint>
#include <span>

namespace vorlan {

enum class Code : int32_t {
#define VORLAN_CODE(enumerator, number, name, text) enumerator = (number),
#include "task/response_codes.def"
#undef VORLAN_CODE
};

struct CodeEntry {
  Code code;
  const char* name;
  const char* text;
};

// All codes, sorted by number.
std::span<const CodeEntry> response_codes();

// The entry of a code, or nullptr when there is none of this number.
const CodeEntry* find_code(int32_t number);

}  // namespace vorlan
