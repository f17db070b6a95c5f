// The files of solutions: the JSON solution for people and other programs, the b solution (CBOR)
// to be read back, and the task solver result (CBOR) with what an optimization gave. All three are
// the document that docs/formats/solutions.md describes.
#pragma once

#include <string>
#include <vector>

#include "format/common/format.h"
#include "format/document/document.h"
#include "task/solver_result.h"

namespace vorlan {

// The solutions to write, borrowed from the task. Those that are not defined are left out; with
// none defined the file says so.
struct SolutionView {
  const Model& model;
  const Solutions& solutions;
};

// Append to the open file; the caller finishes it. The figures of a JSON solution are those that
// are the same in every run: a bound that was found without a point is nowhere else in it.
[[nodiscard]] Status write_json_solution(const SolutionView& view,
                                         const std::vector<Figure>& figures, OutputFile* file);
[[nodiscard]] Status write_b_solution(const SolutionView& view, OutputFile* file);
[[nodiscard]] Status write_solver_result(const SolverResult& result, const SolutionView& view,
                                         OutputFile* file);

// Reads all solutions of the file in place of the given ones, if they fit the model: by the names
// of variables, constraints and matrix variables, where both sides have some, then by sizes. On
// failure nothing is changed.
[[nodiscard]] Status read_b_solution(InputStream* input, const Model& model, Solutions* solutions);

// Writes a task solver result: solutions with the codes and figures of the optimization that they
// come from.
[[nodiscard]] Status read_solver_result(InputStream* input, const Model& model,
                                        SolverResult* result, Solutions* solutions);

// The map of defined solutions as other documents contain it.
void write_solutions(DocumentWriter* writer, const Solutions& solutions);

using SolutionMarks = std::array<Mark, kNumSolutions>;
[[nodiscard]] bool read_solutions(DocumentReader* reader, Solutions* solutions,
                                  SolutionMarks* marks);
// True if solutions that were read have the model's sizes. Duals of cones that a file does not have
// become 0.
[[nodiscard]] bool check_solutions(DocumentReader* reader, const Model& model,
                                   const SolutionMarks& marks, Solutions* solutions);

// Lists of names, as other documents contain them.
bool has_names(const NameList& names, size_t count);
void write_names(DocumentWriter* writer, const NameList& names, size_t count);
[[nodiscard]] bool read_names(DocumentReader* reader, NameList* names, size_t* count);

}  // namespace vorlan
