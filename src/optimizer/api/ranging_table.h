// The ranging of a linear optimum as a table for people and programs: fields between tabs.
#pragma once

#include <vector>

#include "file/output_file.h"
#include "task/task.h"

namespace vorlan::api {

// The figures are those of SolveExtras::ranging. Fails where there are none.
[[nodiscard]] Status write_ranging(const Task& task, const std::vector<double>& figures,
                                   OutputFile* file);

}  // namespace vorlan::api
