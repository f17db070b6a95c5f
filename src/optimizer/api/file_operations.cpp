// Operations on problem and solution files.
#include "api/operation.h"
#include "format/problem_file.h"
#include "format/task/result_file.h"

using namespace vorlan;
using namespace vorlan::api;

namespace {

Status check_solution_file(const char* filename, uint32_t compression) {
  Status status = check_pointers({{"filename", filename}});
  return status.ok() ? check_compression(compression) : status;
}

Compression to_compression(uint32_t selector) { return static_cast<Compression>(selector); }

VLNrescode_enum write_as(vlntaskt* task, const char* filename, SolutionFormat format,
                         uint32_t compression) {
  return run(task, [=](Task& t) {
    Status status = check_solution_file(filename, compression);
    if (!status.ok()) return status;
    return write_solution_file(&t, filename, format, to_compression(compression));
  });
}

}  // namespace

VLNrescode_enum VLN_readdata(vlntaskt* task, const char* filename) {
  return run(task, [=](Task& t) {
    Status status = check_pointers({{"filename", filename}});
    return status.ok() ? read_problem_file(&t, filename) : status;
  });
}

VLNrescode_enum VLN_writedata(vlntaskt* task, const char* filename) {
  return run(task, [=](Task& t) {
    Status status = check_pointers({{"filename", filename}});
    return status.ok() ? write_problem_file(&t, filename) : status;
  });
}

VLNrescode_enum VLN_readbsolution(vlntaskt* task, const char* filename, uint32_t compression) {
  return run(task, [=](Task& t) {
    Status status = check_solution_file(filename, compression);
    return status.ok() ? read_solution_file(&t, filename, to_compression(compression)) : status;
  });
}

VLNrescode_enum VLN_writebsolution(vlntaskt* task, const char* filename, uint32_t compression) {
  return write_as(task, filename, SolutionFormat::kB, compression);
}

VLNrescode_enum VLN_writejsonsol(vlntaskt* task, const char* filename) {
  return write_as(task, filename, SolutionFormat::kJson, 0);
}

VLNrescode_enum VLN_writetasksolverresult_file(vlntaskt* task, const char* filename,
                                               uint32_t compression) {
  return write_as(task, filename, SolutionFormat::kSolverResult, compression);
}
