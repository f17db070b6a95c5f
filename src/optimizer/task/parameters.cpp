// The parameter tables, and checks and conversions that follow from them.
#include "task/parameters.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>
#include <cstring>
#include <iterator>
#include <vector>

#include "task/numeric.h"
#include "task/parameter_index.h"
#include "task/text.h"

namespace vorlan {
namespace {

constexpr ValueWord kSwitchWords[] = {{"off", 0}, {"on", 1},    {"no", 0},
                                      {"yes", 1}, {"false", 0}, {"true", 1}};
constexpr ValueWord kOptimizerWords[] = {
    {"free", 0}, {"primal_simplex", 1}, {"dual_simplex", 2}, {"interior_point", 3}, {"conic", 4}};
constexpr ValueWord kPresolveWords[] = {{"off", 0}, {"on", 1}, {"free", 2}};
constexpr ValueWord kChildWords[] = {{"off", 0}, {"on", 1}, {"automatic", 2}};
constexpr ValueWord kScalingWords[] = {
    {"off", 0}, {"free", 1}, {"equilibrate", 2}, {"forced", 3}, {"max_value", 4}};
constexpr ValueWord kEmphasisWords[] = {{"balance", 0}, {"feasibility", 1}, {"proof", 2}};
constexpr ValueWord kLogWords[] = {{"off", 0}, {"summary", 1}, {"full", 2}};

constexpr IntParamEntry kInts[] = {
#define VORLAN_INT(id, index, name, lower, upper, initial, words, theme, owner, methods, text) \
  {IntParam::id, name, lower, upper, initial, words, text},
#define VORLAN_DOUBLE(...)
#define VORLAN_STRING(...)
#include "task/parameters.def"
#undef VORLAN_INT
#undef VORLAN_DOUBLE
#undef VORLAN_STRING
};

constexpr DoubleParamEntry kDoubles[] = {
#define VORLAN_INT(...)
#define VORLAN_DOUBLE(id, index, name, lower, upper, initial, theme, owner, methods, text) \
  {DoubleParam::id, name, lower, upper, initial, text},
#define VORLAN_STRING(...)
#include "task/parameters.def"
#undef VORLAN_INT
#undef VORLAN_DOUBLE
#undef VORLAN_STRING
};

constexpr StringParamEntry kStrings[] = {
#define VORLAN_INT(...)
#define VORLAN_DOUBLE(...)
#define VORLAN_STRING(id, index, name, text) {StringParam::id, name, text},
#include "task/parameters.def"
#undef VORLAN_INT
#undef VORLAN_DOUBLE
#undef VORLAN_STRING
};

// Slot of a number in a table sorted by numbers; the table's size when there is none.
template <class Table>
size_t find_slot(const Table& table, int32_t number) {
  const auto* entry = std::lower_bound(
      std::begin(table), std::end(table), number,
      [](const auto& e, int32_t wanted) { return static_cast<int32_t>(e.param) < wanted; });
  if (entry == std::end(table) || static_cast<int32_t>(entry->param) != number) {
    return std::size(table);
  }
  return index(entry - std::begin(table));
}

// Names and values in messages are cut: a message is one line.
constexpr int kShownLength = 200;

int shown_length(std::string_view text) {
  return static_cast<int>(std::min<size_t>(text.size(), kShownLength));
}

std::string in_capitals(std::string_view text) {
  std::string capitals(text.substr(0, kShownLength));
  for (char& c : capitals) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return capitals;
}

// The part of a name behind "VLN_IPAR_" and its like, which all names share; all of a name without
// such a beginning.
std::string_view own_part(std::string_view name) {
  constexpr std::string_view kLibrary = "VLN_";
  constexpr std::string_view kKind = "PAR_";
  const size_t size = kLibrary.size() + 1 + kKind.size();
  const bool prefixed = name.size() >= size && name.starts_with(kLibrary) &&
                        name.substr(kLibrary.size() + 1).starts_with(kKind);
  return prefixed ? name.substr(size) : name;
}

std::vector<std::string_view> words_of(std::string_view name) {
  std::vector<std::string_view> words;
  while (!name.empty()) {
    const size_t end = std::min(name.find('_'), name.size());
    if (end > 0) words.push_back(name.substr(0, end));
    name.remove_prefix(std::min(end + 1, name.size()));
  }
  return words;
}

template <class Act>
void for_each_name(const Act& act) {
  for (const IntParamEntry& entry : kInts) act(entry.name);
  for (const DoubleParamEntry& entry : kDoubles) act(entry.name);
  for (const StringParamEntry& entry : kStrings) act(entry.name);
}

// The shortest name that has all of the words, in any order: TARGET_OBJECTIVE where somebody wrote
// OBJECTIVE_TARGET. Null if there is none.
const char* name_with_words(std::string_view wanted) {
  const std::vector<std::string_view> words = words_of(wanted);
  const char* shortest = nullptr;
  for_each_name([&](const char* candidate) {
    const std::vector<std::string_view> has = words_of(own_part(candidate));
    const bool has_all = std::all_of(words.begin(), words.end(), [&has](std::string_view word) {
      return std::find(has.begin(), has.end(), word) != has.end();
    });
    if (!has_all || words.empty()) return;
    if (shortest == nullptr || std::strlen(candidate) < std::strlen(shortest)) shortest = candidate;
  });
  return shortest;
}

// The name that was meant, or nullptr when none has the same words or is so near that no more than a
// third of the letters differ.
const char* nearest_name(std::string_view name) {
  const std::string capitals = in_capitals(name);
  const std::string_view wanted = own_part(capitals);
  const char* nearest = name_with_words(wanted);
  if (nearest != nullptr) return nearest;
  int best = static_cast<int>(wanted.size() / 3) + 1;
  for_each_name([&](const char* candidate) {
    const int distance =
        std::min(edit_distance(capitals, candidate), edit_distance(wanted, own_part(candidate)));
    if (distance >= best) return;
    nearest = candidate;
    best = distance;
  });
  return nearest;
}

Status unknown_name(std::string_view name) {
  const char* nearest = nearest_name(name);
  std::string text = format_text("there is no parameter '%.*s'", shown_length(name), name.data());
  if (nearest != nullptr) text += format_text("; the nearest name is %s", nearest);
  return {Code::kErrParamName, text};
}

// A NUL, which only a file can bring, would end the name of a file too early.
Status check_text(const StringParamEntry& entry, std::string_view value) {
  if (value.find('\0') == std::string_view::npos) return {};
  return {Code::kErrParamValue,
          format_text("the value of parameter %s has a NUL in it", entry.name)};
}

// Tells what a parameter takes, for messages: "0 to 2 (off, on, free)".
std::string allowed_values(const IntParamEntry& entry) {
  std::string text = format_text("%d to %d", entry.lower, entry.upper);
  const char* separator = " (";
  for (const ValueWord& word : entry.words) {
    text += separator;
    text += word.word;
    separator = ", ";
  }
  if (!entry.words.empty()) text += ')';
  return text;
}

std::string allowed_values(const DoubleParamEntry& entry) {
  return format_text("%g to %g", entry.lower, entry.upper);
}

template <class Entry>
Status bad_value(Code code, const Entry& entry, std::string_view value) {
  const char* what = code == Code::kErrParamRange ? "is out of range" : "is not understood";
  return {code, format_text("value '%.*s' of parameter %s %s; it takes %s", shown_length(value),
                            value.data(), entry.name, what, allowed_values(entry).c_str())};
}

template <class Number>
std::errc parse_number(std::string_view text, Number* number) {
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, *number);
  if (error != std::errc()) return error;
  return stop == end ? std::errc() : std::errc::invalid_argument;
}

template <class Entry, class Number>
Status parse_value(const Entry& entry, std::string_view text, Number* number) {
  const std::errc error = parse_number(text, number);
  if (error == std::errc::invalid_argument) return bad_value(Code::kErrParamValue, entry, text);
  const bool in_range = error == std::errc() && *number >= entry.lower && *number <= entry.upper;
  if (!in_range) return bad_value(Code::kErrParamRange, entry, text);
  return {};
}

Status parse_int(const IntParamEntry& entry, std::string_view text, int32_t* value) {
  for (const ValueWord& word : entry.words) {
    if (text != word.word) continue;
    *value = word.value;
    return {};
  }
  return parse_value(entry, text, value);
}

}  // namespace

std::span<const IntParamEntry> int_parameters() { return kInts; }
std::span<const DoubleParamEntry> double_parameters() { return kDoubles; }
std::span<const StringParamEntry> string_parameters() { return kStrings; }

const char* name_of(IntParam param) {
  return kInts[find_slot(kInts, static_cast<int32_t>(param))].name;
}

Parameters::Parameters() : strings_(std::size(kStrings)) {
  ints_.reserve(std::size(kInts));
  for (const IntParamEntry& entry : kInts) ints_.push_back(entry.initial);
  doubles_.reserve(std::size(kDoubles));
  for (const DoubleParamEntry& entry : kDoubles) doubles_.push_back(entry.initial);
}

int32_t Parameters::get(IntParam param) const {
  return ints_[find_slot(kInts, static_cast<int32_t>(param))];
}

double Parameters::get(DoubleParam param) const {
  return doubles_[find_slot(kDoubles, static_cast<int32_t>(param))];
}

const std::string& Parameters::get(StringParam param) const {
  return strings_[find_slot(kStrings, static_cast<int32_t>(param))];
}

void Parameters::set(IntParam param, int32_t value) {
  const size_t slot = find_slot(kInts, static_cast<int32_t>(param));
  ints_[slot] = std::clamp(value, kInts[slot].lower, kInts[slot].upper);
}

void Parameters::set(DoubleParam param, double value) {
  const size_t slot = find_slot(kDoubles, static_cast<int32_t>(param));
  doubles_[slot] = std::clamp(value, kDoubles[slot].lower, kDoubles[slot].upper);
}

Status Parameters::put_int(int32_t index, int32_t value) {
  const size_t slot = find_slot(kInts, index);
  if (slot == std::size(kInts)) {
    return {Code::kErrParamIndex, format_text("there is no integer parameter %d", index)};
  }
  const IntParamEntry& entry = kInts[slot];
  if (value < entry.lower || value > entry.upper) {
    return bad_value(Code::kErrParamRange, entry, std::to_string(value));
  }
  ints_[slot] = value;
  return {};
}

Status Parameters::get_int(int32_t index, int32_t* value) const {
  const size_t slot = find_slot(kInts, index);
  if (slot == std::size(kInts)) {
    return {Code::kErrParamIndex, format_text("there is no integer parameter %d", index)};
  }
  *value = ints_[slot];
  return {};
}

Status Parameters::put_string(int32_t index, std::string_view value) {
  if (index < 0 || index >= kNumStringParams) {
    return {Code::kErrParamIndex, format_text("there is no string parameter %d", index)};
  }
  const size_t slot = find_slot(kStrings, index);
  if (slot == std::size(kStrings)) {
    if (value.empty()) return {};
    return {Code::kErrParamReserved,
            format_text("string parameter %d is reserved and takes only the empty string", index)};
  }
  Status status = check_text(kStrings[slot], value);
  if (status.ok()) strings_[slot] = value;
  return status;
}

const char* Parameters::name_if_set(int32_t index) const {
  const size_t slot = find_slot(kStrings, index);
  return slot < std::size(kStrings) && !strings_[slot].empty() ? kStrings[slot].name : nullptr;
}

Status Parameters::put_by_name(std::string_view name, std::string_view value) {
  for (size_t slot = 0; slot < std::size(kInts); ++slot) {
    if (name != kInts[slot].name) continue;
    int32_t number = 0;
    Status status = parse_int(kInts[slot], value, &number);
    if (status.ok()) ints_[slot] = number;
    return status;
  }
  for (size_t slot = 0; slot < std::size(kDoubles); ++slot) {
    if (name != kDoubles[slot].name) continue;
    double number = 0.0;
    Status status = parse_value(kDoubles[slot], value, &number);
    if (status.ok()) doubles_[slot] = number;
    return status;
  }
  for (const StringParamEntry& entry : kStrings) {
    if (name == entry.name) return put_string(static_cast<int32_t>(entry.param), value);
  }
  return unknown_name(name);
}

}  // namespace vorlan
