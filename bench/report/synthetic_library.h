// A library that answers the queries of the plain report with a synthetic basic solution, at next
// to no cost in time or memory: what is measured is the report, not the library.
#pragma once

#include <vorlan.h>

#include <cstdint>

/// The numbers of a solution. `Mixed` has the shares of zeros, of numbers with up to six digits and
/// of numbers with all digits that the optimal bases of 48 public linear problems have (66,280
/// variables, 24,197 constraints). In `Full` every number has all digits, the most work for a
/// formatter.
enum class Numbers { Mixed, Full };

/// The task is the solution's size and kind: as many variables as constraints.
struct vlntaskt {
  std::int32_t rows;
  Numbers numbers;
};
