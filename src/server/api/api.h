// The interface /v1 over HTTP: which routes there are, who may use them, and what they answer. The
// document of it for users is docs/server/api.md.
#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <string>

#include "api/event_streams.h"
#include "api/metrics.h"
#include "http/message.h"
#include "jobs/jobs.h"
#include "store/database.h"
#include "store/tokens.h"

namespace vorlan::server {

struct ApiLimits {
  uint64_t most_bytes = 0;  // of a problem file
  std::string data_folder;
  std::function<HttpFigures()> http_figures;
  size_t most_requests = 0;  // of a token, open at a time, streams included
  std::chrono::milliseconds heartbeat{};
};

class Api : public Service {
 public:
  // `tokens` is read in the loop's thread for every request, so that a revocation holds at once.
  Api(Loop* loop, Jobs* jobs, const Database* tokens, const ApiLimits& limits);

  std::unique_ptr<Exchange> begin(const Request& request) override;
  Answer failure(int status, std::string_view detail) override;

 private:
  struct Route;
  static const std::vector<Route>& routes();
  std::optional<Token> authenticate(const Request& request) const;
  Heartbeat heartbeat(const Token& token) const;
  // A job of which the token may know.
  const Job* find_job(const Request& request, const Token& token) const;

  std::unique_ptr<Exchange> submit(const Request& request, const Token& token);
  std::unique_ptr<Exchange> list(const Request& request, const Token& token);
  std::unique_ptr<Exchange> delete_by_key(const Request& request, const Token& token);
  std::unique_ptr<Exchange> show(const Request& request, const Token& token);
  std::unique_ptr<Exchange> remove(const Request& request, const Token& token);
  std::unique_ptr<Exchange> stop(const Request& request, const Token& token);
  std::unique_ptr<Exchange> cancel(const Request& request, const Token& token);
  std::unique_ptr<Exchange> fetch(const Request& request, const Token& token);
  std::unique_ptr<Exchange> watch_job(const Request& request, const Token& token);
  std::unique_ptr<Exchange> watch_list(const Request& request, const Token& token);
  std::unique_ptr<Exchange> page(const Request& request, const Token& token);
  std::unique_ptr<Exchange> metrics(const Request& request, const Token& token);
  std::unique_ptr<Exchange> limits(const Request& request, const Token& token);
  std::unique_ptr<Exchange> me(const Request& request, const Token& token);
  std::unique_ptr<Exchange> health(const Request& request, const Token& token);
  std::unique_ptr<Exchange> ready(const Request& request, const Token& token);
  std::unique_ptr<Exchange> wish(const std::string& id, Wish wish, const Actor& actor, int status);

  Loop* loop_;
  Jobs* jobs_;
  const Database* tokens_;
  ApiLimits limits_;
  std::shared_ptr<ListTexts> list_texts_ = std::make_shared<ListTexts>();
  // The numbers of open requests by the token's id. Connections can outlive the interface when the
  // server ends.
  std::shared_ptr<std::map<std::string, size_t>> open_requests_ =
      std::make_shared<std::map<std::string, size_t>>();
};

}  // namespace vorlan::server
