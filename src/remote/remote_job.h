// A job on a solver server, from the submission to its deletion: the client's side of the protocol
// that docs/server/api.md describes.
#pragma once

#include <string>

#include "http_client.h"
#include "remote_plugin.h"

namespace vorlan::remote {

class RemoteJob {
 public:
  RemoteJob(const RemoteRequest& request, const Address& address);

  // Throws Failure.
  void solve(RemoteAnswer* answer);

 private:
  // While a job is sent, a wish to stop ends that; while it is waited for, it ends the waiting,
  // once, so that the server can be told; while it stops or its results are fetched, only much
  // later.
  enum class Phase { kSending, kWaiting, kStopping };
  enum class Fetched { kWhole, kBroken, kDamaged };
  struct Result {
    uint64_t bytes = 0;
    std::string sha256;
  };
  struct State {  // what the server last said of the job
    std::string state, outcome, response, message;
    uint64_t seq = 0;
    uint64_t log_bytes = 0;
    int64_t attempt = 0;
    bool has_result = false;
    Result result;
  };

  bool beat();
  double optimizer_seconds();
  HttpReply request(const HttpRequest& request);
  void check(const HttpReply& reply);
  bool submit();
  void give_up_submission();
  void take_state(const std::string& document);
  void wait_for_end();
  void ask_to_stop();
  void follow_log();
  Fetched fetch_result();
  void fetch_whole_result();
  void remove();
  [[noreturn]] void fail_unreachable(const HttpReply& reply) const;
  std::string job_path() const { return "/v1/jobs/" + id_; }

  const RemoteRequest& request_;
  HttpClient client_;
  std::string key_;
  std::string id_;
  State state_;
  Phase phase_ = Phase::kSending;
  bool stop_asked_ = false;
  bool stop_sent_ = false;
  bool was_reached_ = false;
  double patience_;
  double last_answer_;          // when the server last answered
  double stop_time_ = 0.0;      // when the caller asked to stop
  double solve_seconds_ = 0.0;  // of the remote optimizer, at solve_time_
  double solve_time_ = 0.0;
  double told_seconds_ = 0.0;  // of this attempt
  bool is_solving_ = false;
  uint64_t log_position_ = 0;
  int64_t log_attempt_ = 0;
};

}  // namespace vorlan::remote
