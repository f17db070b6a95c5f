// A task speaks to people in its log and in the message of its last failure. Both show a file's
// name only where the task may.
#include "task/task.h"

#include "task/parameter_index.h"
#include "task/text.h"
#include "task/text_sink.h"

namespace vorlan {

std::string Task::shown_name(std::string_view filename) const {
  return parameters.is_on(IntParam::kShowFileNames) ? std::string(filename) : "<filename>";
}

bool Task::is_logged(int32_t level) const {
  return parameters.get(IntParam::kLog) >= level && log.is_heard();
}

void Task::log_text(int32_t level, const std::string& text) const {
  if (parameters.get(IntParam::kLog) >= level) log.write(text);
}

void Task::report(const Status& failure) {
  last_code = failure.code();
  last_message = on_one_line(failure.message());
  const std::string line = failure_line(failure);
  if (log.linked()) log.write(line);
  // A person whose log goes to a file would see nothing of it.
  if (!log.is_told_at_once()) write_to_standard_error(line);
}

std::string failure_line(const Status& failure) {
  const auto number = static_cast<int32_t>(failure.code());
  return format_text("%s (%d): %s\n", find_code(number)->name, number,
                     on_one_line(failure.message()).c_str());
}

}  // namespace vorlan
