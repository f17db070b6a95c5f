// Reading a text and writing a model as the tests of all formats do it, and small models.
#pragma once

#include <limits>
#include <string>
#include <string_view>
#include <utility>

#include "format/common/format.h"
#include "peer.h"
#include "round_trip.h"
#include "scratch_folder.h"
#include "task/packed_matrices.h"

namespace vorlan::test {

// The text as it begins a warning; nothing for no text.
inline std::string as_warning(std::string_view text) {
  return text.empty() ? std::string() : "warning: " + std::string(text);
}

struct Reading {
  Model model;
  std::string error, warnings;
};

inline Reading read_as(ProblemReader reader, std::string_view text) {
  ProblemFile file;
  Warnings warnings;
  const Status status = read_text(reader, text, &file, &warnings);
  return {std::move(file.model), status.message(), warnings.text()};
}

// "refused: WHY" where the writer does not take the model.
inline std::string write_as(ProblemWriter writer, const Model& model,
                            std::string* warnings = nullptr) {
  ProblemFile file;
  file.model = model;
  std::string text;
  Warnings collected;
  const Status status = write_text(writer, file, &text, &collected);
  if (warnings != nullptr) *warnings = collected.text();
  return status.ok() ? text : "refused: " + status.message();
}

// The difference in our model once another program has read it from our file and written it to its
// own; empty if there is none, names of model and objective apart.
inline std::string fault_of_peer(const PeerWriter& writer, const char* suffix, ProblemReader reader,
                                 ProblemWriter our_writer, Model ours) {
  const ScratchFolder folder;
  const std::string path = folder.write(std::string("ours.") + suffix, write_as(our_writer, ours));
  const std::string written =
      written_by(writer, path, folder.path(std::string("theirs.") + suffix));
  Reading theirs = read_as(reader, written);
  if (!theirs.error.empty()) return theirs.error + " in:\n" + written;
  for (Model* model : {&ours, &theirs.model}) {
    model->name.clear();
    model->objective_name.clear();
  }
  const std::string fault = difference(ours, theirs.model);
  return fault.empty() ? fault : fault + " in:\n" + written;
}

// A variable without cost, in the constraint `con` with the coefficient 1, or in none for -1.
inline void add_variable(Model* model, double lower, double upper, int32_t con = -1,
                         VarKind kind = VarKind::kContinuous) {
  model->cost.push_back(0.0);
  model->var_lower.push_back(lower);
  model->var_upper.push_back(upper);
  model->var_kind.push_back(kind);
  if (con >= 0) {
    model->matrix.row.push_back(con);
    model->matrix.value.push_back(1.0);
  }
  model->matrix.start.push_back(static_cast<int64_t>(model->matrix.row.size()));
}

// Minimize x, without constraints.
inline Model one_variable(double lower, double upper, VarKind kind = VarKind::kContinuous) {
  Model model;
  model.name = "one";
  model.objective_name = "cost";
  add_variable(&model, lower, upper, -1, kind);
  model.cost = {1.0};
  model.var_names.add("x");
  return model;
}

// Minimize x where x >= 0 and lower <= 2.5 x <= upper, which is the constraint r.
inline Model with_sides(double lower, double upper) {
  Model model = one_variable(0.0, std::numeric_limits<double>::infinity());
  model.con_lower = {lower};
  model.con_upper = {upper};
  model.con_names.add("r");
  model.matrix = {{0, 1}, {0}, {2.5}};
  return model;
}

inline void add_constraint(Model* model, double lower, double upper) {
  model->con_lower.push_back(lower);
  model->con_upper.push_back(upper);
}

// A solution with a figure of its own in each place, and every status key.
inline Solution filled_solution(const Model& model, double base) {
  Solution s;
  s.defined = true;
  s.problem_status = ProblemStatus::kPrimalInfeasibleOrUnbounded;
  s.status = SolutionStatus::kIntegerOptimal;
  s.primal_objective = base / 3.0;
  s.dual_objective = base / 7.0;
  const size_t vars = model.cost.size();
  const size_t cons = model.con_lower.size();
  const size_t triangles = packed_starts(model).back();
  for (auto [array, size] : {std::pair(&Solution::xx, vars),
                             {&Solution::slx, vars},
                             {&Solution::sux, vars},
                             {&Solution::xc, cons},
                             {&Solution::slc, cons},
                             {&Solution::suc, cons},
                             {&Solution::y, cons},
                             {&Solution::snx, model.cones.empty() ? 0 : vars},
                             {&Solution::barx, triangles},
                             {&Solution::bars, triangles}}) {
    for (size_t i = 0; i < size; ++i) (s.*array).push_back(base += 0.1);
  }
  if (vars > 1) s.xx[0] = -0.0, s.xx[1] = std::numeric_limits<double>::quiet_NaN();
  for (size_t j = 0; j < vars; ++j) s.skx.push_back(static_cast<StatusKey>(j % 7));
  for (size_t i = 0; i < cons; ++i) s.skc.push_back(static_cast<StatusKey>((i + 3) % 7));
  return s;
}

}  // namespace vorlan::test
