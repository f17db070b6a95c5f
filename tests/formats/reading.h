// Reading a text and writing a model as the tests of the conic formats do it.
#pragma once

#include <string>
#include <string_view>
#include <utility>

#include "format/format.h"
#include "round_trip.h"

namespace vorlan::test {

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

inline void add_constraint(Model* model, double lower, double upper) {
  model->con_lower.push_back(lower);
  model->con_upper.push_back(upper);
}

}  // namespace vorlan::test
