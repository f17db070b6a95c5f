#include "point_file.h"

#include <fmt/format.h>

#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstring>
#include <fstream>
#include <nlohmann/json.hpp>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "answer_text.h"

namespace vorlan::companion {

namespace {

using nlohmann::json;

// What a file calls a variable may be long, and may be meant for the reader's terminal.
constexpr std::size_t kLongestReason = 300;

[[noreturn]] void refuse(const std::string& file, const std::string& reason) {
  const bool is_long = reason.size() > kLongestReason;
  throw std::runtime_error(printable(file + ": " + reason.substr(0, kLongestReason)) +
                           (is_long ? "..." : ""));
}

std::string read_file(const std::string& file) {
  std::ifstream stream(file, std::ios::binary);
  if (!stream) refuse(file, std::strerror(errno));
  std::ostringstream content;
  content << stream.rdbuf();
  return content.str();
}

std::size_t triangle(int dimension) {
  const auto size = static_cast<std::size_t>(dimension);
  return size * (size + 1) / 2;
}

// Puts values under names into a point of the model's sizes.
class PointBuilder {
 public:
  PointBuilder(const ModelData& model, const std::string& file) : model_(model), file_(file) {
    for (std::size_t j = 0; j < model.variable_names.size(); ++j) {
      places_.emplace(model.variable_names[j], j);
    }
    point_.values.resize(model.variable_names.size());
    is_set_.resize(model.variable_names.size());
    for (const int dimension : model.dimensions) {
      point_.matrices.emplace_back(triangle(dimension));
    }
  }

  void set(const std::string& name, double value) {
    const auto found = places_.find(name);
    if (found == places_.end()) refuse_line("the model has no variable '" + name + "'");
    if (is_set_[found->second]) refuse_line("variable '" + name + "' has two values");
    is_set_[found->second] = true;
    point_.values[found->second] = value;
  }

  void set_element(const std::string& name, int row, int column, double value) {
    for (std::size_t m = 0; m < model_.matrix_names.size(); ++m) {
      if (model_.matrix_names[m] != name) continue;
      const int dimension = model_.dimensions[m];
      if (column < 0 || column > row || row >= dimension) break;
      const std::size_t before = static_cast<std::size_t>(column) *
                                 static_cast<std::size_t>(2 * dimension - column - 1) / 2;
      point_.matrices[m][before + static_cast<std::size_t>(row)] = value;
      return;
    }
    refuse_line(fmt::format("the model has no element {}({},{})", name, row, column));
  }

  // The line that the next values come from, counted from 1, for messages about them.
  void go_to_line(std::size_t number) { line_ = number; }
  [[noreturn]] void refuse_line(const std::string& reason) const {
    refuse(file_, line_ == 0 ? reason : fmt::format("line {}: {}", line_, reason));
  }

  NamedPoint finish() {
    NamedPoint named{std::move(point_), 0};
    for (const bool is_set : is_set_) named.missing += is_set ? 0 : 1;
    return named;
  }

 private:
  const ModelData& model_;
  const std::string& file_;
  std::unordered_map<std::string, std::size_t> places_;
  std::vector<bool> is_set_;
  Point point_;
  std::size_t line_ = 0;  // 0 where lines say nothing, as in JSON
};

// The most telling of the solutions that are there.
constexpr const char* kKinds[] = {"integer", "basic", "interior"};

std::vector<double> numbers(const json& list) {
  std::vector<double> found;
  found.reserve(list.size());
  for (const json& value : list) {
    found.push_back(value.is_string() ? std::strtod(value.get<std::string>().c_str(), nullptr)
                                      : value.get<double>());
  }
  return found;
}

// A JSON solution has its values in the order of the model's variables.
NamedPoint from_solution(const json& document, const ModelData& model, const std::string& file) {
  for (const char* kind : kKinds) {
    if (!document.at("solutions").contains(kind)) continue;
    const json& solution = document["solutions"][kind];
    NamedPoint named;
    named.point.values = numbers(solution.at("xx"));
    if (named.point.values.size() != model.variable_names.size()) {
      refuse(file, fmt::format("the number of variables is {} in the solution and {} in the model",
                               named.point.values.size(), model.variable_names.size()));
    }
    const json& variables = document.at("variables");
    for (std::size_t j = 0; variables.contains("names") && j < model.variable_names.size(); ++j) {
      const json& name = variables["names"].at(j);
      if (!name.is_string() || name.get<std::string>().empty()) continue;
      if (name.get<std::string>() == model.variable_names[j]) continue;
      refuse(file, fmt::format("the solution is of another model: variable {} is '{}' there and "
                               "'{}' here",
                               j, name.get<std::string>(), model.variable_names[j]));
    }
    std::size_t first = 0;
    const std::vector<double> packed =
        solution.contains("barx") ? numbers(solution["barx"]) : std::vector<double>();
    for (const int dimension : model.dimensions) {
      const std::size_t last = first + triangle(dimension);
      if (last > packed.size()) refuse(file, "a matrix variable is missing");
      named.point.matrices.emplace_back(packed.begin() + static_cast<std::ptrdiff_t>(first),
                                        packed.begin() + static_cast<std::ptrdiff_t>(last));
      first = last;
    }
    return named;
  }
  refuse(file, "there is no solution in it");
}

// The answer that this program writes with --json.
NamedPoint from_answer(const json& document, const ModelData& model, const std::string& file) {
  PointBuilder builder(model, file);
  for (const json& item : document.at("variables")) {
    builder.set(item.at("name"), item.at("value").get<double>());
  }
  if (document.contains("matrix entries")) {
    for (const json& entry : document["matrix entries"]) {
      builder.set_element(entry.at("name"), entry.at("row"), entry.at("column"),
                          entry.at("value").get<double>());
    }
  }
  return builder.finish();
}

NamedPoint from_json(const std::string& content, const ModelData& model, const std::string& file) {
  try {
    const json document = json::parse(content);
    return document.contains("solutions") ? from_solution(document, model, file)
                                          : from_answer(document, model, file);
  } catch (const json::exception& error) {
    refuse(file, error.what());
  }
}

std::optional<double> number(std::string_view word) {
  if (word.starts_with('+')) word.remove_prefix(1);
  double value = 0.0;
  const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), value);
  const bool is_whole = error == std::errc() && end == word.data() + word.size();
  return is_whole ? std::optional(value) : std::nullopt;
}

// The fields of a line of CSV (RFC 4180) without line breaks in fields.
std::vector<std::string> csv_fields(const std::string& line) {
  std::vector<std::string> fields(1);
  bool quoted = false;
  for (std::size_t i = 0; i < line.size(); ++i) {
    const char character = line[i];
    if (quoted && character == '"' && i + 1 < line.size() && line[i + 1] == '"') {
      fields.back() += line[++i];
    } else if (character == '"') {
      quoted = !quoted;
    } else if (character == ',' && !quoted) {
      fields.emplace_back();
    } else if (character != '\r') {
      fields.back() += character;
    }
  }
  return fields;
}

int whole(const std::string& field) { return std::atoi(field.c_str()); }

NamedPoint from_csv(const std::string& content, const ModelData& model, const std::string& file) {
  PointBuilder builder(model, file);
  std::istringstream lines(content);
  std::string line;
  std::getline(lines, line);  // the title
  for (std::size_t number_of_line = 2; std::getline(lines, line); ++number_of_line) {
    builder.go_to_line(number_of_line);
    const std::vector<std::string> fields = csv_fields(line);
    if (fields.size() < 5 || fields[0] == "constraint") continue;
    const std::optional<double> value = number(fields[4]);
    if (!value) builder.refuse_line("'" + fields[4] + "' is not a number");
    if (fields[0] == "variable") builder.set(fields[1], *value);
    if (fields[0] == "matrix") {
      builder.set_element(fields[1], whole(fields[2]), whole(fields[3]), *value);
    }
  }
  return builder.finish();
}

// No form has the name or the value behind more words than these.
constexpr std::size_t kMostWords = 4;

std::vector<std::string> words_of(const std::string& line) {
  std::istringstream stream(line);
  std::vector<std::string> words;
  for (std::string word; words.size() < kMostWords && stream >> word;) words.push_back(word);
  return words;
}

// How the texts of other programs differ from plain lines "NAME VALUE".
enum class Dialect { kPlain, kHighs, kCbc, kScip };

Dialect dialect_of(const std::string& first_line) {
  if (first_line.starts_with("Model status")) return Dialect::kHighs;
  if (first_line.starts_with("solution status:")) return Dialect::kScip;
  if (first_line.find("objective value") != std::string::npos) return Dialect::kCbc;
  return Dialect::kPlain;
}

// In HiGHS's files the values of the variables stand between "# Columns" and the next "#".
class HighsSection {
 public:
  bool has(const std::string& line) {
    if (line.starts_with('#')) {
      if (line.starts_with("# Columns") && !is_over_) {
        is_inside_ = true;
      } else if (is_inside_) {
        is_inside_ = false;
        is_over_ = true;
      }
      return false;
    }
    return is_inside_;
  }

 private:
  bool is_inside_ = false;
  bool is_over_ = false;
};

// Where a line's name stands; the value follows. CBC marks what it finds infeasible by "**".
std::size_t place_of_name(Dialect dialect, const std::vector<std::string>& words) {
  if (dialect != Dialect::kCbc) return 0;
  return words[0] == "**" ? 2 : 1;
}

bool is_heading(Dialect dialect, std::size_t line_number, const std::string& line) {
  if (dialect == Dialect::kCbc) return line_number == 1;
  if (dialect == Dialect::kScip) return line_number == 1 || line.starts_with("objective value:");
  return false;
}

NamedPoint from_text(const std::string& content, const ModelData& model, const std::string& file) {
  if (!model.dimensions.empty()) {
    refuse(file, "a text has no values of matrix variables; give a JSON or b solution");
  }
  PointBuilder builder(model, file);
  std::istringstream lines(content);
  Dialect dialect = Dialect::kPlain;
  HighsSection section;
  std::size_t line_number = 0;
  for (std::string line; std::getline(lines, line);) {
    builder.go_to_line(++line_number);
    if (line_number == 1) dialect = dialect_of(line);
    if (is_heading(dialect, line_number, line)) continue;
    if (dialect == Dialect::kHighs && !section.has(line)) continue;
    const std::vector<std::string> words = words_of(line);
    if (words.empty() || line.starts_with('#')) continue;
    const std::size_t name = place_of_name(dialect, words);
    const std::optional<double> value =
        name + 1 < words.size() ? number(words[name + 1]) : std::nullopt;
    if (!value) builder.refuse_line("NAME VALUE was expected");
    builder.set(words[name], *value);
  }
  return builder.finish();
}

NamedPoint from_b_solution(Session& session, const ModelData& model, const std::string& file,
                           unsigned compression) {
  session.read_solution(file, compression);
  for (const int which : {VLN_SOLUTION_INTEGER, VLN_SOLUTION_BASIC, VLN_SOLUTION_INTERIOR}) {
    if (!session.has_solution(which)) continue;
    NamedPoint named;
    named.point.values = session.values(which);
    for (std::size_t m = 0; m < model.dimensions.size(); ++m) {
      named.point.matrices.push_back(session.matrix_value(which, static_cast<int>(m)));
    }
    return named;
  }
  refuse(file, "there is no solution in it");
}

}  // namespace

NamedPoint read_point(Session& session, const ModelData& model, const std::string& file) {
  constexpr std::pair<const char*, unsigned> kBinary[] = {{".b", VLN_COMPRESSION_NONE},
                                                          {".b.gz", VLN_COMPRESSION_GZIP},
                                                          {".b.zst", VLN_COMPRESSION_ZSTD}};
  for (const auto& [suffix, compression] : kBinary) {
    if (file.ends_with(suffix)) return from_b_solution(session, model, file, compression);
  }
  const std::string content = read_file(file);
  const std::size_t first = content.find_first_not_of(" \t\r\n");
  if (first != std::string::npos && content[first] == '{') return from_json(content, model, file);
  if (content.starts_with("kind,name,")) return from_csv(content, model, file);
  return from_text(content, model, file);
}

}  // namespace vorlan::companion
