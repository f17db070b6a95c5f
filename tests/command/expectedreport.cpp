// expectedreport.cpp - the report section by section, from the columns as the queries leave them.
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

// The queries write to these arrays, which are zero at first. The sections share them: what a query
// leaves out shows what an earlier one wrote there.
struct Storage {
  std::vector<std::int32_t> skx, skc;
  Values xx, slx, sux, snx, xc, slc, suc, y, bar;
  std::string name;
};

template <typename T>
void overwrite(std::vector<T>& storage, const std::vector<T>& given) {
  if (storage.size() < given.size()) storage.resize(given.size());
  std::ranges::copy(given, storage.begin());
}

class Report {
 public:
  explicit Report(const vlntaskt& task)
      : task_(task),
        numvar_(task.numvar),
        numcon_(task.numcon),
        numbarvar_(task.numbarvar),
        namesize_(task.maxnamelen + 1) {}

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
    const auto index = static_cast<std::size_t>(j);
    return j < numbarvar_ && index < task_.dims.size() ? task_.dims[index] : 0;
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
    const std::string asked = print("%s(%d, %d)", query, i, namesize_);
    call(0, asked);
    const auto index = static_cast<std::size_t>(i);
    const bool fails = task_.answer && task_.answer(asked) != VLN_RES_OK;
    if (!fails && index < names.size() && namesize_ > 0) {
      const std::string cut = names[index].substr(0, static_cast<std::size_t>(namesize_) - 1);
      storage_.name = cut.substr(0, cut.find('\0'));
    }
    return storage_.name;
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

  // Tells what the queries with the given numbers leave in one place that began at 0.
  static double objective(const fake::Solution& solution,
                          std::initializer_list<std::size_t> queries) {
    double result = 0.0;
    for (const std::size_t query : queries) {
      const auto& answer = solution.objectives[std::min(query, solution.objectives.size() - 1)];
      result = answer.value_or(result);
    }
    return result;
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
    overwrite(storage_.skx, s.skx);
    overwrite(storage_.skc, s.skc);
    overwrite(storage_.xx, s.xx);
    overwrite(storage_.xc, s.xc);
    if (numbarvar_ > 0) overwrite(storage_.bar, s.barx);
    text("Solution integer\n");
    statuslines(s.solsta, "", objective(s, {0, 1}), objective(s, {2}));
    titles("Variables", "      ", {"xx"});
    for (std::int32_t i = 0; i < numvar_; ++i) {
      const std::string shown = fetchname("VLN_getvarname", task_.varnames, i);
      row("      var", i, name(shown, 15), key(storage_.skx, i), {&storage_.xx});
    }
    if (numbarvar_ > 0) integerbarlisting();
    text("    Constraints\n");
    text("      # " + left("item", 6) + ' ' + left("name", 15) + ' ' + left("sta", 6) + ' ' +
         left("xc", 24) + '\n');
    for (std::int32_t i = 0; i < numcon_; ++i) {
      const std::string shown = fetchname("VLN_getconname", task_.connames, i);
      row("    con", i, name(shown, 15), key(storage_.skc, i), {&storage_.xc});
    }
  }

  void integerbarlisting() {
    text("    BarVariables\n");
    std::int32_t j = 0;
    while (j < numbarvar_) {
      text(print("      barvar%04d(%d): ", j, dimension(j)) + name(storage_.name, 0) + '\n');
      text("        # " + left("index", 10) + ' ' + centre("barx", 24) + '\n');
      std::int64_t k = 0;
      while (dimension(j) > 0) {
        while (dimension(j) > 0) {
          text(print("        [%4d,%4d] ", 0, 0) + number(element(storage_.bar, offset(j) + k)) +
               '\n');
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
    overwriterows(s);
    text("  Solution basic\n");
    statuslines(s.solsta, "    ", objective(s, {0}), objective(s, {1}));
    titles("Variables", "    ", {"xx", "slx", "sux", "snx"});
    variablerows();
    titles("Constraints", "      ", {"xc", "slc", "suc", "y"});
    for (std::int32_t i = 0; i < numcon_; ++i) {
      const std::string shown = fetchname("VLN_getconname", task_.connames, i);
      row("    con", i, name(shown, 15), key(storage_.skc, i),
          {&storage_.xc, &storage_.slc, &storage_.suc, &storage_.y});
    }
  }

  void overwriterows(const fake::Solution& s) {
    overwrite(storage_.skx, s.skx);
    overwrite(storage_.skc, s.skc);
    overwrite(storage_.xx, s.xx);
    overwrite(storage_.slx, s.slx);
    overwrite(storage_.sux, s.sux);
    overwrite(storage_.xc, s.xc);
    overwrite(storage_.slc, s.slc);
    overwrite(storage_.suc, s.suc);
    overwrite(storage_.y, s.y);
  }

  void variablerows() {
    for (std::int32_t i = 0; i < numvar_; ++i) {
      const std::string shown = fetchname("VLN_getvarname", task_.varnames, i);
      row("      var", i, name(shown, 15), key(storage_.skx, i),
          {&storage_.xx, &storage_.slx, &storage_.sux, &storage_.snx});
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
    overwriterows(s);
    overwrite(storage_.snx, s.sux);
    if (numbarvar_ > 0) {
      overwrite(storage_.bar, s.barx);
      overwrite(storage_.bar, s.bars);
    }
    text("  Solution interior\n");
    statuslines(s.solsta, "    ", objective(s, {0}), objective(s, {1}));
    titles("Variables", "      ", {"xx", "slx", "sux", "snx"});
    variablerows();
    if (numbarvar_ > 0) interiorbarlisting();
    titles("Constraints", "      ", {"xc", "slc", "suc", "y"});
    for (std::int32_t i = 0; i < numcon_; ++i) {
      const std::string shown = fetchname("VLN_getconname", task_.connames, i);
      row("      con", i, name(shown, 20), key(storage_.skc, i),
          {&storage_.xx, &storage_.slx, &storage_.sux, &storage_.snx});
    }
  }

  void interiorbarlisting() {
    text("    BarVariables\n");
    for (std::int32_t j = 0; j < numbarvar_; ++j) {
      const std::string shown = fetchname("VLN_getbarvarname", task_.barvarnames, j);
      text(print("      barvar%04d(%d): ", j, dimension(j)) + name(shown, 0) + '\n');
      text("        # " + left("index", 10) + ' ' + centre("barx", 24) + ' ' + centre("bars", 24) +
           '\n');
      std::int64_t k = 0;
      for (std::int32_t column = 0; column < dimension(j); ++column) {
        for (std::int32_t r = column; r < dimension(j); ++r, ++k) {
          text(print("        [%4d,%4d] ", r, column) +
               number(element(storage_.bar, offset(j) + k)) + ' ' + number(0.0) + '\n');
        }
      }
    }
  }

  const vlntaskt& task_;
  std::int32_t numvar_, numcon_, numbarvar_, namesize_;
  Storage storage_;
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
