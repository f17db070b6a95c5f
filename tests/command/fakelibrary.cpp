// fakelibrary.cpp - the 46 operations of the interface over the model in fakelibrary.h.
#include "fakelibrary.h"

#include <algorithm>
#include <sstream>

namespace {

// The whole description of one call, for the record and for the test's answer.
template <typename... Args>
std::string describe(const char* operation, const Args&... args) {
  std::ostringstream text;
  [[maybe_unused]] const char* separator = "";  // there may be no arguments
  text << operation << '(';
  ((text << separator << args, separator = ", "), ...);
  text << ')';
  return text.str();
}

// Records the call and returns the code that it is to end with.
template <typename... Args>
VLNrescode_enum enter(vlntaskt* task, const char* operation, const Args&... args) {
  if (!task->recording && !task->answer) return VLN_RES_OK;
  std::string call = describe(operation, args...);
  const VLNrescode_enum code = task->answer ? task->answer(call) : VLN_RES_OK;
  if (task->recording) task->calls.push_back(std::move(call));
  return code;
}

template <typename T>
VLNrescode_enum give(VLNrescode_enum code, T* out, T value) {
  if (code == VLN_RES_OK) *out = value;
  return code;
}

template <typename T>
VLNrescode_enum giveall(VLNrescode_enum code, T* out, const std::vector<T>& values) {
  if (code == VLN_RES_OK) std::ranges::copy(values, out);
  return code;
}

VLNrescode_enum giveslice(VLNrescode_enum code, double* out, const std::vector<double>& values,
                          std::int64_t size) {
  const auto count = std::min(size, static_cast<std::int64_t>(values.size()));
  if (code == VLN_RES_OK) std::copy_n(values.begin(), count, out);
  return code;
}

const fake::Solution& solution(const vlntaskt* task, std::int32_t whichsol) {
  return task->solutions.at(static_cast<std::size_t>(whichsol));
}

// Writes the text up to the buffer's end, terminated there at the latest.
void givetext(std::int32_t size, char* out, std::string_view text) {
  if (size <= 0) return;
  const std::size_t count = std::min(text.size(), static_cast<std::size_t>(size) - 1);
  text.copy(out, count);
  out[count] = '\0';
}

VLNrescode_enum givename(VLNrescode_enum code, const std::vector<std::string>& names,
                         std::int32_t index, std::int32_t size, char* out) {
  const auto i = static_cast<std::size_t>(index);
  if (code == VLN_RES_OK && i < names.size()) givetext(size, out, names[i]);
  return code;
}

VLNrescode_enum optimize(vlntaskt* task, VLNrescode_enum code, VLNrescode_enum* trm) {
  if (code != VLN_RES_OK || !task->optimize) return code;
  return task->optimize(*trm);
}

}  // namespace

namespace fake {

vlntaskt& task() {
  static vlntaskt instance;
  return instance;
}

void reset() { task() = vlntaskt(); }

std::size_t count(const vlntaskt& task, std::string_view operation) {
  return static_cast<std::size_t>(std::ranges::count_if(task.calls, [&](const std::string& call) {
    return std::string_view(call).substr(0, call.find('(')) == operation;
  }));
}

}  // namespace fake

extern "C" {

// ---- Task

VLNrescode_enum VLN_makeemptytask(void* env, vlntaskt** task) {
  const auto code = enter(&fake::task(), __func__, env == nullptr ? "null" : "env");
  return give(code, task, &fake::task());
}

VLNrescode_enum VLN_putcallbackfunc(vlntaskt* task, vlncallbackfunc func, void* handle) {
  const auto code = enter(task, __func__);
  if (code == VLN_RES_OK) {
    task->callback = func;
    task->callbackhandle = handle;
  }
  return code;
}

VLNrescode_enum VLN_deletetask(vlntaskt** task) {
  const auto code = *task == nullptr ? VLN_RES_OK : enter(*task, __func__);
  return give(code, task, static_cast<vlntaskt*>(nullptr));
}

// ---- Streams and echo

VLNrescode_enum VLN_linkfiletotaskstream(vlntaskt* task, int32_t whichstream, const char* filename,
                                         int32_t append) {
  return enter(task, __func__, whichstream, filename, append);
}

VLNrescode_enum VLN_linkfunctotaskstream(vlntaskt* task, int32_t whichstream, void* /*handle*/,
                                         vlnstreamfunc /*func*/) {
  return enter(task, __func__, whichstream);
}

VLNrescode_enum VLN_echotask(vlntaskt* task, int32_t whichstream, const char* format, ...) {
  return enter(task, __func__, whichstream, format);
}

// ---- Parameters

VLNrescode_enum VLN_putintparam(vlntaskt* task, int32_t param, int32_t value) {
  const auto code = enter(task, __func__, param, value);
  if (code == VLN_RES_OK) task->intparams[param] = value;
  return code;
}

VLNrescode_enum VLN_getintparam(vlntaskt* task, int32_t param, int32_t* value) {
  return give(enter(task, __func__, param), value, task->intparams[param]);
}

VLNrescode_enum VLN_putstrparam(vlntaskt* task, int32_t param, const char* value) {
  return enter(task, __func__, param, value);
}

VLNrescode_enum VLN_putparam(vlntaskt* task, const char* name, const char* value) {
  return enter(task, __func__, name, value);
}

// ---- Problem and solution files

VLNrescode_enum VLN_readdata(vlntaskt* task, const char* filename) {
  return enter(task, __func__, filename);
}

VLNrescode_enum VLN_writedata(vlntaskt* task, const char* filename) {
  return enter(task, __func__, filename);
}

VLNrescode_enum VLN_readbsolution(vlntaskt* task, const char* filename, uint32_t compression) {
  return enter(task, __func__, filename, compression);
}

VLNrescode_enum VLN_writebsolution(vlntaskt* task, const char* filename, uint32_t compression) {
  return enter(task, __func__, filename, compression);
}

VLNrescode_enum VLN_writejsonsol(vlntaskt* task, const char* filename) {
  return enter(task, __func__, filename);
}

VLNrescode_enum VLN_writetasksolverresult_file(vlntaskt* task, const char* filename,
                                               uint32_t compression) {
  return enter(task, __func__, filename, compression);
}

// ---- Optimization

VLNrescode_enum VLN_optimizetrm(vlntaskt* task, VLNrescode_enum* trm) {
  return optimize(task, enter(task, __func__), trm);
}

VLNrescode_enum VLN_optimizermt(vlntaskt* task, const char* address, const char* token,
                                VLNrescode_enum* trm) {
  return optimize(task, enter(task, __func__, address, token), trm);
}

VLNrescode_enum VLN_getobjsense(vlntaskt* task, int32_t* sense) {
  return give(enter(task, __func__), sense, task->sense);
}

VLNrescode_enum VLN_putobjsense(vlntaskt* task, int32_t sense) {
  return give(enter(task, __func__, sense), &task->sense, sense);
}

// ---- Sizes

VLNrescode_enum VLN_getnumvar(vlntaskt* task, int32_t* numvar) {
  return give(enter(task, __func__), numvar, task->numvar);
}

VLNrescode_enum VLN_getnumcon(vlntaskt* task, int32_t* numcon) {
  return give(enter(task, __func__), numcon, task->numcon);
}

VLNrescode_enum VLN_getnumcone(vlntaskt* task, int32_t* numcone) {
  return give(enter(task, __func__), numcone, task->numcone);
}

VLNrescode_enum VLN_getnumbarvar(vlntaskt* task, int32_t* numbarvar) {
  return give(enter(task, __func__), numbarvar, task->numbarvar);
}

VLNrescode_enum VLN_getdimbarvarj(vlntaskt* task, int32_t j, int32_t* dimbarvarj) {
  const auto code = enter(task, __func__, j);
  const auto i = static_cast<std::size_t>(j);
  return i < task->dims.size() ? give(code, dimbarvarj, task->dims[i]) : code;
}

VLNrescode_enum VLN_getmaxnamelen(vlntaskt* task, int32_t* maxlen) {
  return give(enter(task, __func__), maxlen, task->maxnamelen);
}

// ---- Solutions

VLNrescode_enum VLN_solutiondef(vlntaskt* task, int32_t whichsol, int32_t* isdef) {
  return give(enter(task, __func__, whichsol), isdef, solution(task, whichsol).defined);
}

VLNrescode_enum VLN_getprosta(vlntaskt* task, int32_t whichsol, int32_t* problemsta) {
  return give(enter(task, __func__, whichsol), problemsta, solution(task, whichsol).prosta);
}

VLNrescode_enum VLN_getsolsta(vlntaskt* task, int32_t whichsol, int32_t* solutionsta) {
  return give(enter(task, __func__, whichsol), solutionsta, solution(task, whichsol).solsta);
}

VLNrescode_enum VLN_getskx(vlntaskt* task, int32_t whichsol, int32_t* skx) {
  return giveall(enter(task, __func__, whichsol), skx, solution(task, whichsol).skx);
}

VLNrescode_enum VLN_getskc(vlntaskt* task, int32_t whichsol, int32_t* skc) {
  return giveall(enter(task, __func__, whichsol), skc, solution(task, whichsol).skc);
}

VLNrescode_enum VLN_getxx(vlntaskt* task, int32_t whichsol, double* xx) {
  return giveall(enter(task, __func__, whichsol), xx, solution(task, whichsol).xx);
}

VLNrescode_enum VLN_getslx(vlntaskt* task, int32_t whichsol, double* slx) {
  return giveall(enter(task, __func__, whichsol), slx, solution(task, whichsol).slx);
}

VLNrescode_enum VLN_getsux(vlntaskt* task, int32_t whichsol, double* sux) {
  return giveall(enter(task, __func__, whichsol), sux, solution(task, whichsol).sux);
}

VLNrescode_enum VLN_getxc(vlntaskt* task, int32_t whichsol, double* xc) {
  return giveall(enter(task, __func__, whichsol), xc, solution(task, whichsol).xc);
}

VLNrescode_enum VLN_getslc(vlntaskt* task, int32_t whichsol, double* slc) {
  return giveall(enter(task, __func__, whichsol), slc, solution(task, whichsol).slc);
}

VLNrescode_enum VLN_getsuc(vlntaskt* task, int32_t whichsol, double* suc) {
  return giveall(enter(task, __func__, whichsol), suc, solution(task, whichsol).suc);
}

VLNrescode_enum VLN_gety(vlntaskt* task, int32_t whichsol, double* y) {
  return giveall(enter(task, __func__, whichsol), y, solution(task, whichsol).y);
}

VLNrescode_enum VLN_getprimalobj(vlntaskt* task, int32_t whichsol, double* primalobj) {
  const auto code = enter(task, __func__, whichsol);
  auto& objectives = task->solutions.at(static_cast<std::size_t>(whichsol)).objectives;
  const std::optional<double> value = objectives.front();
  if (objectives.size() > 1) objectives.erase(objectives.begin());
  return value ? give(code, primalobj, *value) : code;
}

VLNrescode_enum VLN_getbarxslice(vlntaskt* task, int32_t whichsol, int32_t first, int32_t last,
                                 int64_t slicesize, double* barxslice) {
  return giveslice(enter(task, __func__, whichsol, first, last, slicesize), barxslice,
                   solution(task, whichsol).barx, slicesize);
}

VLNrescode_enum VLN_getbarsslice(vlntaskt* task, int32_t whichsol, int32_t first, int32_t last,
                                 int64_t slicesize, double* barsslice) {
  return giveslice(enter(task, __func__, whichsol, first, last, slicesize), barsslice,
                   solution(task, whichsol).bars, slicesize);
}

// ---- Names

VLNrescode_enum VLN_getvarname(vlntaskt* task, int32_t j, int32_t sizename, char* name) {
  return givename(enter(task, __func__, j, sizename), task->varnames, j, sizename, name);
}

VLNrescode_enum VLN_getconname(vlntaskt* task, int32_t i, int32_t sizename, char* name) {
  return givename(enter(task, __func__, i, sizename), task->connames, i, sizename, name);
}

VLNrescode_enum VLN_getbarvarname(vlntaskt* task, int32_t j, int32_t sizename, char* name) {
  return givename(enter(task, __func__, j, sizename), task->barvarnames, j, sizename, name);
}

// ---- Codes and messages

VLNrescode_enum VLN_getcodedesc(VLNrescode_enum code, char* symname, char* description) {
  constexpr std::int32_t kTextSize = 1024;  // the interface's size for both texts
  const auto result = enter(&fake::task(), __func__, static_cast<std::int32_t>(code));
  if (result != VLN_RES_OK) return result;
  const auto found = fake::task().codenames.find(code);
  const bool known = found != fake::task().codenames.end();
  givetext(kTextSize, symname, known ? std::string_view(found->second) : "VLN_RES_UNKNOWN");
  givetext(kTextSize, description, "what the name says");
  return known ? VLN_RES_OK : static_cast<VLNrescode_enum>(1);
}

VLNrescode_enum VLN_getlasterror(vlntaskt* task, VLNrescode_enum* lastrescode, int32_t sizelastmsg,
                                 int32_t* lastmsglen, char* lastmsg) {
  const auto code = enter(task, __func__, sizelastmsg, lastmsg == nullptr ? "null" : "buffer");
  if (code != VLN_RES_OK) return code;
  *lastrescode = VLN_RES_OK;
  *lastmsglen = static_cast<std::int32_t>(task->lasterror.size());
  givetext(sizelastmsg, lastmsg, task->lasterror);
  return code;
}

}  // extern "C"
