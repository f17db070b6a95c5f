#include "report_page.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <ctime>
#include <limits>
#include <nlohmann/json.hpp>
#include <string_view>

#include "answer_text.h"
#include "point_check.h"
#include "report_figures.h"
#include "report_template.h"

namespace vorlan::companion {

namespace {

// The page holds at most so many rows of each table; a browser takes no pleasure in more.
constexpr std::size_t kMostRows = 100000;
constexpr std::size_t kMostViolations = 100;
constexpr double kTolerance = 1e-6;

using nlohmann::ordered_json;

std::string escaped(std::string_view text) {
  std::string safe;
  for (const char character : text) {
    switch (character) {
      case '&':
        safe += "&amp;";
        break;
      case '<':
        safe += "&lt;";
        break;
      case '>':
        safe += "&gt;";
        break;
      case '"':
        safe += "&quot;";
        break;
      case '\'':
        safe += "&#39;";
        break;
      default:
        safe += character;
    }
  }
  return safe;
}

// Names as they may stand in a page: no controls, and UTF-8 alone.
std::string shown(const std::string& name) {
  const std::string valid =
      ordered_json(printable(name)).dump(-1, ' ', false, ordered_json::error_handler_t::replace);
  return escaped(ordered_json::parse(valid).get<std::string>());
}

// JSON inside a script element: "<" would let a name end it.
std::string embedded(const ordered_json& value) {
  const std::string text = value.dump(-1, ' ', false, ordered_json::error_handler_t::replace);
  std::string safe;
  for (const char character : text) {
    if (character == '<')
      safe += "\\u003c";
    else
      safe += character;
  }
  return safe;
}

std::string number(double value) { return fmt::format("{:.10g}", value); }

std::string row(const std::string& title, const std::string& value) {
  return fmt::format("<tr><th scope=\"row\">{}</th><td>{}</td></tr>\n", escaped(title),
                     escaped(value));
}

std::string card(const char* title, const std::string& value) {
  return fmt::format("<div><small>{}</small><b>{}</b></div>\n", title, escaped(value));
}

std::string section(const char* title, const std::string& content) {
  return fmt::format("<section>\n<h2>{}</h2>\n{}\n</section>\n", title, content);
}

std::string cards(const Report& report) {
  const ModelAnswer& answer = report.answer;
  std::string text = card("Outcome", word(answer.outcome));
  if (answer.has_point) text += card("Objective", number(answer.objective));
  const auto& points = report.course.points();
  const bool is_searched = answer.has_point && !answer.has_duals && !points.empty();
  if (is_searched && std::isfinite(points.back().bound)) {
    text += card("Bound", number(points.back().bound));
  }
  text += card("Time", fmt::format("{:.2f} s", answer.seconds));
  text += card("Variables", std::to_string(answer.sizes.variables));
  text += card("Constraints", std::to_string(answer.sizes.constraints));
  return "<div class=\"cards\">\n" + text + "</div>\n";
}

// The least and the largest size of the numbers that are neither 0 nor infinite.
class SizeRange {
 public:
  void take(double value) {
    const double size = std::abs(value);
    if (size == 0.0 || !std::isfinite(size)) return;
    least_ = std::min(least_, size);
    most_ = std::max(most_, size);
  }
  std::string text() const {
    return most_ == 0.0 ? "none" : fmt::format("{:.3g} to {:.3g}", least_, most_);
  }

 private:
  double least_ = std::numeric_limits<double>::infinity();
  double most_ = 0.0;
};

std::string kinds_text(const ModelData& model) {
  constexpr std::array kWords = {"continuous", "integer", "semi-continuous", "semi-integer"};
  std::array<int, kWords.size()> numbers{};
  int binary = 0;
  for (std::size_t j = 0; j < model.kinds.size(); ++j) {
    const Range& bounds = model.bounds[j];
    const bool is_binary =
        model.kinds[j] == Kind::kInteger && bounds.lower == 0.0 && bounds.upper == 1.0;
    if (is_binary)
      ++binary;
    else
      ++numbers.at(static_cast<std::size_t>(model.kinds[j]));
  }
  std::string text;
  const auto add = [&text](int number, const char* kind) {
    if (number > 0) text += fmt::format("{}{} {}", text.empty() ? "" : ", ", number, kind);
  };
  for (std::size_t kind = 0; kind < kWords.size(); ++kind) add(numbers.at(kind), kWords.at(kind));
  add(binary, "binary");
  return text.empty() ? "0" : text;
}

std::string sides_text(const ModelData& model) {
  int equal = 0;
  int below = 0;
  int above = 0;
  int between = 0;
  int open = 0;
  for (const Range& side : model.sides) {
    const bool has_lower = std::isfinite(side.lower);
    const bool has_upper = std::isfinite(side.upper);
    if (side.lower == side.upper)
      ++equal;
    else if (has_lower && has_upper)
      ++between;
    else if (has_upper)
      ++below;
    else if (has_lower)
      ++above;
    else
      ++open;
  }
  std::string text;
  const auto add = [&text](int number, const char* kind) {
    if (number > 0) text += fmt::format("{}{} {}", text.empty() ? "" : ", ", number, kind);
  };
  add(equal, equal == 1 ? "equation" : "equations");
  add(below, "with ≤");
  add(above, "with ≥");
  add(between, "with two sides");
  add(open, "without a side");
  return text.empty() ? "0" : text;
}

std::string cones_text(const ModelData& model) {
  constexpr std::array kWords = {
      "quadratic", "rotated quadratic", "exponential", "dual exponential", "power", "dual power"};
  std::array<int, kWords.size()> numbers{};
  for (const ModelCone& cone : model.cones) ++numbers.at(static_cast<std::size_t>(cone.kind));
  std::string text;
  for (std::size_t kind = 0; kind < kWords.size(); ++kind) {
    if (numbers.at(kind) == 0) continue;
    text += fmt::format("{}{} {}", text.empty() ? "" : ", ", numbers.at(kind), kWords.at(kind));
  }
  return text;
}

std::string ranges_rows(const ModelData& model) {
  SizeRange elements;
  SizeRange costs;
  SizeRange sides;
  SizeRange bounds;
  for (const LinearTerm& term : model.terms) elements.take(term.value);
  for (const double cost : model.cost) costs.take(cost);
  for (const Range& side : model.sides) {
    sides.take(side.lower);
    sides.take(side.upper);
  }
  for (const Range& bound : model.bounds) {
    bounds.take(bound.lower);
    bounds.take(bound.upper);
  }
  return row("Sizes of coefficients", elements.text()) + row("Sizes of costs", costs.text()) +
         row("Sizes of sides", sides.text()) + row("Sizes of bounds", bounds.text());
}

std::string statistics(const ModelData& model) {
  const double places =
      static_cast<double>(model.sides.size()) * static_cast<double>(model.bounds.size());
  std::string rows = row("Objective", model.maximize ? "maximize" : "minimize");
  rows += row("Variables", kinds_text(model)) + row("Constraints", sides_text(model));
  std::string elements = std::to_string(model.terms.size());
  if (places > 0.0) {
    elements +=
        fmt::format(" ({:.3g} %)", 100.0 * static_cast<double>(model.terms.size()) / places);
  }
  rows += row("Coefficients", elements);
  const std::size_t quadratic = model.quadratic_cost.size() + model.quadratic_terms.size();
  if (quadratic > 0) rows += row("Quadratic terms", std::to_string(quadratic));
  if (!model.cones.empty()) rows += row("Cones", cones_text(model));
  if (!model.sets.empty()) rows += row("Special ordered sets", std::to_string(model.sets.size()));
  if (!model.indicators.empty()) {
    rows += row("Indicators", std::to_string(model.indicators.size()));
  }
  if (!model.dimensions.empty()) {
    const int largest = *std::max_element(model.dimensions.begin(), model.dimensions.end());
    rows += row("Matrix variables",
                fmt::format("{}, dimension up to {}", model.dimensions.size(), largest));
  }
  return "<table class=\"facts\">\n" + rows + ranges_rows(model) + "</table>";
}

Point point_of(const ModelAnswer& answer, const ModelData& model) {
  Point point;
  for (const Item& item : answer.variables) point.values.push_back(item.value);
  for (const int dimension : model.dimensions) {
    const auto size = static_cast<std::size_t>(dimension);
    point.matrices.emplace_back(size * (size + 1) / 2);
  }
  for (const MatrixEntry& entry : answer.matrix_entries) {
    const auto found = std::find(model.matrix_names.begin(), model.matrix_names.end(), entry.name);
    const auto matrix = static_cast<std::size_t>(found - model.matrix_names.begin());
    if (matrix == model.matrix_names.size()) continue;
    const int dimension = model.dimensions[matrix];
    const std::size_t before = static_cast<std::size_t>(entry.column) *
                               static_cast<std::size_t>(2 * dimension - entry.column - 1) / 2;
    point.matrices[matrix][before + static_cast<std::size_t>(entry.row)] = entry.value;
  }
  return point;
}

// The largest violation of each requirement that the model has.
std::string largest_by_requirement(const ModelData& model,
                                   const std::vector<Violation>& violations) {
  const bool has_integers = std::any_of(model.kinds.begin(), model.kinds.end(), is_whole);
  const struct {
    Requirement requirement;
    bool is_there;
    const char* title;
  } kRows[] = {
      {Requirement::kRow, !model.sides.empty(), "of a constraint"},
      {Requirement::kBound, !model.bounds.empty(), "of a bound"},
      {Requirement::kIntegrality, has_integers, "of an integer"},
      {Requirement::kCone, !model.cones.empty(), "of a cone"},
      {Requirement::kMatrix, !model.dimensions.empty(), "of a matrix variable"},
      {Requirement::kSet, !model.sets.empty(), "of a set"},
  };
  std::string rows;
  for (const auto& [requirement, is_there, title] : kRows) {
    double most = 0.0;
    for (const Violation& violation : violations) {
      if (violation.requirement == requirement) most = std::max(most, violation.amount);
    }
    if (is_there) {
      rows += row(std::string("Largest violation ") + title, fmt::format("{:.3g}", most));
    }
  }
  return "<table class=\"facts\">\n" + rows + "</table>";
}

std::string violations(const Report& report) {
  PointCheck check = check_point(report.model, point_of(report.answer, report.model));
  std::string text = largest_by_requirement(report.model, check.violations);
  for (const std::string& part : check.unchecked_parts) {
    text += fmt::format("<p>Not checked: {}</p>", shown(part));
  }
  std::erase_if(check.violations,
                [](const Violation& violation) { return !counts(violation, kTolerance); });
  if (check.violations.empty()) {
    return text +
           "<p>The point satisfies the model: no violation above 1e-6, relative to 1 + the size "
           "of the side.</p>";
  }
  std::sort(check.violations.begin(), check.violations.end(),
            [](const Violation& a, const Violation& b) { return a.amount > b.amount; });
  if (check.violations.size() > kMostViolations) check.violations.resize(kMostViolations);
  text +=
      "<table class=\"list\"><tr><th>violated</th><th>value</th><th>must be</th><th>by</th></tr>\n";
  for (const Violation& violation : check.violations) {
    text += fmt::format("<tr><td>{} {}</td><td>{}</td><td>{}</td><td>{:.3g}</td></tr>\n",
                        word(violation.requirement), shown(violation.name), number(violation.value),
                        escaped(violation.side), violation.amount);
  }
  return text + "</table>";
}

std::string side_text(const Range& range) {
  if (range.lower == range.upper) return "= " + number(range.lower);
  std::string text;
  if (std::isfinite(range.lower)) text += "≥ " + number(range.lower);
  if (std::isfinite(range.upper)) text += (text.empty() ? "≤ " : ", ≤ ") + number(range.upper);
  return text.empty() ? "free" : text;
}

// What cannot hold together, and the rows and bounds whose multipliers are not 0. They are left out
// where the multipliers may be those of another, longer contradiction.
std::string conflict(const Report& report) {
  const ModelAnswer& answer = report.answer;
  std::string rows;
  const auto add = [&rows](const char* kind, const std::vector<Item>& items,
                           const std::vector<Range>& ranges) {
    double largest = 0.0;
    for (const Item& item : items) largest = std::max(largest, std::abs(item.dual));
    for (std::size_t i = 0; i < items.size(); ++i) {
      if (!(std::abs(items[i].dual) > 1e-11 * largest)) continue;
      rows +=
          fmt::format("<tr><td>{} {}</td><td>{}</td><td>{}</td></tr>\n", kind, shown(items[i].name),
                      escaped(side_text(ranges[i])), number(items[i].dual));
    }
  };
  if (answer.has_duals && !answer.is_minimal) {
    add("constraint", answer.constraints, report.model.sides);
    add("bounds of", answer.variables, report.model.bounds);
  }
  std::string reason = "These cannot hold together.";
  if (!answer.conflict.empty()) {
    reason = shown(answer.conflict) + (answer.is_minimal ? "; none of them can be left out." : ".");
    if (rows.empty()) return "<p>" + reason + "</p>";
  }
  if (rows.empty()) {
    return "<p>The search found that no point satisfies the model. It leaves no shorter proof.</p>";
  }
  return "<p>" + reason +
         " Added up with the multipliers, they say what cannot "
         "be.</p>"
         "<table class=\"list\"><tr><th>member</th><th>sides</th><th>multiplier</th></tr>\n" +
         rows + "</table>";
}

ordered_json table_data(const std::vector<Item>& items, const std::vector<Range>& ranges,
                        bool has_duals) {
  ordered_json list = ordered_json::array();
  const std::size_t count = std::min(items.size(), kMostRows);
  for (std::size_t i = 0; i < count; ++i) {
    ordered_json row = {printable(items[i].name), items[i].value, side_text(ranges[i])};
    if (has_duals) row.push_back(items[i].dual);
    list.push_back(row);
  }
  return {{"rows", list}, {"all", items.size()}};
}

std::string tables(const Report& report) {
  const ModelAnswer& answer = report.answer;
  const ordered_json data = {
      {"duals", answer.has_duals},
      {"certificate", answer.outcome == SolveOutcome::kInfeasible},
      {"variables", table_data(answer.variables, report.model.bounds, answer.has_duals)},
      {"constraints", table_data(answer.constraints, report.model.sides, answer.has_duals)}};
  return fmt::format("<script type=\"application/json\" id=\"data\">{}</script>", embedded(data));
}

const char* table_title(SolveOutcome outcome) {
  if (outcome == SolveOutcome::kUnbounded) return "Direction";
  return outcome == SolveOutcome::kInfeasible ? "Certificate" : "Solution";
}

std::string today() {
  const std::time_t now = std::time(nullptr);
  std::tm parts{};
  gmtime_r(&now, &parts);
  std::array<char, 32> text{};
  std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M UTC", &parts);
  return text.data();
}

std::string sections(const Report& report) {
  const ModelAnswer& answer = report.answer;
  std::string text;
  if (answer.outcome == SolveOutcome::kInfeasible) text += section("Conflict", conflict(report));
  const std::string course = course_picture(report.course);
  if (!course.empty()) {
    text += section("Course",
                    "<p class=\"legend\"><span class=\"objective\">objective</span> <span "
                    "class=\"bound\">bound</span></p>" +
                        course);
  }
  if (answer.has_point) text += section("Violations", violations(report));
  text += section("Statistics", statistics(report.model));
  const std::string pattern = pattern_picture(report.model);
  if (!pattern.empty()) {
    text += section("Pattern of the matrix",
                    "<p>Constraints from top to bottom, variables from left to right; stronger "
                    "where elements lie closer.</p>" +
                        pattern);
  }
  return text;
}

// The log keeps its lines; what is not UTF-8 and other controls are shown as names are.
std::string shown_log(const std::string& log) {
  std::string text;
  std::size_t begin = 0;
  while (begin < log.size()) {
    const std::size_t end = std::min(log.find('\n', begin), log.size());
    text += shown(log.substr(begin, end - begin)) + '\n';
    begin = end + 1;
  }
  return text;
}

std::string value_of(const Report& report, std::string_view mark) {
  const ModelAnswer& answer = report.answer;
  const bool is_good = answer.outcome == SolveOutcome::kOptimal;
  if (mark == "NAME" || mark == "TITLE") return shown(answer.model);
  if (mark == "STATE") return is_good ? "good" : answer.has_point ? "fair" : "poor";
  if (mark == "SENTENCE") return escaped(sentence(answer));
  if (mark == "MADE") return fmt::format("vorlan {}, {}", VORLAN_VERSION, today());
  if (mark == "CARDS") return cards(report);
  if (mark == "SECTIONS") return sections(report);
  if (mark == "TABLE TITLE") return table_title(answer.outcome);
  if (mark == "LOG") return shown_log(report.log);
  return tables(report);
}

}  // namespace

// The template's marks are replaced in one pass, so that nothing that is put in is taken for a mark.
std::string report_page(const Report& report) {
  std::string_view rest = kReportTemplate;
  std::string page;
  for (std::size_t mark = rest.find("[["); mark != std::string_view::npos; mark = rest.find("[[")) {
    const std::size_t end = rest.find("]]", mark);
    page += rest.substr(0, mark);
    page += value_of(report, rest.substr(mark + 2, end - mark - 2));
    rest.remove_prefix(end + 2);
  }
  return page += rest;
}

}  // namespace vorlan::companion
