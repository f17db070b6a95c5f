// Figures of the server in the text format of Prometheus.
#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "jobs/jobs.h"

namespace vorlan::server {

struct HttpFigures {
  uint64_t connections = 0;
  std::map<int, uint64_t> answers;  // by status
};

std::string metrics_document(const Jobs& jobs, const HttpFigures& http, uint64_t free_bytes);

}  // namespace vorlan::server
