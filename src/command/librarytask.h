// LibraryTask owns the library's handle of the run's one task and offers its operations.
//
// The rest of the program is written against this class. Each operation hands on the library's
// response code. The callers decide which codes matter and with which line they are reported.
#pragma once

#include <vorlan.h>

#include <cstdint>
#include <string>
#include <string_view>

#include "filename.h"

class LibraryTask {
 public:
  /// Throws VLNException (line 105) when the library makes no task.
  LibraryTask();
  ~LibraryTask() { VLN_deletetask(&handle_); }
  LibraryTask(const LibraryTask&) = delete;
  LibraryTask& operator=(const LibraryTask&) = delete;

  /// The plain report writer takes the handle, since it has the calling form of a library
  /// operation.
  vlntaskt* handle() { return handle_; }

  VLNrescode_enum putcallbackfunc(vlncallbackfunc func) {
    return VLN_putcallbackfunc(handle_, func, nullptr);
  }

  // ---- log stream
  VLNrescode_enum linklogtofile(const std::string& file, bool append) {
    return VLN_linkfiletotaskstream(handle_, VLN_STREAM_LOG, file.c_str(), append ? 1 : 0);
  }
  VLNrescode_enum linklogtofunc(vlnstreamfunc func) {
    return VLN_linkfunctotaskstream(handle_, VLN_STREAM_LOG, nullptr, func);
  }
  /// Echoes a note whose "%s" receives the name as a terminated string.
  void echo(const char* format, const char* name) {
    VLN_echotask(handle_, VLN_STREAM_LOG, format, name);
  }
  /// Echoes a note whose "%s" receives the name as a string view object: the library knows the two
  /// forms apart, and its log shows the name in either.
  void echoview(const char* format, std::string_view name) {
    VLN_echotask(handle_, VLN_STREAM_LOG, format, name);
  }

  // ---- parameters
  VLNrescode_enum putintparam(std::int32_t param, std::int32_t value) {
    return VLN_putintparam(handle_, param, value);
  }
  /// The parameter's value, 0 if the library does not give it.
  std::int32_t getintparam(std::int32_t param) {
    std::int32_t value = 0;
    VLN_getintparam(handle_, param, &value);
    return value;
  }
  VLNrescode_enum putstrparam(std::int32_t param, const char* value) {
    return VLN_putstrparam(handle_, param, value);
  }
  VLNrescode_enum putparam(const std::string& name, const std::string& value) {
    return VLN_putparam(handle_, name.c_str(), value.c_str());
  }

  // ---- files
  VLNrescode_enum readdata(const std::string& file) { return VLN_readdata(handle_, file.c_str()); }
  VLNrescode_enum writedata(const std::string& file) {
    return VLN_writedata(handle_, file.c_str());
  }
  VLNrescode_enum readbsolution(const std::string& file, CompressionCode compression) {
    return VLN_readbsolution(handle_, file.c_str(), selector(compression));
  }
  VLNrescode_enum writebsolution(const std::string& file, CompressionCode compression) {
    return VLN_writebsolution(handle_, file.c_str(), selector(compression));
  }
  VLNrescode_enum writejsonsol(const std::string& file) {
    return VLN_writejsonsol(handle_, file.c_str());
  }
  VLNrescode_enum writetasksolverresult(const std::string& file, CompressionCode compression) {
    return VLN_writetasksolverresult_file(handle_, file.c_str(), selector(compression));
  }

  // ---- optimization
  VLNrescode_enum optimize(VLNrescode_enum& termination) {
    return VLN_optimizetrm(handle_, &termination);
  }
  VLNrescode_enum optimizeremote(const std::string& address, const std::string& token,
                                 VLNrescode_enum& termination) {
    return VLN_optimizermt(handle_, address.c_str(), token.c_str(), &termination);
  }
  VLNrescode_enum getobjsense(std::int32_t& sense) { return VLN_getobjsense(handle_, &sense); }
  VLNrescode_enum putobjsense(std::int32_t sense) { return VLN_putobjsense(handle_, sense); }

  // ---- sizes, as the library gives them, negative ones included; 0 where it gives none
  std::int32_t numvar() { return size(VLN_getnumvar); }
  std::int32_t numcon() { return size(VLN_getnumcon); }
  std::int32_t numcone() { return size(VLN_getnumcone); }
  std::int32_t numbarvar() { return size(VLN_getnumbarvar); }
  std::int32_t dimbarvar(std::int32_t j) {
    std::int32_t dimension = 0;
    VLN_getdimbarvarj(handle_, j, &dimension);
    return dimension;
  }

  // ---- codes and messages
  /// The library's symbolic name of a response or termination code.
  static std::string codename(VLNrescode_enum code);
  /// The library's last error message up to its first NUL, empty if there is none.
  std::string lasterror();

 private:
  static std::uint32_t selector(CompressionCode compression) {
    return static_cast<std::uint32_t>(compression);
  }

  std::int32_t size(VLNrescode_enum (*query)(vlntaskt*, std::int32_t*)) {
    std::int32_t count = 0;
    query(handle_, &count);
    return count;
  }

  vlntaskt* handle_ = nullptr;
};
