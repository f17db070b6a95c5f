// Receiving of problem files; see submission.h.
#include "api/submission.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

#include "api/documents.h"
#include "api/problem.h"
#include "base/digest.h"
#include "base/files.h"

namespace vorlan::server {
namespace {

constexpr size_t kLongestName = 255;
constexpr size_t kLongestKey = 128;
constexpr int64_t kHighestPriority = 10;

constexpr std::array<std::string_view, 10> kFormats = {
    ".mps", ".qps", ".lp", ".opf", ".ptf", ".cbf", ".dat-s", ".jtask", ".json", ".task"};
constexpr std::array<std::string_view, 2> kCompressions = {".gz", ".zst"};

// The suffix of the list that the name ends with, taken off the name; else empty.
template <class List>
std::string_view take_suffix(const List& suffixes, std::string_view* name) {
  for (const std::string_view suffix : suffixes) {
    if (!name->ends_with(suffix)) continue;
    name->remove_suffix(suffix.size());
    return suffix;
  }
  return {};
}

bool parse(const std::string& text, double* value) {
  const char* end = text.data() + text.size();
  const auto [last, error] = std::from_chars(text.data(), end, *value);
  return error == std::errc() && last == end && std::isfinite(*value) && *value >= 0.0;
}

bool parse(const std::string& text, int64_t* value) {
  const char* end = text.data() + text.size();
  const auto [last, error] = std::from_chars(text.data(), end, *value);
  return error == std::errc() && last == end;
}

// A parameter of the query, if it is there; false when it is malformed.
template <class Number>
bool read_parameter(const Request& request, const char* name, Number* value) {
  const auto text = request.parameter(name);
  return !text || parse(*text, value);
}

// A cap of 0 is none; a wish of 0 is for the cap.
template <class Number>
bool is_within(Number wish, Number cap) {
  return wish >= 0 && (cap <= 0 || wish <= cap);
}

bool is_key(std::string_view key) {
  return key.size() <= kLongestKey &&
         std::all_of(key.begin(), key.end(), [](char c) { return c > 0x20 && c < 0x7f; });
}

Answer job_answer(const Jobs& jobs, const std::string& id, int status) {
  const Job* job = jobs.find(id);
  if (job == nullptr) return problem(404, "no-such-job", "the job was deleted meanwhile");
  Answer answer;
  answer.status = status;
  answer.body = job_document(jobs, *job);
  answer.headers.emplace_back("Location", "/v1/jobs/" + id);
  if (status == 200) answer.headers.emplace_back("Idempotent-Replayed", "true");
  return answer;
}

class Submission : public Exchange {
 public:
  Submission(Jobs* jobs, const ApiLimits& limits, const Request& request, const Token& token)
      : jobs_(jobs), limits_(limits), quota_(token.quota) {
    job_.id = Jobs::new_id();
    job_.owner = token.owner;
    job_.token = token.id;
    job_.key = std::string(request.header("idempotency-key"));
    peer_ = request.peer;
    job_.name = request.parameter("name").value_or("");
    job_.problem = problem_file_name(job_.name);
    refusal_ = check(request);
    if (!refusal_) refusal_ = check_quota(request.content_length.value_or(0));
    if (refusal_) return;
    reservation_ = jobs->reserve(job_.token);
    reservation_->raise_to(static_cast<int64_t>(request.content_length.value_or(0)));
    path_ = jobs->incoming_path(job_.id);
    file_ = create_file(path_);
    if (!file_.valid()) refusal_ = no_room(system_error());
  }

  ~Submission() override {
    if (!path_.empty()) unlink(path_.c_str());
  }

  uint64_t body_limit() const override { return limits_.most_bytes; }
  std::optional<Answer> refusal() override { return refusal_; }

  bool receive(std::string_view piece) override {
    digest_.add(piece);
    job_.bytes += piece.size();
    if (static_cast<int64_t>(job_.bytes) > reservation_->bytes()) {
      // A body of unknown length.
      over_quota_ = check_quota_of_bytes(job_.bytes - static_cast<uint64_t>(reservation_->bytes()));
      if (over_quota_) return false;
      reservation_->raise_to(static_cast<int64_t>(job_.bytes));
    }
    if (write_all(file_.get(), piece)) return true;
    failure_ = system_error();
    return false;
  }

  void answer(Reply reply) override {
    if (over_quota_) return reply(*over_quota_);
    if (!failure_.empty()) return reply(no_room(failure_));
    if (job_.bytes == 0) return reply(problem(400, "no-problem", "the body is empty"));
    file_.reset();
    job_.sha256 = digest_.finish();
    const std::string earlier = jobs_->id_of_key(job_.owner, job_.key);
    if (!earlier.empty()) return reply(replay(earlier));
    if (jobs_->is_revoked(job_.owner, job_.key)) {
      return reply(problem(409, "key-revoked", "the submission under this key was given up"));
    }
    job_.created = unix_time();
    const std::string received = std::move(path_);
    path_.clear();
    // It counts as being received until it is a job, whether its connection lasts or not.
    jobs_->submit(job_, {job_.owner, job_.token, peer_}, received,
                  [jobs = jobs_, id = job_.id, reply,
                   reservation = reservation_](const std::string& failure) {
                    reservation->end();
                    reply(failure.empty() ? job_answer(*jobs, id, 201) : no_room(failure));
                  });
  }

 private:
  static Answer no_room(const std::string& reason) {
    return problem(507, "no-room", "the server cannot store the job: " + reason);
  }

  std::optional<Answer> check(const Request& request) {
    const auto bad = [](const char* detail) { return problem(400, "bad-parameter", detail); };
    if (job_.name.size() > kLongestName) return bad("the name is longer than 255 bytes");
    if (!is_key(job_.key)) return bad("the idempotency key has more than 128 bytes or blanks");
    WorkerSettings caps = jobs_->limits().worker;
    caps.time_limit = least_limit(caps.time_limit, quota_.time);
    caps.threads = least_limit(caps.threads, long{quota_.threads});
    if (!read_parameter(request, "time_limit", &job_.time_limit) ||
        !is_within(job_.time_limit, caps.time_limit)) {
      return bad("time_limit is no number of seconds within the limit");
    }
    if (!read_parameter(request, "threads", &job_.threads) ||
        !is_within(job_.threads, static_cast<int64_t>(caps.threads))) {
      return bad("threads is no number within the limit");
    }
    if (!read_parameter(request, "priority", &job_.priority) ||
        std::abs(job_.priority) > kHighestPriority) {
      return bad("priority is no number from -10 to 10");
    }
    if (job_.time_limit == 0.0) job_.time_limit = quota_.time;
    if (job_.threads == 0) job_.threads = quota_.threads;
    job_.most_variables = quota_.variables;
    if (jobs_->is_draining()) {
      return problem(503, "draining", "the server takes no more jobs and will end");
    }
    if (jobs_->num_open() >= jobs_->limits().most_queued) {
      return problem(429, "too-many-jobs", "the server takes no more jobs until some have ended");
    }
    if (!jobs_->has_room(request.content_length.value_or(0))) {
      return no_room("too little free space");
    }
    return {};
  }

  // Checks a token whose quota is limited. A repeated submission is no second job, but that is
  // known only when its body is there.
  std::optional<Answer> check_quota(uint64_t bytes) const {
    if (!jobs_->id_of_key(job_.owner, job_.key).empty()) return {};
    if (quota_.jobs > 0 && jobs_->usage(job_.token).jobs >= quota_.jobs) {
      return problem(429, "quota-of-jobs", "this token has as many jobs as it may have");
    }
    return check_quota_of_bytes(bytes);
  }

  // Checks whether the token may take so many bytes more.
  std::optional<Answer> check_quota_of_bytes(uint64_t bytes) const {
    if (quota_.bytes == 0) return {};
    const int64_t left = std::max<int64_t>(0, quota_.bytes - jobs_->usage(job_.token).bytes);
    if (bytes <= static_cast<uint64_t>(left)) return {};
    return problem(429, "quota-of-bytes",
                   "this token's problem files take as much room as they may; delete some jobs");
  }

  // The answer to a key that was used before.
  Answer replay(const std::string& id) const {
    const Job* job = jobs_->find(id);
    if (job == nullptr) {
      Answer answer = problem(409, "key-in-use", "a submission under this key is being accepted");
      answer.headers.emplace_back("Retry-After", "1");
      return answer;
    }
    if (job->sha256 != job_.sha256) {
      return problem(422, "other-content", "this idempotency key was used with another body");
    }
    return job_answer(*jobs_, id, 200);
  }

  Jobs* jobs_;
  ApiLimits limits_;
  Quota quota_;
  std::shared_ptr<Reservation> reservation_;
  std::optional<Answer> over_quota_;
  Job job_;
  std::string peer_;
  std::string path_;
  Descriptor file_;
  Digest digest_;
  std::string failure_;
  std::optional<Answer> refusal_;
};

}  // namespace

std::unique_ptr<Exchange> begin_submission(Jobs* jobs, const ApiLimits& limits,
                                           const Request& request, const Token& token) {
  return std::make_unique<Submission>(jobs, limits, request, token);
}

std::string problem_file_name(std::string_view name) {
  const std::string_view compression = take_suffix(kCompressions, &name);
  const std::string_view format = take_suffix(kFormats, &name);
  return "problem" + std::string(format) + std::string(compression);
}

}  // namespace vorlan::server
