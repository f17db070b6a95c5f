// Operations that set and read parameters.
#include "api/operation.h"
#include "task/text.h"

using namespace vorlan;
using namespace vorlan::api;

VLNrescode_enum VLN_putintparam(vlntaskt* task, int32_t param, int32_t value) {
  return run(task, [=](Task& t) { return t.parameters.put_int(param, value); });
}

VLNrescode_enum VLN_getintparam(vlntaskt* task, int32_t param, int32_t* value) {
  return run(task, [=](Task& t) {
    Status status = check_pointers({{"value", value}});
    return status.ok() ? t.parameters.get_int(param, value) : status;
  });
}

VLNrescode_enum VLN_putstrparam(vlntaskt* task, int32_t param, const char* value) {
  return run(task, [=](Task& t) {
    Status status = check_pointers({{"value", value}});
    if (!status.ok()) return status;
    const char* cleared = *value == '\0' ? t.parameters.name_if_set(param) : nullptr;
    status = t.parameters.put_string(param, value);
    if (status.ok() && cleared != nullptr) {
      t.log_text(kLogSummary, format_text("safe read: cleared %s\n", cleared));
    }
    return status;
  });
}

VLNrescode_enum VLN_putparam(vlntaskt* task, const char* name, const char* value) {
  return run(task, [=](Task& t) {
    Status status = check_pointers({{"name", name}, {"value", value}});
    return status.ok() ? t.parameters.put_by_name(name, value) : status;
  });
}
