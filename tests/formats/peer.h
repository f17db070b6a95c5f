// Other programs that read our files and solve them.
#pragma once

#include <string>

namespace vorlan::test {

struct Peer {
  const char* program;
  const char* command;  // with the file's name in place of %s; prints the optimum
};

bool is_installed(const Peer& peer);

// NaN when the program finds none.
double optimum_by(const Peer& peer, const std::string& path);

}  // namespace vorlan::test
