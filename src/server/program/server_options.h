// The server's options: one table for the command line (--port 8000), the configuration file
// (port = 8000) and the help text.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

namespace vorlan::server {

struct Options {
  std::string data;      // the data folder; must be given
  std::string database;  // the database's file; empty: in the data folder
  std::string listen = "127.0.0.1";
  int64_t port = 7467;
  bool insecure = false;
  std::string tls_certificate, tls_key;  // PEM files; empty: without TLS
  std::string worker;                    // the program vorlancli; empty: the one beside the server
  std::string runner = "local";          // local or slurm
  std::string slurm_options;             // words for sbatch
  std::string jail = "yes";              // yes, must or no
  double worker_memory = 0.0;            // MiB; 0: the machine's
  int64_t slots = 0;                     // 0: as many as the machine has processors for
  int64_t threads = 0;                   // 0: half of the machine's processors
  double memory = 0.0;
  double time_limit = 0.0;
  int64_t max_variables = 0;
  int64_t max_constraints = 0;
  int64_t max_jobs = 10'000;
  int64_t max_requests = 1500;  // of a token, open at a time
  double max_upload = 4096.0;   // MiB
  double patience = 30.0;       // seconds
  double heartbeat = 15.0;      // seconds
  double retention = 7.0;       // days
  bool help = false;
  bool version = false;
};

// Its text says what is wrong, and where: "--port: '99999999' is not within 0 and 65535".
class OptionError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// A configuration file that the words name with --config is read first, so that the command line
// has the last word.
Options parse_options(const std::vector<std::string>& words);

std::string options_help();

// The database's file by these options.
std::string database_path(const Options& options);

}  // namespace vorlan::server
