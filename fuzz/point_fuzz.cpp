// Points and bases: any bytes give a message, or values of variables, or a basis, which are written,
// read again as the same and written a second time as the same bytes. Branching priorities, which
// nobody writes, are read to a message or a number for each variable.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "format/point/point_file.h"
#include "round_trip.h"

namespace vorlan {
namespace {

// The model of corpus/point: names as they are, one that no such file can hold, one that is like
// what stands for it, and none at all.
Model four_variables() {
  Model model;
  model.cost = model.var_lower = model.var_upper = {1.0, 2.0, 3.0, 4.0};
  model.con_lower = model.con_upper = {3.0, 4.0};
  model.var_kind.resize(4, VarKind::kContinuous);
  model.matrix.start = {0, 0, 0, 0, 0};
  for (const char* name : {"a&b", "with blank", "x2", ""}) model.var_names.add(name);
  for (const char* name : {"c2", "\x1b"}) model.con_names.add(name);
  return model;
}

constexpr auto kPlace = static_cast<size_t>(SolutionKind::kBasic);

Status read_values(InputStream* input, const ReadLimits&, ProblemFile* file, Warnings*) {
  StartPoint point;
  Status status = read_point(input, file->model, &point);
  if (!status.ok()) return status;
  file->solutions[kPlace].defined = true;
  file->solutions[kPlace].xx = point.x;
  return status;
}

Status write_values(const ProblemView& problem, OutputFile* file, Warnings*) {
  return write_point(problem.model, problem.solutions[kPlace], file);
}

Status read_keys(InputStream* input, const ReadLimits&, ProblemFile* file, Warnings*) {
  return read_basis(input, file->model, &file->solutions[kPlace]);
}

Status write_keys(const ProblemView& problem, OutputFile* file, Warnings*) {
  return write_basis(problem.model, problem.solutions[kPlace], file);
}

std::string fault_of_priorities(std::string_view text) {
  const auto read = [](InputStream* input, const ReadLimits&, ProblemFile* file, Warnings*) {
    std::vector<int32_t> priorities;
    Status status = read_priorities(input, file->model, &priorities);
    if (status.ok() && priorities.size() != file->model.cost.size()) std::abort();
    return status;
  };
  ProblemFile file;
  Warnings warnings;
  file.model = four_variables();
  const Status status = test::read_text(read, text, &file, &warnings);
  return status.ok() || !status.message().empty() ? "" : "refused without a message";
}

std::string fault_of(ProblemReader read, ProblemWriter write, std::string_view text) {
  ProblemFile first, second;
  Warnings warnings;
  first.model = second.model = four_variables();
  const Status status = test::read_text(read, text, &first, &warnings);
  if (!status.ok()) return status.message().empty() ? "refused without a message" : "";
  const Solution& taken = first.solutions[kPlace];
  if (read == read_keys && !is_basis(first.model, taken)) return {};
  std::string written, rewritten;
  if (!test::write_text(write, first, &written, &warnings).ok()) return "cannot be written";
  if (!test::read_text(read, written, &second, &warnings).ok()) return "cannot be read again";
  if (taken.xx != second.solutions[kPlace].xx) return "other values are read again";
  if (taken.skx != second.solutions[kPlace].skx) return "another basis is read again";
  if (!test::write_text(write, second, &rewritten, &warnings).ok()) {
    return "the second writing failed";
  }
  return written == rewritten ? "" : "the second writing differs:\n" + written + rewritten;
}

}  // namespace
}  // namespace vorlan

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  std::string fault = vorlan::fault_of(vorlan::read_values, vorlan::write_values, text);
  if (fault.empty()) fault = vorlan::fault_of(vorlan::read_keys, vorlan::write_keys, text);
  if (fault.empty()) fault = vorlan::fault_of_priorities(text);
  if (fault.empty()) return 0;
  std::fprintf(stderr, "%s\n", fault.c_str());
  std::abort();
}
