// echotext.h - the variable arguments of VLN_echotask. The "%s" of a note may be a terminated
// string or a C++ string view passed by value; the recording must tell the two apart.
#pragma once

#include <cstdarg>
#include <string>

namespace recording {

struct EchoText {
  std::string shown;      // ", view "name"", ", "name"" or ", formatted "..."" for the trace
  std::string formatted;  // the whole text, as the stream would receive it
};

EchoText read_echo(const char* format, va_list arguments);

}  // namespace recording
