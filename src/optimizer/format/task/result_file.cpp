// Opening and finishing of solution files.
#include "format/task/result_file.h"

#include "format/task/solution_file.h"

namespace vorlan {

Status write_solutions_as(SolutionFormat format, const Task& task, OutputFile* file) {
  const SolutionView view{task.model, task.solutions};
  switch (format) {
    case SolutionFormat::kJson:
      return write_json_solution(view, task.solver_result.figures, file);
    case SolutionFormat::kB:
      return write_b_solution(view, file);
    case SolutionFormat::kSolverResult:
      return write_solver_result(task.solver_result, view, file);
  }
  return {Code::kErrInternal, "there is no such format of solutions"};
}

Status write_solution_file(Task* task, const char* filename, SolutionFormat format,
                           Compression compression) {
  OutputFile file;
  Status status = file.open(filename, task->shown_name(filename), compression);
  if (status.ok()) status = write_solutions_as(format, *task, &file);
  return status.ok() ? file.finish() : status;
}

Status read_solution_file(Task* task, const char* filename, Compression compression) {
  InputStream input;
  Status status = input.open(filename, task->shown_name(filename), compression);
  input.set_longest_token(longest_token(task->parameters));
  return status.ok() ? read_b_solution(&input, task->model, &task->solutions) : status;
}

}  // namespace vorlan
