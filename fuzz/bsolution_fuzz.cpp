// b solutions: any bytes give a message, with the task's solutions left as they were, or solutions
// that are written and read again as the same bytes.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "format/task/solution_file.h"
#include "round_trip.h"

namespace vorlan {
namespace {

// The model of corpus/bsolution: two variables, one constraint.
Model two_variables() {
  Model model;
  model.cost = model.var_lower = model.var_upper = {1.0, 2.0};
  model.con_lower = model.con_upper = {3.0};
  model.var_kind.resize(2, VarKind::kContinuous);
  model.matrix.start = {0, 0, 0};
  model.var_names.add("x");
  model.var_names.add("y");
  return model;
}

Status read(InputStream* input, const ReadLimits&, ProblemFile* file, Warnings*) {
  return read_b_solution(input, file->model, &file->solutions);
}

Status write(const ProblemView& problem, OutputFile* file, Warnings*) {
  return write_b_solution({problem.model, problem.solutions}, file);
}

std::string fault_of(std::string_view text) {
  ProblemFile first, second;
  Warnings warnings;
  first.model = second.model = two_variables();
  const Status status = test::read_text(read, text, &first, &warnings);
  if (!status.ok()) {
    if (status.message().empty()) return "refused without a message";
    for (const Solution& s : first.solutions) {
      if (s.defined) return "refused, but something was taken";
    }
    return {};
  }
  std::string written, rewritten;
  if (!test::write_text(write, first, &written, &warnings).ok()) return "cannot be written";
  if (!test::read_text(read, written, &second, &warnings).ok()) return "cannot be read again";
  if (!test::write_text(write, second, &rewritten, &warnings).ok())
    return "the second writing failed";
  return written == rewritten ? "" : "the second writing differs";
}

}  // namespace
}  // namespace vorlan

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string fault = vorlan::fault_of({reinterpret_cast<const char*>(data), size});
  if (fault.empty()) return 0;
  std::fprintf(stderr, "%s\n", fault.c_str());
  std::abort();
}
