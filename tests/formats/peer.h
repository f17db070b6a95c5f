// Other programs that read our files and solve them.
#pragma once

#include <string>

namespace vorlan::test {

struct Peer {
  const char* program;
  const char* command;  // with the file's name in place of %s; prints the optimum
};

bool is_installed(const Peer& peer);

// A program that reads our file and writes it again: its command has OUR and THEIRS in place of the
// files' names.
struct PeerWriter {
  const char* program;
  const char* command;
};

bool is_installed(const PeerWriter& writer);

// The content of the file that the program writes; empty when there is none.
std::string written_by(const PeerWriter& writer, const std::string& ours,
                       const std::string& theirs);

// NaN when the program finds none.
double optimum_by(const Peer& peer, const std::string& path);

}  // namespace vorlan::test
