#include "parameter_table.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <sstream>

#include "parameter_document.h"

namespace vorlan::companion {

namespace {

// The columns of the document's tables.
constexpr std::size_t kFullRow = 8;  // index, name, range, default, words, used by, owner, meaning
constexpr std::size_t kStringRow = 3;  // index, name, meaning

std::string lower(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
  return text;
}

// A cell without the blanks around it and without marks of code.
std::string plain(std::string cell) {
  std::erase(cell, '`');
  const std::size_t first = cell.find_first_not_of(' ');
  if (first == std::string::npos) return "";
  return cell.substr(first, cell.find_last_not_of(' ') - first + 1);
}

// The cells of a row "| a | b |"; none where the line is no row.
std::vector<std::string> cells(const std::string& line) {
  std::vector<std::string> found;
  if (!line.starts_with("| ")) return found;
  std::istringstream stream(line.substr(1));
  for (std::string cell; std::getline(stream, cell, '|');) found.push_back(plain(cell));
  return found;
}

std::vector<ParameterRow> read_rows() {
  std::vector<ParameterRow> rows;
  std::istringstream lines{std::string(kParameterDocument)};
  for (std::string line; std::getline(lines, line);) {
    const std::vector<std::string> row = cells(line);
    if (row.size() < kStringRow || !row[1].starts_with("VLN_")) continue;
    if (row.size() == kFullRow) {
      rows.push_back({row[1], row[2], row[3], row[4], row[5], row[7]});
    } else {
      rows.push_back({row[1], "", "", "", "", row.back()});
    }
  }
  return rows;
}

std::string line_of(const ParameterRow& row) {
  std::string line = row.name + ": ";
  if (row.range.empty()) return line + "a file's name. " + row.meaning + '\n';
  line += fmt::format("{}, default {}", row.range, row.initial);
  if (!row.words.empty()) line += "; " + row.words;
  if (row.methods != "every") line += "; used by " + row.methods;
  return line + ". " + row.meaning + '\n';
}

}  // namespace

const std::vector<ParameterRow>& parameter_rows() {
  static const std::vector<ParameterRow> rows = read_rows();
  return rows;
}

std::string whole_name(const std::string& name) {
  // "VLN_IPAR_", whose third word tells the kind.
  constexpr std::size_t kBeginning = 9;
  for (const ParameterRow& row : parameter_rows()) {
    if (lower(row.name.substr(kBeginning)) == lower(name)) return row.name;
  }
  return name;
}

std::string parameter_lines(const std::string& word) {
  std::string shown;
  for (const ParameterRow& row : parameter_rows()) {
    const std::string line = line_of(row);
    if (lower(line).find(lower(word)) != std::string::npos) shown += line;
  }
  return shown;
}

}  // namespace vorlan::companion
