// The pictures of a report, as SVG that takes its colours from the page.
#pragma once

#include <string>

#include "course.h"
#include "model_data.h"

namespace vorlan::companion {

// Where the matrix of the constraints has elements: rows from top to bottom, variables from left to
// right, darker where a cell of the picture has more of them. Empty for a model without elements.
std::string pattern_picture(const ModelData& model);

// Objective and bound over time. Empty where there are not two moments to be shown.
std::string course_picture(const Course& course);

}  // namespace vorlan::companion
