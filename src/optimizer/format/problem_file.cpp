// The table of problem formats, and what happens around a read: the file's existence, the log, the
// task's new model.
#include "format/problem_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <utility>

#include "solve/highs/highs_mps.h"
#include "task/text.h"

namespace vorlan {
namespace {

using Reader = Status (*)(const std::string& filename, const std::string& shown_name, Model* model,
                          std::string* warnings);

struct Format {
  const char* suffix;
  Reader reader;  // nullptr: the library does not read the format yet
};

constexpr Format kFormats[] = {
    {".mps", read_mps_with_highs},
    {".qps", nullptr},
    {".lp", nullptr},
    {".opf", nullptr},
    {".ptf", nullptr},
    {".cbf", nullptr},
    {".dat-s", nullptr},
    {".jtask", nullptr},
    {".json", nullptr},
    {".task", nullptr},
    {".gz", nullptr},
    {".zst", nullptr},
};

bool ends_with(std::string_view text, std::string_view suffix) {
  return text.size() >= suffix.size() && text.substr(text.size() - suffix.size()) == suffix;
}

Status find_reader(const std::string& filename, const std::string& shown_name, Reader* reader) {
  for (const Format& format : kFormats) {
    if (!ends_with(filename, format.suffix)) continue;
    *reader = format.reader;
    if (format.reader != nullptr) return {};
    return {Code::kErrNotAvailable,
            format_text("'%s' cannot be read: this version of the library reads no %s files",
                        shown_name.c_str(), format.suffix)};
  }
  return {Code::kErrFileFormat,
          format_text("'%s' cannot be read: its name has no suffix that says a known format",
                      shown_name.c_str())};
}

Status open_failure(const std::string& shown_name, int error) {
  return {Code::kErrFileOpen,
          format_text("cannot open '%s': %s", shown_name.c_str(), std::strerror(error))};
}

// A reader that opens the file by itself does not tell why it could not.
Status check_readable(const char* filename, const std::string& shown_name) {
  struct stat about {};
  if (::stat(filename, &about) != 0) return open_failure(shown_name, errno);
  if (S_ISDIR(about.st_mode)) return open_failure(shown_name, EISDIR);
  if (::access(filename, R_OK) != 0) return open_failure(shown_name, errno);
  return {};
}

double seconds_now() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

int64_t count_kind(const Model& model, VarKind kind) {
  return std::count(model.var_kind.begin(), model.var_kind.end(), kind);
}

std::string describe(const Model& model) {
  std::string text =
      format_text("%d constraints, %d variables, %lld matrix elements", model.num_con(),
                  model.num_var(), static_cast<long long>(model.matrix.num_elements()));
  const int64_t integers = count_kind(model, VarKind::kInteger);
  const int64_t semi =
      count_kind(model, VarKind::kSemiContinuous) + count_kind(model, VarKind::kSemiInteger);
  if (integers > 0) text += format_text(", %lld integer", static_cast<long long>(integers));
  if (semi > 0) text += format_text(", %lld semi-continuous", static_cast<long long>(semi));
  text += model.maximize ? ", maximize" : ", minimize";
  return text;
}

}  // namespace

Status read_problem_file(Task* task, const char* filename) {
  const std::string shown_name = task->shown_name(filename);
  const double start = seconds_now();
  Reader reader = nullptr;
  Status status = check_readable(filename, shown_name);
  if (status.ok()) status = find_reader(filename, shown_name, &reader);
  if (!status.ok()) return status;
  Model model;
  std::string warnings;
  status = reader(filename, shown_name, &model, &warnings);
  if (!status.ok()) return status;
  task->log_text(kLogSummary, warnings);
  task->log_text(kLogSummary, format_text("Read %s in %.2f s\n", describe(model).c_str(),
                                          seconds_now() - start));
  task->model = std::move(model);
  task->solutions = {};
  return {};
}

}  // namespace vorlan
