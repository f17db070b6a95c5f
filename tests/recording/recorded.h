// recorded.h - runs calls of the recording library in a process of their own, for the tests.
#pragma once

#include <functional>
#include <string>

namespace recording {

struct Recorded {
  int status = 0;  // as waitpid gives it
  std::string trace;
};

// Runs body in a child whose library starts afresh, with the script and, unless empty, forwarding
// to the library named; body's result is the child's exit status.
Recorded record(const std::string& script, const std::string& forward,
                const std::function<int()>& body);

}  // namespace recording
