// compare.h - compares what a run did with what its case says, part by part, and says what differs.
#pragma once

#include <string>
#include <vector>

#include "casefile.h"
#include "run.h"

namespace program {

// Empty when everything is as stated; else one description for each part that differs.
std::vector<std::string> differences(const Case& expected, const Outcome& actual);

// Texts may hold places: {pid} and {seconds [NAME] [>=X] [<X]}. The same NAME must stand for the
// same digits in the whole run, so names collects them.
bool text_matches(const std::string& expected, const std::string& actual, long pid,
                  std::map<std::string, std::string>& names);

std::string describe(const Exit& exit);

}  // namespace program
