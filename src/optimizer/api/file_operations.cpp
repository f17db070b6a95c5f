// Operations on problem and solution files.
#include "api/operation.h"
#include "format/problem_file.h"

using namespace vorlan;
using namespace vorlan::api;

namespace {

Status not_available(const char* what) {
  return {Code::kErrNotAvailable,
          std::string(what) + " is not available in this version of the library"};
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
  return run(task, [=](Task&) {
    Status status = check_pointers({{"filename", filename}});
    if (status.ok()) status = check_compression(compression);
    return status.ok() ? not_available("reading b solutions") : status;
  });
}

VLNrescode_enum VLN_writebsolution(vlntaskt* task, const char* filename, uint32_t compression) {
  return run(task, [=](Task&) {
    Status status = check_pointers({{"filename", filename}});
    if (status.ok()) status = check_compression(compression);
    return status.ok() ? not_available("writing b solutions") : status;
  });
}

VLNrescode_enum VLN_writejsonsol(vlntaskt* task, const char* filename) {
  return run(task, [=](Task&) {
    Status status = check_pointers({{"filename", filename}});
    return status.ok() ? not_available("writing JSON solutions") : status;
  });
}

VLNrescode_enum VLN_writetasksolverresult_file(vlntaskt* task, const char* filename,
                                               uint32_t compression) {
  return run(task, [=](Task&) {
    Status status = check_pointers({{"filename", filename}});
    if (status.ok()) status = check_compression(compression);
    return status.ok() ? not_available("writing task solver results") : status;
  });
}
