// The JSON documents of the interface; docs/server/api.md describes them.
#pragma once

#include <string>
#include <vector>

#include "jobs/jobs.h"
#include "store/tokens.h"

namespace vorlan::server {

std::string job_document(const Jobs& jobs, const Job& job);
// The job as lists have it: it lacks the place in the queue, which takes a look at all jobs.
std::string listed_job_document(const Job& job);
// `next` is the id after which the next page begins; empty on the last page.
std::string list_document(const Jobs& jobs, const std::vector<const Job*>& page,
                          const std::string& next);
std::string log_document(int64_t attempt, uint64_t from, const std::string& text,
                         const std::vector<Progress>& progress);
std::string deletion_document(const std::string& id);
std::string limits_document(const Jobs& jobs, uint64_t most_bytes);
std::string token_document(const Token& token);
std::string status_document(const std::string& status);

}  // namespace vorlan::server
