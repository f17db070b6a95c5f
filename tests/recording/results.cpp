// results.cpp - codes and out-arguments as text.
#include "results.h"

#include <algorithm>
#include <cstdio>
#include <type_traits>

#include "quoting.h"

namespace recording {
namespace {

std::string format_double(double value) {
  char text[40];
  std::snprintf(text, sizeof text, "%.17g", value);
  return text;
}

template <typename T>
std::string format_list(const T* values, int64_t size) {
  std::string result = "[";
  for (int64_t i = 0; i < size; ++i) {
    if (i > 0) result += ", ";
    if constexpr (std::is_same_v<T, double>) {
      result += format_double(values[i]);
    } else {
      result += std::to_string(values[i]);
    }
  }
  return result + ']';
}

// The values that the call gave back through one of its out-arguments.
std::string format_out(const Argument& argument, const std::vector<Argument>& arguments,
                       const Sizes& sizes) {
  int64_t slice_size = 0;
  int64_t text_size = 0;
  for (const Argument& other : arguments) {
    if (other.parameter.kind == Kind::SliceSize) slice_size = other.number;
    if (other.parameter.kind == Kind::TextSize) text_size = other.number;
  }
  switch (argument.parameter.kind) {
    case Kind::NewTask:
      return "task";
    case Kind::IntOut:
    case Kind::CodeOut:
      return std::to_string(*argument.as<int32_t>());
    case Kind::DoubleOut:
      return format_double(*argument.as<double>());
    case Kind::VariableInts:
      return format_list(argument.as<int32_t>(), sizes.numvar);
    case Kind::ConstraintInts:
      return format_list(argument.as<int32_t>(), sizes.numcon);
    case Kind::VariableDoubles:
      return format_list(argument.as<double>(), sizes.numvar);
    case Kind::ConstraintDoubles:
      return format_list(argument.as<double>(), sizes.numcon);
    case Kind::SliceDoubles:
      return format_list(argument.as<double>(), slice_size);
    case Kind::SizedText:
      return text_size > 0 ? quote(argument.as<char>()) : "\"\"";
    case Kind::WideText:
      return quote(argument.as<char>());
    default:
      return {};
  }
}

}  // namespace

bool needs_sizes(const std::vector<Argument>& arguments) {
  return std::ranges::any_of(arguments, [](const Argument& argument) {
    const Kind kind = argument.parameter.kind;
    return kind >= Kind::VariableInts && kind <= Kind::ConstraintDoubles;
  });
}

std::string format_results(const std::vector<Argument>& arguments, VLNrescode_enum code,
                           const Sizes& sizes) {
  std::string result = std::to_string(static_cast<int32_t>(code));
  for (const Argument& argument : arguments) {
    const Kind kind = argument.parameter.kind;
    // A failing call leaves its out-arguments alone; termination codes and code names are
    // exceptions.
    const bool written = code == VLN_RES_OK || kind == Kind::CodeOut || kind == Kind::WideText;
    if (!is_out(kind) || argument.pointer == nullptr || !written) continue;
    result += ' ' + std::string(argument.parameter.name) + '=';
    result += format_out(argument, arguments, sizes);
  }
  return result;
}

}  // namespace recording
