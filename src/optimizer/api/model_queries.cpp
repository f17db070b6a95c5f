// Queries of sizes and names.
#include <algorithm>

#include "api/operation.h"
#include "task/numeric.h"
#include "task/text.h"

using namespace vorlan;
using namespace vorlan::api;

namespace {

template <class Count>
VLNrescode_enum get_count(vlntaskt* task, const char* name, int32_t* out, Count&& count) {
  return run(task, [=](Task& t) {
    Status status = check_pointers({{name, out}});
    if (status.ok()) *out = count(t.model);
    return status;
  });
}

Status check_index(const char* what, int32_t i, int32_t count) {
  if (i >= 0 && i < count) return {};
  return {Code::kErrIndexRange,
          format_text("%s %d: the index must be from 0 to %d", what, i, count - 1)};
}

Status copy_name(std::string_view name, int32_t sizename, char* out) {
  const size_t room = index(sizename) - 1;
  const size_t length = name.copy(out, room);  // memcpy would ask for a pointer of no name too
  out[length] = '\0';
  if (length == name.size()) return {};
  return {Code::kErrBufferSize,
          format_text("a name of %s does not fit a buffer of %d",
                      counted(static_cast<int64_t>(name.size()), "byte").c_str(), sizename)};
}

// A kind of named elements of a model.
struct NamedElements {
  const char* what;
  int32_t (Model::*count)() const;
  NameList Model::*names;
};
constexpr NamedElements kVariables = {"variable", &Model::num_var, &Model::var_names};
constexpr NamedElements kConstraints = {"constraint", &Model::num_con, &Model::con_names};
constexpr NamedElements kMatrixVariables = {"matrix variable", &Model::num_matrix_var,
                                            &Model::matrix_var_names};

VLNrescode_enum get_name(vlntaskt* task, const NamedElements& elements, int32_t i, int32_t sizename,
                         char* name) {
  return run(task, [&](Task& t) -> Status {
    Status status = check_pointers({{"name", name}});
    if (status.ok()) status = check_index(elements.what, i, (t.model.*elements.count)());
    if (!status.ok()) return status;
    if (sizename < 1) {
      return {Code::kErrBufferSize, format_text("a name buffer has size %d", sizename)};
    }
    return copy_name((t.model.*elements.names)[index(i)], sizename, name);
  });
}

}  // namespace

VLNrescode_enum VLN_getnumvar(vlntaskt* task, int32_t* numvar) {
  return get_count(task, "numvar", numvar, [](const Model& m) { return m.num_var(); });
}

VLNrescode_enum VLN_getnumcon(vlntaskt* task, int32_t* numcon) {
  return get_count(task, "numcon", numcon, [](const Model& m) { return m.num_con(); });
}

VLNrescode_enum VLN_getnumcone(vlntaskt* task, int32_t* numcone) {
  return get_count(task, "numcone", numcone, [](const Model& m) { return m.num_cone(); });
}

VLNrescode_enum VLN_getnumbarvar(vlntaskt* task, int32_t* numbarvar) {
  return get_count(task, "numbarvar", numbarvar, [](const Model& m) { return m.num_matrix_var(); });
}

VLNrescode_enum VLN_getdimbarvarj(vlntaskt* task, int32_t j, int32_t* dimbarvarj) {
  return run(task, [=](Task& t) {
    Status status = check_pointers({{"dimbarvarj", dimbarvarj}});
    if (status.ok()) status = check_index("matrix variable", j, t.model.num_matrix_var());
    if (status.ok()) *dimbarvarj = t.model.matrix_vars[index(j)].dimension;
    return status;
  });
}

VLNrescode_enum VLN_getmaxnamelen(vlntaskt* task, int32_t* maxlen) {
  return get_count(task, "maxlen", maxlen, [](const Model& m) {
    return static_cast<int32_t>(std::max({m.var_names.longest(), m.con_names.longest(),
                                          m.cone_names.longest(), m.matrix_var_names.longest()}));
  });
}

VLNrescode_enum VLN_getvarname(vlntaskt* task, int32_t j, int32_t sizename, char* name) {
  return get_name(task, kVariables, j, sizename, name);
}

VLNrescode_enum VLN_getconname(vlntaskt* task, int32_t i, int32_t sizename, char* name) {
  return get_name(task, kConstraints, i, sizename, name);
}

VLNrescode_enum VLN_getbarvarname(vlntaskt* task, int32_t j, int32_t sizename, char* name) {
  return get_name(task, kMatrixVariables, j, sizename, name);
}
