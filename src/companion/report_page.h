// The page of --report: one file of HTML that needs nothing else, for a browser and for people who were
// not there.
#pragma once

#include <string>

#include "course.h"
#include "model_answer.h"
#include "model_data.h"

namespace vorlan::companion {

struct Report {
  const ModelAnswer& answer;
  ModelData model;
  const Course& course;
  const std::string& log;
};

// Names and log lines come from files of others: all of them are escaped, and the page loads nothing.
std::string report_page(const Report& report);

}  // namespace vorlan::companion
