// Making of JSON documents; see documents.h.
#include "api/documents.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "base/files.h"

namespace vorlan::server {
namespace {

using Json = nlohmann::ordered_json;

std::string to_text(const Json& document) {
  // Names and messages may hold bytes that are no UTF-8.
  return document.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
}

Json text_or_null(const std::string& text) { return text.empty() ? Json() : Json(text); }
Json time_or_null(double seconds) { return seconds == 0.0 ? Json() : Json(seconds); }

// How long the solve has run, or ran; null before it begins.
Json solve_seconds(const Job& job) {
  if (job.began == 0.0) return {};
  const double until = job.ended != 0.0 ? job.ended : unix_time();
  return std::max(0.0, until - job.began);
}

// Until its worker has begun a job is queued: a cluster has a queue of its own.
const char* shown_state(const Job& job) {
  const bool is_under_way = job.state == JobState::kStarting || job.state == JobState::kRunning;
  if (is_under_way && job.wish != Wish::kNone) return "stopping";
  return word_of(job.state == JobState::kStarting ? JobState::kQueued : job.state);
}

Json results_of(const Job& job) {
  Json list = Json::array();
  for (const ResultFile& file : job.results) {
    list.push_back({{"name", file.name},
                    {"bytes", file.bytes},
                    {"sha256", file.sha256},
                    {"href", "/v1/jobs/" + job.id + "/" + file.name}});
  }
  return list;
}

Json to_json(const Job& job) {
  return {{"id", job.id},
          {"name", job.name},
          {"owner", job.owner},
          {"key", text_or_null(job.key)},
          {"state", shown_state(job)},
          {"outcome", text_or_null(word_of(job.outcome))},
          {"response", text_or_null(job.response)},
          {"termination", text_or_null(job.termination)},
          {"message", text_or_null(job.message)},
          {"attempt", job.attempt},
          {"progress", job.progress.empty() ? Json() : Json::parse(job.progress)},
          {"priority", job.priority},
          {"time_limit", time_or_null(job.time_limit)},
          {"threads", job.threads == 0 ? Json() : Json(job.threads)},
          {"created", job.created},
          {"solve_began", time_or_null(job.began)},
          {"solve_seconds", solve_seconds(job)},
          {"ended", time_or_null(job.ended)},
          {"problem", {{"bytes", job.bytes}, {"sha256", job.sha256}}},
          {"seq", job.seq},
          {"log_bytes", job.log_bytes},
          {"solve_log_bytes", job.solve_log_bytes},
          {"results", results_of(job)}};
}

Json limit_or_null(double value) { return value > 0 ? Json(value) : Json(); }
Json limit_or_null(long value) { return value > 0 ? Json(value) : Json(); }

}  // namespace

std::string job_document(const Jobs& jobs, const Job& job) {
  Json document = to_json(job);
  const bool queued = job.state == JobState::kQueued;
  document["queue_place"] = queued ? Json(jobs.queue_place(job)) : Json();
  return to_text(document);
}

std::string listed_job_document(const Job& job) { return to_text(to_json(job)); }

std::string list_document(const Jobs& jobs, const std::vector<const Job*>& page,
                          const std::string& next) {
  Json list = Json::array();
  for (const Job* job : page) list.push_back(to_json(*job));
  return to_text(
      {{"jobs", std::move(list)}, {"next", text_or_null(next)}, {"seq", jobs.last_news()}});
}

std::string log_document(int64_t attempt, uint64_t from, const std::string& text,
                         const std::vector<Progress>& progress) {
  Json list = Json::array();
  for (const Progress& entry : progress) list.push_back(Json::parse(progress_document(entry)));
  return to_text({{"attempt", attempt},
                  {"from", from},
                  {"bytes", text.size()},
                  {"text", text},
                  {"progress", std::move(list)}});
}

std::string deletion_document(const std::string& id) { return to_text({{"id", id}}); }

std::string limits_document(const Jobs& jobs, uint64_t most_bytes) {
  const JobLimits& limits = jobs.limits();
  return to_text({{"slots", limits.slots},
                  {"jobs", limits.most_queued},
                  {"problem_bytes", most_bytes},
                  {"time_limit", limit_or_null(limits.worker.time_limit)},
                  {"variables", limit_or_null(limits.worker.max_variables)},
                  {"constraints", limit_or_null(limits.worker.max_constraints)},
                  {"threads", limit_or_null(limits.worker.threads)},
                  {"memory_mib", limit_or_null(limits.worker.memory_mib)},
                  {"retention_seconds", limits.retention_seconds}});
}

std::string token_document(const Token& token) {
  return to_text({{"id", token.id},
                  {"owner", token.owner},
                  {"role", word_of(token.role)},
                  {"quota",
                   {{"jobs", limit_or_null(token.quota.jobs)},
                    {"bytes", limit_or_null(token.quota.bytes)},
                    {"threads", limit_or_null(token.quota.threads)},
                    {"time", limit_or_null(token.quota.time)},
                    {"variables", limit_or_null(token.quota.variables)}}},
                  {"expires", time_or_null(token.expires)}});
}

std::string status_document(const std::string& status) { return to_text({{"status", status}}); }

}  // namespace vorlan::server
