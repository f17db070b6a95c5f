// random_test.cpp - runs the program on random command lines against random answers of the library,
// each twice, and compares all that it does with the model. See README.md.
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <sstream>
#include <string>
#include <vector>

#include "../program/run.h"
#include "../recording/quoting.h"
#include "expectedrun.h"
#include "generator.h"

namespace {

using random_runs::Expected;
using random_runs::Run;

std::uint64_t setting(const char* variable, const char* argument, std::uint64_t otherwise) {
  if (argument != nullptr) return std::strtoull(argument, nullptr, 10);
  const char* value = std::getenv(variable);
  return value != nullptr && *value != '\0' ? std::strtoull(value, nullptr, 10) : otherwise;
}

std::string joined(const std::vector<std::string>& lines) {
  std::string text;
  for (const std::string& line : lines) text += line + '\n';
  return text;
}

std::string joined(const std::map<std::string, std::string>& files) {
  std::string text;
  for (const auto& [name, content] : files) text += name + ": " + recording::quote(content) + '\n';
  return text;
}

std::string exitof(const Expected& expected) {
  return expected.aborted ? "signal " + std::to_string(SIGABRT)
                          : "status " + std::to_string(expected.status);
}

std::string exitof(const program::Outcome& outcome) {
  if (outcome.timed_out) return "no end";
  return outcome.exit.signal != 0 ? "signal " + std::to_string(outcome.exit.signal)
                                  : "status " + std::to_string(outcome.exit.status);
}

// Shows what differs, with both texts from the first differing line on.
std::string difference(const char* what, const std::string& expected, const std::string& actual) {
  if (expected == actual) return {};
  std::size_t begin = 0;
  for (std::size_t i = 0; i < expected.size() && i < actual.size() && expected[i] == actual[i];
       ++i) {
    if (expected[i] == '\n') begin = i + 1;
  }
  return std::string("--- ") + what + " expected, from the first difference on:\n" +
         expected.substr(begin, 1000) + "\n--- " + what + " found:\n" + actual.substr(begin, 1000) +
         '\n';
}

std::string differences(const Expected& expected, const program::Outcome& actual) {
  auto files = expected.files;
  for (auto& [name, content] : files) {
    if (content == "{pid}") content = std::to_string(actual.pid);
  }
  return difference("the end", exitof(expected), exitof(actual)) +
         difference("standard error", expected.standard_error, actual.standard_error) +
         difference("standard output", expected.standard_output, actual.standard_output) +
         difference("the trace", joined(expected.trace), joined(actual.trace)) +
         difference("the files", joined(files), joined(actual.left));
}

program::Case caseof(const Run& run) {
  program::Case what;
  what.arguments = run.words;
  what.script = scriptof(run);
  what.folders = {"d"};
  return what;
}

void printfailure(std::uint64_t seed, const program::Case& what, const std::string& text,
                  const char* self) {
  std::printf("seed %llu failed\nwords:", static_cast<unsigned long long>(seed));
  for (const std::string& word : what.arguments) std::printf(" %s", recording::quote(word).c_str());
  std::printf(R"(
script:
%s%sagain: %s 1 %llu

)",
              what.script.c_str(), text.c_str(), self, static_cast<unsigned long long>(seed));
}

struct Tally {
  int normal = 0, rejected = 0, aborted = 0, failed = 0;
};

void check(std::uint64_t seed, Tally& tally, const char* self) {
  const Run run = random_runs::generate(seed);
  const Expected expected = expect(run);
  const program::Case what = caseof(run);
  std::string text = differences(expected, program::run(what));
  if (text.empty()) {
    text = differences(expected, program::run(what));
    if (!text.empty()) text = "only the second run differs\n" + text;
  }
  if (!text.empty()) {
    ++tally.failed;
    printfailure(seed, what, text, self);
  }
  ++(expected.aborted ? tally.aborted : expected.status != 0 ? tally.rejected : tally.normal);
}

}  // namespace

int main(int argc, char** argv) {
  // A sanitizer's report must not look like an end of the program's own.
  setenv("ASAN_OPTIONS", "exitcode=86", 0);
  setenv("UBSAN_OPTIONS", "exitcode=86:print_stacktrace=1", 0);
  const std::uint64_t count = setting("VORLAN_RANDOM_RUNS", argc > 1 ? argv[1] : nullptr, 1000);
  const std::uint64_t first = setting("VORLAN_RANDOM_SEED", argc > 2 ? argv[2] : nullptr, 1);
  Tally tally;
  try {
    for (std::uint64_t i = 0; i < count && tally.failed < 10; ++i) check(first + i, tally, argv[0]);
  } catch (const std::exception& error) {
    std::printf("the test itself failed: %s\n", error.what());
    return 2;
  }
  std::printf(
      "from seed %llu: %d ended normally, %d at a word that is no command, %d by an uncaught "
      "exception; %d failed\n",
      static_cast<unsigned long long>(first), tally.normal, tally.rejected, tally.aborted,
      tally.failed);
  // A generator that no longer reaches all three ends would prove little.
  const bool reached = tally.normal > 0 && tally.rejected > 0 && tally.aborted > 0;
  if (count >= 300 && !reached) std::printf("not every kind of end was reached\n");
  return tally.failed > 0 || (count >= 300 && !reached) ? 1 : 0;
}
