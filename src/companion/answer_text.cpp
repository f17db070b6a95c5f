#include "answer_text.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <nlohmann/json.hpp>
#include <vector>

namespace vorlan::companion {

namespace {

// A value this much smaller than the largest of its table is rounding. It is left out, as 0 is.
constexpr double kNegligible = 1e-11;
// So is a step of a direction that an interior-point method has found, of which the log says nothing.
constexpr double kNegligibleStep = 1e-7;

struct TableRow {
  std::string name;
  std::vector<std::string> numbers;
};

std::string number(double value) { return fmt::format("{:.10g}", value); }

double largest(const std::vector<Item>& items, double Item::*part) {
  double most = 0.0;
  for (const Item& item : items) {
    if (std::isfinite(item.*part)) most = std::max(most, std::abs(item.*part));
  }
  return most;
}

// A table with a title line; columns of numbers are set to the right.
std::string aligned(const TableRow& title, const std::vector<TableRow>& rows) {
  std::size_t name_width = title.name.size();
  std::vector<std::size_t> widths;
  for (const std::string& word : title.numbers) widths.push_back(word.size());
  for (const TableRow& row : rows) {
    name_width = std::max(name_width, row.name.size());
    for (std::size_t i = 0; i < widths.size(); ++i)
      widths[i] = std::max(widths[i], row.numbers[i].size());
  }
  std::string shown;
  const auto add = [&](const TableRow& row) {
    shown += fmt::format("  {:<{}}", row.name, name_width);
    for (std::size_t i = 0; i < widths.size(); ++i) {
      shown += fmt::format("  {:>{}}", row.numbers[i], widths[i]);
    }
    shown += '\n';
  };
  add(title);
  for (const TableRow& row : rows) add(row);
  return shown;
}

// The items whose part is not zero, under a heading; nothing where there is none.
std::string nonzero(const char* heading, const std::vector<Item>& items, double Item::*part,
                    const TableRow& title, bool with_dual, double negligible = kNegligible) {
  const double least = negligible * largest(items, part);
  std::vector<TableRow> rows;
  for (const Item& item : items) {
    if (!(std::abs(item.*part) > least)) continue;
    TableRow row{printable(item.name), {number(item.*part)}};
    if (with_dual) row.numbers.push_back(number(item.dual));
    rows.push_back(row);
  }
  if (rows.empty()) return "";
  return fmt::format("\n{} ({} of {})\n", heading, rows.size(), items.size()) +
         aligned(title, rows);
}

std::string matrix_table(const std::vector<MatrixEntry>& entries) {
  if (entries.empty()) return "";
  std::vector<TableRow> rows;
  rows.reserve(entries.size());
  for (const MatrixEntry& entry : entries) {
    rows.push_back(
        {printable(entry.name),
         {std::to_string(entry.row), std::to_string(entry.column), number(entry.value)}});
  }
  return "\nMatrix variables, lower triangles, without zeros\n" +
         aligned({"matrix variable", {"row", "column", "value"}}, rows);
}

std::string point_table(const ModelAnswer& answer) {
  const TableRow variable = answer.has_duals ? TableRow{"variable", {"value", "reduced cost"}}
                                             : TableRow{"variable", {"value"}};
  std::string shown = nonzero("Variables that are not zero", answer.variables, &Item::value,
                              variable, answer.has_duals);
  shown += matrix_table(answer.matrix_entries);
  if (answer.has_duals) {
    shown += nonzero("Constraints with a price", answer.constraints, &Item::dual,
                     {"constraint", {"price"}}, false);
  }
  return shown;
}

std::string contradiction_table(const ModelAnswer& answer) {
  std::string shown;
  if (!answer.conflict.empty()) {
    shown = "\n" + printable(answer.conflict) +
            (answer.is_minimal ? "; none of them can be left out\n" : "\n");
  }
  // The multipliers may be those of another, longer contradiction.
  if (!answer.has_duals || answer.is_minimal) return shown;
  return shown +
         nonzero("Constraints that contradict each other", answer.constraints, &Item::dual,
                 {"constraint", {"multiplier"}}, false) +
         nonzero("Variables whose bounds take part", answer.variables, &Item::dual,
                 {"variable", {"multiplier"}}, false);
}

nlohmann::ordered_json as_json(const std::vector<Item>& items, bool with_duals) {
  nlohmann::ordered_json list = nlohmann::ordered_json::array();
  for (const Item& item : items) {
    nlohmann::ordered_json object = {{"name", item.name}, {"value", item.value}};
    if (with_duals) object["dual"] = item.dual;
    list.push_back(object);
  }
  return list;
}

std::string csv_field(const std::string& text) {
  if (text.find_first_of(",\"\r\n") == std::string::npos) return text;
  std::string quoted = "\"";
  for (const char character : text) {
    if (character == '"') quoted += '"';
    quoted += character;
  }
  return quoted + '"';
}

void add_csv(std::string& text, const char* kind, const std::vector<Item>& items) {
  for (const Item& item : items) {
    text += fmt::format("{},{},,,{},{}\r\n", kind, csv_field(item.name), item.value, item.dual);
  }
}

}  // namespace

std::string count(int number, const char* noun) {
  return fmt::format("{} {}{}", number, noun, number == 1 ? "" : "s");
}

std::string printable(const std::string& name) {
  const auto byte_at = [&name](std::size_t i) {
    return i < name.size() ? static_cast<unsigned char>(name[i]) : 0U;
  };
  std::string shown;
  for (std::size_t i = 0; i < name.size(); ++i) {
    const unsigned byte = byte_at(i);
    // The controls U+0080 to U+009F, too, command some terminals.
    const bool is_high = byte == 0xc2 && byte_at(i + 1) >= 0x80 && byte_at(i + 1) < 0xa0;
    if (byte < 0x20 || byte == 0x7f || is_high)
      shown += fmt::format("\\x{:02x}", byte);
    else
      shown += name[i];
    if (is_high) shown += fmt::format("\\x{:02x}", byte_at(++i));
  }
  return shown;
}

std::string table(const ModelAnswer& answer) {
  std::string shown = fmt::format("{}: {}\n", printable(answer.model), sentence(answer));
  shown += count(answer.sizes.variables, "variable") + ", " +
           count(answer.sizes.constraints, "constraint");
  if (answer.sizes.matrix_variables > 0) {
    shown += ", " + count(answer.sizes.matrix_variables, "matrix variable");
  }
  shown += fmt::format("; {:.2f} s\n", answer.seconds);
  if (answer.has_point) shown += point_table(answer);
  if (answer.outcome == SolveOutcome::kInfeasible) shown += contradiction_table(answer);
  if (answer.outcome == SolveOutcome::kUnbounded) {
    shown += nonzero("The direction in which the objective improves", answer.variables,
                     &Item::value, {"variable", {"change"}}, false, kNegligibleStep);
  }
  return shown;
}

std::string violation_table(const std::vector<Violation>& violations, double tolerance) {
  if (violations.empty()) {
    return fmt::format("satisfies the model: no violation above {:g}\n", tolerance);
  }
  std::string shown =
      fmt::format("violates the model: {} above {:g}\n\n",
                  count(static_cast<int>(violations.size()), "violation"), tolerance);
  std::vector<TableRow> rows;
  rows.reserve(violations.size());
  for (const Violation& violation : violations) {
    rows.push_back(
        {fmt::format("{} {}", word(violation.requirement), printable(violation.name)),
         {number(violation.value), violation.side, fmt::format("{:.3g}", violation.amount)}});
  }
  return shown + aligned({"violated", {"value", "must be", "by"}}, rows);
}

std::string json(const ModelAnswer& answer) {
  nlohmann::ordered_json object = {{"model", answer.model}, {"outcome", word(answer.outcome)}};
  if (!answer.termination.empty()) object["termination"] = answer.termination;
  if (!answer.conflict.empty()) object["conflict"] = answer.conflict;
  if (answer.has_point) object["objective"] = answer.objective;
  object["seconds"] = answer.seconds;
  object["variables"] = as_json(answer.variables, answer.has_duals);
  object["constraints"] = as_json(answer.constraints, answer.has_duals);
  if (!answer.matrix_entries.empty()) {
    nlohmann::ordered_json list = nlohmann::ordered_json::array();
    for (const MatrixEntry& entry : answer.matrix_entries) {
      list.push_back({{"name", entry.name},
                      {"row", entry.row},
                      {"column", entry.column},
                      {"value", entry.value}});
    }
    object["matrix entries"] = list;
  }
  // A name may hold any bytes; what is not UTF-8 becomes the replacement character.
  return object.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n";
}

std::string csv(const ModelAnswer& answer) {
  std::string text = "kind,name,row,column,value,dual\r\n";
  add_csv(text, "variable", answer.variables);
  add_csv(text, "constraint", answer.constraints);
  for (const MatrixEntry& entry : answer.matrix_entries) {
    text += fmt::format("matrix,{},{},{},{},\r\n", csv_field(entry.name), entry.row, entry.column,
                        entry.value);
  }
  return text;
}

std::string text(const ModelAnswer& answer, Form form) {
  switch (form) {
    case Form::kJson:
      return json(answer);
    case Form::kCsv:
      return csv(answer);
    default:
      return table(answer);
  }
}

}  // namespace vorlan::companion
