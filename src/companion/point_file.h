// Reads a point for a model from the files in which solvers leave one.
#pragma once

#include <string>

#include "model_data.h"
#include "point_check.h"
#include "session.h"

namespace vorlan::companion {

struct NamedPoint {
  Point point;
  int missing = 0;  // variables that the file does not name; they are 0
};

// Understands JSON solutions, b solutions (.b, also .gz and .zst), the JSON and CSV of this program,
// and texts of lines "NAME VALUE", among them the .sol files of HiGHS, CBC and SCIP. Throws where the
// file cannot be read, names a variable twice, or names one that the model does not have.
NamedPoint read_point(Session& session, const ModelData& model, const std::string& file);

}  // namespace vorlan::companion
