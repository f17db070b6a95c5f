// "-read" and "-write": the task's problem from and to a file.
//
// The library recognises format and compression by the file's name. Settings that a command forces
// for its one call are put back afterwards; after a failed call the process ends, so nothing is.
#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <iostream>
#include <string>
#include <string_view>

#include "commands.h"
#include "filename.h"
#include "keywordargparser.h"
#include "vlnexception.h"
#include "wallclock.h"

namespace {

// The library's integer parameters that the commands set, by number.
constexpr std::int32_t write_solutions_to_opf_ptf = 125;
constexpr std::int32_t write_solutions_to_task_json = 109;
constexpr std::int32_t read_asynchronously = 127;
constexpr std::int32_t write_asynchronously = 168;

// String parameters 0 to 23 can make the optimizer write files.
constexpr std::int32_t num_unsafe_string_parameters = 24;

constexpr std::array<std::string_view, 6> problem_formats = {"mps", "task", "ptf",
                                                             "lp",  "opf",  "cbf"};

struct ReadSettings {
  bool safe = true;
  bool async = false;
  std::int32_t printtime = 1;
};

bool asksforasync(std::string_view value) {
  return value == "yes" || value == "true" || value == "on" || value.empty();
}

// A "format=" item is checked and has no other effect: the library goes by the file's name.
void checkformat(std::string_view value) {
  const auto [word, suffix] = split_format(value);
  if (!word.empty() && std::ranges::find(problem_formats, word) == problem_formats.end()) {
    throw std::string("Invalid file format");
  }
  if (suffix != "+gz" && suffix != "+zstd") throw std::string("Invalid file extension format");
}

// Any other key: safe or unsafe, and only when it sees no value, its own or an earlier item's.
void applyotherkey(ReadSettings& settings, const KeywordArgParser& item) {
  if (!item.value.empty() || (item.key != "safe" && item.key != "unsafe")) {
    throw std::string("Invalid argument for -read");
  }
  settings.safe = item.key == "safe";
}

void applyreaditem(ReadSettings& settings, const KeywordArgParser& item) {
  const std::string_view value = item.value;
  if (item.key == "async") {
    if (asksforasync(value)) settings.async = true;
  } else if (item.key == "printtime") {
    // Leaves the setting as it is when the value does not begin with a number in range.
    std::from_chars(value.data(), value.data() + value.size(), settings.printtime);
  } else if (item.key == "format") {
    checkformat(value);
  } else if (item.key == "mode") {
    if (value == "safe") settings.safe = true;
    if (value == "unsafe") settings.safe = false;
  } else {
    applyotherkey(settings, item);
  }
}

ReadSettings readsettings(std::string_view args) {
  ReadSettings settings;
  KeywordArgParser items{args};
  while (items.next()) applyreaditem(settings, items);
  return settings;
}

bool writeasync(std::string_view args) {
  bool async = false;
  KeywordArgParser items{args};
  while (items.next()) {
    if (items.key == "async" && asksforasync(items.value)) async = true;
  }
  return async;
}

}  // namespace

void command_read(RunState& run, std::string_view args) {
  const ReadSettings settings = readsettings(args);
  const auto file = run.words.take();
  if (!file) return;
  const char* name = run.shownname(*file);
  run.task.echo("Read file: %s\n", name);

  const std::int32_t kept_async = run.task.getintparam(read_asynchronously);
  run.task.putintparam(read_asynchronously, settings.async ? 1 : 0);
  const std::uint64_t start = gettimens();
  CHKR_(driver_source, 535, run.task.readdata(*file));
  const std::uint64_t end = gettimens();
  run.task.putintparam(read_asynchronously, kept_async);

  if (settings.printtime != 0) {
    std::cerr << "Read time " << elapsedseconds(start, end) << " sec: " << name << std::endl;
  }
  if (!settings.safe) return;
  for (std::int32_t param = 0; param < num_unsafe_string_parameters; ++param) {
    run.task.putstrparam(param, "");
  }
}

void command_write(RunState& run, std::string_view args) {
  const bool async = writeasync(args);
  const auto file = run.words.take();
  if (!file) return;
  run.task.echo("Write file: %s\n", run.shownname(*file));

  struct ForcedParameter {
    std::int32_t param;
    bool value;
    std::int32_t kept = 0;
  };
  std::array forced = {ForcedParameter{write_solutions_to_opf_ptf, run.include_solutions},
                       ForcedParameter{write_solutions_to_task_json, run.include_solutions},
                       ForcedParameter{write_asynchronously, async}};
  for (auto& f : forced) f.kept = run.task.getintparam(f.param);
  for (const auto& f : forced) run.task.putintparam(f.param, f.value ? 1 : 0);
  CHKR_(driver_source, 593, run.task.writedata(*file));
  for (const auto& f : forced) run.task.putintparam(f.param, f.kept);
}
