// The jail keeps a worker to its own folder: it reads a stranger's file, and a flaw in a reader must
// not become a way into the machine.
//
//   Landlock   writes in the attempt's folder only; reads there, the problem, the program and the
//              system's libraries
//   seccomp    no sockets, no tracing, no mounts, no namespaces, no keys, no leaving of the group
//              of processes by which the worker can be killed as a whole
//   limits     memory of each process, size of each file, files, processes, no core dumps
//
// The server says so when it starts where the kernel lacks one of the first two, and goes on without
// it, or refuses to start where it was told to.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "base/files.h"

namespace vorlan::server {

struct JailSettings {
  bool enabled = true;
  uint64_t most_memory = 0;  // bytes of data of each process; 0: the machine's memory
};

class Jail {
 public:
  // `program` is the worker's; it and what lies in the folder of its libraries can be read and run.
  Jail(const JailSettings& settings, const std::string& program);

  // The parts that this kernel lacks, in words; empty when all are there.
  const std::vector<std::string>& missing() const { return missing_; }

  // Before the fork: rules for an attempt's folder. Not valid where there is no Landlock, and on
  // failure, when errno says why.
  Descriptor prepare(const std::string& folder) const;
  bool has_landlock() const { return landlock_version_ > 0; }

  // Called in the child, between fork and exec: it makes only calls that are safe there. `rules` is
  // the descriptor of what prepare() made, or -1. Gives false with errno set when the kernel
  // refused what it can do.
  bool enter(int rules) const;

 private:
  bool set_limits() const;

  JailSettings settings_;
  std::vector<std::string> readable_;  // folders and files
  std::vector<std::string> missing_;
  int landlock_version_ = 0;
  bool has_seccomp_ = false;
};

}  // namespace vorlan::server
