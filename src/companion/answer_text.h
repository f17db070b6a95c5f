// An answer as text: a table for people, JSON and CSV for programs.
#pragma once

#include <string>

#include "model_answer.h"

namespace vorlan::companion {

enum class Form { kTable, kJson, kCsv };

// A summary and the values that are not zero. Of an infeasible model the constraints and bounds that
// contradict each other, of an unbounded one the direction.
std::string table(const ModelAnswer& answer);

// One JSON object on one line, with every variable and constraint.
std::string json(const ModelAnswer& answer);

// Lines "kind,name,row,column,value,dual" below a title (RFC 4180), with every variable and constraint.
std::string csv(const ModelAnswer& answer);

// The answer in one of the forms.
std::string text(const ModelAnswer& answer, Form form);

}  // namespace vorlan::companion
