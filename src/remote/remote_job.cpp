// The client's side of a job; see remote_job.h.
#include "remote_job.h"

#include <openssl/evp.h>
#include <openssl/rand.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <memory>
#include <nlohmann/json.hpp>
#include <vector>

#include "failure.h"

namespace vorlan::remote {
namespace {

using Json = nlohmann::json;

// So long a server may be away before its job counts as lost.
constexpr double kPatience = 600.0;
// So long it may say that it is busy.
constexpr double kBusyPatience = 30.0;
// After a request to stop: so long for an unreachable server, and for one that does not end the
// job.
constexpr double kStopUnreached = 10.0;
constexpr double kStopPatience = 60.0;
constexpr double kFirstPause = 0.2;
constexpr double kLongestPause = 10.0;
constexpr long kCleanUpSeconds = 5;
constexpr int kFetchTries = 3;

double now() {
  using namespace std::chrono;
  return duration<double>(steady_clock::now().time_since_epoch()).count();
}

// Tests are less patient.
double patience() {
  const char* text = std::getenv("VORLAN_REMOTE_PATIENCE");
  const double seconds = text == nullptr ? 0.0 : std::strtod(text, nullptr);
  return seconds > 0.0 ? seconds : kPatience;
}

std::string to_hex(const unsigned char* bytes, size_t count) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  for (size_t i = 0; i < count; ++i) {
    text += kDigits[bytes[i] >> 4];
    text += kDigits[bytes[i] & 15];
  }
  return text;
}

std::string random_key() {
  unsigned char bytes[16];
  if (RAND_bytes(bytes, sizeof bytes) != 1) throw std::bad_alloc();
  return to_hex(bytes, sizeof bytes);
}

// The digest of a file's content; empty when the file cannot be read.
std::string digest_of(int descriptor) {
  const std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context(EVP_MD_CTX_new(),
                                                                        EVP_MD_CTX_free);
  EVP_DigestInit_ex(context.get(), EVP_sha256(), nullptr);
  std::vector<char> piece(size_t{1} << 16);
  for (off_t offset = 0;;) {
    const ssize_t got = pread(descriptor, piece.data(), piece.size(), offset);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return {};
    if (got == 0) break;
    EVP_DigestUpdate(context.get(), piece.data(), static_cast<size_t>(got));
    offset += got;
  }
  unsigned char value[EVP_MAX_MD_SIZE];
  unsigned int length = 0;
  EVP_DigestFinal_ex(context.get(), value, &length);
  return to_hex(value, length);
}

std::string text_of(const Json& document, const char* key) {
  const auto found = document.find(key);
  return found != document.end() && found->is_string() ? found->get<std::string>() : std::string();
}

// The text of an error's document, or what can be said without one.
std::string detail_of(const HttpReply& reply) {
  const Json document = Json::parse(reply.body, nullptr, false);
  const std::string detail = document.is_object() ? text_of(document, "detail") : std::string();
  return detail.empty() ? "status " + std::to_string(reply.status) : detail;
}

bool is_busy(long status) { return status == 429 || status == 503 || status == 507; }

// These statuses come from a gateway in front of a server that is away.
bool is_gateway(long status) { return status == 502 || status == 504; }

}  // namespace

RemoteJob::RemoteJob(const RemoteRequest& request, const Address& address)
    : request_(request),
      client_(address, request.token, [this] { return beat(); }),
      key_(random_key()),
      patience_(patience()),
      last_answer_(now()) {}

// Between two answers this machine's clock goes on; what was told once is not taken back.
double RemoteJob::optimizer_seconds() {
  const double since = is_solving_ ? now() - solve_time_ : 0.0;
  told_seconds_ = std::max(told_seconds_, solve_seconds_ + since);
  return told_seconds_;
}

bool RemoteJob::beat() {
  if (request_.beat(request_.handle, optimizer_seconds()) != 0 && !stop_asked_) {
    stop_asked_ = true;
    stop_time_ = now();
  }
  if (!stop_asked_) return false;
  if (phase_ == Phase::kStopping) {
    // A large result may take its time as long as it comes.
    const double since = std::max(stop_time_, client_.received_at());
    return now() - since > std::min(kStopPatience, patience_);
  }
  return !stop_sent_;
}

void RemoteJob::fail_unreachable(const HttpReply& reply) const {
  if (!was_reached_) {
    throw Failure{RemoteFailure::kUnreachable, "the server cannot be reached: " + reply.error};
  }
  if (id_.empty()) {
    throw Failure{RemoteFailure::kLost,
                  "the connection to the server was lost before it took the job: " + reply.error};
  }
  throw Failure{RemoteFailure::kLost, "the server was not heard of again; job " + id_ +
                                          " may still run there: " + reply.error};
}

// Throws where another try is of no use.
void RemoteJob::check(const HttpReply& reply) {
  if (reply.wire == Wire::kCertificate) {
    throw Failure{RemoteFailure::kCertificate,
                  "no trusted connection to the server: " + reply.error};
  }
  if (reply.wire == Wire::kOtherProtocol) {
    throw Failure{RemoteFailure::kProtocol, "the server speaks another protocol: " + reply.error};
  }
  if (reply.wire != Wire::kAnswered || is_gateway(reply.status)) return;
  was_reached_ = true;
  last_answer_ = now();
  if (reply.protocol != "1") {
    throw Failure{RemoteFailure::kProtocol,
                  "what answers there is no solver server of this version"};
  }
  if (reply.status < 300 || is_busy(reply.status) || reply.status == 409) return;
  const std::string detail = detail_of(reply);
  switch (reply.status) {
    case 401:
    case 403:
      throw Failure{RemoteFailure::kAccess, "the server refuses the access token: " + detail};
    case 413:
      throw Failure{RemoteFailure::kTooLarge,
                    "the server takes no problem of this size: " + detail};
    case 404:
    case 410:
      throw Failure{RemoteFailure::kJobGone, "job " + id_ + " is gone from the server: " + detail};
    default:
      throw Failure{RemoteFailure::kProtocol, "the server refuses the request: " + detail};
  }
}

// False when the caller asked to stop before the job was accepted.
bool RemoteJob::submit() {
  HttpRequest post;
  post.method = "POST";
  post.path = std::string("/v1/jobs?name=") + request_.problem_name;
  post.idempotency_key = key_;
  post.body = request_.problem;
  post.body_bytes = request_.problem_bytes;
  const double begin = now();
  double wait = kFirstPause;
  for (int tries = 1;; ++tries) {
    const HttpReply reply = client_.perform(post);
    check(reply);
    const bool answered = reply.wire == Wire::kAnswered;
    if (answered && reply.status < 300) {
      take_state(reply.body);
      return true;
    }
    if (reply.wire == Wire::kBroken || is_gateway(reply.status)) was_reached_ = true;
    if (answered && is_busy(reply.status) && now() - begin > std::min(patience_, kBusyPatience)) {
      throw Failure{RemoteFailure::kBusy, "the server takes no job: " + detail_of(reply)};
    }
    const bool unknown = !was_reached_ && tries > 1;
    if (unknown || now() - last_answer_ > patience_) fail_unreachable(reply);
    if (reply.wire == Wire::kAborted || !client_.pause(wait)) {
      give_up_submission();
      return false;
    }
    wait = std::min(2.0 * wait, kLongestPause);
  }
}

// How far it got is not known: the key is what both sides know.
void RemoteJob::give_up_submission() {
  phase_ = Phase::kStopping;
  HttpRequest withdraw;
  withdraw.method = "DELETE";
  withdraw.path = "/v1/jobs?key=" + key_;
  withdraw.seconds = kCleanUpSeconds;
  client_.perform(withdraw);
}

void RemoteJob::take_state(const std::string& text) {
  const Json document = Json::parse(text, nullptr, false);
  if (!document.is_object() || text_of(document, "id").empty()) {
    throw Failure{RemoteFailure::kProtocol, "the server's answer is no description of a job"};
  }
  id_ = text_of(document, "id");
  state_.state = text_of(document, "state");
  state_.outcome = text_of(document, "outcome");
  state_.response = text_of(document, "response");
  state_.message = text_of(document, "message");
  state_.seq = document.value("seq", uint64_t{0});
  state_.log_bytes = document.value("solve_log_bytes", uint64_t{0});
  const auto attempt = document.value("attempt", int64_t{0});
  if (attempt != state_.attempt) told_seconds_ = 0.0;
  state_.attempt = attempt;
  const auto seconds = document.find("solve_seconds");
  const bool began = seconds != document.end() && seconds->is_number();
  solve_seconds_ = began ? seconds->get<double>() : 0.0;
  solve_time_ = now();
  is_solving_ = began && state_.state != "ended";
  for (const Json& result : document.value("results", Json::array())) {
    if (text_of(result, "name") != "result") continue;
    state_.has_result = true;
    state_.result = {result.value("bytes", uint64_t{0}), text_of(result, "sha256")};
  }
}

// A request that may be repeated, until it is answered or there is no hope.
HttpReply RemoteJob::request(const HttpRequest& request) {
  double wait = kFirstPause;
  for (;;) {
    HttpReply reply = client_.perform(request);
    check(reply);
    const bool answered = reply.wire == Wire::kAnswered && !is_gateway(reply.status);
    if (reply.wire == Wire::kAborted || (answered && !is_busy(reply.status))) return reply;
    const bool hopeless =
        stop_asked_ && now() - std::max(stop_time_, last_answer_) > kStopUnreached;
    if (hopeless || now() - last_answer_ > patience_) fail_unreachable(reply);
    if (!client_.pause(wait)) {
      reply.wire = Wire::kAborted;
      return reply;
    }
    wait = std::min(2.0 * wait, kLongestPause);
  }
}

void RemoteJob::ask_to_stop() {
  phase_ = Phase::kStopping;
  HttpRequest stop;
  stop.method = "POST";
  stop.path = job_path() + "/stop";
  const HttpReply reply = request(stop);
  stop_sent_ = true;
  if (reply.wire == Wire::kAnswered) take_state(reply.body);
}

void RemoteJob::follow_log() {
  if (state_.attempt != log_attempt_) log_position_ = 0;
  log_attempt_ = state_.attempt;
  while (state_.log_bytes > log_position_) {
    HttpRequest get;
    get.path = job_path() + "/solve.log?from=" + std::to_string(log_position_);
    const HttpReply reply = request(get);
    if (reply.wire != Wire::kAnswered || reply.status != 200 || reply.body.empty()) return;
    request_.log(request_.handle, reply.body.data(), reply.body.size());
    log_position_ += reply.body.size();
  }
}

void RemoteJob::wait_for_end() {
  phase_ = Phase::kWaiting;
  while (state_.state != "ended") {
    if (stop_asked_ && !stop_sent_) {
      ask_to_stop();
      continue;
    }
    follow_log();
    if (stop_asked_ && now() - stop_time_ > kStopPatience) {
      throw Failure{RemoteFailure::kLost, "the server does not stop job " + id_};
    }
    HttpRequest get;
    get.path = job_path() + "?wait=20&after=" + std::to_string(state_.seq);
    const HttpReply reply = request(get);
    if (reply.wire == Wire::kAnswered) take_state(reply.body);
  }
  phase_ = Phase::kStopping;
  follow_log();
}

RemoteJob::Fetched RemoteJob::fetch_result() {
  if (ftruncate(request_.result, 0) != 0 || lseek(request_.result, 0, SEEK_SET) != 0) {
    return Fetched::kDamaged;
  }
  HttpRequest get;
  get.path = job_path() + "/result";
  get.sink = request_.result;
  // A connection that breaks in the middle leaves a piece: not request(), which would add to it.
  const HttpReply reply = client_.perform(get);
  check(reply);
  if (reply.wire != Wire::kAnswered || reply.status != 200) return Fetched::kBroken;
  const auto bytes = static_cast<uint64_t>(lseek(request_.result, 0, SEEK_END));
  const bool whole =
      bytes == state_.result.bytes && digest_of(request_.result) == state_.result.sha256;
  return whole ? Fetched::kWhole : Fetched::kDamaged;
}

// Damage is tried again a few times, a server that is away for as long as patience lasts.
void RemoteJob::fetch_whole_result() {
  double wait = kFirstPause;
  int damaged = 0;
  for (;;) {
    const Fetched fetched = fetch_result();
    if (fetched == Fetched::kWhole) return;
    if (fetched == Fetched::kDamaged) ++damaged;
    if (damaged >= kFetchTries || now() - last_answer_ > patience_ || !client_.pause(wait)) {
      throw Failure{RemoteFailure::kResult,
                    "the result of job " + id_ + ", which is still there, cannot be fetched whole"};
    }
    wait = std::min(2.0 * wait, kLongestPause);
  }
}

void RemoteJob::remove() {
  HttpRequest remove;
  remove.method = "DELETE";
  remove.path = job_path();
  remove.seconds = kCleanUpSeconds;
  client_.perform(remove);
}

void RemoteJob::solve(RemoteAnswer* answer) {
  answer->end = RemoteEnd::kStopped;
  if (!submit()) return;
  const std::string text = std::string("Solving on ") + request_.address + ", job " + id_ + "\n";
  request_.log(request_.handle, text.data(), text.size());
  wait_for_end();
  if (state_.has_result) {
    fetch_whole_result();
    answer->end = RemoteEnd::kResult;
  } else if (state_.outcome != "cancelled") {
    answer->end = RemoteEnd::kNoResult;
    state_.response.copy(answer->response, sizeof answer->response - 1);
    state_.message.copy(answer->message, sizeof answer->message - 1);
    return;
  } else if (!stop_asked_) {
    throw Failure{RemoteFailure::kJobGone, "job " + id_ + " was cancelled on the server"};
  }
  if (state_.response == "VLN_RES_OK" || answer->end == RemoteEnd::kStopped) remove();
}

}  // namespace vorlan::remote
