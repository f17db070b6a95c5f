// Exchanges without a body: with an answer that is there, one that comes later, and one that waits
// for a job to change.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>

#include "http/message.h"
#include "jobs/jobs.h"

namespace vorlan::server {

// Given before a body that is not expected.
std::unique_ptr<Exchange> refuse(Answer answer);
std::unique_ptr<Exchange> answer_now(Answer answer);
std::unique_ptr<Exchange> answer_later(std::function<void(Reply)> function);

// A request counts as open for as long as its ticket is held.
class Ticket {
 public:
  // Counts one more in `open` under the name, until its end.
  Ticket(std::shared_ptr<std::map<std::string, size_t>> open, const std::string& name);
  ~Ticket();
  Ticket(const Ticket&) = delete;
  Ticket& operator=(const Ticket&) = delete;

 private:
  std::shared_ptr<std::map<std::string, size_t>> open_;
  std::string name_;
};

// The exchange, which holds the ticket until its answer, its stream included, is sent.
std::unique_ptr<Exchange> with_ticket(std::unique_ptr<Exchange> exchange,
                                      std::shared_ptr<Ticket> ticket);

// The job's document, as soon as its seq is not `after`, at the latest after `seconds`.
std::unique_ptr<Exchange> answer_change(Loop* loop, Jobs* jobs, const std::string& id,
                                        uint64_t after, double seconds);

}  // namespace vorlan::server
