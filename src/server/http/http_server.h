// HTTP/1.1 over TCP or TLS, by Boost.Beast: accepts connections, keeps slow and oversized clients from
// doing harm, and hands each request to the service.
#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include "base/loop.h"
#include "http/message.h"

namespace vorlan::server {

struct HttpLimits {
  size_t most_connections = 4000;
  // For a client that sends or takes nothing. A header has 10 seconds, if that is less, and a body
  // brings a KiB a second on average over this time.
  std::chrono::milliseconds patience = std::chrono::seconds(30);
};

struct HttpServerState;

class HttpServer {
 public:
  HttpServer(Loop* loop, Service* service, const HttpLimits& limits);
  ~HttpServer();
  HttpServer(const HttpServer&) = delete;
  HttpServer& operator=(const HttpServer&) = delete;

  // Connections that are accepted from now on use TLS 1.2 or later with the certificates and the key
  // of these PEM files. The reason when they cannot be used; nothing has changed then.
  std::string use_tls(const std::string& certificate, const std::string& key);
  // Accepts connections from now on; port 0 takes any free one. The reason when it cannot.
  std::string listen(const std::string& address, uint16_t port);
  uint16_t port() const;
  // Accepts no more; connections end with the request that they are at.
  void close();
  size_t num_connections() const;
  // How many answers there were of each status.
  const std::map<int, uint64_t>& answers() const;

 private:
  std::shared_ptr<HttpServerState> state_;
};

}  // namespace vorlan::server
