// Requests that everybody may make of jobs: looking, submitting, wishing. The way from the queue to
// the end is in jobs_life.cpp; see jobs.h.
#include "jobs/jobs.h"

#include <algorithm>
#include <cstdio>
#include <utility>

#include "base/digest.h"
#include "base/event_log.h"
#include "base/files.h"
#include "jobs/job_rows.h"

namespace vorlan::server {
namespace {

using namespace std::chrono_literals;

// A client that gave up is not heard of again under the same key.
constexpr double kRevokedKeySeconds = 3600.0;
// The data folder's file system keeps so much free for running jobs.
constexpr uint64_t kReservedBytes = uint64_t{64} << 20;
// So many deletions are told to watchers that ask later than they happened.
constexpr size_t kMostDeletionsTold = 10'000;
// After a failed commit, as a rule for want of room.
constexpr auto kRetryCommit = 1s;

// Puts the received file in its place so that it outlives a fall of the machine.
std::string place_problem(const std::string& received, const std::string& folder,
                          const std::string& name) {
  const std::string parent = folder.substr(0, folder.rfind('/'));
  const std::string grandparent = parent.substr(0, parent.rfind('/'));
  fall_point("submit.received");
  if (!sync_path(received) || !make_folder(parent) || !make_folder(folder)) return system_error();
  if (std::rename(received.c_str(), (folder + "/" + name).c_str()) != 0) return system_error();
  fall_point("submit.renamed");
  if (!sync_path(folder) || !sync_path(parent) || !sync_path(grandparent)) return system_error();
  return {};
}

}  // namespace

Reservation::Reservation(std::shared_ptr<UsageByToken> received, std::string token)
    : received_(std::move(received)), token_(std::move(token)) {
  ++(*received_)[token_].jobs;
}

void Reservation::raise_to(int64_t bytes) {
  (*received_)[token_].bytes += bytes - bytes_;
  bytes_ = bytes;
}

void Reservation::end() {
  if (received_ == nullptr) return;
  Usage& usage = (*received_)[token_];
  usage.bytes -= bytes_;
  if (--usage.jobs == 0) received_->erase(token_);
  received_ = nullptr;
}

Jobs::Jobs(Loop* loop, Store* store, WorkThreads* files, Runner* runner, std::string data_folder,
           const JobLimits& limits)
    : loop_(loop),
      store_(store),
      files_(files),
      runner_(runner),
      data_folder_(std::move(data_folder)),
      limits_(limits),
      seq_(static_cast<uint64_t>(unix_time() * 1000.0)),
      forgotten_(seq_) {}

Jobs::~Jobs() = default;

const Job* Jobs::find(const std::string& id) const {
  const auto found = jobs_.find(id);
  return found != jobs_.end() && is_visible(found->second) ? &found->second : nullptr;
}

Job* Jobs::find_any(const std::string& id) {
  const auto found = jobs_.find(id);
  return found == jobs_.end() ? nullptr : &found->second;
}

size_t Jobs::queue_place(const Job& job) const {
  size_t place = 1;
  for (const auto& [id, other] : jobs_) {
    if (other.state != JobState::kQueued) continue;
    if (std::pair(-other.priority, id) < std::pair(-job.priority, job.id)) ++place;
  }
  return place;
}

std::string Jobs::incoming_path(const std::string& id) const {
  return data_folder_ + "/incoming/" + id;
}

// Groups folders by the last, random digits, so that no folder gets too full.
std::string Jobs::job_folder(const std::string& id) const {
  return data_folder_ + "/jobs/" + id.substr(id.size() - 2) + "/" + id;
}

std::string Jobs::attempt_folder(const Job& job) const {
  return job_folder(job.id) + "/" + std::to_string(job.attempt);
}

std::string Jobs::new_id() {
  char time[16];
  std::snprintf(time, sizeof time, "%012llx",
                static_cast<unsigned long long>(unix_time() * 1000.0));
  return time + random_hex(10);
}

std::string Jobs::id_of_key(const std::string& owner, const std::string& key) const {
  const auto found = keys_.find({owner, key});
  return key.empty() || found == keys_.end() ? std::string() : found->second;
}

void Jobs::revoke_key(const std::string& owner, const std::string& key) {
  const double now = unix_time();
  std::erase_if(revoked_keys_, [now](const auto& entry) { return entry.second < now; });
  revoked_keys_[{owner, key}] = now + kRevokedKeySeconds;
}

bool Jobs::is_revoked(const std::string& owner, const std::string& key) const {
  return !key.empty() && revoked_keys_.contains({owner, key});
}

Usage Jobs::usage(const std::string& token) const {
  const auto found = received_->find(token);
  Usage usage = found == received_->end() ? Usage() : found->second;
  for (const auto& [id, job] : jobs_) {
    if (job.token != token) continue;
    usage.jobs += job.state == JobState::kEnded ? 0 : 1;
    usage.bytes += static_cast<int64_t>(job.bytes);
  }
  return usage;
}

std::shared_ptr<Reservation> Jobs::reserve(const std::string& token) {
  return std::make_shared<Reservation>(received_, token);
}

void Jobs::watch(const std::string& id, const Watch& watch) {
  auto& list = watches_[id];
  std::erase_if(list, [](const auto& held) { return held.expired(); });
  list.push_back(watch);
}

void Jobs::watch_all(const Watch& watch) {
  std::erase_if(watches_of_all_, [](const auto& held) { return held.expired(); });
  watches_of_all_.push_back(watch);
}

void Jobs::tell(const std::vector<std::weak_ptr<std::function<void()>>>& watches) {
  for (const auto& held : watches) {
    if (const Watch watch = held.lock()) (*watch)();
  }
}

void Jobs::add_news(uint64_t number, News news) {
  if (news.is_deletion) deletions_told_.push_back(number);
  news_.emplace(number, std::move(news));
  if (deletions_told_.size() > kMostDeletionsTold) {
    forgotten_ = deletions_told_.front();
    news_.erase(forgotten_);
    deletions_told_.pop_front();
  }
  tell(std::exchange(watches_of_all_, {}));
}

void Jobs::changed(Job* job) {
  news_.erase(job->news);
  job->news = seq_ + 1;
  log_grew(job);
  add_news(job->news, {job->id, job->owner});
}

void Jobs::log_grew(Job* job) {
  job->seq = ++seq_;
  const auto found = watches_.find(job->id);
  if (found == watches_.end()) return;
  const auto list = std::move(found->second);
  watches_.erase(found);
  tell(list);
}

void Jobs::save(const Job& job, Done done) {
  store_->write([job](Database* database) { save_job(database, job); }, std::move(done));
}

void Jobs::retry_later(std::function<void()> function) {
  const uint64_t number = ++seq_;
  retries_[number] = loop_->after(kRetryCommit, [this, number, call = std::move(function)] {
    retries_.erase(number);
    call();
  });
}

void Jobs::submit(Job job, const Actor& actor, const std::string& received, Done done) {
  if (!job.key.empty()) keys_[{job.owner, job.key}] = job.id;
  const auto failure = std::make_shared<std::string>();
  const std::string folder = job_folder(job.id);
  files_->run([=, name = job.problem] { *failure = place_problem(received, folder, name); },
              [this, job, actor, failure, folder, done = std::move(done)]() mutable {
                if (failure->empty()) return accept(std::move(job), actor, std::move(done));
                keys_.erase({job.owner, job.key});
                remove_tree(folder);
                done(*failure);
              });
}

void Jobs::accept(Job job, const Actor& actor, Done done) {
  const auto change = [job, actor](Database* database) {
    save_job(database, job);
    add_audit(database, actor, "submit", job.id, job.sha256);
  };
  store_->write(change, [this, job, actor, done = std::move(done)](const std::string& failure) {
    if (!failure.empty()) {
      keys_.erase({job.owner, job.key});
      undo_submission(job.id, actor);
      return done(failure);
    }
    fall_point("submit.committed");
    Job* accepted = &(jobs_[job.id] = job);
    ++num_open_;
    ++counts_.submitted;
    changed(accepted);
    log_event("job submitted", {{"job", job.id}, {"owner", job.owner}, {"token", job.token}});
    done({});
    // The submitter may have given up meanwhile.
    if (is_revoked(job.owner, job.key)) return set_wish(job.id, Wish::kDelete, actor, nullptr);
    enqueue(accepted);
    start_waiting();
  });
}

// A commit that failed may have reached the disk: after a fall the job would be there. What is written
// next takes its place; until then the problem stays, too.
void Jobs::undo_submission(const std::string& id, const Actor& actor) {
  const auto change = [id, actor](Database* database) {
    delete_job(database, id);
    add_audit(database, actor, "refuse", id, "");
  };
  store_->write(change, [this, id, actor](const std::string& failure) {
    if (!failure.empty()) return retry_later([this, id, actor] { undo_submission(id, actor); });
    files_->run([folder = job_folder(id)] { remove_tree(folder); }, [] {});
  });
}

bool Jobs::has_room(uint64_t bytes) const {
  return free_bytes(data_folder_) >= bytes + kReservedBytes;
}

void Jobs::drain(std::function<void()> done) {
  drained_ = std::move(done);
  look_at_drain();
}

// Ends being made safe are waited for too.
void Jobs::look_at_drain() {
  const bool is_busy = std::any_of(jobs_.begin(), jobs_.end(),
                                   [](const auto& entry) { return entry.second.settling; });
  if (drained_ != nullptr && running_.empty() && !is_busy) loop_->post(drained_);
}

void Jobs::set_wish(const std::string& id, Wish wish, const Actor& actor, Done done) {
  Job* job = find_any(id);
  if (done == nullptr) done = [](const std::string&) {};
  if (job->state == JobState::kEnded) {
    if (wish == Wish::kDelete) return erase(id, actor, std::move(done));
    return done({});
  }
  if (wish <= job->wish) return done({});
  // The outcome stands already; it is still open only whether the job stays.
  if (job->settling && wish != Wish::kDelete) return done({});
  job->wish = wish;
  changed(job);
  log_event("wish", {{"job", id}, {"wish", word_of(wish)}});
  if (job->settling) return deletions_[id].push_back({actor, std::move(done)});
  if (job->state == JobState::kQueued) return end_unstarted(id, actor, std::move(done));
  const auto change = [job = *job, actor](Database* database) {
    save_job(database, job);
    add_audit(database, actor, word_of(job.wish), job.id, "");
  };
  store_->write(change, [this, id, done = std::move(done)](const std::string& failure) {
    fall_point("wish.committed");
    done(failure);
    act_on_wish(id);
  });
}

void Jobs::forget(const std::string& id) {
  const auto gone = jobs_.extract(id);
  news_.erase(gone.mapped().news);
  add_news(++seq_, {id, gone.mapped().owner, true});
  const auto found = watches_.find(id);
  if (found == watches_.end()) return;
  const auto list = std::move(found->second);
  watches_.erase(found);
  tell(list);
}

void Jobs::erase(const std::string& id, const Actor& actor, Done done) {
  Job* job = find_any(id);
  job->wish = Wish::kDelete;
  const auto change = [id, actor](Database* database) {
    delete_job(database, id);
    add_audit(database, actor, actor.token.empty() ? "expire" : "delete", id, "");
  };
  store_->write(change, [this, id, done = std::move(done)](const std::string& failure) {
    fall_point("delete.committed");
    done(failure);
    const Job* gone = find_any(id);
    // A failed deletion is made up for when the server starts again.
    if (!failure.empty() || gone == nullptr) return;
    keys_.erase({gone->owner, gone->key});
    files_->run([folder = job_folder(id)] { remove_tree(folder); }, [] {});
    forget(id);
  });
}

}  // namespace vorlan::server
