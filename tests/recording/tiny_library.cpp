// tiny_library.cpp - a library of the interface that gives back fixed values, for the tests of
// forwarding and replaying: three variables and constraints, reading "bad" fails.
#include <cstdlib>
#include <cstring>

#include "operations.h"

namespace {

constexpr int kSize = 3;

void* new_task() {
  static int task = 0;
  return &task;
}

void give(const recording::Argument& argument, int64_t stated_size) {
  using recording::Kind;
  if (argument.pointer == nullptr) return;
  switch (argument.parameter.kind) {
    case Kind::NewTask:
      *argument.as<void*>() = new_task();
      break;
    case Kind::TaskPointer:
      *argument.as<void*>() = nullptr;
      break;
    case Kind::IntOut:
    case Kind::CodeOut:
      *argument.as<int32_t>() = kSize;
      break;
    case Kind::DoubleOut:
      *argument.as<double>() = 0.1;
      break;
    case Kind::VariableInts:
    case Kind::ConstraintInts:
      for (int i = 0; i < kSize; ++i) argument.as<int32_t>()[i] = i;
      break;
    case Kind::VariableDoubles:
    case Kind::ConstraintDoubles:
      for (int i = 0; i < kSize; ++i) argument.as<double>()[i] = i + 0.5;
      break;
    case Kind::SliceDoubles:
      for (int64_t i = 0; i < stated_size; ++i) argument.as<double>()[i] = 1e300;
      break;
    case Kind::SizedText:
      if (stated_size >= 5) std::memcpy(argument.as<char>(), "a\"b\n", 5);
      break;
    case Kind::WideText:
      std::memcpy(argument.as<char>(), "NAME", 5);
      break;
    default:
      break;
  }
}

VLNrescode_enum give_all(std::initializer_list<recording::Argument> arguments) {
  int64_t stated_size = 0;
  for (const recording::Argument& argument : arguments) {
    const auto kind = argument.parameter.kind;
    const bool states = kind == recording::Kind::TextSize || kind == recording::Kind::SliceSize;
    if (states) stated_size = argument.number;
    if (kind != recording::Kind::Text || argument.pointer == nullptr) continue;
    if (std::strcmp(argument.as<char>(), "bad") == 0) return VLNrescode_enum{1052};
    if (std::strcmp(argument.as<char>(), "die") == 0) std::_Exit(3);
  }
  for (const recording::Argument& argument : arguments) give(argument, stated_size);
  return VLN_RES_OK;
}

}  // namespace

#define OPERATION(name, ...)                                                \
  VLNrescode_enum name(FOR_EACH_ARGUMENT(DECLARED_ARGUMENT, __VA_ARGS__)) { \
    return give_all({FOR_EACH_ARGUMENT(CALL_ARGUMENT, __VA_ARGS__)});       \
  }
#define ECHO_OPERATION(name, ...)                                                \
  VLNrescode_enum name(FOR_EACH_ARGUMENT(DECLARED_ARGUMENT, __VA_ARGS__), ...) { \
    return give_all({FOR_EACH_ARGUMENT(CALL_ARGUMENT, __VA_ARGS__)});            \
  }
#include "operations.def"
