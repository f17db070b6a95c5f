// generator.h - random command lines and random answers of the library, from a seed alone.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "../command/fakelibrary.h"

namespace random_runs {

/// Something that the library does at a call besides answering.
struct Event {
  enum class Kind { code, callback, sigterm, log };
  std::string operation;
  std::int64_t call = 0;  // counted from 1; 0: at each call
  Kind kind = Kind::code;
  std::int32_t code = 0;
  double seconds = 0.0;
  std::string text;
};

struct Run {
  std::vector<std::string> words;  // without the program's name
  /// Sizes, names, solutions, the sense, code names and the last message.
  vlntaskt library;
  std::int32_t lastmsglen = 0;
  std::int32_t trm = 0;
  std::vector<Event> events;        // in the order in which they happen at one call
  std::vector<std::int64_t> clock;  // readings in nanoseconds; the last one stays
};

Run generate(std::uint64_t seed);

/// The answers in the recording library's script language.
std::string scriptof(const Run& run);

}  // namespace random_runs
