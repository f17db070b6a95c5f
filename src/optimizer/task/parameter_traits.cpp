#include "task/parameter_traits.h"

#include <algorithm>
#include <iterator>

namespace vorlan {
namespace {

// The words of the columns in parameters.def.
constexpr ParamTheme kLimits = ParamTheme::kLimits;
constexpr ParamTheme kAccuracy = ParamTheme::kAccuracy;
constexpr ParamTheme kMethod = ParamTheme::kMethod;
constexpr ParamTheme kSearch = ParamTheme::kSearch;
constexpr ParamTheme kLogging = ParamTheme::kLogging;
constexpr ParamTheme kMachine = ParamTheme::kMachine;
constexpr ParamTheme kFiles = ParamTheme::kFiles;
constexpr ParamOwner kModel = ParamOwner::kModel;
constexpr ParamOwner kRun = ParamOwner::kRun;

constexpr SolveMethods bit(SolveMethod method) { return static_cast<SolveMethods>(method); }
constexpr SolveMethods kSimplex = bit(SolveMethod::kSimplex);
constexpr SolveMethods kInterior = bit(SolveMethod::kInterior);
constexpr SolveMethods kConic = bit(SolveMethod::kConic);
constexpr SolveMethods kOuterApproximation = bit(SolveMethod::kOuterApproximation);
constexpr SolveMethods kMixedInteger = bit(SolveMethod::kBranchAndCut) | kOuterApproximation;
constexpr SolveMethods kNotConic = kEveryMethod & ~kConic;
constexpr SolveMethods kEvery = kEveryMethod;

struct NamedTraits {
  std::string_view name;
  ParamTraits traits;
};

constexpr NamedTraits kTraits[] = {
#define VORLAN_INT(id, index, name, lower, upper, initial, words, theme, owner, methods, text) \
  {name, {theme, owner, methods}},
#define VORLAN_DOUBLE(id, index, name, lower, upper, initial, theme, owner, methods, text) \
  {name, {theme, owner, methods}},
#define VORLAN_STRING(...)
#include "task/parameters.def"
#undef VORLAN_INT
#undef VORLAN_DOUBLE
#undef VORLAN_STRING
};

constexpr struct {
  SolveMethod method;
  const char* word;
} kMethodWords[] = {
    {SolveMethod::kSimplex, "simplex"},
    {SolveMethod::kInterior, "interior point"},
    {SolveMethod::kConic, "conic"},
    {SolveMethod::kBranchAndCut, "branch and cut"},
    {SolveMethod::kOuterApproximation, "outer approximation"},
};

void add_word(std::string_view word, std::string* list) {
  if (!list->empty()) *list += ", ";
  *list += word;
}

}  // namespace

const ParamTraits* find_traits(std::string_view name) {
  const auto is_it = [name](const NamedTraits& entry) { return entry.name == name; };
  const auto* entry = std::find_if(std::begin(kTraits), std::end(kTraits), is_it);
  return entry == std::end(kTraits) ? nullptr : &entry->traits;
}

bool belongs_to_run(std::string_view name) {
  const ParamTraits* traits = find_traits(name);
  return traits != nullptr && traits->owner == ParamOwner::kRun;
}

const char* word_of(SolveMethod method) {
  for (const auto& row : kMethodWords) {
    if (row.method == method) return row.word;
  }
  return "";
}

std::string words_of_methods(SolveMethods methods) {
  if (methods == kEveryMethod) return "every";
  std::string list;
  for (const auto& row : kMethodWords) {
    if ((methods & bit(row.method)) != 0) add_word(row.word, &list);
  }
  return list;
}

std::string unused_parameters(const Parameters& parameters, SolveMethod method) {
  std::string list;
  const auto add_unused = [&](const auto& entry) {
    const ParamTraits& traits = *find_traits(entry.name);
    if (traits.owner == ParamOwner::kRun || (traits.methods & bit(method)) != 0) return;
    if (parameters.get(entry.param) != entry.initial) add_word(entry.name, &list);
  };
  for (const IntParamEntry& entry : int_parameters()) add_unused(entry);
  for (const DoubleParamEntry& entry : double_parameters()) add_unused(entry);
  return list;
}

}  // namespace vorlan
