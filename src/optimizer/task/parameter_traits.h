// What parameters.def says of a parameter besides its values: the theme under which people look for
// it, who owns it, and which methods use it.
//
// The owner is the model, or the run and its machine. Problem files come from other people and other
// machines. They say how a model is to be solved, but not with how many threads, in which process,
// in how much memory or with how much of a log. So they neither carry nor set what belongs to the
// run. String parameters stand apart: reading in the safe mode clears them.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "task/parameters.h"

namespace vorlan {

// In the order of the document.
enum class ParamTheme { kLimits, kAccuracy, kMethod, kSearch, kLogging, kMachine, kFiles };

enum class ParamOwner { kModel, kRun };

// The ways in which a model is solved. A set of them is the sum of its members.
enum class SolveMethod : uint32_t {
  kSimplex = 1,
  kInterior = 2,
  kConic = 4,
  kBranchAndCut = 8,
  kOuterApproximation = 16,
};
using SolveMethods = uint32_t;
inline constexpr SolveMethods kEveryMethod = 31;

struct ParamTraits {
  ParamTheme theme;
  ParamOwner owner;
  SolveMethods methods;
};

// Of an integer or double parameter; nullptr for every other name.
const ParamTraits* find_traits(std::string_view name);

// True of what problem files neither carry nor set. False for names that are no parameter's.
bool belongs_to_run(std::string_view name);

// For people: "simplex", "branch and cut", ...
const char* word_of(SolveMethod method);

// The names of a set's methods with commas between them; "every" where it has all.
std::string words_of_methods(SolveMethods methods);

// The names of the model's parameters that differ from their defaults though the method does not use
// them, with commas between them. What belongs to the run is set once for models of every sort.
std::string unused_parameters(const Parameters& parameters, SolveMethod method);

}  // namespace vorlan
