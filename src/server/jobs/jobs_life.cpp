// A job's way from the queue to its end, and what is done after a fall; see jobs.h.
#include <algorithm>
#include <filesystem>

#include "base/digest.h"
#include "base/event_log.h"
#include "base/files.h"
#include "jobs/job_rows.h"
#include "jobs/jobs.h"
#include "run/log_cap.h"
#include "store/tokens.h"

namespace vorlan::server {
namespace {

using namespace std::chrono_literals;

// How often logs and marks of running workers are looked at.
constexpr auto kLookAtRunning = 100ms;
constexpr auto kExpire = 60s;
// Each is a second after the one before.
constexpr int kMostTries = 60;
constexpr double kAuditSeconds = 400 * 86400.0;
// So much of a log is read at a look.
constexpr size_t kLogPiece = size_t{64} << 10;

bool is_log(std::string_view name) { return name == kLogFile || name == kSolveLogFile; }

// Makes the results outlive a fall of the machine and takes their digests; nothing when the disk does
// not let one be read or made safe.
std::optional<std::vector<ResultFile>> secure_results(const std::string& folder) {
  std::vector<ResultFile> results;
  for (const FetchedFile& file : fetched_files()) {
    const std::string path = folder + "/" + file.name;
    if (is_log(file.name)) shorten_log(path);
    const auto size = file_size(path);
    if (!size) continue;
    const auto digest = sync_path(path) ? sha256_of_file(path) : std::nullopt;
    if (!digest) return {};
    results.push_back({file.name, *size, *digest});
  }
  if (exists(folder) && !sync_path(folder)) return {};
  return results;
}

void only_logs(std::vector<ResultFile>* results) {
  std::erase_if(*results, [](const ResultFile& file) { return !is_log(file.name); });
}

void take_log_sizes(Job* job) {
  for (const ResultFile& file : job->results) {
    if (file.name == kLogFile) job->log_bytes = file.bytes;
    if (file.name == kSolveLogFile) job->solve_log_bytes = file.bytes;
  }
}

// The worker knows the problem by a path of the server's making; people know it by the name that they gave it.
std::string with_submitted_name(std::string message, const Job& job) {
  const std::string path = "../" + job.problem;
  const std::string& name = job.name.empty() ? job.problem : job.name;
  for (size_t at = message.find(path); at != std::string::npos;
       at = message.find(path, at + name.size())) {
    message.replace(at, path.size(), name);
  }
  return message;
}

// Makes the end of a job from the files and the wish, when the attempt will not be followed by
// another.
Job make_ended(Job job, const Verdict& verdict, std::vector<ResultFile> results) {
  job.state = JobState::kEnded;
  job.ended = unix_time();
  job.response = verdict.response;
  job.termination = verdict.termination;
  job.message = with_submitted_name(verdict.message, job);
  job.progress = verdict.progress;
  if (verdict.solve_began > 0.0) job.began = verdict.solve_began;
  const bool unwanted = job.wish == Wish::kCancel || job.wish == Wish::kDelete;
  if (unwanted || verdict.without_result || (!verdict.finished && job.wish == Wish::kStop)) {
    job.outcome = Outcome::kCancelled;
  } else if (!verdict.finished) {
    job.outcome = Outcome::kLost;
    job.response = "VLN_RES_ERR_OPTIMIZER_DIED";
    job.message = "the worker ended before it was done, " + std::to_string(job.attempt) +
                  (job.attempt == 1 ? " time" : " times");
    if (!verdict.failure.empty()) job.message += "; " + verdict.failure;
  } else {
    job.outcome = job.response == "VLN_RES_OK" ? Outcome::kOk : Outcome::kFailed;
  }
  if (job.outcome == Outcome::kCancelled || job.outcome == Outcome::kLost) only_logs(&results);
  job.results = std::move(results);
  return job;
}

}  // namespace

struct Jobs::Settlement {
  Verdict verdict;
  std::optional<std::vector<ResultFile>> results;  // nothing: the disk fails
};

void Jobs::enqueue(Job* job) { queue_.add(job->owner, job->priority, job->id); }

void Jobs::take_slot(const Job& job) {
  running_.insert(job.id);
  queue_.count_start(job.owner);
}

void Jobs::free_slot(const Job& job) {
  followers_.erase(job.id);
  running_.erase(job.id);
  queue_.count_end(job.owner);
}

void Jobs::start_waiting() {
  if (is_draining()) return look_at_drain();
  while (running_.size() < limits_.slots) {
    const auto id = queue_.next();
    if (!id) return;
    if (!has_room()) return wait_for_room();
    decide_start(find_any(*id));
  }
}

void Jobs::wait_for_room() {
  if (waits_for_room_) return;
  waits_for_room_ = true;
  log_event("warning", {{"disk", "no room to start jobs"}});
  retry_later([this] {
    waits_for_room_ = false;
    start_waiting();
  });
}

void Jobs::decide_start(Job* job) {
  queue_.remove(job->owner, job->priority, job->id);
  take_slot(*job);
  job->state = JobState::kStarting;
  ++job->attempt;
  changed(job);
  save(*job, [this, id = job->id](const std::string& failure) {
    fall_point("start.committed");
    if (failure.empty()) return begin_attempt(id);
    put_back(id, failure);
  });
}

// What kept the attempt from beginning is nobody's attempt.
void Jobs::put_back(const std::string& id, const std::string& failure) {
  Job* job = find_any(id);
  --job->attempt;
  job->state = JobState::kQueued;
  free_slot(*job);
  changed(job);
  log_event("store failed", {{"job", id}, {"reason", failure}});
  retry_later([this, id] {
    Job* waiting = find_any(id);
    if (waiting == nullptr || waiting->state != JobState::kQueued || waiting->settling) return;
    enqueue(waiting);
    start_waiting();
  });
}

Runner::Over Jobs::over_function() {
  return [this](const std::string& id) { worker_over(id); };
}

void Jobs::begin_attempt(const std::string& id) {
  Job* job = find_any(id);
  if (job->wish != Wish::kNone) {
    free_slot(*job);
    end_unstarted(id, {}, [](const std::string&) {});
    return start_waiting();
  }
  const std::string folder = attempt_folder(*job);
  remove_tree(folder);
  WorkerSettings settings = limits_.worker;
  if (job->time_limit > 0.0) settings.time_limit = job->time_limit;
  if (job->threads > 0) settings.threads = job->threads;
  settings.max_variables = least_limit(settings.max_variables, job->most_variables);
  if (!make_folder(folder)) return put_back(id, system_error());
  const std::string failure = runner_->start(
      {id, folder}, settings, worker_arguments(job->problem, settings), over_function());
  fall_point("start.spawned");
  if (!failure.empty()) {
    if (++tries_[id] < kMostTries) return put_back(id, failure);
    log_event("start failed", {{"job", id}, {"reason", failure}});
    (void)write_file(folder + "/" + kFailureFile, failure);
    return worker_over(id);
  }
  tries_.erase(id);
  if (runner_->starts_at_once()) job->state = JobState::kRunning;
  changed(job);
  act_on_wish(id);
}

void Jobs::act_on_wish(const std::string& id) {
  const Job* job = find_any(id);
  const auto has_runner = [](JobState s) {
    return s == JobState::kStarting || s == JobState::kRunning;
  };
  // A runner does not know attempts that have not been given to it yet.
  if (job == nullptr || !has_runner(job->state)) return;
  if (job->wish == Wish::kStop) runner_->stop(id);
  if (job->wish > Wish::kStop) runner_->kill(id);
}

void Jobs::worker_over(const std::string& id) {
  Job* job = find_any(id);
  job->settling = true;
  free_slot(*job);
  fall_point("end.over");
  settle(id);
  start_waiting();
}

void Jobs::settle(const std::string& id) {
  const auto settlement = std::make_shared<Settlement>();
  files_->run(
      [settlement, folder = attempt_folder(*find_any(id))] {
        settlement->verdict = judge_attempt(folder);
        settlement->results = secure_results(folder);
        fall_point("end.secured");
      },
      [this, id, settlement] { settled(id, *settlement); });
}

void Jobs::settled(const std::string& id, const Settlement& settlement) {
  Job* job = find_any(id);
  if (settlement.verdict.unreadable || !settlement.results) return settle_later(id, settlement);
  const bool has_died = !settlement.verdict.finished && job->attempt < kMostAttempts;
  // A full disk is nobody's attempt.
  const bool had_no_room = !settlement.verdict.did_all && !has_room();
  if (job->wish == Wish::kNone && (has_died || had_no_room)) return run_again(job);
  end(id, make_ended(*job, settlement.verdict, *settlement.results));
}

// A disk that fails may come back. One that does not takes the job with it, but no other.
void Jobs::settle_later(const std::string& id, Settlement settlement) {
  log_event("store failed", {{"job", id}, {"reason", "the attempt's files cannot be read"}});
  if (++tries_[id] < kMostTries) return retry_later([this, id] { settle(id); });
  settlement.verdict = {};
  settlement.verdict.failure = "its files cannot be read";
  end(id, make_ended(*find_any(id), settlement.verdict, {}));
}

void Jobs::run_again(Job* job) {
  ++counts_.died;
  log_event("worker died", {{"job", job->id}, {"attempt", std::to_string(job->attempt)}});
  job->settling = false;
  job->state = JobState::kQueued;
  job->began = 0.0;
  job->progress.clear();
  changed(job);
  enqueue(job);
  start_waiting();
}

void Jobs::end(const std::string& id, const Job& ended) {
  const auto change = [ended](Database* database) {
    save_job(database, ended);
    add_audit(database, {ended.owner, "", ""}, "end", ended.id,
              std::string(word_of(ended.outcome)) + " " + ended.response);
  };
  store_->write(change, [this, id, ended](const std::string& failure) {
    fall_point("end.committed");
    if (failure.empty()) return apply_end(id, ended);
    log_event("store failed", {{"job", id}, {"reason", failure}});
    retry_later([this, id, ended] { end(id, ended); });
  });
}

void Jobs::apply_end(const std::string& id, const Job& ended) {
  Job* job = find_any(id);
  const Wish wish = job->wish;
  tries_.erase(id);
  *job = ended;
  job->wish = wish;
  job->settling = false;
  take_log_sizes(job);
  --num_open_;
  ++counts_.ended[static_cast<size_t>(job->outcome)];
  changed(job);
  log_event("job ended", {{"job", id},
                          {"outcome", word_of(job->outcome)},
                          {"response", job->response},
                          {"termination", job->termination}});
  if (is_draining()) look_at_drain();
  if (wish != Wish::kDelete) return;
  const std::vector<Deletion> waiting = std::move(deletions_[id]);
  deletions_.erase(id);
  const Actor actor = waiting.empty() ? Actor{job->owner, job->token, ""} : waiting.front().actor;
  erase(id, actor, [waiting](const std::string& failure) {
    for (const Deletion& deletion : waiting) deletion.done(failure);
  });
}

void Jobs::end_unstarted(const std::string& id, const Actor& actor, Done done) {
  Job* job = find_any(id);
  queue_.remove(job->owner, job->priority, job->id);
  job->settling = true;
  const Job ended = make_ended(*job, {}, {});
  const auto change = [ended, actor](Database* database) {
    save_job(database, ended);
    if (!actor.token.empty()) add_audit(database, actor, word_of(ended.wish), ended.id, "");
    add_audit(database, {ended.owner, "", ""}, "end", ended.id, word_of(ended.outcome));
  };
  store_->write(change, [this, id, ended, done = std::move(done)](const std::string& failure) {
    fall_point("wish.committed");
    done(failure);
    if (failure.empty()) return apply_end(id, ended);
    retry_later([this, id, ended] { end(id, ended); });
  });
}

void Jobs::look_at_running() {
  for (const std::string& id : running_) {
    Job* job = find_any(id);
    if (job->state == JobState::kStarting && exists(attempt_folder(*job) + "/" + kPidFile)) {
      job->state = JobState::kRunning;
      changed(job);
    }
    if (job->state == JobState::kRunning) look_at(job);
  }
  look_timer_ = loop_->after(kLookAtRunning, [this] { look_at_running(); });
}

void Jobs::look_at(Job* job) {
  const std::string folder = attempt_folder(*job);
  const auto size = [&folder](const char* name) {
    return file_size(folder + "/" + name).value_or(0);
  };
  const uint64_t log = size(kLogFile);
  const uint64_t solve_log = size(kSolveLogFile);
  const double began =
      job->began > 0.0 ? job->began : file_time(folder + "/" + kStartedFile).value_or(0.0);
  for (const char* name : {kLogFile, kSolveLogFile, kErrorFile}) {
    hollow_log(folder + "/" + name, size(name));
  }
  const bool has_grown = log != job->log_bytes || solve_log != job->solve_log_bytes;
  const bool has_begun = began != job->began;
  job->log_bytes = log;
  job->solve_log_bytes = solve_log;
  job->began = began;
  const bool has_progressed = has_grown && read_progress(job, folder + "/" + kLogFile);
  if (has_begun || has_progressed) return changed(job);
  if (has_grown) log_grew(job);
}

// True when the log tells something new.
bool Jobs::read_progress(Job* job, const std::string& log) {
  Follower& follower = followers_[job->id];
  const std::string text = read_part(log, follower.offset, kLogPiece).value_or("");
  const size_t whole = text.rfind('\n');
  if (whole == std::string::npos) {
    // A line that long tells no progress.
    if (text.size() == kLogPiece) follower.offset += kLogPiece;
    return false;
  }
  follower.offset += whole + 1;
  const auto found = follower.reader.read_text(std::string_view(text).substr(0, whole));
  if (found.empty()) return false;
  job->progress = progress_document(found.back());
  return true;
}

void Jobs::expire_old() {
  const double oldest = unix_time() - limits_.retention_seconds;
  std::vector<std::string> old;
  for (const auto& [id, job] : jobs_) {
    if (job.state == JobState::kEnded && job.ended < oldest && is_visible(job)) old.push_back(id);
  }
  for (const std::string& id : old) {
    log_event("job expired", {{"job", id}});
    erase(id, {}, [](const std::string&) {});
  }
  store_->write([](Database* database) { expire_audit(database, unix_time() - kAuditSeconds); },
                nullptr);
  expire_timer_ = loop_->after(kExpire, [this] { expire_old(); });
}

void Jobs::recover(std::vector<Job> rows) {
  for (Job& row : rows) {
    Job* job = &(jobs_[row.id] = std::move(row));
    if (!job->key.empty()) keys_[{job->owner, job->key}] = job->id;
    if (job->state != JobState::kEnded) ++num_open_;
    changed(job);
  }
  remove_leftovers();
  for (auto& [id, job] : jobs_) recover_job(&job);
  start_waiting();
  look_at_running();
  expire_old();
}

void Jobs::recover_job(Job* job) {
  if (job->state == JobState::kEnded) {
    take_log_sizes(job);
    if (job->wish == Wish::kDelete) erase(job->id, {}, [](const std::string&) {});
    return;
  }
  const std::string folder = attempt_folder(*job);
  if (job->state != JobState::kQueued && runner_->adopt({job->id, folder}, over_function())) {
    log_event("worker adopted", {{"job", job->id}});
    // It runs when it has written its process id, which the next look tells.
    job->state = runner_->starts_at_once() ? JobState::kRunning : JobState::kStarting;
    take_slot(*job);
    return act_on_wish(job->id);
  }
  if (job->state != JobState::kQueued && exists(folder + "/" + kPidFile)) {
    job->settling = true;
    return settle(job->id);
  }
  // Its worker never began to work: that was no attempt.
  if (job->state != JobState::kQueued) --job->attempt;
  job->state = JobState::kQueued;
  if (job->wish != Wish::kNone) return end_unstarted(job->id, {}, [](const std::string&) {});
  enqueue(job);
}

// Bodies that were never received whole, and folders of submissions that were not accepted or of
// jobs that were deleted.
void Jobs::remove_leftovers() {
  namespace fs = std::filesystem;
  std::error_code ignored;
  for (const auto& entry : fs::directory_iterator(data_folder_ + "/incoming", ignored)) {
    remove_tree(entry.path());
  }
  for (const auto& group : fs::directory_iterator(data_folder_ + "/jobs", ignored)) {
    for (const auto& entry : fs::directory_iterator(group.path(), ignored)) {
      if (!jobs_.contains(entry.path().filename())) remove_tree(entry.path());
    }
  }
}

}  // namespace vorlan::server
