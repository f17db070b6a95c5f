// One easy handle on one multi handle; see http_client.h.
#include "http_client.h"

#include <curl/curl.h>
#include <strings.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <new>
#include <string_view>

namespace vorlan::remote {
namespace {

constexpr int kBeatMilliseconds = 20;
constexpr long kConnectSeconds = 10;
// A connection on which so little flows for so long is given up. Waits for a change are shorter.
constexpr long kLeastBytesPerSecond = 1;
constexpr long kSilentSeconds = 60;
constexpr size_t kLongestText = size_t{16} << 20;

double now() {
  using namespace std::chrono;
  return duration<double>(steady_clock::now().time_since_epoch()).count();
}

struct Transfer {
  const HttpRequest* request;
  HttpReply* reply;
  double* received_at;
  off_t offset = 0;
  bool has_whole_header = false;
};

size_t take_body(char* bytes, size_t, size_t count, void* handle) {
  auto* transfer = static_cast<Transfer*>(handle);
  *transfer->received_at = now();
  if (transfer->request->sink < 0) {
    std::string& body = transfer->reply->body;
    body.append(bytes, std::min(count, kLongestText - body.size()));
    return count;
  }
  for (size_t done = 0; done < count;) {
    const ssize_t written = write(transfer->request->sink, bytes + done, count - done);
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return 0;
    done += static_cast<size_t>(written);
  }
  return count;
}

size_t give_body(char* bytes, size_t, size_t count, void* handle) {
  auto* transfer = static_cast<Transfer*>(handle);
  ssize_t got = -1;
  do {
    got = pread(transfer->request->body, bytes, count, transfer->offset);
  } while (got < 0 && errno == EINTR);
  if (got < 0) return CURL_READFUNC_ABORT;
  transfer->offset += got;
  return static_cast<size_t>(got);
}

// A connection that was kept open may be found closed only when the body is under way.
int seek_body(void* handle, curl_off_t offset, int origin) {
  if (origin != SEEK_SET) return CURL_SEEKFUNC_CANTSEEK;
  static_cast<Transfer*>(handle)->offset = offset;
  return CURL_SEEKFUNC_OK;
}

size_t take_header(char* bytes, size_t, size_t count, void* handle) {
  constexpr std::string_view kName = "vorlan-protocol:";
  const std::string_view line(bytes, count);
  static_cast<Transfer*>(handle)->has_whole_header = line == "\r\n";
  if (line.size() > kName.size() && strncasecmp(bytes, kName.data(), kName.size()) == 0) {
    std::string_view value = line.substr(kName.size());
    while (!value.empty() && value.front() == ' ') value.remove_prefix(1);
    while (!value.empty() && (value.back() == '\r' || value.back() == '\n')) value.remove_suffix(1);
    static_cast<Transfer*>(handle)->reply->protocol = value;
  }
  return count;
}

Wire wire_of(CURLcode code) {
  switch (code) {
    case CURLE_OK:
      return Wire::kAnswered;
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_COULDNT_RESOLVE_PROXY:
    case CURLE_COULDNT_CONNECT:
      return Wire::kUnreachable;
    case CURLE_PEER_FAILED_VERIFICATION:
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_SSL_CACERT_BADFILE:
    case CURLE_SSL_ISSUER_ERROR:
    case CURLE_SSL_CERTPROBLEM:
      return Wire::kCertificate;
    case CURLE_UNSUPPORTED_PROTOCOL:
    case CURLE_WEIRD_SERVER_REPLY:
      return Wire::kOtherProtocol;
    default:
      return Wire::kBroken;
  }
}

}  // namespace

struct HttpClient::State {
  Address address;
  std::string authorization;
  std::function<bool()> beat;
  CURLM* multi = nullptr;
  CURL* easy = nullptr;
  double received_at = now();

  curl_slist* set_up(Transfer* transfer);
  CURLcode run(bool* aborted);
};

HttpClient::HttpClient(const Address& address, const std::string& token, std::function<bool()> beat)
    : state_(std::make_unique<State>()) {
  curl_global_init(CURL_GLOBAL_DEFAULT);
  state_->address = address;
  if (!token.empty()) state_->authorization = "Authorization: Bearer " + token;
  state_->beat = std::move(beat);
  state_->multi = curl_multi_init();
  state_->easy = curl_easy_init();
  if (state_->multi == nullptr || state_->easy == nullptr) throw std::bad_alloc();
}

HttpClient::~HttpClient() {
  curl_easy_cleanup(state_->easy);
  curl_multi_cleanup(state_->multi);
}

curl_slist* HttpClient::State::set_up(Transfer* transfer) {
  const HttpRequest& request = *transfer->request;
  curl_easy_reset(easy);
  curl_slist* headers = nullptr;
  if (!authorization.empty()) headers = curl_slist_append(headers, authorization.c_str());
  if (!request.idempotency_key.empty()) {
    headers = curl_slist_append(headers, ("Idempotency-Key: " + request.idempotency_key).c_str());
  }
  headers = curl_slist_append(headers, "Content-Type: application/octet-stream");
  curl_easy_setopt(easy, CURLOPT_URL, (address.url + request.path).c_str());
  curl_easy_setopt(easy, CURLOPT_PROTOCOLS_STR, "http,https");
  curl_easy_setopt(easy, CURLOPT_HTTPHEADER, headers);
  curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(easy, CURLOPT_CONNECTTIMEOUT, kConnectSeconds);
  curl_easy_setopt(easy, CURLOPT_LOW_SPEED_LIMIT, kLeastBytesPerSecond);
  curl_easy_setopt(easy, CURLOPT_LOW_SPEED_TIME, kSilentSeconds);
  curl_easy_setopt(easy, CURLOPT_TIMEOUT, request.seconds);
  curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, take_body);
  curl_easy_setopt(easy, CURLOPT_WRITEDATA, transfer);
  curl_easy_setopt(easy, CURLOPT_HEADERFUNCTION, take_header);
  curl_easy_setopt(easy, CURLOPT_HEADERDATA, transfer);
  if (address.is_this_machine) curl_easy_setopt(easy, CURLOPT_NOPROXY, "*");
  const char* authorities = std::getenv("VORLAN_REMOTE_CA_FILE");
  if (authorities != nullptr) curl_easy_setopt(easy, CURLOPT_CAINFO, authorities);
  if (request.body >= 0) {
    curl_easy_setopt(easy, CURLOPT_UPLOAD, 1L);
    curl_easy_setopt(easy, CURLOPT_INFILESIZE_LARGE, static_cast<curl_off_t>(request.body_bytes));
    curl_easy_setopt(easy, CURLOPT_READFUNCTION, give_body);
    curl_easy_setopt(easy, CURLOPT_READDATA, transfer);
    curl_easy_setopt(easy, CURLOPT_SEEKFUNCTION, seek_body);
    curl_easy_setopt(easy, CURLOPT_SEEKDATA, transfer);
  }
  curl_easy_setopt(easy, CURLOPT_CUSTOMREQUEST, request.method);
  return headers;
}

CURLcode HttpClient::State::run(bool* aborted) {
  for (;;) {
    int running = 0;
    curl_multi_perform(multi, &running);
    int left = 0;
    if (const CURLMsg* message = curl_multi_info_read(multi, &left)) return message->data.result;
    if (beat()) {
      *aborted = true;
      return CURLE_ABORTED_BY_CALLBACK;
    }
    curl_multi_poll(multi, nullptr, 0, kBeatMilliseconds, nullptr);
  }
}

HttpReply HttpClient::perform(const HttpRequest& request) {
  HttpReply reply;
  Transfer transfer{&request, &reply, &state_->received_at};
  curl_slist* headers = state_->set_up(&transfer);
  curl_multi_add_handle(state_->multi, state_->easy);
  bool aborted = false;
  const CURLcode code = state_->run(&aborted);
  curl_multi_remove_handle(state_->multi, state_->easy);
  curl_slist_free_all(headers);
  reply.wire = aborted ? Wire::kAborted : wire_of(code);
  curl_easy_getinfo(state_->easy, CURLINFO_RESPONSE_CODE, &reply.status);
  // To libcurl a connection that ends within the header is an answer without a body.
  if (code == CURLE_OK && !transfer.has_whole_header) {
    reply.wire = Wire::kBroken;
    reply.error = "the connection broke";
  }
  if (code == CURLE_OK) return reply;
  reply.error = curl_easy_strerror(code);
  // A server that refuses a body may answer and close while it is still being sent.
  if (!aborted && transfer.has_whole_header && reply.status >= 400) reply.wire = Wire::kAnswered;
  return reply;
}

double HttpClient::received_at() const { return state_->received_at; }

bool HttpClient::pause(double seconds) {
  const double end = now() + seconds;
  while (now() < end) {
    if (state_->beat()) return false;
    curl_multi_poll(state_->multi, nullptr, 0, kBeatMilliseconds, nullptr);
    if (now() < end) usleep(kBeatMilliseconds * 1000 / 2);
  }
  return true;
}

}  // namespace vorlan::remote
