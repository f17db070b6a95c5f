// Points in the form that SCIP writes, but with every variable: a reader that leaves out what it
// does not know takes the lines `name value`.
#include "format/point/point_file.h"
#include "format/point/point_names.h"
#include "task/status_words.h"

namespace vorlan {

Status write_point(const Model& model, const Solution& solution, OutputFile* file) {
  file->append("solution status: ");
  file->append(word_of(kSolutionStatuses, solution.status));
  if (!solution.defined && solution.xx.empty()) {
    file->append("\nno solution available\n");
    return {};
  }
  file->append("\nobjective value: ");
  file->append_number(solution.primal_objective);
  file->append('\n');
  PointNames names(model.var_names, model.cost.size(), 'x');
  for (size_t j = 0; j < solution.xx.size() && !file->failed(); ++j) {
    file->append(names.name_of(j));
    file->append(' ');
    file->append_number(solution.xx[j]);
    file->append('\n');
  }
  return {};
}

}  // namespace vorlan
