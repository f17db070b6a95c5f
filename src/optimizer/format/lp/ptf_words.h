// The words of the sections that PTF files have beyond LP files.
#pragma once

#include <span>
#include <string>
#include <string_view>

#include "format/common/nearest.h"
#include "format/lp/lp_tokens.h"
#include "task/model.h"
#include "task/solution.h"
#include "task/status_words.h"

namespace vorlan {

template <class Value>
struct PtfWord {
  std::string_view word;
  Value value;
};

inline constexpr PtfWord<ConeKind> kPtfConeKinds[] = {
    {"quadratic", ConeKind::kQuadratic},
    {"rotated_quadratic", ConeKind::kRotatedQuadratic},
    {"exponential", ConeKind::kExponential},
    {"dual_exponential", ConeKind::kDualExponential},
    {"power", ConeKind::kPower},
    {"dual_power", ConeKind::kDualPower},
};

inline constexpr PtfWord<SolutionKind> kPtfSolutionKinds[] = {
    {"interior", SolutionKind::kInterior},
    {"basic", SolutionKind::kBasic},
    {"integer", SolutionKind::kInteger},
};

inline constexpr PtfWord<StatusKey> kPtfStatusKeys[] = {
    {"unknown", StatusKey::kUnknown},       {"basic", StatusKey::kBasic},
    {"superbasic", StatusKey::kSuperBasic}, {"at_lower", StatusKey::kAtLower},
    {"at_upper", StatusKey::kAtUpper},      {"fixed", StatusKey::kFixed},
    {"infinite", StatusKey::kInfinite},
};

template <class Value, size_t size>
bool find_ptf_word(const PtfWord<Value> (&words)[size], std::string_view text, Value* value) {
  for (const PtfWord<Value>& entry : words) {
    if (!is_lp_word(text, entry.word)) continue;
    *value = entry.value;
    return true;
  }
  return false;
}

template <class Value, size_t size>
std::string_view ptf_word(const PtfWord<Value> (&words)[size], Value value) {
  for (const PtfWord<Value>& entry : words) {
    if (entry.value == value) return entry.word;
  }
  return "unknown";
}

// The words of statuses are those of the other files, with '_' for what no name can have.
std::string ptf_status(std::string_view word);

// The status of this word, if it is one.
template <class Enum>
bool find_ptf_status(std::span<const StatusWord> statuses, std::string_view text, Enum* status) {
  for (const StatusWord& entry : statuses) {
    if (!is_lp_word(text, ptf_status(entry.word))) continue;
    *status = static_cast<Enum>(entry.value);
    return true;
  }
  return false;
}

std::string ptf_status_advice(std::span<const StatusWord> statuses, std::string_view text);

// The text with a code (byte_codes.h) for each byte that a line cannot have there.
enum class PtfText : uint8_t { kName, kValue };  // of a parameter
std::string encode_ptf_text(std::string_view text, PtfText kind);

}  // namespace vorlan
