// fakelibrary.h - the optimizer library as the unit tests see it: linked into the test, answering
// from a model that the test fills in C++. Here the interface's opaque task is this model.
#pragma once

#include <vorlan.h>

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace fake {

/// The library's numbers of statuses and status keys that tests mean by name.
inline constexpr std::int32_t kOptimal = 1;           // solution status
inline constexpr std::int32_t kDualFeasible = 3;      // problem status
inline constexpr std::int32_t kPrimalInfeasible = 4;  // problem status
inline constexpr std::int32_t kDualInfeasible = 5;    // problem status
inline constexpr std::int32_t kBasic = 1;             // status keys
inline constexpr std::int32_t kSuperBasic = 2;
inline constexpr std::int32_t kAtLower = 3;
inline constexpr std::int32_t kAtUpper = 4;
inline constexpr std::int32_t kFixed = 5;

/// One solution. An array that is shorter than its rows leaves the caller's other elements alone.
struct Solution {
  std::int32_t defined = 0;
  std::int32_t prosta = 0;
  std::int32_t solsta = 0;
  std::vector<std::int32_t> skx, skc;
  std::vector<double> xx, slx, sux;
  std::vector<double> xc, slc, suc, y;
  /// The answers to the first, second, ... query of the objective; the last one stays. Where none
  /// is given, the query succeeds and leaves the caller's number alone.
  std::vector<std::optional<double>> objectives{0.0};
  std::vector<double> barx, bars;
};

}  // namespace fake

struct vlntaskt {
  // ---- the model
  std::int32_t numvar = 0;
  std::int32_t numcon = 0;
  std::int32_t numcone = 0;
  std::int32_t numbarvar = 0;
  std::int32_t maxnamelen = 0;
  /// A query beyond the end of these succeeds and leaves the caller's storage alone.
  std::vector<std::int32_t> dims;
  std::vector<std::string> varnames, connames, barvarnames;
  std::array<fake::Solution, 3> solutions;  // by the library's selector
  std::map<std::int32_t, std::string> codenames;
  std::string lasterror;
  std::int32_t sense = 0;

  // ---- how calls are answered
  /// Asked at each call, given as calls shows it; a code other than 0 makes the call fail.
  std::function<VLNrescode_enum(std::string_view call)> answer;
  /// Tells what an optimization does, a remote one too.
  std::function<VLNrescode_enum(VLNrescode_enum& trm)> optimize;

  // ---- what happened
  /// "VLN_getskx(2)": the operation and what it was given, without the task and without what it
  /// writes to.
  std::vector<std::string> calls;
  bool recording = true;
  std::map<std::int32_t, std::int32_t> intparams;
  vlncallbackfunc callback = nullptr;
  void* callbackhandle = nullptr;
};

namespace fake {

/// The task that VLN_makeemptytask hands out and that the operations without a task belong to.
vlntaskt& task();

/// Brings the task back to its first state.
void reset();

/// How often an operation was called.
std::size_t count(const vlntaskt& task, std::string_view operation);

}  // namespace fake
