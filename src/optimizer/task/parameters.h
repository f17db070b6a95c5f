// The parameters of a task: a table of what there is, and the values that one task has.
#pragma once

#include <cstdint>
#include <limits>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "task/numeric.h"
#include "task/status.h"
#include "vorlan.h"

namespace vorlan {

inline constexpr int32_t kIntMax = std::numeric_limits<int32_t>::max();

// Each parameter's number; task/parameter_index.h has the names. They are declared apart, so that a
// new parameter rebuilds those who name one and not everybody who holds a task.
enum class IntParam : int32_t;
enum class DoubleParam : int32_t;
enum class StringParam : int32_t;

// Values that mean something outside the optimizers.
inline constexpr int32_t kFreeOptimizer = 0;  // of kOptimizer
inline constexpr int32_t kInteriorPoint = 3;
inline constexpr int32_t kConicMethod = 4;
inline constexpr int32_t kChildOn = 1;  // of kChildProcess
inline constexpr int32_t kChildAutomatic = 2;
inline constexpr int32_t kEmphasizeFeasibility = 1;  // of kMipEmphasis
inline constexpr int32_t kEmphasizeProof = 2;

struct ValueWord {
  const char* word;
  int32_t value;
};

struct IntParamEntry {
  IntParam param;
  const char* name;
  int32_t lower, upper, initial;
  std::span<const ValueWord> words;
  const char* text;
};

struct DoubleParamEntry {
  DoubleParam param;
  const char* name;
  double lower, upper, initial;
  const char* text;
};

struct StringParamEntry {
  StringParam param;
  const char* name;
  const char* text;
};

// The tables are sorted by index.
std::span<const IntParamEntry> int_parameters();
std::span<const DoubleParamEntry> double_parameters();
std::span<const StringParamEntry> string_parameters();

const char* name_of(IntParam param);

// String parameters have the indices 0 to 23; all are empty at first. Those that are not in the
// table are reserved and take only the empty string.
inline constexpr int32_t kNumStringParams = VLN_NUM_FILE_SPAR;

class Parameters {
 public:
  Parameters();

  int32_t get(IntParam param) const;
  double get(DoubleParam param) const;
  const std::string& get(StringParam param) const;
  bool is_on(IntParam param) const { return get(param) != 0; }

  // The optimizer sets parameters of its own by these: a value beyond the parameter's range becomes
  // the nearest one in it.
  void set(IntParam param, int32_t value);
  void set(DoubleParam param, double value);

  Status put_int(int32_t index, int32_t value);
  Status get_int(int32_t index, int32_t* value) const;
  Status put_string(int32_t index, std::string_view value);
  // The name of a string parameter that is not empty; nullptr for any other number.
  const char* name_if_set(int32_t index) const;
  // Takes the value as a number, as one of the parameter's words, or as a string parameter's text.
  Status put_by_name(std::string_view name, std::string_view value);

 private:
  // In the order of the tables.
  std::vector<int32_t> ints_;
  std::vector<double> doubles_;
  std::vector<std::string> strings_;
};

}  // namespace vorlan
