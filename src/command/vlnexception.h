// VLNException is the error that a failing library call raises, and CHKR_ raises it.
//
// Nothing in the program catches it. The runtime ends the process by SIGABRT, and so a service
// knows that the commands after the failing one did not run. Code, source and line tell a
// developer with a debugger or a core file which call it was. The line numbers are part of that
// report: they stay what they are when code moves.
#pragma once

#include <vorlan.h>

#include <cstdint>

struct VLNException {
  VLNrescode_enum code;  // never VLN_RES_OK
  const char* file;      // one of the sources below
  std::int32_t line;
};

inline constexpr const char* kDriverSource = "src/command/vorlancli";
inline constexpr const char* kPlainsolSource = "src/command/vorlanplainsol";

/// Throws VLNException with the three values unless code is VLN_RES_OK.
inline void CHKR_(const char* file, std::int32_t line, VLNrescode_enum code) {
  if (code != VLN_RES_OK) throw VLNException{code, file, line};
}
