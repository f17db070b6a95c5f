// "-read" and "-write" bring the task's problem from and to a file.
//
// The library recognises format and compression by the file's name. A setting that a command
// forces for its one call is put back afterwards. After a failed call the process ends, so that
// nothing is.
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

constexpr std::array<std::string_view, 6> kProblemFormats = {"mps", "task", "ptf",
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
  if (!word.empty() && std::ranges::find(kProblemFormats, word) == kProblemFormats.end()) {
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

void runread(RunState& run, std::string_view args) {
  const ReadSettings settings = readsettings(args);
  const auto file = run.words.take();
  if (!file) return;
  const char* name = run.shownname(*file);
  run.task.echo("Read file: %s\n", name);

  const std::int32_t kept_async = run.task.getintparam(VLN_IPAR_ASYNC_READ);
  run.task.putintparam(VLN_IPAR_ASYNC_READ, settings.async ? 1 : 0);
  const std::uint64_t start = gettimens();
  CHKR_(kDriverSource, 535, run.task.readdata(*file));
  const std::uint64_t end = gettimens();
  run.task.putintparam(VLN_IPAR_ASYNC_READ, kept_async);

  if (settings.printtime != 0) {
    std::cerr << "Read time " << elapsedseconds(start, end) << " sec: " << name << std::endl;
  }
  if (!settings.safe) return;
  for (std::int32_t param = 0; param < VLN_NUM_FILE_SPAR; ++param) {
    run.task.putstrparam(param, "");
  }
}

void runwrite(RunState& run, std::string_view args) {
  const bool async = writeasync(args);
  const auto file = run.words.take();
  if (!file) return;
  run.task.echo("Write file: %s\n", run.shownname(*file));

  struct ForcedParameter {
    std::int32_t param;
    bool value;
    std::int32_t kept = 0;
  };
  std::array forced = {ForcedParameter{VLN_IPAR_TEXT_FILE_SOLUTIONS, run.include_solutions},
                       ForcedParameter{VLN_IPAR_TASK_FILE_SOLUTIONS, run.include_solutions},
                       ForcedParameter{VLN_IPAR_ASYNC_WRITE, async}};
  for (auto& f : forced) f.kept = run.task.getintparam(f.param);
  for (const auto& f : forced) run.task.putintparam(f.param, f.value ? 1 : 0);
  CHKR_(kDriverSource, 593, run.task.writedata(*file));
  for (const auto& f : forced) run.task.putintparam(f.param, f.kept);
}
