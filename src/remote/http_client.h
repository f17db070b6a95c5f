// Requests to one server, by libcurl. The calling thread waits for the network in small steps and
// calls back in between, so that a solve can be stopped in every phase.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "address.h"

namespace vorlan::remote {

struct HttpRequest {
  const char* method = "GET";
  std::string path;
  std::string idempotency_key;
  int body = -1;  // a descriptor; -1: none
  uint64_t body_bytes = 0;
  int sink = -1;     // a descriptor that takes the answer's body; -1: HttpReply::body does
  long seconds = 0;  // the most that it may take; 0: as long as bytes flow
};

// How a request ended. Only with kAnswered is there a status.
enum class Wire {
  kAnswered,
  kAborted,      // asked to by `beat`
  kUnreachable,  // there was no connection
  kBroken,       // the connection broke, or nothing flowed for long
  kCertificate,
  kOtherProtocol,  // whatever answered, it was no HTTP
};

struct HttpReply {
  Wire wire = Wire::kBroken;
  std::string error;  // libcurl's text where there is no answer
  long status = 0;
  std::string protocol;  // the header Vorlan-Protocol
  std::string body;      // of a longer one the first 16 MiB
};

class HttpClient {
 public:
  // `beat` is called at least 10 times a second; true asks to abort the request.
  HttpClient(const Address& address, const std::string& token, std::function<bool()> beat);
  ~HttpClient();
  HttpClient(const HttpClient&) = delete;
  HttpClient& operator=(const HttpClient&) = delete;

  HttpReply perform(const HttpRequest& request);
  // Waits, calling `beat`; false when it asks to abort.
  bool pause(double seconds);
  // When the last piece of a body came, on the steady clock, in seconds.
  double received_at() const;

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace vorlan::remote
