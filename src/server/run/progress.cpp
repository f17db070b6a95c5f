// Tables of logs; see progress.h.
#include "run/progress.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <iterator>
#include <nlohmann/json.hpp>

#include "base/files.h"

namespace vorlan::server {
namespace {

// The summary is at the end of a log, after it only the names of the files that were written.
constexpr size_t kLogEnd = size_t{64} << 10;

// Columns: t time, n nodes, i iterations, o objective, b bound, g relative gap; all else is left alone.
struct Heading {
  std::string_view first, second;  // the heading's first words
  std::string_view columns;
};
// The order is that of ProgressReader::Table.
constexpr Heading kHeadings[] = {
    {"", "", ""},
    {"time", "nodes", "tn-iob-"},
    {"iteration", "primal", "iob--g--t"},
    {"Iter", "P.res", "i--ob-t"},
    {"Iteration", "Objective", ""},
};

std::vector<std::string_view> split(std::string_view line) {
  std::vector<std::string_view> words;
  for (size_t i = line.find_first_not_of(' '); i != std::string_view::npos;) {
    const size_t end = std::min(line.find(' ', i), line.size());
    words.push_back(line.substr(i, end - i));
    i = line.find_first_not_of(' ', end);
  }
  return words;
}

// The word without a mark or a unit that follows it at once: "39*", "5s".
std::string_view without(char mark, std::string_view word) {
  return word.ends_with(mark) ? word.substr(0, word.size() - 1) : word;
}

// Nothing for a dash, which stands for what is not known yet.
template <class Number>
std::optional<Number> number(std::string_view word) {
  Number value{};
  const auto [last, error] = std::from_chars(word.data(), word.data() + word.size(), value);
  if (error != std::errc() || last != word.data() + word.size()) return {};
  if (!std::isfinite(static_cast<double>(value))) return {};
  return value;
}

void set_gap(Progress* progress) {
  if (!progress->objective || !progress->bound || progress->gap) return;
  const double size = std::max(std::fabs(*progress->objective), 1e-10);
  progress->gap = std::fabs(*progress->objective - *progress->bound) / size;
}

void set_column(char column, std::string_view word, Progress* progress) {
  if (column == 't') progress->time = number<double>(without('s', word)).value_or(0.0);
  if (column == 'n') progress->nodes = number<int64_t>(word);
  if (column == 'i') progress->iterations = number<int64_t>(without('*', word));
  if (column == 'o') progress->objective = number<double>(word);
  if (column == 'b') progress->bound = number<double>(word);
  if (column == 'g') progress->gap = number<double>(word);
}

// The count of "526(91756.7);" behind the name, 0 where the name is missing.
int64_t count_after(std::string_view name, const std::vector<std::string_view>& words) {
  const auto at = std::find(words.begin(), words.end(), name);
  if (at == words.end() || at + 1 == words.end()) return 0;
  return number<int64_t>((at + 1)->substr(0, (at + 1)->find('('))).value_or(1);
}

// "7605 2.87e+02 Pr: 526(91756.7); Du: 0(1.6e-13) 5s". The objective is that of a primal point where
// no primal bound is violated, and that of a dual one where no dual bound is.
std::optional<Progress> read_simplex_row(const std::vector<std::string_view>& words) {
  constexpr size_t kInfeasibilities = 2;
  Progress progress;
  const auto time = number<double>(without('s', words.back()));
  progress.iterations = number<int64_t>(words[0]);
  if (!time || !progress.iterations) return {};
  progress.time = *time;
  if (words.size() <= kInfeasibilities || words[kInfeasibilities] != "Pr:") return progress;
  const auto objective = number<double>(words[1]);
  if (count_after("Pr:", words) == 0) progress.objective = objective;
  if (count_after("Du:", words) == 0) progress.bound = objective;
  set_gap(&progress);
  return progress;
}

template <class Number>
nlohmann::ordered_json or_null(const std::optional<Number>& value) {
  return value ? nlohmann::ordered_json(*value) : nlohmann::ordered_json();
}

}  // namespace

std::string progress_document(const Progress& progress) {
  const nlohmann::ordered_json document = {{"time", progress.time},
                                           {"objective", or_null(progress.objective)},
                                           {"bound", or_null(progress.bound)},
                                           {"gap", or_null(progress.gap)},
                                           {"iterations", or_null(progress.iterations)},
                                           {"nodes", or_null(progress.nodes)}};
  return document.dump();
}

std::optional<Progress> ProgressReader::read_line(std::string_view line) {
  std::vector<std::string_view> words = split(line);
  // The mark of a better point, and the unit of a time.
  std::erase_if(words, [](std::string_view word) { return word == "*" || word == "s"; });
  if (words.size() < 2) return {};
  if (words[0] == "Optimization") {
    table_ = words[1].starts_with("ended") ? Table::kSummary : Table::kNone;
    summary_ = {};
    return {};
  }
  for (size_t table = 1; table < std::size(kHeadings); ++table) {
    if (words[0] != kHeadings[table].first || words[1] != kHeadings[table].second) continue;
    table_ = static_cast<Table>(table);
    return {};
  }
  if (table_ == Table::kNone) return {};
  return table_ == Table::kSummary ? read_summary(words) : read_row(words);
}

std::vector<Progress> ProgressReader::read_text(std::string_view text) {
  std::vector<Progress> found;
  while (!text.empty()) {
    const size_t end = std::min(text.find('\n'), text.size());
    if (const auto progress = read_line(text.substr(0, end))) found.push_back(*progress);
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return found;
}

std::optional<Progress> ProgressReader::read_row(const std::vector<std::string_view>& words) const {
  if (table_ == Table::kSimplex) return read_simplex_row(words);
  const std::string_view columns = kHeadings[static_cast<size_t>(table_)].columns;
  // A row of branch and bound may say behind its columns where a point comes from.
  const bool has_origin = table_ == Table::kBranchAndBound && words.size() > columns.size();
  if (words.size() != columns.size() && !has_origin) return {};
  Progress progress;
  for (size_t i = 0; i < columns.size(); ++i) {
    if (columns[i] == 't' && !number<double>(without('s', words[i]))) return {};
    set_column(columns[i], words[i], &progress);
  }
  set_gap(&progress);
  return progress;
}

std::optional<Progress> ProgressReader::read_summary(const std::vector<std::string_view>& words) {
  const std::string_view key = words[0];
  if (key == "objective") set_column('o', words[1], &summary_);
  if (key == "bound") set_column('b', words[1], &summary_);
  if (key == "dual" && words[1] == "objective") set_column('b', words.back(), &summary_);
  if (key == "nodes") set_column('n', words[1], &summary_);
  if (key == "iterations") set_column('i', words[1], &summary_);
  if (key != "time") return {};
  set_column('t', words[1], &summary_);
  set_gap(&summary_);
  table_ = Table::kNone;
  return summary_;
}

std::optional<Progress> last_progress(const std::string& log_path) {
  const auto found = ProgressReader().read_text(read_end(log_path, kLogEnd).value_or(""));
  if (found.empty()) return {};
  return found.back();
}

}  // namespace vorlan::server
