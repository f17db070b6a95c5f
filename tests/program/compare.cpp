// compare.cpp - literal comparison, but for the places that no one can foretell.
#include "compare.h"

#include <algorithm>
#include <cstdlib>
#include <sstream>
#include <stdexcept>

#include "quoting.h"

namespace program {
namespace {

// One "{seconds NAME >=X <X}".
struct SecondsPlace {
  std::string name;
  double least = 0.0;
  double below = 60.0;
};

SecondsPlace parse_seconds_place(const std::string& inside) {
  SecondsPlace place;
  std::istringstream words(inside);
  std::string word;
  words >> word;
  while (words >> word) {
    if (word.starts_with(">=")) {
      place.least = std::stod(word.substr(2));
    } else if (word.starts_with("<")) {
      place.below = std::stod(word.substr(1));
    } else {
      place.name = word;
    }
  }
  return place;
}

// Seconds are printed as a stream prints a double by default: printing them again gives the same.
bool is_stream_double(const std::string& digits, double& value) {
  char* end = nullptr;
  value = std::strtod(digits.c_str(), &end);
  if (end == digits.c_str() || *end != '\0') return false;
  std::ostringstream again;
  again << value;
  return again.str() == digits;
}

bool take_seconds(const std::string& inside, const std::string& actual, std::size_t& position,
                  std::map<std::string, std::string>& names) {
  const SecondsPlace place = parse_seconds_place(inside);
  const std::size_t end = actual.find_first_not_of("0123456789.e+-", position);
  const std::string digits = actual.substr(position, end - position);
  double value = 0.0;
  if (!is_stream_double(digits, value)) return false;
  if (value < place.least || value >= place.below) return false;
  position += digits.size();
  if (place.name.empty()) return true;
  return names.emplace(place.name, digits).first->second == digits;
}

bool take_place(const std::string& inside, const std::string& actual, std::size_t& position,
                long pid, std::map<std::string, std::string>& names) {
  if (inside != "pid") return take_seconds(inside, actual, position, names);
  const std::string digits = std::to_string(pid);
  if (actual.compare(position, digits.size(), digits) != 0) return false;
  position += digits.size();
  return true;
}

std::vector<std::string> lines_of(const std::string& text) {
  std::vector<std::string> result;
  for (std::size_t begin = 0; begin < text.size();) {
    const std::size_t end = std::min(text.find('\n', begin), text.size() - 1) + 1;
    result.push_back(text.substr(begin, end - begin));
    begin = end;
  }
  return result;
}

// Shows a little of both texts, from the first line that differs.
std::string text_difference(const std::string& part, const std::string& expected,
                            const std::string& actual) {
  constexpr std::size_t kShown = 10;
  const std::vector<std::string> wanted = lines_of(expected);
  const std::vector<std::string> got = lines_of(actual);
  const auto parting = std::ranges::mismatch(wanted, got);
  const auto at = static_cast<std::size_t>(parting.in1 - wanted.begin());
  std::string result = part + " differs from line " + std::to_string(at + 1) + '\n';
  for (std::size_t i = at; i < std::min(wanted.size(), at + kShown); ++i) {
    result += "    - " + recording::quote(wanted[i]) + '\n';
  }
  for (std::size_t i = at; i < std::min(got.size(), at + kShown); ++i) {
    result += "    + " + recording::quote(got[i]) + '\n';
  }
  return result;
}

// The first line at which the traces part, with a little of both.
std::string trace_difference(const Case& expected, const Outcome& actual,
                             std::map<std::string, std::string>& names) {
  std::size_t at = 0;
  const std::size_t common = std::min(expected.calls.size(), actual.trace.size());
  while (at < common &&
         text_matches(expected.calls[at].text, actual.trace[at], actual.pid, names)) {
    ++at;
  }
  if (at == expected.calls.size() && at == actual.trace.size()) return {};
  std::string result = "calls differ from line " + std::to_string(at + 1) + " of the trace\n";
  constexpr std::size_t kShown = 6;
  for (std::size_t i = at; i < std::min(expected.calls.size(), at + kShown); ++i) {
    result += "    - " + expected.calls[i].text + '\n';
  }
  for (std::size_t i = at; i < std::min(actual.trace.size(), at + kShown); ++i) {
    result += "    + " + actual.trace[i] + '\n';
  }
  return result;
}

// Input files must be as they were, unless the case says what becomes of them.
std::map<std::string, std::string> expected_files(const Case& expected) {
  std::map<std::string, std::string> files = expected.left;
  files.insert(expected.files.begin(), expected.files.end());
  return files;
}

void compare_files(const Case& expected, const Outcome& actual,
                   std::map<std::string, std::string>& names, std::vector<std::string>& found) {
  const std::map<std::string, std::string> files = expected_files(expected);
  for (const auto& [name, text] : files) {
    const auto left = actual.left.find(name);
    if (left == actual.left.end()) {
      found.push_back("file " + name + " is missing\n");
    } else if (!text_matches(text, left->second, actual.pid, names)) {
      found.push_back(text_difference("file " + name, text, left->second));
    }
  }
  for (const auto& [name, text] : actual.left) {
    if (!files.contains(name)) found.push_back(text_difference("unstated file " + name, "", text));
  }
}

}  // namespace

bool text_matches(const std::string& expected, const std::string& actual, long pid,
                  std::map<std::string, std::string>& names) {
  std::size_t position = 0;
  for (std::size_t i = 0; i < expected.size();) {
    const bool is_place =
        expected.compare(i, 5, "{pid}") == 0 || expected.compare(i, 8, "{seconds") == 0;
    if (!is_place) {
      if (position >= actual.size() || actual[position] != expected[i]) return false;
      ++position;
      ++i;
      continue;
    }
    const std::size_t end = expected.find('}', i);
    if (end == std::string::npos) throw std::runtime_error("a place is not closed");
    if (!take_place(expected.substr(i + 1, end - i - 1), actual, position, pid, names))
      return false;
    i = end + 1;
  }
  return position == actual.size();
}

std::string describe(const Exit& exit) {
  if (exit.signal != 0) return "signal " + std::to_string(exit.signal);
  return std::to_string(exit.status);
}

std::vector<std::string> differences(const Case& expected, const Outcome& actual) {
  std::vector<std::string> found;
  std::map<std::string, std::string> names;
  if (actual.timed_out) found.emplace_back("the run did not end in time\n");
  if (actual.exit != expected.exit) {
    found.push_back("exit differs: expected " + describe(expected.exit) + ", actual " +
                    describe(actual.exit) + '\n');
  }
  if (!text_matches(expected.standard_error, actual.standard_error, actual.pid, names)) {
    found.push_back(text_difference("stderr", expected.standard_error, actual.standard_error));
  }
  if (!text_matches(expected.standard_output, actual.standard_output, actual.pid, names)) {
    found.push_back(text_difference("stdout", expected.standard_output, actual.standard_output));
  }
  compare_files(expected, actual, names, found);
  const std::string calls = trace_difference(expected, actual, names);
  if (!calls.empty()) found.push_back(calls);
  return found;
}

}  // namespace program
