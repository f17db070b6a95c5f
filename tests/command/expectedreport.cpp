// expectedreport.cpp - see expectedreport.h.
#include "expectedreport.h"

#include <algorithm>
#include <cmath>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace {

using Values = std::vector<double>;

[[gnu::format(printf, 1, 2)]] std::string print(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  char* text = nullptr;
  const int length = vasprintf(&text, format, arguments);
  va_end(arguments);
  std::string result(text, static_cast<std::size_t>(length));
  std::free(text);
  return result;
}

std::string left(std::string text, std::size_t width) {
  while (text.size() < width) text += ' ';
  return text;
}

std::string centre(std::string text, std::size_t width) {
  for (bool right = true; text.size() < width; right = !right) {
    text.insert(right ? text.end() : text.begin(), ' ');
  }
  return text;
}

std::string name(std::string_view text, std::size_t width) {
  std::string escaped;
  for (const char c : text) {
    if (std::string_view("\t\n\r\"\\").find(c) != std::string_view::npos) escaped += '\\';
    escaped += c;
  }
  return left(escaped, width);
}

// {fmt} justifies what is no number on the left.
std::string number(double value) {
  return std::isfinite(value) ? print("%24.16e", value) : left(print("%e", value), 24);
}

double element(const Values& values, std::int64_t index) {
  return index < static_cast<std::int64_t>(values.size()) ? values[static_cast<std::size_t>(index)]
                                                          : 0.0;
}

std::string primalword(std::int32_t status) {
  switch (status) {
    case 1:
    case 9:
      return "optimal";
    case 2:
    case 4:
      return "feasible";
    case 6:
      return "infeas_cert";
    case 8:
      return "illposed_cert";
    default:
      return "unknown";
  }
}

std::string dualword(std::int32_t status) {
  switch (status) {
    case 1:
      return "optimal";
    case 3:
    case 4:
      return "feasible";
    case 5:
      return "infeas_cert";
    case 7:
      return "illposed_cert";
    default:
      return "unknown";
  }
}

std::string problemprimalword(std::int32_t status) {
  switch (status) {
    case 1:
    case 2:
      return "feasible";
    case 4:
    case 6:
      return "infeasible";
    case 7:
      return "illposed";
    case 8:
      return "infeasible_or_unbounded";
    default:
      return "unknown";
  }
}

std::string problemdualword(std::int32_t status) {
  switch (status) {
    case 1:
    case 3:
      return "feasible";
    case 5:
    case 6:
      return "infeasible";
    case 7:
      return "illposed";
    case 8:
      return "infeasible_or_unbounded";
    default:
      return "unknown";
  }
}

std::string keyword(std::int32_t key) {
  switch (key) {
    case 1:
      return "basic";
    case 2:
      return "super_basic";
    case 3:
      return "at_lower";
    case 4:
      return "at_upper";
    case 5:
      return "fixed";
    case 6:
      return "infinite";
    default:
      return "unknown";
  }
}

class Report {
 public:
  explicit Report(const vlntaskt& task)
      : task_(task),
        numvar_(std::max(task.numvar, 0)),
        numcon_(std::max(task.numcon, 0)),
        numbarvar_(std::max(task.numbarvar, 0)),
        namesize_(std::max(task.maxnamelen, 0) + 1) {}

  std::vector<ReportStep> steps() {
    setup();
    text("Solution\n");
    if (task_.solutions[2].defined != 0) integersection();
    if (task_.solutions[1].defined != 0) basicsection();
    if (task_.solutions[0].defined != 0) interiorsection();
    return steps_;
  }

 private:
  void call(int line, std::string call) { steps_.push_back({std::move(call), line, {}}); }
  void text(std::string text) { steps_.push_back({{}, 0, std::move(text)}); }

  // The queries of one solution, named without their common beginning, by consecutive lines.
  void queries(int line, int whichsol, const std::vector<const char*>& names) {
    for (const char* query : names) call(line++, print("VLN_get%s(%d)", query, whichsol));
  }

  void slice(int line, const char* query, int whichsol) {
    call(line, print("%s(%d, 0, %d, %lld)", query, whichsol, numbarvar_,
                     static_cast<long long>(offset(numbarvar_))));
  }

  std::int32_t dimension(std::int32_t j) const {
    if (j >= numbarvar_) return 0;
    return std::max(task_.dims[static_cast<std::size_t>(j)], 0);
  }

  std::int64_t offset(std::int32_t j) const {
    std::int64_t sum = 0;
    for (std::int32_t i = 0; i < j; ++i) {
      const auto d = static_cast<std::uint32_t>(dimension(i));
      const std::uint32_t product = d * (d + 1);
      sum += product / 2;
    }
    return sum;
  }

  void setup() {
    call(211, "VLN_getnumvar()");
    call(212, "VLN_getnumcon()");
    call(213, "VLN_getnumbarvar()");
    call(214, "VLN_getmaxnamelen()");
    for (int whichsol = 0; whichsol < 3; ++whichsol) {
      call(215 + whichsol, print("VLN_solutiondef(%d)", whichsol));
    }
    for (const int line : {222, 248}) {
      for (std::int32_t j = 0; j < numbarvar_; ++j) call(line, print("VLN_getdimbarvarj(%d)", j));
    }
  }

  // Asks for a name and gives it as the buffer then holds it.
  std::string fetchname(const char* query, const std::vector<std::string>& names, std::int32_t i) {
    call(0, print("%s(%d, %d)", query, i, namesize_));
    const auto index = static_cast<std::size_t>(i);
    std::string text = index < names.size() ? names[index] : "";
    text = text.substr(0, static_cast<std::size_t>(namesize_) - 1);
    return text.substr(0, text.find('\0'));
  }

  void statuslines(std::int32_t s, const std::string& indent, double first, double second) {
    text("    SolutionStatus " + primalword(s) + ' ' + dualword(s) + '\n');
    text("    ProblemnStatus " + problemprimalword(s) + ' ' + problemdualword(s) + '\n');
    const auto among = [&](std::initializer_list<std::int32_t> numbers) {
      return s >= 10 || s < 0 || std::ranges::find(numbers, s) != numbers.end();
    };
    text(indent + "Objective " + (among({0, 3, 5, 7}) ? ". " : print("%e ", first)) +
         (among({0, 2, 6, 8, 9}) ? ". " : print("%e ", second)) + '\n');
  }

  static double objective(const fake::Solution& solution, std::size_t query) {
    return solution.objectives[std::min(query, solution.objectives.size() - 1)];
  }

  static std::int32_t key(const std::vector<std::int32_t>& keys, std::int32_t i) {
    return static_cast<std::size_t>(i) < keys.size() ? keys[static_cast<std::size_t>(i)] : 0;
  }

  void titles(const std::string& title, const std::string& indent,
              std::initializer_list<const char*> columns) {
    text("    " + title + '\n');
    std::string line =
        indent + "# " + left("item", 6) + ' ' + left("name", 20) + ' ' + left("sta", 6);
    for (const char* column : columns) line += ' ' + centre(column, 24);
    text(line + '\n');
  }

  // "var0000: name  key  numbers", the numbers being the row's elements of the columns.
  void row(const std::string& item, std::int32_t i, const std::string& shownname, std::int32_t sk,
           std::initializer_list<const Values*> columns) {
    std::string line = item + print("%04d: ", i) + shownname + ' ' + left(keyword(sk), 6);
    for (const Values* column : columns) line += ' ' + number(element(*column, i));
    text(line + '\n');
  }

  void integersection() {
    const fake::Solution& s = task_.solutions[2];
    queries(259, 2,
            {"skx", "skc", "xx", "primalobj", "xc", "xc", "primalobj", "primalobj", "prosta",
             "solsta"});
    if (numbarvar_ > 0) slice(271, "VLN_getbarxslice", 2);
    text("Solution integer\n");
    statuslines(s.solsta, "", objective(s, 1), objective(s, 2));
    titles("Variables", "      ", {"xx"});
    std::string last;
    for (std::int32_t i = 0; i < numvar_; ++i) {
      last = fetchname("VLN_getvarname", task_.varnames, i);
      row("      var", i, name(last, 15), key(s.skx, i), {&s.xx});
    }
    if (numbarvar_ > 0) integerbarlisting(s, last);
    text("    Constraints\n");
    text("      # " + left("item", 6) + ' ' + left("name", 15) + ' ' + left("sta", 6) + ' ' +
         left("xc", 24) + '\n');
    for (std::int32_t i = 0; i < numcon_; ++i) {
      const std::string shown = fetchname("VLN_getconname", task_.connames, i);
      row("    con", i, name(shown, 15), key(s.skc, i), {&s.xc});
    }
  }

  void integerbarlisting(const fake::Solution& s, const std::string& lastname) {
    text("    BarVariables\n");
    std::int32_t j = 0;
    while (j < numbarvar_) {
      text(print("      barvar%04d(%d): ", j, dimension(j)) + name(lastname, 0) + '\n');
      text("        # " + left("index", 10) + ' ' + centre("barx", 24) + '\n');
      std::int64_t k = 0;
      while (dimension(j) > 0) {
        while (dimension(j) > 0) {
          text(print("        [%4d,%4d] ", 0, 0) + number(element(s.barx, offset(j) + k)) + '\n');
          j += 1;
          k += 1;
        }
        j += 1;
      }
      j += 1;
    }
  }

  void basicsection() {
    const fake::Solution& s = task_.solutions[1];
    queries(321, 1,
            {"skx", "skc", "xx", "slx", "sux", "xc", "slc", "suc", "y", "primalobj", "primalobj",
             "prosta", "solsta"});
    text("  Solution basic\n");
    statuslines(s.solsta, "    ", objective(s, 0), objective(s, 1));
    titles("Variables", "    ", {"xx", "slx", "sux", "snx"});
    const Values zeros;
    variablerows(s, zeros);
    titles("Constraints", "      ", {"xc", "slc", "suc", "y"});
    for (std::int32_t i = 0; i < numcon_; ++i) {
      const std::string shown = fetchname("VLN_getconname", task_.connames, i);
      row("    con", i, name(shown, 15), key(s.skc, i), {&s.xc, &s.slc, &s.suc, &s.y});
    }
  }

  void variablerows(const fake::Solution& s, const Values& snx) {
    for (std::int32_t i = 0; i < numvar_; ++i) {
      const std::string shown = fetchname("VLN_getvarname", task_.varnames, i);
      row("      var", i, name(shown, 15), key(s.skx, i), {&s.xx, &s.slx, &s.sux, &snx});
    }
  }

  void interiorsection() {
    const fake::Solution& s = task_.solutions[0];
    queries(371, 0,
            {"skx", "skc", "xx", "slx", "sux", "sux", "xc", "slc", "suc", "y", "primalobj",
             "primalobj", "prosta", "solsta"});
    if (numbarvar_ > 0) {
      slice(387, "VLN_getbarxslice", 0);
      slice(388, "VLN_getbarsslice", 0);
    }
    text("  Solution interior\n");
    statuslines(s.solsta, "    ", objective(s, 0), objective(s, 1));
    titles("Variables", "      ", {"xx", "slx", "sux", "snx"});
    variablerows(s, s.sux);
    if (numbarvar_ > 0) interiorbarlisting(s);
    titles("Constraints", "      ", {"xc", "slc", "suc", "y"});
    for (std::int32_t i = 0; i < numcon_; ++i) {
      const std::string shown = fetchname("VLN_getconname", task_.connames, i);
      row("      con", i, name(shown, 20), key(s.skc, i), {&s.xx, &s.slx, &s.sux, &s.sux});
    }
  }

  void interiorbarlisting(const fake::Solution& s) {
    text("    BarVariables\n");
    for (std::int32_t j = 0; j < numbarvar_; ++j) {
      const std::string shown = fetchname("VLN_getbarvarname", task_.barvarnames, j);
      text(print("      barvar%04d(%d): ", j, dimension(j)) + name(shown, 0) + '\n');
      text("        # " + left("index", 10) + ' ' + centre("barx", 24) + ' ' + centre("bars", 24) +
           '\n');
      std::int64_t k = 0;
      for (std::int32_t column = 0; column < dimension(j); ++column) {
        for (std::int32_t r = column; r < dimension(j); ++r, ++k) {
          text(print("        [%4d,%4d] ", r, column) + number(element(s.bars, offset(j) + k)) +
               ' ' + number(0.0) + '\n');
        }
      }
    }
  }

  const vlntaskt& task_;
  std::int32_t numvar_, numcon_, numbarvar_, namesize_;
  std::vector<ReportStep> steps_;
};

}  // namespace

std::vector<ReportStep> expectedreport(const vlntaskt& task) { return Report(task).steps(); }

std::string textof(const std::vector<ReportStep>& steps, std::size_t end) {
  std::string result;
  for (std::size_t i = 0; i < end; ++i) result += steps[i].text;
  return result;
}

std::string textof(const std::vector<ReportStep>& steps) { return textof(steps, steps.size()); }

std::vector<std::string> callsof(const std::vector<ReportStep>& steps) {
  std::vector<std::string> calls;
  for (const ReportStep& step : steps) {
    if (!step.call.empty()) calls.push_back(step.call);
  }
  return calls;
}
