// operations.h - the kinds of arguments that the table operations.def uses, the table as data, and
// the macros that walk an entry's arguments. It exists so that recording, forwarding, scripts and
// replaying agree on one description of each call.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "vorlan.h"

namespace recording {

enum class Kind {
  // Arguments that the caller passes in.
  Task,
  TaskPointer,
  Handle,
  Callback,
  StreamFunction,
  Int,
  Unsigned,
  Text,
  Secret,  // a text that no forwarded trace may show
  Code,
  SliceSize,  // number of doubles of the call's SliceDoubles
  TextSize,   // number of bytes of the call's SizedText
  // Arguments that the library gives back.
  NewTask,
  IntOut,
  CodeOut,
  DoubleOut,
  VariableInts,
  ConstraintInts,
  VariableDoubles,
  ConstraintDoubles,
  SliceDoubles,
  SizedText,
  WideText,  // a text in a buffer of 1024 bytes
};

constexpr bool is_out(Kind kind) { return kind >= Kind::NewTask; }
constexpr int kWideTextSize = 1024;

// The C type of each kind, as the header declares it.
template <Kind>
struct CType;
#define RECORDING_C_TYPE(kind, ...) \
  template <>                       \
  struct CType<Kind::kind> {        \
    using type = __VA_ARGS__;       \
  };
RECORDING_C_TYPE(Task, vlntaskt*)
RECORDING_C_TYPE(TaskPointer, vlntaskt**)
RECORDING_C_TYPE(Handle, void*)
RECORDING_C_TYPE(Callback, vlncallbackfunc)
RECORDING_C_TYPE(StreamFunction, vlnstreamfunc)
RECORDING_C_TYPE(Int, int32_t)
RECORDING_C_TYPE(Unsigned, uint32_t)
RECORDING_C_TYPE(Text, const char*)
RECORDING_C_TYPE(Secret, const char*)
RECORDING_C_TYPE(Code, VLNrescode_enum)
RECORDING_C_TYPE(SliceSize, int64_t)
RECORDING_C_TYPE(TextSize, int32_t)
RECORDING_C_TYPE(NewTask, vlntaskt**)
RECORDING_C_TYPE(IntOut, int32_t*)
RECORDING_C_TYPE(CodeOut, VLNrescode_enum*)
RECORDING_C_TYPE(DoubleOut, double*)
RECORDING_C_TYPE(VariableInts, int32_t*)
RECORDING_C_TYPE(ConstraintInts, int32_t*)
RECORDING_C_TYPE(VariableDoubles, double*)
RECORDING_C_TYPE(ConstraintDoubles, double*)
RECORDING_C_TYPE(SliceDoubles, double*)
RECORDING_C_TYPE(SizedText, char*)
RECORDING_C_TYPE(WideText, char*)
#undef RECORDING_C_TYPE

struct Parameter {
  Kind kind;
  std::string_view name;
};

// One entry of the table.
struct Operation {
  std::string_view name;
  std::span<const Parameter> parameters;
};

enum class OperationId : std::size_t {
#define OPERATION(name, ...) name,
#define ECHO_OPERATION(name, ...) name,
#include "operations.def"
#undef OPERATION
#undef ECHO_OPERATION
};

std::span<const Operation> operations();
const Operation* find_operation(std::string_view name);

// One argument of a call in progress: a number or a pointer, by its kind.
struct Argument {
  Parameter parameter;
  int64_t number = 0;
  const void* pointer = nullptr;

  template <typename T>
  T* as() const {
    return static_cast<T*>(const_cast<void*>(pointer));
  }
};

inline Argument make_argument(Parameter parameter, int64_t number) { return {parameter, number}; }
inline Argument make_argument(Parameter parameter, VLNrescode_enum code) {
  return {parameter, static_cast<int32_t>(code)};
}
inline Argument make_argument(Parameter parameter, const void* pointer) {
  return {parameter, 0, pointer};
}
template <typename Result, typename... Arguments>
Argument make_argument(Parameter parameter, Result (*function)(Arguments...)) {
  return {parameter, 0, reinterpret_cast<const void*>(function)};
}

}  // namespace recording

// FOR_EACH_ARGUMENT(MACRO, (Kind, name), ...) writes MACRO(Kind, name), MACRO(Kind, name), ...
#define FOR_EACH_ARGUMENT(MACRO, FIRST, ...) MACRO FIRST __VA_OPT__(, FEA1(MACRO, __VA_ARGS__))
#define FEA1(MACRO, FIRST, ...) MACRO FIRST __VA_OPT__(, FEA2(MACRO, __VA_ARGS__))
#define FEA2(MACRO, FIRST, ...) MACRO FIRST __VA_OPT__(, FEA3(MACRO, __VA_ARGS__))
#define FEA3(MACRO, FIRST, ...) MACRO FIRST __VA_OPT__(, FEA4(MACRO, __VA_ARGS__))
#define FEA4(MACRO, FIRST, ...) MACRO FIRST __VA_OPT__(, FEA5(MACRO, __VA_ARGS__))
#define FEA5(MACRO, FIRST) MACRO FIRST
#define DECLARED_ARGUMENT(kind, name) \
  typename ::recording::CType<::recording::Kind::kind>::type name
#define TABLED_PARAMETER(kind, name) \
  ::recording::Parameter { ::recording::Kind::kind, #name }
#define CALL_ARGUMENT(kind, name) ::recording::make_argument(TABLED_PARAMETER(kind, name), name)
#define PLAIN_ARGUMENT(kind, name) name
