// Requests and answers as the rest of the server sees them: no HTTP library in sight.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vorlan::server {

struct Request {
  std::string method;
  std::vector<std::string> path;  // the decoded segments
  std::map<std::string, std::string, std::less<>> query;
  std::map<std::string, std::string, std::less<>> headers;  // names in lower case
  std::optional<uint64_t> content_length;
  std::string peer;

  std::string_view header(std::string_view name) const;
  // Nothing when the query has no such name.
  std::optional<std::string> parameter(std::string_view name) const;
};

// A body whose end is not known beforehand. It makes a piece when the one before it has been sent, so
// that a slow reader costs no memory.
class Stream {
 public:
  virtual ~Stream() = default;
  // Gives the next piece, once, in the loop; an empty one is the end.
  virtual void next(std::function<void(std::string)> give) = 0;
};

struct Answer {
  int status = 200;
  std::string type = "application/json";
  std::vector<std::pair<std::string, std::string>> headers;
  std::string body;
  // The body is `length` bytes of the file from `offset` on, where `file` is not empty.
  std::string file;
  uint64_t offset = 0;
  uint64_t length = 0;
  // The stream makes the body, where there is one.
  std::shared_ptr<Stream> stream;
};

// Gives the answer to a request, once, in the loop. A request that nobody waits for any more takes
// it and drops it.
using Reply = std::function<void(Answer)>;

// A request under way. It is destroyed when it is answered, or when its connection is gone.
class Exchange {
 public:
  virtual ~Exchange() = default;

  // The most bytes that the body may have.
  virtual uint64_t body_limit() const { return 0; }
  // An answer that comes before the body is read; the connection ends after it.
  virtual std::optional<Answer> refusal() { return {}; }
  // The next piece of the body; false when no more of it is wanted.
  virtual bool receive(std::string_view) { return true; }
  // The body is complete.
  virtual void answer(Reply reply) = 0;
};

// The part of the server that answers.
class Service {
 public:
  virtual ~Service() = default;
  // Never nullptr.
  virtual std::unique_ptr<Exchange> begin(const Request& request) = 0;
  // Answers what is not even a request, and bodies that are too large (413).
  virtual Answer failure(int status, std::string_view detail) = 0;
};

// The target of a request line, taken apart; false when it is malformed: a wrong percent sign, a
// control character, a segment "." or "..".
[[nodiscard]] bool parse_target(std::string_view target, Request* request);

}  // namespace vorlan::server
