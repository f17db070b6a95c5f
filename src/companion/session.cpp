#include "session.h"

#include <array>
#include <cstddef>

namespace vorlan::companion {

namespace {

// The interface gives symbolic names and descriptions into buffers of this size.
constexpr std::size_t kCodeText = 1024;

std::string code_name(VLNrescode_enum code) {
  std::array<char, kCodeText> name{};
  VLN_getcodedesc(code, name.data(), nullptr);
  return name.data();
}

}  // namespace

Session::Session() { expect(VLN_makeemptytask(nullptr, &task_)); }

Session::~Session() { VLN_deletetask(&task_); }

void Session::send_log(vlnstreamfunc func, void* handle) {
  log_ = func;
  log_handle_ = handle;
  expect(VLN_linkfunctotaskstream(task_, VLN_STREAM_LOG, handle, func));
}

void Session::ask_to_stop(vlncallbackfunc func, void* handle) {
  expect(VLN_putcallbackfunc(task_, func, handle));
}

void Session::read(const std::string& file) {
  expect(VLN_readdata(task_, file.c_str()));
  // The library looks at every name for this, so it is asked once and not for each name.
  expect(VLN_getmaxnamelen(task_, &longest_name_));
}

void Session::write(const std::string& file) { expect(VLN_writedata(task_, file.c_str())); }

void Session::write_quietly(const std::string& file) {
  int solutions = 1;
  expect(VLN_getintparam(task_, VLN_IPAR_TASK_FILE_SOLUTIONS, &solutions));
  expect(VLN_putintparam(task_, VLN_IPAR_TASK_FILE_SOLUTIONS, 0));
  expect(VLN_linkfunctotaskstream(task_, VLN_STREAM_LOG, nullptr, nullptr));
  const VLNrescode_enum code = VLN_writedata(task_, file.c_str());
  expect(VLN_linkfunctotaskstream(task_, VLN_STREAM_LOG, log_handle_, log_));
  expect(VLN_putintparam(task_, VLN_IPAR_TASK_FILE_SOLUTIONS, solutions));
  expect(code);
}

void Session::write_solution_quietly(const std::string& file) {
  expect(VLN_linkfunctotaskstream(task_, VLN_STREAM_LOG, nullptr, nullptr));
  const VLNrescode_enum code = VLN_writejsonsol(task_, file.c_str());
  expect(VLN_linkfunctotaskstream(task_, VLN_STREAM_LOG, log_handle_, log_));
  expect(code);
}

void Session::read_solution(const std::string& file, unsigned compression) {
  expect(VLN_readbsolution(task_, file.c_str(), compression));
}

void Session::set(const std::string& name, const std::string& value) {
  expect(VLN_putparam(task_, name.c_str(), value.c_str()));
}

std::string Session::optimize() {
  VLNrescode_enum termination = VLN_RES_OK;
  expect(VLN_optimizetrm(task_, &termination));
  return termination == VLN_RES_OK ? std::string() : code_name(termination);
}

ModelSizes Session::sizes() const {
  ModelSizes sizes;
  expect(VLN_getnumvar(task_, &sizes.variables));
  expect(VLN_getnumcon(task_, &sizes.constraints));
  expect(VLN_getnumbarvar(task_, &sizes.matrix_variables));
  return sizes;
}

bool Session::has_solution(int which) const {
  int defined = 0;
  expect(VLN_solutiondef(task_, which, &defined));
  return defined != 0;
}

int Session::solution_status(int which) const {
  int status = 0;
  expect(VLN_getsolsta(task_, which, &status));
  return status;
}

int Session::problem_status(int which) const {
  int status = 0;
  expect(VLN_getprosta(task_, which, &status));
  return status;
}

double Session::objective(int which) const {
  double objective = 0.0;
  expect(VLN_getprimalobj(task_, which, &objective));
  return objective;
}

std::vector<double> Session::values(int which) const {
  return vector(VLN_getxx, which, sizes().variables);
}

std::vector<double> Session::reduced_costs(int which) const {
  std::vector<double> costs = vector(VLN_getslx, which, sizes().variables);
  const std::vector<double> upper = vector(VLN_getsux, which, sizes().variables);
  for (std::size_t j = 0; j < costs.size(); ++j) costs[j] -= upper[j];
  return costs;
}

std::vector<double> Session::activities(int which) const {
  return vector(VLN_getxc, which, sizes().constraints);
}

std::vector<double> Session::duals(int which) const {
  return vector(VLN_gety, which, sizes().constraints);
}

int Session::matrix_dimension(int j) const {
  int dimension = 0;
  expect(VLN_getdimbarvarj(task_, j, &dimension));
  return dimension;
}

std::vector<double> Session::matrix_value(int which, int j) const {
  const std::size_t dimension = static_cast<std::size_t>(matrix_dimension(j));
  std::vector<double> value(dimension * (dimension + 1) / 2);
  expect(
      VLN_getbarxslice(task_, which, j, j + 1, static_cast<int64_t>(value.size()), value.data()));
  return value;
}

std::string Session::variable_name(int j) const { return name(VLN_getvarname, 'x', j); }

std::string Session::constraint_name(int i) const { return name(VLN_getconname, 'c', i); }

std::string Session::matrix_variable_name(int j) const { return name(VLN_getbarvarname, 'X', j); }

// Throws where an operation did not succeed.
void Session::expect(VLNrescode_enum code) const {
  if (code == VLN_RES_OK) return;
  throw LibraryRefusal(code_name(code));
}

std::string Session::name(NameQuery query, char prefix, int index) const {
  std::vector<char> text(static_cast<std::size_t>(longest_name_) + 1);
  expect(query(task_, index, longest_name_ + 1, text.data()));
  if (text[0] == '\0') return prefix + std::to_string(index);
  return text.data();
}

std::vector<double> Session::vector(VectorQuery query, int which, int size) const {
  std::vector<double> values(static_cast<std::size_t>(size));
  expect(query(task_, which, values.data()));
  return values;
}

}  // namespace vorlan::companion
