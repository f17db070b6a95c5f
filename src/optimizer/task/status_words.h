// Statuses and kinds of solutions in words: the log, messages, JSON solutions, task files and
// b solutions say the same of a solve.
#pragma once

#include <cstdint>
#include <span>

#include "task/solution.h"

namespace vorlan {

struct StatusWord {
  const char* word;
  int32_t value;
};

inline constexpr StatusWord kProblemStatuses[] = {
    {"unknown", 0},           {"primal and dual feasible", 1},
    {"primal feasible", 2},   {"dual feasible", 3},
    {"primal infeasible", 4}, {"dual infeasible", 5},
    {"ill-posed", 7},         {"primal infeasible or unbounded", 8}};

inline constexpr StatusWord kSolutionStatuses[] = {{"unknown", 0},
                                                   {"optimal", 1},
                                                   {"primal feasible", 2},
                                                   {"dual feasible", 3},
                                                   {"primal and dual feasible", 4},
                                                   {"primal infeasible certificate", 5},
                                                   {"dual infeasible certificate", 6},
                                                   {"primal ill-posed certificate", 7},
                                                   {"dual ill-posed certificate", 8},
                                                   {"integer optimal", 9}};

// The kinds as people call them; files have shorter words.
inline constexpr StatusWord kSolutionKindNames[] = {{"interior-point", VLN_SOLUTION_INTERIOR},
                                                    {"basic", VLN_SOLUTION_BASIC},
                                                    {"integer", VLN_SOLUTION_INTEGER}};

template <class Enum>
const char* word_of(std::span<const StatusWord> words, Enum value) {
  for (const StatusWord& word : words) {
    if (word.value == static_cast<int32_t>(value)) return word.word;
  }
  return "unknown";
}

}  // namespace vorlan
