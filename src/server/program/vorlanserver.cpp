// vorlanserver: the program. It puts the parts together, in the order in which each needs those
// before it, and takes them apart at SIGTERM, when workers live on.
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <iterator>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "api/api.h"
#include "base/event_log.h"
#include "base/files.h"
#include "http/http_server.h"
#include "jobs/job_rows.h"
#include "program/server_options.h"
#include "program/token_command.h"
#include "run/local_runner.h"
#include "run/slurm_runner.h"
#include "run/worker_process.h"

namespace vorlan::server {
namespace {

using namespace std::chrono_literals;

constexpr double kMebibyte = 1024.0 * 1024.0;
constexpr double kSecondsOfADay = 86400.0;
constexpr double kMillisecondsOfASecond = 1000.0;
// Jobs that a cluster has at a time. It has a queue of its own, and of what it has been given the
// server can no longer choose the order.
constexpr int64_t kSlotsOfCluster = 100;
constexpr const char* kFirstOwner = "admin";
// Each job waits for the disk a dozen times. More threads than these gain nothing.
constexpr size_t kFileThreads = 8;
// Requests under way may end within this time after SIGTERM.
constexpr auto kGraceTime = 2s;
// A server that was killed between the fork and the exec of a worker leaves a child that holds the
// lock of the data folder for a moment longer.
constexpr auto kLockPatience = 2s;
constexpr auto kLockBeat = 10ms;

std::chrono::milliseconds milliseconds(double seconds) {
  return std::chrono::milliseconds(std::lround(seconds * kMillisecondsOfASecond));
}

std::string worker_program(const Options& options) {
  std::error_code error;
  const auto self = std::filesystem::read_symlink("/proc/self/exe", error);
  const std::string path =
      options.worker.empty() ? (self.parent_path() / "vorlancli").string() : options.worker;
  const auto whole = std::filesystem::absolute(path, error);
  if (access(whole.c_str(), X_OK) != 0) {
    throw OptionError("cannot run the worker '" + path + "': " + system_error());
  }
  return whole;
}

bool is_cluster(const Options& options) { return options.runner == "slurm"; }

JobLimits make_limits(const Options& options) {
  const auto processors = static_cast<int64_t>(std::max(1U, std::thread::hardware_concurrency()));
  JobLimits limits;
  limits.worker.threads =
      options.threads > 0 ? options.threads : std::max<int64_t>(1, processors / 2);
  limits.worker.time_limit = options.time_limit;
  limits.worker.memory_mib = options.memory;
  limits.worker.max_variables = options.max_variables;
  limits.worker.max_constraints = options.max_constraints;
  const int64_t usual_slots = is_cluster(options)
                                  ? kSlotsOfCluster
                                  : std::max<int64_t>(1, processors / limits.worker.threads);
  limits.slots = static_cast<size_t>(options.slots > 0 ? options.slots : usual_slots);
  limits.most_queued = static_cast<size_t>(options.max_jobs);
  limits.retention_seconds = options.retention * kSecondsOfADay;
  return limits;
}

bool is_loopback(const std::string& address) {
  return address == "::1" || address.starts_with("127.");
}

void check(const Options& options) {
  if (options.data.empty()) throw OptionError("--data DIR is missing; --help lists the options");
  if (options.jail != "yes" && options.jail != "must" && options.jail != "no") {
    throw OptionError("--jail: '" + options.jail + "' is none of yes, must and no");
  }
  if (options.runner != "local" && !is_cluster(options)) {
    throw OptionError("--runner: '" + options.runner + "' is neither local nor slurm");
  }
  if (options.tls_certificate.empty() != options.tls_key.empty()) {
    throw OptionError("--tls-certificate and --tls-key belong together");
  }
  if (!is_loopback(options.listen) && !options.insecure && options.tls_key.empty()) {
    throw OptionError("--listen " + options.listen +
                      ": beyond this machine requests and tokens would travel unencrypted; give "
                      "--tls-certificate and --tls-key, or --insecure");
  }
}

JailSettings jail_settings(const Options& options) {
  return {options.jail != "no", static_cast<uint64_t>(options.worker_memory * kMebibyte)};
}

void tell_what_the_jail_lacks(const Options& options, const Jail& jail) {
  for (const std::string& lack : jail.missing()) {
    if (options.jail == "must") throw OptionError("--jail must: this system has no " + lack);
    log_event("warning", {{"jail", "this system has no " + lack}});
    std::fprintf(stderr, "vorlanserver: warning: this system has no %s\n", lack.c_str());
  }
}

std::vector<std::string> split_words(const std::string& text) {
  std::istringstream stream(text);
  return {std::istream_iterator<std::string>(stream), {}};
}

// On a cluster each node says itself what its jail lacks, in the attempt's folder.
std::unique_ptr<Runner> make_runner(Loop* loop, const Options& options) {
  const std::string worker = worker_program(options);
  const JailSettings jail = jail_settings(options);
  if (options.jail == "no") log_event("warning", {{"jail", "off"}});
  if (is_cluster(options)) {
    const auto self = std::filesystem::read_symlink("/proc/self/exe");
    return std::make_unique<SlurmRunner>(loop,
                                         SlurmSettings{self, worker, options.jail, jail.most_memory,
                                                       split_words(options.slurm_options)});
  }
  auto runner = std::make_unique<LocalRunner>(loop, worker, jail);
  tell_what_the_jail_lacks(options, runner->jail());
  return runner;
}

// Waits for a lock that a dying child still holds; invalid where somebody keeps it.
Descriptor await_lock(const std::string& path) {
  const auto end = std::chrono::steady_clock::now() + kLockPatience;
  Descriptor lock = lock_file(path);
  while (!lock.valid() && std::chrono::steady_clock::now() < end) {
    std::this_thread::sleep_for(kLockBeat);
    lock = lock_file(path);
  }
  return lock;
}

// Makes what is missing. The lock keeps a second server off the folder.
Descriptor open_data_folder(const std::string& data) {
  std::error_code error;
  std::filesystem::create_directories(data, error);
  const bool made =
      make_folder(data) && make_folder(data + "/incoming") && make_folder(data + "/jobs");
  if (!made) throw OptionError("cannot make the data folder '" + data + "': " + system_error());
  Descriptor lock = await_lock(data + "/lock");
  if (!lock.valid()) throw OptionError("another server uses the data folder '" + data + "'");
  return lock;
}

// Folders of jobs that the database does not know are removed: with another folder's database that
// would be all of them.
void check_database(const Options& options) {
  if (exists(database_path(options)) || std::filesystem::is_empty(options.data + "/jobs")) return;
  throw OptionError("the data folder '" + options.data + "' has jobs, but there is no database '" +
                    database_path(options) + "'");
}

// Makes the first token of a new data folder; empty when there are tokens.
std::string first_token(Database* database) {
  if (has_tokens(*database)) return {};
  return add_token(database, kFirstOwner, Role::kAdmin, 0.0);
}

void announce(const Options& options, uint16_t port, const std::string& token) {
  const bool is_v6 = options.listen.find(':') != std::string::npos;
  std::printf("url: %s://%s%s%s:%d\n", options.tls_key.empty() ? "http" : "https", is_v6 ? "[" : "",
              options.listen.c_str(), is_v6 ? "]" : "", port);
  if (!token.empty()) std::printf("token: %s\n", token.c_str());
  std::fflush(stdout);
}

// Reads the files again; the reason when that fails.
std::string use_tls(const Options& options, HttpServer* http) {
  if (options.tls_key.empty()) return {};
  return http->use_tls(options.tls_certificate, options.tls_key);
}

// The server goes on with the certificate from before when the new one cannot be used.
void reload(const Options& options, HttpServer* http) {
  const std::string failure = use_tls(options, http);
  if (failure.empty()) return log_event("reloaded");
  log_event("reload failed", {{"reason", failure}});
}

int serve(const Options& options) {
  check(options);
  (void)worker_program(options);
  const Descriptor data_lock = open_data_folder(options.data);
  const std::string data = std::filesystem::canonical(options.data);
  check_database(options);
  Loop loop;
  Store store(&loop, database_path(options));
  Database database(database_path(options));
  WorkThreads files(&loop, kFileThreads);
  const std::unique_ptr<Runner> runner = make_runner(&loop, options);
  Jobs jobs(&loop, &store, &files, runner.get(), data, make_limits(options));
  const HttpServer* figures = nullptr;
  Api api(&loop, &jobs, &database,
          {static_cast<uint64_t>(options.max_upload * kMebibyte), data,
           [&figures] {
             return HttpFigures{figures->num_connections(), figures->answers()};
           },
           static_cast<size_t>(options.max_requests), milliseconds(options.heartbeat)});
  HttpLimits http_limits;
  http_limits.patience = milliseconds(options.patience);
  HttpServer http(&loop, &api, http_limits);
  figures = &http;
  jobs.recover(load_jobs(database));
  std::string failure = use_tls(options, &http);
  if (failure.empty()) failure = http.listen(options.listen, static_cast<uint16_t>(options.port));
  if (!failure.empty()) throw OptionError(failure);
  Loop::Handle grace;
  // A second time it ends at once.
  const auto end_server = [&] {
    log_event("ending");
    const bool is_idle = http.num_connections() == 0 || grace != nullptr;
    http.close();
    grace = loop.after(is_idle ? 0ms : kGraceTime, [&] { loop.stop(); });
  };
  const auto signals = loop.on_signals({SIGTERM, SIGINT}, [&](int) { end_server(); });
  const auto draining = loop.on_signals({SIGUSR1}, [&](int) {
    log_event("draining", {{"running", std::to_string(jobs.num_running())}});
    jobs.drain([&] { end_server(); });
  });
  const auto reloading = loop.on_signals({SIGHUP}, [&](int) { reload(options, &http); });
  // Who reads the announcement may send any signal.
  announce(options, http.port(), first_token(&database));
  log_event("serving", {{"port", std::to_string(http.port())}});
  loop.run();
  return 0;
}

int run_program(const std::vector<std::string>& words) {
  if (!words.empty() && words.front() == "token") {
    return run_token_command({words.begin() + 1, words.end()});
  }
  if (!words.empty() && words.front() == "run-attempt") {
    return run_attempt_command({words.begin() + 1, words.end()});
  }
  const Options options = parse_options(words);
  if (options.help) return std::fputs(options_help().c_str(), stdout) < 0;
  if (options.version) return std::puts("vorlanserver " VORLAN_VERSION) < 0;
  return serve(options);
}

}  // namespace
}  // namespace vorlan::server

int main(int argc, char** argv) {
  umask(0077);
  std::signal(SIGPIPE, SIG_IGN);
  try {
    return vorlan::server::run_program({argv + 1, argv + argc});
  } catch (const std::exception& error) {
    std::fprintf(stderr, "vorlanserver: %s\n", error.what());
    return 1;
  }
}
