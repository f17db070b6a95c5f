// HiGHS's lines are known by their first words. A line that is not known passes as it is.
#include "solve/highs/highs_log.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <utility>

#include "task/text.h"

namespace vorlan {
namespace {

// What the library tells itself, or what is about HiGHS's options.
constexpr std::string_view kDropped[] = {
    "LP   has ",
    "MIP  has ",
    "Coefficient ranges:",
    "  Matrix [",
    "  Cost   [",
    "  Bound  [",
    "  RHS    [",
    "WARNING: Problem has excessively",
    "WARNING: User-scaled problem has excessively",
    "Presolve rules not allowed",
    "   Rule ",
    "Objective function is integral with scale",
    "Solution has               num",
    "Col     infeasibilities",
    "Integer infeasibilities",
    "Row     infeasibilities",
    "Row     residuals",
    "Model name ",
    "Model status ",
    "Simplex   iterations",
    "IPM       iterations",
    "Crossover iterations",
    "Objective value ",
    "P-D objective error",
    "Relative P-D gap",
    "HiGHS run time",
};

bool is_dropped(std::string_view line) {
  return std::any_of(std::begin(kDropped), std::end(kDropped),
                     [line](std::string_view words) { return line.starts_with(words); });
}

struct Origin {
  char letter;
  std::string_view words;
};

constexpr Origin kOrigins[] = {{'B', "branching"},
                               {'C', "central rounding"},
                               {'F', "feasibility pump"},
                               {'H', "heuristic"},
                               {'L', "smaller model"},
                               {'P', "presolve"},
                               {'R', "random rounding"},
                               {'S', "relaxation"},
                               {'T', "tree node"},
                               {'U', "unbounded relaxation"},
                               {'z', "all zero"},
                               {'l', "all at lower bounds"},
                               {'u', "all at upper bounds"},
                               {'p', "simple rounding"},
                               {'X', "start"}};

// Lines outside the table that tell where the next better point comes from.
constexpr std::pair<std::string_view, std::string_view> kOriginLines[] = {
    {"MIP start solution is feasible", "start"},
    {"Presolve: Optimal", "presolve"},
};

bool is_simplex_heading(std::string_view words) {
  return words.starts_with("Using EKK ") || words.starts_with("Iteration ");
}

// A count of HiGHS's table, in which k and m stand for thousands and millions.
int64_t table_count(const char* word) {
  char* end = nullptr;
  const int64_t count = std::strtoll(word, &end, 10);
  if (*end == 'k') return count * 1000;
  return *end == 'm' ? count * 1000000 : count;
}

}  // namespace

HighsLog::HighsLog(const MinimizeProblem& problem, BackendMonitor* monitor, OnRow on_row)
    : problem_(problem), monitor_(monitor), on_row_(std::move(on_row)) {}

void HighsLog::take(std::string_view text) {
  rest_ += text;
  size_t end = 0;
  while ((end = rest_.find('\n')) != std::string::npos) {
    take_line(rest_.substr(0, end));
    rest_.erase(0, end + 1);
  }
}

void HighsLog::take_line(const std::string& line) {
  // The legend of the table's letters comes before it; after it there is nothing but the report.
  if (line.starts_with("Src: ")) in_tree_ = true;
  if (line.starts_with("Running HiGHS")) in_tree_ = false;
  if (in_tree_ && take_table_row(line)) return;
  if (is_quiet_) {
    count(line);
  } else if (!in_tree_ && !is_dropped(line)) {
    const std::string told = translate(line);
    if (!told.empty() || line.empty()) monitor_->log(told + '\n');
  }
  tell_origin(line);
}

void HighsLog::tell_origin(std::string_view line) {
  for (const auto& [words, origin] : kOriginLines) {
    if (line.starts_with(words)) on_row_({origin, -1, 0});
  }
}

// " S  Proc. InQueue | Leaves Expl.% | BestBound BestSol Gap | Cuts InLp Confl. | ...", without the
// bars.
bool HighsLog::take_table_row(std::string_view line) {
  const std::string text(line);
  char processed[32] = "";
  char open[32] = "";
  double explored = 0.0;
  if (text.size() < 3 || text[2] != ' ') return false;
  long long cuts = 0;
  if (std::sscanf(text.c_str() + 3, "%31s %31s %*s %lf%% %*s %*s %*s %*s %lld", processed, open,
                  &explored, &cuts) < 3) {
    return false;
  }
  // Remarks within the table begin with a word: "   Rule 13 (bit 8192): Parallel rows and columns".
  if (processed[0] < '0' || processed[0] > '9') return false;
  const auto* origin = std::find_if(std::begin(kOrigins), std::end(kOrigins),
                                    [&](const Origin& o) { return o.letter == text[1]; });
  const bool known = origin != std::end(kOrigins);
  on_row_({known ? origin->words : std::string_view(), table_count(open), cuts});
  return true;
}

void HighsLog::count(const std::string& line) {
  if (line.starts_with("Model status ")) {
    ++solves_;
    iterations_ += std::exchange(iteration_, 0);
  }
  long long iteration = 0;
  double objective = 0.0;
  if (std::sscanf(line.c_str(), "%lld %lf", &iteration, &objective) == 2) iteration_ = iteration;
}

void HighsLog::tell_further_solves(const char* purpose) {
  iterations_ += std::exchange(iteration_, 0);
  if (solves_ > 0) {
    monitor_->log(format_text("Solved again %s: %s\n", purpose,
                              counted(iterations_, "simplex iteration").c_str()));
  }
  solves_ = iterations_ = 0;
}

std::string HighsLog::translate(const std::string& line) {
  const size_t first = line.find_first_not_of(' ');
  if (first == std::string::npos) return line;
  const std::string_view words = std::string_view(line).substr(first);
  // The simplex method may begin anew, without what it has perturbed: that goes on the same table.
  if (table_ == Table::kSimplex && is_simplex_heading(words)) return {};
  if (words.starts_with("Iteration ")) {
    table_ = Table::kSimplex;
  } else if (words.starts_with("Iter ")) {
    table_ = Table::kInterior;
  } else if (words.front() < '0' || words.front() > '9') {
    // Remarks stand between the rows.
  } else if (table_ == Table::kSimplex) {
    return translate_simplex_row(line);
  } else if (table_ == Table::kInterior) {
    return translate_interior_row(line);
  }
  // The objective there is that of a minimization, which may be scaled. The table has the model's.
  if (words.starts_with("Assessing feasibility of MIP ")) {
    return "The search begins with a point that is given";
  }
  if (words.starts_with("MIP start solution is ")) return line.substr(0, line.find(','));
  double objective = 0.0;
  if (std::sscanf(line.c_str(), " objective value: %lf", &objective) == 1) {
    return format_text("    objective value:                                    %.8e",
                       stated(objective));
  }
  return line;
}

// "         12    -1.2345678901e+03 Pr: 3(6.1); Du: 2(21.2) 0s". In the first phase the objective is
// another one, of which the infeasibilities tell.
std::string HighsLog::translate_simplex_row(const std::string& line) const {
  long long iteration = 0;
  double objective = 0.0;
  int end = 0;
  if (std::sscanf(line.c_str(), "%lld %lf%n", &iteration, &objective, &end) != 2) return line;
  const std::string rest = line.substr(static_cast<size_t>(end));
  const std::string shown =
      rest.starts_with(" Ph1:") ? "-" : format_text("%.10e", stated(objective));
  return format_text(" %10lld %20s", iteration, shown.c_str()) + rest;
}

// "  39*  1.09e-11 1.46e-11   9.87224195e+05  9.87224191e+05  2.84e-07       1s"
std::string HighsLog::translate_interior_row(const std::string& line) const {
  double primal = 0.0;
  double dual = 0.0;
  int begin = 0;
  int end = 0;
  if (std::sscanf(line.c_str(), "%*d%*[* ]%*f %*f%n %lf %lf%n", &begin, &primal, &dual, &end) !=
      2) {
    return line;
  }
  return line.substr(0, static_cast<size_t>(begin)) +
         format_text("  %15.8e %15.8e", stated(primal), stated(dual)) +
         line.substr(static_cast<size_t>(end));
}

// HiGHS has the constant in its objective.
double HighsLog::stated(double shown) const { return problem_.sense_factor() * shown + 0.0; }

}  // namespace vorlan
