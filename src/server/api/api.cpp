// Routes and their answers; see api.h.
#include "api/api.h"

#include <algorithm>
#include <charconv>
#include <cmath>

#include "api/documents.h"
#include "api/event_streams.h"
#include "api/exchanges.h"
#include "api/metrics.h"
#include "api/problem.h"
#include "api/submission.h"
#include "api/web_page.h"
#include "base/files.h"

namespace vorlan::server {
namespace {

// A request waits no longer for a change: proxies cut what is silent for a minute.
constexpr double kLongestWait = 30.0;
constexpr int64_t kLongestPage = 1000;
constexpr int64_t kUsualPage = 100;

template <class Number>
Number number_or(const Request& request, const char* name, Number otherwise) {
  const std::string text = request.parameter(name).value_or("");
  Number value{};
  const auto [last, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  return error == std::errc() && last == text.data() + text.size() ? value : otherwise;
}

Answer json(std::string body) {
  Answer answer;
  answer.body = std::move(body);
  return answer;
}

std::unique_ptr<Exchange> no_such_job() {
  return refuse(problem(404, "no-such-job", "there is no such job"));
}

bool matches(const std::vector<std::string>& path, const std::vector<const char*>& pattern) {
  return path.size() == pattern.size() &&
         std::equal(path.begin(), path.end(), pattern.begin(),
                    [](const std::string& segment, std::string_view expected) {
                      return expected == "*" || segment == expected;
                    });
}

const ResultFile* find_result(const Job& job, const std::string& name) {
  const auto found = std::find_if(job.results.begin(), job.results.end(),
                                  [&name](const ResultFile& file) { return file.name == name; });
  return found == job.results.end() ? nullptr : &*found;
}

Actor actor_of(const Request& request, const Token& token) {
  return {token.owner, token.id, request.peer};
}

// The state by which the list is searched. A job that waits for a node is queued, and one that is
// stopping runs.
const char* listed_state(const Job& job) {
  return word_of(job.state == JobState::kStarting ? JobState::kQueued : job.state);
}

// Reads where a stream of events goes on, which browsers say in a header and others in a parameter.
std::string last_event(const Request& request) {
  const std::string_view header = request.header("last-event-id");
  return header.empty() ? request.parameter("after").value_or("") : std::string(header);
}

Answer events(std::shared_ptr<Stream> stream) {
  Answer answer;
  answer.type = "text/event-stream";
  answer.headers.emplace_back("X-Accel-Buffering", "no");
  answer.stream = std::move(stream);
  return answer;
}

}  // namespace

// An empty role stands for everybody, without a token.
struct Api::Route {
  const char* method;
  std::vector<const char*> path;
  std::optional<Role> role;
  std::unique_ptr<Exchange> (Api::*begin)(const Request&, const Token&);
};

const std::vector<Api::Route>& Api::routes() {
  static const std::vector<Route> routes = {
      {"GET", {"healthz"}, {}, &Api::health},
      {"GET", {"readyz"}, {}, &Api::ready},
      {"GET", {"metrics"}, Role::kRead, &Api::metrics},
      {"GET", {"v1", "limits"}, Role::kRead, &Api::limits},
      {"GET", {"v1", "me"}, Role::kRead, &Api::me},
      {"GET", {"v1", "jobs"}, Role::kRead, &Api::list},
      {"POST", {"v1", "jobs"}, Role::kSubmit, &Api::submit},
      {"PUT", {"v1", "jobs"}, Role::kSubmit, &Api::submit},  // what `curl -T` sends
      {"DELETE", {"v1", "jobs"}, Role::kSubmit, &Api::delete_by_key},
      {"GET", {"v1", "jobs", "*"}, Role::kRead, &Api::show},
      {"DELETE", {"v1", "jobs", "*"}, Role::kSubmit, &Api::remove},
      {"POST", {"v1", "jobs", "*", "stop"}, Role::kSubmit, &Api::stop},
      {"POST", {"v1", "jobs", "*", "cancel"}, Role::kSubmit, &Api::cancel},
      {"GET", {"v1", "jobs", "*", "events"}, Role::kRead, &Api::watch_job},
      {"GET", {"v1", "jobs", "*", "*"}, Role::kRead, &Api::fetch},
      {"GET", {"v1", "events"}, Role::kRead, &Api::watch_list},
      {"GET", {}, {}, &Api::page},
      {"GET", {"*"}, {}, &Api::page},
  };
  return routes;
}

Api::Api(Loop* loop, Jobs* jobs, const Database* tokens, const ApiLimits& limits)
    : loop_(loop), jobs_(jobs), tokens_(tokens), limits_(limits) {}

Answer Api::failure(int status, std::string_view detail) {
  return problem(status, "bad-request", detail);
}

std::unique_ptr<Exchange> Api::begin(const Request& request) {
  std::string_view method = request.method;
  if (method == "HEAD") method = "GET";
  std::string allowed;
  for (const Route& route : routes()) {
    if (!matches(request.path, route.path)) continue;
    if (allowed.find(route.method) == std::string::npos) {
      allowed += (allowed.empty() ? "" : ", ") + std::string(route.method);
    }
    if (method != route.method) continue;
    if (!route.role) return (this->*route.begin)(request, {});
    const auto token = authenticate(request);
    if (!token) return refuse(problem(401, "no-token", "a valid access token is needed"));
    if (token->role < *route.role) {
      return refuse(problem(403, "not-allowed", "this token may not do that"));
    }
    const auto open = open_requests_->find(token->id);
    if (open != open_requests_->end() && open->second >= limits_.most_requests) {
      return refuse(
          problem(429, "too-many-requests", "this token has as many requests open as it may have"));
    }
    return with_ticket((this->*route.begin)(request, *token),
                       std::make_shared<Ticket>(open_requests_, token->id));
  }
  if (allowed.empty()) return refuse(problem(404, "no-such-route", "there is nothing here"));
  Answer answer = problem(405, "no-such-method", "the method is not for this");
  answer.headers.emplace_back("Allow", allowed);
  return refuse(std::move(answer));
}

std::optional<Token> Api::authenticate(const Request& request) const {
  constexpr std::string_view kScheme = "Bearer ";
  const std::string_view header = request.header("authorization");
  if (!header.starts_with(kScheme)) return {};
  return find_token(*tokens_, header.substr(kScheme.size()));
}

const Job* Api::find_job(const Request& request, const Token& token) const {
  const Job* job = jobs_->find(request.path[2]);
  return job != nullptr && may_see(token, job->owner) ? job : nullptr;
}

std::unique_ptr<Exchange> Api::submit(const Request& request, const Token& token) {
  return begin_submission(jobs_, limits_, request, token);
}

// The newest first. A page ends where the next one, which asks with `after`, begins.
std::unique_ptr<Exchange> Api::list(const Request& request, const Token& token) {
  const auto limit = std::clamp(number_or(request, "limit", kUsualPage), int64_t{1}, kLongestPage);
  const std::string after = request.parameter("after").value_or("");
  const std::string state = request.parameter("state").value_or("");
  const auto key = request.parameter("key");
  std::vector<const Job*> page;
  std::string next;
  const auto& all = jobs_->all();
  auto place = after.empty() ? all.end() : all.lower_bound(after);
  while (place != all.begin()) {
    const Job& job = (--place)->second;
    if (!Jobs::is_visible(job) || !may_see(token, job.owner)) continue;
    if (!state.empty() && state != listed_state(job)) continue;
    if (key && (*key != job.key || job.owner != token.owner)) continue;
    if (static_cast<int64_t>(page.size()) == limit) {
      next = page.back()->id;
      break;
    }
    page.push_back(&job);
  }
  return answer_now(json(list_document(*jobs_, page, next)));
}

std::unique_ptr<Exchange> Api::delete_by_key(const Request& request, const Token& token) {
  const std::string key = request.parameter("key").value_or("");
  if (key.empty()) {
    return refuse(problem(400, "bad-parameter", "the idempotency key is missing: ?key=..."));
  }
  jobs_->revoke_key(token.owner, key);
  const std::string id = jobs_->id_of_key(token.owner, key);
  if (jobs_->find(id) != nullptr) return wish(id, Wish::kDelete, actor_of(request, token), 204);
  Answer answer;
  answer.status = 204;
  return answer_now(std::move(answer));
}

std::unique_ptr<Exchange> Api::show(const Request& request, const Token& token) {
  const Job* job = find_job(request, token);
  if (job == nullptr) return no_such_job();
  const double seconds = std::clamp(number_or(request, "wait", 0.0), 0.0, kLongestWait);
  const uint64_t after = number_or(request, "after", uint64_t{0});
  if (std::isnan(seconds) || seconds == 0.0) return answer_now(json(job_document(*jobs_, *job)));
  return answer_change(loop_, jobs_, job->id, after, seconds);
}

std::unique_ptr<Exchange> Api::wish(const std::string& id, Wish wish, const Actor& actor,
                                    int status) {
  return answer_later([jobs = jobs_, id, wish, actor, status](const Reply& reply) {
    if (jobs->find(id) == nullptr) {
      return reply(problem(404, "no-such-job", "there is no such job"));
    }
    jobs->set_wish(id, wish, actor, [jobs, id, status, reply](const std::string& failure) {
      if (!failure.empty()) {
        return reply(problem(507, "no-room", "the server cannot store the wish: " + failure));
      }
      Answer answer;
      const Job* job = jobs->find(id);
      answer.status = job == nullptr ? 204 : status;
      if (job != nullptr) answer.body = job_document(*jobs, *job);
      reply(std::move(answer));
    });
  });
}

std::unique_ptr<Exchange> Api::remove(const Request& request, const Token& token) {
  const Job* job = find_job(request, token);
  return job == nullptr ? no_such_job()
                        : wish(job->id, Wish::kDelete, actor_of(request, token), 204);
}

std::unique_ptr<Exchange> Api::stop(const Request& request, const Token& token) {
  const Job* job = find_job(request, token);
  return job == nullptr ? no_such_job() : wish(job->id, Wish::kStop, actor_of(request, token), 202);
}

std::unique_ptr<Exchange> Api::cancel(const Request& request, const Token& token) {
  const Job* job = find_job(request, token);
  return job == nullptr ? no_such_job()
                        : wish(job->id, Wish::kCancel, actor_of(request, token), 202);
}

std::unique_ptr<Exchange> Api::fetch(const Request& request, const Token& token) {
  const Job* job = find_job(request, token);
  if (job == nullptr) return no_such_job();
  const std::string& name = request.path[3];
  const auto& files = fetched_files();
  const auto file = std::find_if(files.begin(), files.end(),
                                 [&name](const FetchedFile& f) { return f.name == name; });
  if (file == files.end()) return refuse(problem(404, "no-such-route", "there is nothing here"));
  const bool is_log = name == kLogFile || name == kSolveLogFile;
  const ResultFile* result = find_result(*job, name);
  if (job->state != JobState::kEnded && !is_log) {
    return refuse(problem(409, "not-ended", "the job has not ended"));
  }
  if (job->state == JobState::kEnded && result == nullptr) {
    return refuse(problem(404, "no-such-result", "the job left no such file"));
  }
  Answer answer;
  answer.type = file->content_type;
  const std::string path = jobs_->attempt_folder(*job) + "/" + name;
  const uint64_t size = result != nullptr ? result->bytes : file_size(path).value_or(0);
  answer.offset = std::min(number_or(request, "from", uint64_t{0}), size);
  answer.length = size - answer.offset;
  if (answer.length > 0) answer.file = path;
  if (result != nullptr) answer.headers.emplace_back("ETag", '"' + result->sha256 + '"');
  return answer_now(std::move(answer));
}

Heartbeat Api::heartbeat(const Token& token) const {
  return {limits_.heartbeat,
          [tokens = tokens_, id = token.id] { return is_valid_token(*tokens, id); }};
}

std::unique_ptr<Exchange> Api::watch_job(const Request& request, const Token& token) {
  const Job* job = find_job(request, token);
  if (job == nullptr) return no_such_job();
  const std::string position = last_event(request);
  return answer_now(events(job_events(loop_, jobs_, job->id, position, heartbeat(token))));
}

std::unique_ptr<Exchange> Api::watch_list(const Request& request, const Token& token) {
  const std::string position = last_event(request);
  uint64_t after = jobs_->last_news();
  std::from_chars(position.data(), position.data() + position.size(), after);
  return answer_now(events(list_events(loop_, jobs_, list_texts_, token, after, heartbeat(token))));
}

std::unique_ptr<Exchange> Api::page(const Request& request, const Token&) {
  auto answer = web_answer(request, request.path.empty() ? "" : request.path.front());
  if (!answer) return refuse(problem(404, "no-such-route", "there is nothing here"));
  return answer_now(std::move(*answer));
}

std::unique_ptr<Exchange> Api::metrics(const Request&, const Token&) {
  Answer answer;
  answer.type = "text/plain; version=0.0.4; charset=utf-8";
  answer.body = metrics_document(*jobs_, limits_.http_figures(), free_bytes(limits_.data_folder));
  return answer_now(std::move(answer));
}

std::unique_ptr<Exchange> Api::limits(const Request&, const Token&) {
  return answer_now(json(limits_document(*jobs_, limits_.most_bytes)));
}

std::unique_ptr<Exchange> Api::me(const Request&, const Token& token) {
  return answer_now(json(token_document(token)));
}

std::unique_ptr<Exchange> Api::health(const Request&, const Token&) {
  return answer_now(json(status_document("alive")));
}

std::unique_ptr<Exchange> Api::ready(const Request&, const Token&) {
  if (jobs_->is_draining()) {
    return refuse(problem(503, "draining", "the server takes no more jobs and will end"));
  }
  if (!jobs_->has_room()) {
    return refuse(problem(503, "no-room", "the data folder's file system is full"));
  }
  const std::string trouble = jobs_->runner_trouble();
  if (!trouble.empty()) return refuse(problem(503, "no-cluster", trouble));
  return answer_now(json(status_document("ready")));
}

}  // namespace vorlan::server
