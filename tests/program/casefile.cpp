// casefile.cpp - the reader of case files. A file is a list of sections "NAME: VALUE" or "NAME:"
// and a block of lines indented by two blanks; the section "case" begins a case.
#include "casefile.h"

#include <cxxabi.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <string_view>
#include <typeinfo>

#include "quoting.h"

namespace program {
namespace {

namespace fs = std::filesystem;

struct Section {
  int line = 0;         // where it begins, counted from 0
  std::string name;     // the first word before the colon, "left" of "left r.txt"
  std::string subject;  // the rest before the colon, "r.txt"
  std::string value;    // the text after the colon
  std::vector<std::string> block;
};

std::vector<std::string> read_lines(const fs::path& file) {
  std::ifstream stream(file);
  if (!stream) throw std::runtime_error("cannot be read");
  std::vector<std::string> lines;
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

std::string trim(const std::string& text) {
  const std::size_t first = text.find_first_not_of(' ');
  if (first == std::string::npos) return {};
  return text.substr(first, text.find_last_not_of(' ') - first + 1);
}

Section parse_heading(const std::string& text, int line) {
  std::size_t colon = text.find(": ");
  if (colon == std::string::npos && text.ends_with(':')) colon = text.size() - 1;
  if (colon == std::string::npos) throw std::runtime_error("a section needs a colon: " + text);
  Section section;
  section.line = line;
  const std::string heading = text.substr(0, colon);
  const std::size_t blank = heading.find(' ');
  section.name = heading.substr(0, blank);
  if (blank != std::string::npos) section.subject = trim(heading.substr(blank));
  section.value = trim(text.substr(colon + 1));
  return section;
}

void drop_empty_end(std::vector<std::string>& block) {
  while (!block.empty() && block.back().empty()) block.pop_back();
}

std::vector<Section> split_sections(const std::vector<std::string>& lines) {
  std::vector<Section> sections;
  for (std::size_t i = 0; i < lines.size(); ++i) {
    const std::string& line = lines[i];
    if (line.starts_with('#')) continue;
    if (line.empty() || line.starts_with("  ")) {
      if (!sections.empty()) sections.back().block.push_back(line.empty() ? "" : line.substr(2));
      if (sections.empty() && !line.empty()) throw std::runtime_error("text before any section");
      continue;
    }
    sections.push_back(parse_heading(line, static_cast<int>(i)));
  }
  for (Section& section : sections) drop_empty_end(section.block);
  return sections;
}

using Texts = std::map<std::string, std::string>;

// A text is one quoted value, or a block whose lines end in newlines; a line @@NAME stands for a
// named text.
std::string section_text(const Section& section, const Texts& texts) {
  if (section.value.starts_with('"')) {
    std::size_t position = 0;
    std::string text = recording::unquote(section.value, position);
    if (position != section.value.size()) throw std::runtime_error("text after the quote");
    return text;
  }
  if (!section.value.empty()) throw std::runtime_error("a text must be quoted or a block");
  std::string text;
  for (const std::string& line : section.block) {
    if (!line.starts_with("@@")) {
      text += recording::unescape(line) + '\n';
      continue;
    }
    const auto found = texts.find(line.substr(2));
    if (found == texts.end()) throw std::runtime_error("unknown text " + line);
    text += found->second;
  }
  return text;
}

std::string joined_block(const Section& section) {
  std::string text;
  for (const std::string& line : section.block) text += line + '\n';
  return text;
}

// "VLN_readdata(task, "x") !535", "... !plainsol:211"
ExpectedCall parse_call(const std::string& text) {
  const std::size_t mark = text.rfind(" !");
  if (mark == std::string::npos || !text.starts_with("VLN_")) return {text, {}, 0};
  std::string place = text.substr(mark + 2);
  ExpectedCall call{text.substr(0, mark), "src/command/vorlancli", 0};
  if (place.starts_with("plainsol:")) {
    call.file = "src/command/vorlanplainsol";
    place.erase(0, 9);
  }
  call.line = std::stoi(place);
  return call;
}

std::vector<ExpectedCall> parse_calls(const Section& section, const Sequences& sequences) {
  std::vector<ExpectedCall> calls;
  for (const std::string& line : section.block) {
    if (!line.starts_with('@')) {
      calls.push_back(parse_call(line));
      continue;
    }
    const auto found = sequences.find(line.substr(1));
    if (found == sequences.end()) throw std::runtime_error("unknown sequence " + line);
    calls.insert(calls.end(), found->second.begin(), found->second.end());
  }
  return calls;
}

Exit parse_exit(const std::string& value) {
  if (value.starts_with("signal ")) return {0, std::stoi(value.substr(7))};
  return {std::stoi(value), 0};
}

Uncaught parse_uncaught(const std::string& value) {
  Uncaught result{"uncaught " + value, {}};
  if (value.starts_with("VLNException ")) {
    result.runtime_text = runtime_text("VLNException", {});
  } else if (value.starts_with("std::string ")) {
    int status = 0;
    char* name = abi::__cxa_demangle(typeid(std::string).name(), nullptr, nullptr, &status);
    result.runtime_text = runtime_text(name, {});
    std::free(name);
  } else if (value.starts_with("std::out_of_range ")) {
    std::size_t position = value.find('"');
    result.runtime_text = runtime_text("std::out_of_range", recording::unquote(value, position));
  } else {
    throw std::runtime_error("unknown type of exception: " + value);
  }
  return result;
}

void parse_signal(const Section& section, Case& result) {
  constexpr std::string_view kForm = "TERM when ";
  if (!section.value.starts_with(kForm)) throw std::runtime_error("signal: TERM when \"TEXT\"");
  result.signal_to_send = SIGTERM;
  std::size_t position = kForm.size();
  result.signal_when = recording::unquote(section.value, position);
}

std::vector<std::string> parse_arguments(const Section& section) {
  std::vector<std::string> words = split_words(section.value);
  for (const std::string& line : section.block) {
    for (std::string& word : split_words(line)) words.push_back(std::move(word));
  }
  return words;
}

// The names that a file has used so far.
struct Named {
  Sequences sequences;
  Texts texts;
};

using Handler = void (*)(const Section&, const Named&, Case&);

const std::map<std::string, Handler>& handlers() {
  using S = const Section&;
  using N = const Named&;
  static const std::map<std::string, Handler> table = {
      {"args", [](S s, N, Case& c) { c.arguments = parse_arguments(s); }},
      {"script", [](S s, N, Case& c) { c.script = joined_block(s); }},
      {"file", [](S s, N n, Case& c) { c.files[s.subject] = section_text(s, n.texts); }},
      {"folder", [](S s, N, Case& c) { c.folders.push_back(s.subject); }},
      {"signal", [](S s, N, Case& c) { parse_signal(s, c); }},
      {"stdout", [](S s, N n, Case& c) { c.standard_output = section_text(s, n.texts); }},
      {"stderr", [](S s, N n, Case& c) { c.standard_error = section_text(s, n.texts); }},
      {"exit", [](S s, N, Case& c) { c.exit = parse_exit(s.value); }},
      {"uncaught", [](S s, N, Case& c) { c.uncaught = parse_uncaught(s.value); }},
      {"calls", [](S s, N n, Case& c) { c.calls = parse_calls(s, n.sequences); }},
      {"left", [](S s, N n, Case& c) { c.left[s.subject] = section_text(s, n.texts); }},
      {"each", [](S, N, Case& c) { c.each_call_fails = true; }},
  };
  return table;
}

// The exception adds its signal, the runtime's text and the last line of the trace.
void apply_uncaught(Case& result) {
  if (!result.uncaught) return;
  result.exit = {0, SIGABRT};
  result.standard_error += result.uncaught->runtime_text;
  result.calls.push_back({result.uncaught->trace_line, {}, 0});
}

std::runtime_error located(const fs::path& file, int line, const char* what) {
  return std::runtime_error(file.string() + ':' + std::to_string(line + 1) + ": " + what);
}

class CaseReader {
 public:
  CaseReader(fs::path file, Sequences sequences)
      : file_(std::move(file)), named_{std::move(sequences), {}} {}

  void read() {
    const std::vector<std::string> lines = read_lines(file_);
    for (const Section& section : split_sections(lines)) {
      try {
        take(section);
      } catch (const std::exception& error) {
        throw located(file_, section.line, error.what());
      }
    }
    finish(static_cast<int>(lines.size()));
  }

  std::vector<Case> cases;
  const Sequences& sequences() const { return named_.sequences; }

 private:
  void take(const Section& section) {
    if (section.name == "case") return begin(section);
    if (section.name == "sequence") {
      named_.sequences[section.subject] = parse_calls(section, named_.sequences);
      return;
    }
    if (section.name == "text") {
      named_.texts[section.subject] = section_text(section, named_.texts);
      return;
    }
    if (cases.empty()) throw std::runtime_error("a case begins with \"case: TITLE\"");
    const auto found = handlers().find(section.name);
    if (found == handlers().end()) throw std::runtime_error("unknown section " + section.name);
    const std::string whole = section.name + ' ' + section.subject;
    if (std::ranges::find(seen_, whole) != seen_.end()) throw std::runtime_error("stated twice");
    seen_.push_back(whole);
    found->second(section, named_, cases.back());
  }

  void begin(const Section& section) {
    finish(section.line);
    Case next;
    next.title = section.value;
    next.source = file_;
    next.first_line = section.line;
    cases.push_back(std::move(next));
    seen_.clear();
  }

  void finish(int line) {
    if (cases.empty()) return;
    cases.back().last_line = line;
    apply_uncaught(cases.back());
  }

  fs::path file_;
  Named named_;
  std::vector<std::string> seen_;
};

}  // namespace

std::string runtime_text(const std::string& type, const std::string& what) {
  std::string text = "terminate called after throwing an instance of '" + type + "'\n";
  if (!what.empty()) text += "  what():  " + what + '\n';
  return text;
}

std::vector<std::string> split_words(const std::string& text) {
  std::vector<std::string> words;
  std::string word;
  bool in_word = false;
  for (std::size_t i = 0; i < text.size();) {
    if (text[i] == ' ') {
      if (in_word) words.push_back(word);
      in_word = false;
      word.clear();
      ++i;
      continue;
    }
    in_word = true;
    if (text[i] == '"') {
      word += recording::unquote(text, i);
    } else if (text[i] == '\'') {
      const std::size_t end = text.find('\'', i + 1);
      if (end == std::string::npos) throw std::runtime_error("a quote is not closed");
      word += text.substr(i + 1, end - i - 1);
      i = end + 1;
    } else {
      word += text[i++];
    }
  }
  if (in_word) words.push_back(word);
  return words;
}

Sequences read_sequences(const fs::path& file) {
  CaseReader reader(file, {});
  reader.read();
  return reader.sequences();
}

std::vector<Case> read_cases(const fs::path& file, const Sequences& shared) {
  CaseReader reader(file, shared);
  reader.read();
  return std::move(reader.cases);
}

}  // namespace program
