// Running other programs; see peer.h.
#include "peer.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace vorlan::test {

bool is_installed(const Peer& peer) {
  const std::string command(peer.command);
  const std::string find =
      "command -v " + command.substr(0, command.find(' ')) + " >/dev/null 2>&1";
  return std::system(find.c_str()) == 0;
}

double optimum_by(const Peer& peer, const std::string& path) {
  std::string command = peer.command;
  command.replace(command.find("%s"), 2, path);
  std::FILE* pipe = ::popen(command.c_str(), "r");
  char line[128] = {};
  if (std::fgets(line, sizeof line, pipe) == nullptr) line[0] = '\0';
  ::pclose(pipe);
  return line[0] == '\0' ? std::nan("") : std::atof(line);
}

}  // namespace vorlan::test
