// expectedreport.h - the plain report as it must be, step by step: an implementation of the layout
// for comparison, written without {fmt} and without sight of the writer's source.
#pragma once

#include <string>
#include <vector>

#include "fakelibrary.h"

/// A call to the library, as the fake library records it, or text that is printed.
struct ReportStep {
  std::string call;  // empty: text
  int line = 0;      // of a checked call; 0: the call's failure is ignored
  std::string text;
};

/// All steps for the task's model, in order. Queries of the objective count from here on.
std::vector<ReportStep> expectedreport(const vlntaskt& task);

/// All texts joined, up to the step with the given index.
std::string textof(const std::vector<ReportStep>& steps, std::size_t end);
std::string textof(const std::vector<ReportStep>& steps);

std::vector<std::string> callsof(const std::vector<ReportStep>& steps);
