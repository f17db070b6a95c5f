// Values of variables by name, and bases, in the forms in which optimizers exchange them:
// docs/formats/points.md says which. They refer to a model that is there already.
#pragma once

#include <cstdint>
#include <vector>

#include "file/input_stream.h"
#include "file/output_file.h"
#include "task/model.h"
#include "task/solution.h"
#include "task/start_point.h"
#include "task/status.h"

namespace vorlan {

// Reads `name value` lines, or the solution file of another optimizer. A name that the model does
// not have is an error. Where the form leaves zeros out, all variables count as given.
[[nodiscard]] Status read_point(InputStream* input, const Model& model, StartPoint* point);

// Reads lines of names and whole numbers: the priorities of variables, 0 for those without a line.
[[nodiscard]] Status read_priorities(InputStream* input, const Model& model,
                                     std::vector<int32_t>* priorities);

// Writes the status, the objective and the values of a solution, or of a point in its xx.
[[nodiscard]] Status write_point(const Model& model, const Solution& solution, OutputFile* file);

// Reads an MPS basis into the status keys of a solution that has nothing else.
[[nodiscard]] Status read_basis(InputStream* input, const Model& model, Solution* basis);

// True if the status keys of the solution are a basis.
bool is_basis(const Model& model, const Solution& solution);

// Writes the status keys of a basic solution as an MPS basis. Fails where they are none.
[[nodiscard]] Status write_basis(const Model& model, const Solution& solution, OutputFile* file);

}  // namespace vorlan
