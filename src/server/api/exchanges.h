// Exchanges without a body: with an answer that is there, one that comes later, and one that waits
// for a job to change.
#pragma once

#include <functional>
#include <memory>

#include "http/message.h"
#include "jobs/jobs.h"

namespace vorlan::server {

// Given before a body that is not expected.
std::unique_ptr<Exchange> refuse(Answer answer);
std::unique_ptr<Exchange> answer_now(Answer answer);
std::unique_ptr<Exchange> answer_later(std::function<void(Reply)> function);

// The job's document, as soon as its seq is not `after`, at the latest after `seconds`.
std::unique_ptr<Exchange> answer_change(Loop* loop, Jobs* jobs, const std::string& id,
                                        uint64_t after, double seconds);

}  // namespace vorlan::server
