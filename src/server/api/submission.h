// A submission: the body goes to a file as it comes, and becomes a job when it is whole.
#pragma once

#include <memory>

#include "api/api.h"
#include "http/message.h"
#include "jobs/jobs.h"
#include "store/tokens.h"

namespace vorlan::server {

// An exchange that refuses the request before its body where it is malformed or there is no room.
std::unique_ptr<Exchange> begin_submission(Jobs* jobs, const ApiLimits& limits,
                                           const Request& request, const Token& token);

// The name under which a problem file is kept: of the submitter's name only the suffixes that say
// format and compression, if they are known. Nothing else of it reaches a worker.
std::string problem_file_name(std::string_view name);

}  // namespace vorlan::server
