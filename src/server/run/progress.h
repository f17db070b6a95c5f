// How far a solve has got, from the tables of its log, whose headings say what their columns are. The
// library puts the rows of the optimizers behind it into the model's own terms, too.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vorlan::server {

// A line of progress. The objective and the bound are in the problem's own sense; the gap is their
// distance relative to the objective. Before the end of a linear or conic solve they are objectives
// of points that the method goes through: of a primal one, and of a dual one.
struct Progress {
  double time = 0.0;  // seconds
  std::optional<double> objective, bound, gap;
  std::optional<int64_t> iterations, nodes;
};

// Makes a JSON object, without a newline.
std::string progress_document(const Progress& progress);

// Reads a log line by line.
class ProgressReader {
 public:
  // Gives what the line tells, if it is one of progress, or ends the summary of a solve.
  std::optional<Progress> read_line(std::string_view line);
  // Does so for all lines of a text.
  std::vector<Progress> read_text(std::string_view text);

 private:
  enum class Table {
    kNone,
    kBranchAndBound,
    kInteriorPoint,
    kInteriorOfLinear,
    kSimplex,
    kSummary
  };
  std::optional<Progress> read_row(const std::vector<std::string_view>& words) const;
  std::optional<Progress> read_summary(const std::vector<std::string_view>& words);

  Table table_ = Table::kNone;
  Progress summary_;
};

// The last progress that a log tells; nothing when it tells none.
std::optional<Progress> last_progress(const std::string& log_path);

}  // namespace vorlan::server
