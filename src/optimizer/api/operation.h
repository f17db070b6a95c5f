// Every C operation goes through run(), so that each checks its task, turns exceptions into
// response codes and records the last error in the same way.
#pragma once

#include <initializer_list>
#include <new>

#include "task/task.h"
#include "vorlan.h"

namespace vorlan::api {

inline VLNrescode_enum to_c(Code code) { return static_cast<VLNrescode_enum>(code); }

// Marks the task busy for the length of an operation.
class BusyMark {
 public:
  explicit BusyMark(Task* task) : task_(task) { task_->busy = true; }
  ~BusyMark() { task_->busy = false; }
  BusyMark(const BusyMark&) = delete;
  BusyMark& operator=(const BusyMark&) = delete;

 private:
  Task* task_;
};

// Keeps and tells a failure. Telling needs memory; without any left, the code must do.
VLNrescode_enum conclude(Task* task, const Status& status) noexcept;
VLNrescode_enum conclude_out_of_memory(Task* task) noexcept;
VLNrescode_enum conclude_exception(Task* task, const char* what) noexcept;

// Runs an operation, a function of Task& that returns a Status.
template <class Operation>
VLNrescode_enum run(vlntaskt* task, Operation&& operation) noexcept {
  if (task == nullptr) return to_c(Code::kErrNullTask);
  if (task->busy) return to_c(Code::kErrTaskBusy);
  const BusyMark mark(task);
  try {
    return conclude(task, operation(static_cast<Task&>(*task)));
  } catch (const std::bad_alloc&) {
    return conclude_out_of_memory(task);
  } catch (const std::exception& e) {
    return conclude_exception(task, e.what());
  } catch (...) {
    return conclude_exception(task, "an exception of unknown type");
  }
}

inline Status null_argument(const char* name) {
  return {Code::kErrNullArgument, std::string("argument '") + name + "' is null"};
}

// The failure for the first null pointer among the arguments, else success.
struct PointerArgument {
  const char* name;
  const void* pointer;
};
inline Status check_pointers(std::initializer_list<PointerArgument> arguments) {
  for (const PointerArgument& argument : arguments) {
    if (argument.pointer == nullptr) return null_argument(argument.name);
  }
  return {};
}

Status check_compression(uint32_t compression);

}  // namespace vorlan::api
