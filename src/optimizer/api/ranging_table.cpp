// Rows of the table: the cost of each variable, then the side of each constraint at which it is.
#include "api/ranging_table.h"

#include <string>

#include "solve/backend.h"
#include "task/text.h"

namespace vorlan::api {
namespace {

constexpr const char* kKeys[] = {"unknown", "basic", "superbasic", "lower",
                                 "upper",   "fixed", "infinite"};

std::string shown(const NameList& names, size_t place, char letter) {
  return names[place].empty() ? letter + std::to_string(place + 1) : on_one_line(names[place]);
}

void append_row(const char* what, const std::string& name, StatusKey key, double value, double dual,
                double now, const double* range, OutputFile* file) {
  file->append(what);
  file->append('\t' + name + '\t' + kKeys[static_cast<size_t>(key)]);
  for (const double figure : {value, dual, now, range[0], range[1], range[2], range[3]}) {
    file->append('\t');
    file->append_number(figure + 0.0);  // no -0
  }
  file->append('\n');
}

// The side that the basis takes for the constraint's right-hand side; of a basic one its activity.
double side_of(const Model& model, const Solution& s, size_t i) {
  switch (s.skc[i]) {
    case StatusKey::kAtLower:
    case StatusKey::kFixed:
      return model.con_lower[i];
    case StatusKey::kAtUpper:
      return model.con_upper[i];
    default:
      return s.xc[i];
  }
}

}  // namespace

Status write_ranging(const Task& task, const std::vector<double>& figures, OutputFile* file) {
  const Model& model = task.model;
  const Solution& s = task.solutions[static_cast<size_t>(SolutionKind::kBasic)];
  const size_t num_var = model.cost.size();
  const size_t num_con = model.con_lower.size();
  if (!s.defined || figures.size() != kRangeFigures * (num_var + num_con)) {
    return {Code::kErrFileFormat, "there is no ranging: it is of a linear optimum with a basis"};
  }
  file->append(
      "what\tname\tkey\tvalue\tdual\tnow\tleast\tmost\tobjective at least\t"
      "objective at most\n");
  const double* range = figures.data();
  for (size_t j = 0; j < num_var; ++j, range += kRangeFigures) {
    append_row("cost", shown(model.var_names, j, 'x'), s.skx[j], s.xx[j], s.slx[j] - s.sux[j],
               model.cost[j], range, file);
  }
  for (size_t i = 0; i < num_con; ++i, range += kRangeFigures) {
    append_row("side", shown(model.con_names, i, 'c'), s.skc[i], s.xc[i], s.y[i],
               side_of(model, s, i), range, file);
  }
  return {};
}

}  // namespace vorlan::api
