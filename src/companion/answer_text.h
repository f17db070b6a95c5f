// An answer as text: a table for people, JSON and CSV for programs.
#pragma once

#include <string>
#include <vector>

#include "model_answer.h"
#include "point_check.h"

namespace vorlan::companion {

// A text of others on one line of a terminal: control characters, which would command it, are shown as
// \xNN.
std::string printable(const std::string& name);

// "1 constraint", "2 constraints".
std::string count(int number, const char* noun);

enum class Form { kTable, kJson, kCsv };

// A summary and the values that are not zero. Of an infeasible model the constraints and bounds that
// contradict each other, with cones, integers and sets where they take part, of an unbounded one the
// direction.
std::string table(const ModelAnswer& answer);

// One JSON object on one line, with every variable and constraint.
std::string json(const ModelAnswer& answer);

// Lines "kind,name,row,column,value,dual" below a title (RFC 4180), with every variable and constraint.
std::string csv(const ModelAnswer& answer);

// What a point violates beyond the tolerance: a line that says how much, and a table.
std::string violation_table(const std::vector<Violation>& violations, double tolerance);

// The answer in one of the forms.
std::string text(const ModelAnswer& answer, Form form);

}  // namespace vorlan::companion
