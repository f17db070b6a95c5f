// Lines of the progress file. What is not known is null.
#include "api/progress_file.h"

#include <fcntl.h>

#include <cerrno>
#include <cmath>
#include <cstring>

#include "task/high_descriptor.h"
#include "task/open_to_write.h"
#include "task/text.h"

namespace vorlan::api {
namespace {

std::string number_or_null(double value) {
  return std::isfinite(value) ? format_text("%.17g", value) : "null";
}

std::string count_or_null(int64_t count) {
  return count < 0 ? "null" : format_text("%lld", static_cast<long long>(count));
}

}  // namespace

Status ProgressFile::open(const std::string& filename, const std::string& shown_name,
                          const StopQuestion& asks_to_stop) {
  const int flags = O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOCTTY;
  const int descriptor =
      above_standard(open_to_write(AT_FDCWD, filename.c_str(), flags, 0666, asks_to_stop));
  if (descriptor < 0) {
    return {Code::kErrFileOpen, format_text("cannot open progress file '%s': %s",
                                            shown_name.c_str(), std::strerror(errno))};
  }
  sink_.open(descriptor);
  return {};
}

void ProgressFile::write(const ProgressRecord& record) {
  sink_.write(
      format_text(R"({"time": %.3f, "phase": "%s", "iterations": %lld, "nodes": %lld, "open": %s, )"
                  R"("incumbent": %s, "bound": %s, "gap": %s})"
                  "\n",
                  record.seconds, record.phase, static_cast<long long>(record.iterations),
                  static_cast<long long>(record.nodes), count_or_null(record.open_nodes).c_str(),
                  number_or_null(record.incumbent).c_str(), number_or_null(record.bound).c_str(),
                  number_or_null(record.gap).c_str()));
}

}  // namespace vorlan::api
