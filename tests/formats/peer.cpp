// Running other programs; see peer.h.
#include "peer.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "scratch_folder.h"

namespace vorlan::test {

namespace {

bool is_found(const std::string& command) {
  const std::string find =
      "command -v " + command.substr(0, command.find(' ')) + " >/dev/null 2>&1";
  return std::system(find.c_str()) == 0;
}

// Programs leave files where they run: that is the folder of the file that they read.
std::string beside(const std::string& path, const std::string& command) {
  return "cd '" + path.substr(0, path.rfind('/')) + "' && " + command;
}

}  // namespace

bool is_installed(const Peer& peer) { return is_found(peer.command); }
bool is_installed(const PeerWriter& writer) { return is_found(writer.command); }

std::string written_by(const PeerWriter& writer, const std::string& ours,
                       const std::string& theirs) {
  std::string command = writer.command;
  command.replace(command.find("OUR"), 3, ours);
  command.replace(command.find("THEIRS"), 6, theirs);
  command += " >/dev/null 2>&1";
  // It does not matter whether it also solved the model.
  return std::system(beside(ours, command).c_str()) == -1 ? std::string() : read_all(theirs);
}

double optimum_by(const Peer& peer, const std::string& path) {
  std::string command = peer.command;
  command.replace(command.find("%s"), 2, path);
  std::FILE* pipe = ::popen(beside(path, command).c_str(), "r");
  char line[128] = {};
  if (std::fgets(line, sizeof line, pipe) == nullptr) line[0] = '\0';
  ::pclose(pipe);
  return line[0] == '\0' ? std::nan("") : std::atof(line);
}

}  // namespace vorlan::test
