// accept.cpp - keeps a case's title, arguments, script and files, drops its expectations, and
// writes those of the run behind. Marks of checked calls are kept where the call is still there.
#include "accept.h"

#include <algorithm>
#include <array>
#include <fstream>
#include <stdexcept>
#include <string_view>

#include "compare.h"
#include "quoting.h"

namespace program {
namespace {

constexpr std::array<std::string_view, 6> expectations = {"stdout",   "stderr", "exit",
                                                          "uncaught", "calls",  "left"};

std::vector<std::string> read_lines(const std::filesystem::path& file) {
  std::ifstream stream(file);
  std::vector<std::string> lines;
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

bool begins_expectation(const std::string& line) {
  const std::string_view name = std::string_view(line).substr(0, line.find_first_of(": "));
  for (std::string_view expectation : expectations) {
    if (name == expectation) return true;
  }
  return false;
}

// Comments before the next case belong to that one.
std::size_t case_end(const std::vector<std::string>& lines, const Case& what) {
  auto end = static_cast<std::size_t>(what.last_line);
  while (lines[end - 1].empty() || lines[end - 1].starts_with('#')) --end;
  return end;
}

// The lines of the case without its expectations.
std::vector<std::string> kept_lines(const std::vector<std::string>& lines, const Case& what) {
  std::vector<std::string> kept;
  bool dropping = false;
  const std::size_t end = case_end(lines, what);
  for (auto i = static_cast<std::size_t>(what.first_line); i < end; ++i) {
    const std::string& line = lines[i];
    if (!line.empty() && line[0] != ' ' && line[0] != '#') dropping = begins_expectation(line);
    if (!dropping) kept.push_back(line);
  }
  while (!kept.empty() && kept.back().empty()) kept.pop_back();
  return kept;
}

void add_text(std::vector<std::string>& lines, const std::string& heading,
              const std::string& text) {
  if (text.empty() || text.back() != '\n') {
    lines.push_back(heading + ": " + recording::quote(text));
    return;
  }
  lines.push_back(heading + ':');
  for (std::size_t begin = 0; begin < text.size();) {
    const std::size_t end = text.find('\n', begin);
    std::string line = recording::escape(text.substr(begin, end - begin));
    if (line.ends_with(' ')) line.replace(line.size() - 1, 1, "\\x20");
    lines.push_back(line.empty() ? "" : "  " + line);
    begin = end + 1;
  }
}

// The line with the mark of the expected call that it is, the earlier lines of the same text being
// the earlier expected ones: two such calls may be checked with different lines.
std::string marked(const std::vector<std::string>& trace, std::size_t at, const Case& what) {
  const std::string& line = trace[at];
  const auto here = trace.begin() + static_cast<std::ptrdiff_t>(at);
  auto earlier = std::count(trace.begin(), here, line);
  for (const ExpectedCall& call : what.calls) {
    if (call.text != line || earlier-- > 0) continue;
    if (call.file.empty()) return line;
    const bool plain = call.file.ends_with("plainsol");
    return line + (plain ? " !plainsol:" : " !") + std::to_string(call.line);
  }
  return line;
}

bool starts_here(const std::vector<std::string>& trace, std::size_t at,
                 const std::vector<ExpectedCall>& sequence) {
  if (sequence.empty() || at + sequence.size() > trace.size()) return false;
  for (std::size_t i = 0; i < sequence.size(); ++i) {
    if (trace[at + i] != sequence[i].text) return false;
  }
  return true;
}

// The longest named sequence that the trace goes on with; its length goes to size.
std::string sequence_here(const std::vector<std::string>& trace, std::size_t at,
                          const Sequences& sequences, std::size_t& size) {
  std::string best;
  size = 0;
  for (const auto& [name, sequence] : sequences) {
    if (sequence.size() <= size || !starts_here(trace, at, sequence)) continue;
    best = name;
    size = sequence.size();
  }
  return best;
}

void add_calls(std::vector<std::string>& lines, const Case& what, const Outcome& actual,
               const Sequences& sequences) {
  if (actual.trace.empty()) return;
  lines.emplace_back("calls:");
  for (std::size_t at = 0; at < actual.trace.size();) {
    const std::string& line = actual.trace[at];
    if (line.starts_with("uncaught ")) break;
    std::size_t size = 0;
    const std::string name = sequence_here(actual.trace, at, sequences, size);
    lines.push_back(size == 0 ? "  " + marked(actual.trace, at, what) : "  @" + name);
    at += size == 0 ? 1 : size;
  }
}

std::vector<std::string> actual_lines(const Case& what, const Outcome& actual,
                                      const Sequences& sequences) {
  std::vector<std::string> lines;
  std::string errors = actual.standard_error;
  const std::string last = actual.trace.empty() ? "" : actual.trace.back();
  const bool uncaught = last.starts_with("uncaught ");
  if (uncaught) errors.resize(errors.find("terminate called after"));
  if (!actual.standard_output.empty()) add_text(lines, "stdout", actual.standard_output);
  if (!errors.empty()) add_text(lines, "stderr", errors);
  add_calls(lines, what, actual, sequences);
  if (uncaught) {
    lines.push_back("uncaught: " + last.substr(9));
  } else if (actual.exit != Exit{}) {
    lines.push_back("exit: " + describe(actual.exit));
  }
  for (const auto& [name, text] : actual.left) {
    const auto input = what.files.find(name);
    if (input == what.files.end() || input->second != text) add_text(lines, "left " + name, text);
  }
  return lines;
}

}  // namespace

void accept(const Case& what, const Outcome& actual, const Sequences& sequences) {
  const std::vector<std::string> lines = read_lines(what.source);
  std::vector<std::string> result(lines.begin(), lines.begin() + what.first_line);
  for (const std::string& line : kept_lines(lines, what)) result.push_back(line);
  for (const std::string& line : actual_lines(what, actual, sequences)) result.push_back(line);
  const auto rest = lines.begin() + static_cast<std::ptrdiff_t>(case_end(lines, what));
  result.insert(result.end(), rest, lines.end());
  std::ofstream file(what.source);
  for (const std::string& line : result) file << line << '\n';
  if (!file) throw std::runtime_error("cannot write " + what.source.string());
}

}  // namespace program
