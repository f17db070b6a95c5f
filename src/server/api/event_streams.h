// Server-sent events: a job with its log, and the list of jobs, as they change.
//
// Both streams make what they send from the present state when they are asked for more, so that a
// slow reader misses states in between, but nothing is kept for it. The ids of the events are
// positions from which a stream can go on: a byte of an attempt's log, a number of the jobs' news.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "http/message.h"
#include "jobs/jobs.h"
#include "store/tokens.h"

namespace vorlan::server {

// After so long a silence a stream says that it lives, so that no proxy cuts it. It ends instead
// when its token is no longer valid.
struct Heartbeat {
  std::chrono::milliseconds period;
  std::function<bool()> still_allowed;
};

// True when the token may know of the owner's jobs.
bool may_see(const Token& token, const std::string& owner);

// `position` is the id of the last event that the reader has; empty, or of another attempt: from
// the start of the log.
std::shared_ptr<Stream> job_events(Loop* loop, Jobs* jobs, const std::string& id,
                                   std::string_view position, Heartbeat heartbeat);

// The texts of the latest events of the list, made once for all watchers.
class ListTexts {
 public:
  // The text of the event with this number, which `make` makes the first time.
  const std::string& text(uint64_t number, const std::function<std::string()>& make);

 private:
  std::map<uint64_t, std::string> texts_;
};

// `after` is the id of the last event, or the `seq` of a list; what happens after it is told.
std::shared_ptr<Stream> list_events(Loop* loop, Jobs* jobs, std::shared_ptr<ListTexts> texts,
                                    const Token& token, uint64_t after, Heartbeat heartbeat);

}  // namespace vorlan::server
