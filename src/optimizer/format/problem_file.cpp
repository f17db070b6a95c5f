// Choosing the format by the name or the content, and the way between a file and the task: nothing
// of the task changes before a file was read whole, and no file is touched before its model was
// found to fit.
#include "format/problem_file.h"

#include <algorithm>
#include <array>
#include <ctime>
#include <utility>

#include "format/cbf/cbf.h"
#include "format/content.h"
#include "format/lp/lp.h"
#include "format/mps/mps.h"
#include "format/sdpa/sdpa.h"
#include "format/task/task_file.h"
#include "task/letters.h"
#include "task/parameter_index.h"
#include "task/parameter_traits.h"
#include "task/text.h"

namespace vorlan {
namespace {

constexpr ProblemFormat kFormats[] = {
    {".mps", "MPS", SolutionSwitch::kNever, read_mps, write_mps},
    {".qps", "MPS", SolutionSwitch::kNever, read_mps, write_mps},
    {".lp", "LP", SolutionSwitch::kNever, read_lp, write_lp},
    {".ptf", "PTF", SolutionSwitch::kTextFiles, read_ptf, write_ptf},
    {".opf", "PTF", SolutionSwitch::kTextFiles, read_ptf, write_ptf},
    {".cbf", "CBF", SolutionSwitch::kNever, read_cbf, write_cbf},
    {".dat-s", "SDPA sparse", SolutionSwitch::kNever, read_sdpa, write_sdpa},
    {".jtask", "JSON task", SolutionSwitch::kTaskFiles, read_jtask, write_jtask},
    {".json", "JSON task", SolutionSwitch::kTaskFiles, read_jtask, write_jtask},
    {".task", "task", SolutionSwitch::kTaskFiles, read_task, write_task},
};

std::string_view without_suffix(std::string_view name, std::string_view suffix) {
  return name.ends_with(suffix) ? name.substr(0, name.size() - suffix.size()) : name;
}

std::string known_suffixes() {
  std::string text;
  for (const ProblemFormat& format : kFormats) {
    text += (text.empty() ? "" : " ") + std::string(format.suffix);
  }
  return text;
}

const ProblemFormat* format_of_content(std::string_view head) {
  const std::string_view suffix = suffix_of_content(head);
  for (const ProblemFormat& format : kFormats) {
    if (format.suffix == suffix) return &format;
  }
  return nullptr;
}

// The format that the name's suffix says, or nullptr.
const ProblemFormat* find_format(std::string_view filename) {
  const std::string name = in_small_letters(filename);
  const std::string_view bare = without_suffix(without_suffix(name, ".gz"), ".zst");
  for (const ProblemFormat& format : kFormats) {
    if (bare.ends_with(format.suffix)) return &format;
  }
  return nullptr;
}

Status unknown_format(const std::string& shown_name, const char* problem) {
  return {Code::kErrFileFormat,
          format_text("'%s' cannot be %s a known format (%s, each also with .gz or .zst)",
                      shown_name.c_str(), problem, known_suffixes().c_str())};
}

// The format of an open file: the suffix decides where it says one, else the content does.
Status find_format(Task* task, const char* filename, InputStream* input,
                   const ProblemFormat** format) {
  *format = find_format(filename);
  if (*format != nullptr) return {};
  std::string_view head;
  Status status = input->peek(kContentHead, &head);
  if (!status.ok()) return status;
  *format = format_of_content(head);
  if (*format == nullptr) {
    return unknown_format(input->shown_name(),
                          "read: neither the suffix of its name nor its content says");
  }
  task->log_text(kLogSummary, format_text("The format by the content: %s\n", (*format)->name));
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
  std::string text = counted(model.num_con(), "constraint") + ", " +
                     counted(model.num_var(), "variable") + ", " +
                     counted(model.matrix.num_elements(), "matrix element");
  const auto add_kind = [&text](int64_t count, const char* kind) {
    if (count > 0) text += format_text(", %lld %s", static_cast<long long>(count), kind);
  };
  const auto add = [&text](size_t count, const char* noun, const char* plural = nullptr) {
    if (count > 0) text += ", " + counted(static_cast<int64_t>(count), noun, plural);
  };
  add_kind(count_kind(model, VarKind::kInteger) + count_kind(model, VarKind::kSemiInteger),
           "integer");
  add_kind(count_kind(model, VarKind::kSemiContinuous) + count_kind(model, VarKind::kSemiInteger),
           "semi-continuous");
  add(model.quadratic_cost.size() + model.quadratic_coefficients.size(), "quadratic element");
  add(model.cones.size(), "cone");
  add(model.matrix_vars.size(), "matrix variable");
  add(model.sets.size(), "special ordered set");
  add(model.indicators.size(), "constraint under a condition", "constraints under a condition");
  text += model.maximize ? ", maximize" : ", minimize";
  return text;
}

bool carries_solutions(const ProblemFormat& format, const Parameters& parameters) {
  switch (format.solutions) {
    case SolutionSwitch::kNever:
      return false;
    case SolutionSwitch::kTextFiles:
      return parameters.is_on(IntParam::kTextFileSolutions);
    case SolutionSwitch::kTaskFiles:
      return parameters.is_on(IntParam::kTaskFileSolutions);
  }
  return false;
}

// What the file sets of the run's own parameters is left out, with a warning.
Status apply_settings(const std::vector<ParameterSetting>& settings, const std::string& shown_name,
                      Parameters* parameters, Warnings* warnings) {
  for (const ParameterSetting& setting : settings) {
    if (belongs_to_run(setting.name)) {
      warnings->add(setting.name +
                    " is not taken from the file: it belongs to the run and its machine");
      continue;
    }
    const Status status = parameters->put_by_name(setting.name, setting.value);
    if (!status.ok()) return {status.code(), shown_name + ": " + status.message()};
  }
  return {};
}

// The parameters that a file is to carry: what the task has beyond the defaults, but not what
// belongs to the run, such as what a command forces around its call.
std::vector<ParameterSetting> changed_settings(const Parameters& parameters) {
  std::vector<ParameterSetting> settings;
  for (const IntParamEntry& entry : int_parameters()) {
    if (belongs_to_run(entry.name) || parameters.get(entry.param) == entry.initial) continue;
    settings.push_back({entry.name, std::to_string(parameters.get(entry.param))});
  }
  for (const DoubleParamEntry& entry : double_parameters()) {
    const double value = parameters.get(entry.param);
    if (belongs_to_run(entry.name) || value == entry.initial) continue;
    std::array<char, kLongestNumber> text{};
    settings.push_back({entry.name, std::string(text.data(), format_double(value, text.data()))});
  }
  for (const StringParamEntry& entry : string_parameters()) {
    const std::string& value = parameters.get(entry.param);
    if (!value.empty()) settings.push_back({entry.name, value});
  }
  return settings;
}

Status write_with_format(Task* task, const ProblemFormat& format, const char* filename,
                         Compression compression, const StopRule& rule) {
  OutputFile file;
  Status status = file.open(filename, task->shown_name(filename), compression, rule);
  if (!status.ok()) return status;

  Warnings warnings;
  const ProblemView view{task->model, task->solutions, carries_solutions(format, task->parameters),
                         changed_settings(task->parameters)};
  status = format.write(view, &file, &warnings);
  if (status.ok()) status = file.finish();
  if (status.ok()) task->log_text(kLogSummary, warnings.text());
  return status;
}

}  // namespace

std::span<const ProblemFormat> problem_formats() { return kFormats; }

Status read_problem_file(Task* task, const char* filename) {
  const std::string shown_name = task->shown_name(filename);
  const double start = seconds_now();
  InputStream input;
  Status status = input.open(filename, shown_name);
  const ProblemFormat* format = nullptr;
  if (status.ok()) status = find_format(task, filename, &input, &format);
  if (!status.ok()) return status;

  ProblemFile file;
  Warnings warnings;
  input.set_longest_token(longest_token(task->parameters));
  const ReadLimits limits{int64_t{task->parameters.get(IntParam::kReadDeclaredLimit)} << 20};
  status = format->read(&input, limits, &file, &warnings);
  if (!status.ok()) return status;
  Parameters parameters = task->parameters;
  status = apply_settings(file.parameters, shown_name, &parameters, &warnings);
  if (!status.ok()) return status;

  task->model = std::move(file.model);
  task->solutions = std::move(file.solutions);
  task->solver_result = {};
  task->parameters = std::move(parameters);
  task->log_text(kLogSummary, warnings.text());
  task->log_text(kLogSummary, format_text("Read %s in %.2f s\n", describe(task->model).c_str(),
                                          seconds_now() - start));
  return {};
}

Status write_problem_file(Task* task, const char* filename, const StopRule& rule) {
  const ProblemFormat* format = find_format(filename);
  if (format == nullptr) {
    return unknown_format(task->shown_name(filename), "written: its name has no suffix that says");
  }
  return write_with_format(task, *format, filename, compression_of_name(filename), rule);
}

Status write_task_file(Task* task, const char* filename, Compression compression,
                       const StopRule& rule) {
  return write_with_format(task, *find_format(".task"), filename, compression, rule);
}

}  // namespace vorlan
