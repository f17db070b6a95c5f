// forward.cpp - hands calls on to a real library and shows what came back. Everything in a line
// stands for itself, so that the trace is a complete report and can be replayed.
#include "forward.h"

#include <dlfcn.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "results.h"
#include "trace.h"

namespace recording {
namespace {

void* open_real_library() {
  const char* path = std::getenv("VORLAN_FORWARD");
  if (path == nullptr || *path == '\0') return nullptr;
  void* library = dlopen(path, RTLD_NOW | RTLD_LOCAL);
  if (library != nullptr) return library;
  std::fprintf(stderr, "recording: %s\n", dlerror());
  _exit(99);
}

void* real_library() {
  static void* const library = open_real_library();
  return library;
}

int32_t count(OperationId id, vlntaskt* task) {
  using Count = VLNrescode_enum (*)(vlntaskt*, int32_t*);
  int32_t result = 0;
  const auto operation = reinterpret_cast<Count>(real_operation(id));
  return operation(task, &result) == VLN_RES_OK ? result : 0;
}

}  // namespace

bool is_forwarding() { return real_library() != nullptr; }

void* real_operation(OperationId id) {
  static std::vector<void*> found(operations().size(), nullptr);
  void*& operation = found[static_cast<std::size_t>(id)];
  if (operation != nullptr) return operation;
  const std::string name(operations()[static_cast<std::size_t>(id)].name);
  operation = dlsym(real_library(), name.c_str());
  if (operation != nullptr) return operation;
  std::fprintf(stderr, "recording: the library to forward to lacks %s\n", name.c_str());
  _exit(99);
}

void record_begin(OperationId id, const std::vector<Argument>& arguments, std::string_view more) {
  const Operation& operation = operations()[static_cast<std::size_t>(id)];
  record_piece(format_call(operation.name, arguments, {nullptr, true}, more));
}

void record_end(const std::vector<Argument>& arguments, VLNrescode_enum code) {
  Sizes sizes;
  if (code == VLN_RES_OK && needs_sizes(arguments)) {
    auto* const task = arguments[0].as<vlntaskt>();
    sizes = {count(OperationId::VLN_getnumvar, task), count(OperationId::VLN_getnumcon, task)};
  }
  record_piece(" = " + format_results(arguments, code, sizes) + '\n');
}

}  // namespace recording
