// Following attempts on a cluster; see slurm_runner.h.
#include "run/slurm_runner.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <utility>

#include "base/event_log.h"
#include "base/files.h"

namespace vorlan::server {
namespace {

using namespace std::chrono_literals;

// How often the attempts' files are looked at.
constexpr auto kBeat = 100ms;
// How often the cluster is asked: while attempts are under way, while one is to be ended or its
// state is not known, and while there are none.
constexpr double kListSeconds = 2.0;
constexpr double kListSoonSeconds = 0.5;
constexpr double kListIdleSeconds = 15.0;
// Commands answer within a tenth of a second; those of a busy controller within some.
constexpr auto kPatience = 20s;
constexpr size_t kMostSubmissions = 4;
constexpr size_t kMostCommands = 4;
// So often sbatch may refuse an attempt while the controller is there.
constexpr int kMostRefusals = 3;
// A shared folder may show the last files of a worker that ended well this much later.
constexpr double kFilesLateSeconds = 60.0;
constexpr size_t kLongestReason = 500;

double steady_seconds() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

// A folder shared between machines remembers for a while which files were not there. Reading its
// list makes it look again.
void refresh(const std::string& folder) {
  std::error_code ignored;
  for (const auto& entry : std::filesystem::directory_iterator(folder, ignored)) (void)entry;
}

bool is_done(const std::string& folder) { return file_size(folder + "/done").value_or(0) > 0; }
bool has_lock(const std::string& folder) { return may_be_locked(folder + "/" + kLockFile); }

std::string first_line(const std::string& text) {
  return text.substr(0, std::min(text.find('\n'), kLongestReason));
}

std::string reason_of(const CommandResult& result) {
  if (result.timed_out) return "the cluster's controller does not answer";
  return result.errors.empty() ? "status " + std::to_string(result.status)
                               : first_line(result.errors);
}

}  // namespace

struct SlurmRunner::Attempt {
  AttemptPlace place;
  Over over;
  Step step = Step::kToSubmit;
  Demand demand = Demand::kNone;
  uint64_t first_list = 0;       // the first that can know of the submission
  std::vector<std::string> ids;  // of jobs that have not ended
  int refusals = 0;
  std::string refusal;      // the last one's reason
  std::string told;         // the state and reason that were logged last
  bool is_ending = false;   // commands that end it are under way
  bool was_locked = false;  // its worker has lived
  double seen_ended = 0.0;
};

SlurmRunner::SlurmRunner(Loop* loop, const SlurmSettings& settings)
    : loop_(loop),
      settings_(settings),
      submissions_(loop, kMostSubmissions),
      commands_(loop, kMostCommands) {
  beat();
}

SlurmRunner::~SlurmRunner() = default;

SlurmRunner::Attempt* SlurmRunner::find(const std::string& job) {
  const auto found = attempts_.find(job);
  return found == attempts_.end() ? nullptr : found->second.get();
}

void SlurmRunner::add(const AttemptPlace& place, Over over, Step step) {
  auto attempt = std::make_unique<Attempt>();
  attempt->place = place;
  attempt->over = std::move(over);
  attempt->step = step;
  attempt->first_list = num_lists_ + 1;
  attempts_[place.job] = std::move(attempt);
}

std::string SlurmRunner::start(const AttemptPlace& place, const WorkerSettings& settings,
                               const std::vector<std::string>& words, Over over) {
  const std::string script = slurm_script(settings_, place, settings, words);
  if (!write_file(place.folder + "/" + kSlurmScript, script)) {
    return "cannot write the attempt's script: " + system_error();
  }
  fall_point("slurm.scripted");
  add(place, std::move(over), Step::kToSubmit);
  submit(find(place.job));
  return {};
}

// An attempt without a script was never submitted.
bool SlurmRunner::adopt(const AttemptPlace& place, Over over) {
  refresh(place.folder);
  if (is_done(place.folder) && !has_lock(place.folder)) return false;
  const bool was_begun = exists(place.folder + "/" + kLockFile);
  if (!was_begun && !exists(place.folder + "/" + kSlurmScript)) return false;
  add(place, std::move(over), Step::kUnsure);
  next_list_ = 0.0;
  return true;
}

// While the controller is away, what is to be submitted waits for the next list.
void SlurmRunner::submit(Attempt* attempt) {
  attempt->step = Step::kToSubmit;
  if (!trouble_.empty() || attempt->demand != Demand::kNone) return;
  attempt->step = Step::kSubmitting;
  submissions_.run(submit_words(attempt->place), kPatience,
                   [this, job = attempt->place.job](const CommandResult& result) {
                     fall_point("slurm.submitted");
                     submitted(job, result);
                   });
}

void SlurmRunner::submitted(const std::string& job, const CommandResult& result) {
  Attempt* attempt = find(job);
  if (attempt == nullptr) return;
  const std::string id = result.ok() ? submitted_id(result.output) : std::string();
  attempt->first_list = num_lists_ + 1;
  if (!id.empty()) {
    attempt->step = Step::kSubmitted;
    attempt->ids = {id};
    attempt->refusals = 0;
    log_event("slurm submitted", {{"job", job}, {"slurm", id}});
    return act_on_demand(attempt);
  }
  attempt->step = Step::kUnsure;
  if (!result.timed_out) ++attempt->refusals;
  attempt->refusal = reason_of(result);
  log_event("slurm refused", {{"job", job}, {"reason", attempt->refusal}});
  next_list_ = 0.0;
}

void SlurmRunner::stop(const std::string& job) { demand(job, Demand::kStop); }
void SlurmRunner::kill(const std::string& job) { demand(job, Demand::kKill); }

void SlurmRunner::demand(const std::string& job, Demand demand) {
  Attempt* attempt = find(job);
  if (attempt == nullptr || attempt->demand >= demand) return;
  attempt->demand = demand;
  act_on_demand(attempt);
}

// The worker obeys SIGTERM once it has written its process id. Between the two commands a waiting
// job may begin: so both are said again, after each list, until the attempt is over.
void SlurmRunner::act_on_demand(Attempt* attempt) {
  if (attempt->demand == Demand::kNone || attempt->is_ending) return;
  if (attempt->ids.empty()) return;
  attempt->is_ending = true;
  const auto after_all = [this, job = attempt->place.job](const CommandResult&) {
    if (Attempt* ending = find(job)) ending->is_ending = false;
    next_list_ = std::min(next_list_, steady_seconds() + 0.1);
  };
  const bool may_kill = attempt->demand == Demand::kKill;
  const bool may_signal = may_kill || exists(attempt->place.folder + "/" + kPidFile);
  if (!may_signal) {
    return commands_.run(cancel_waiting_words(attempt->ids), kPatience, after_all);
  }
  const auto words = may_kill ? kill_words(attempt->ids) : terminate_words(attempt->ids);
  commands_.run(cancel_waiting_words(attempt->ids), kPatience,
                [this, words, after_all](const CommandResult&) {
                  commands_.run(words, kPatience, after_all);
                });
}

void SlurmRunner::beat() {
  beat_timer_ = loop_->after(kBeat, [this] { beat(); });
  look_at_files();
  if (!is_listing_ && steady_seconds() >= next_list_) list();
}

// Ends that need no answer of the cluster: everything is written and nobody holds the lock, or
// nothing was submitted and nobody wants it any more.
void SlurmRunner::look_at_files() {
  std::vector<Attempt*> ended;
  for (const auto& [job, attempt] : attempts_) {
    const bool is_unwanted = attempt->step == Step::kToSubmit && attempt->demand != Demand::kNone;
    const std::string& folder = attempt->place.folder;
    const bool is_free = !has_lock(folder);
    if (is_unwanted || (is_done(folder) && is_free)) {
      ended.push_back(attempt.get());
    } else if (!is_free) {
      attempt->was_locked = true;
    } else if (std::exchange(attempt->was_locked, false)) {
      next_list_ = 0.0;  // its worker has died: the list says how
    }
  }
  for (Attempt* attempt : ended) over(attempt);
}

void SlurmRunner::list() {
  is_listing_ = true;
  const uint64_t number = ++num_lists_;
  commands_.run(list_words(), kPatience,
                [this, number](const CommandResult& result) { listed(number, result); });
}

void SlurmRunner::listed(uint64_t number, const CommandResult& result) {
  is_listing_ = false;
  const std::string before = trouble_;
  trouble_ = result.ok() ? std::string() : reason_of(result);
  if (trouble_ != before) log_event("slurm", {{"trouble", trouble_}});
  if (result.ok()) {
    const SlurmJobs jobs = read_list(result.output);
    std::vector<std::string> known;
    for (const auto& [job, attempt] : attempts_) {
      if (attempt->first_list <= number) known.push_back(job);
    }
    for (const std::string& job : known) learn(find(job), jobs);
  }
  const bool is_urgent = std::any_of(attempts_.begin(), attempts_.end(), [](const auto& entry) {
    const Attempt& attempt = *entry.second;
    return attempt.demand != Demand::kNone || attempt.step != Step::kSubmitted ||
           attempt.seen_ended > 0.0;
  });
  const double usual = attempts_.empty() ? kListIdleSeconds : kListSeconds;
  next_list_ = steady_seconds() + (is_urgent ? kListSoonSeconds : usual);
}

void SlurmRunner::learn(Attempt* attempt, const SlurmJobs& jobs) {
  if (attempt->step == Step::kSubmitting) return;
  if (attempt->step == Step::kToSubmit) return submit(attempt);
  const auto [first, last] = jobs.equal_range(slurm_name(attempt->place));
  attempt->ids.clear();
  for (auto entry = first; entry != last; ++entry) {
    if (!entry->second.has_ended()) attempt->ids.push_back(entry->second.id);
  }
  if (first == last) return learn_none(attempt);
  attempt->step = Step::kSubmitted;
  const SlurmJob& newest = std::prev(last)->second;
  const std::string text = newest.state + " " + newest.reason;
  if (text != attempt->told) {
    log_event("slurm state", {{"job", attempt->place.job},
                              {"slurm", newest.id},
                              {"state", newest.state},
                              {"reason", newest.reason}});
    attempt->told = text;
  }
  if (attempt->ids.empty()) return take_end(attempt, newest);
  act_on_demand(attempt);
}

// The cluster knows nothing of it: it was never submitted, or it ended long ago.
void SlurmRunner::learn_none(Attempt* attempt) {
  const bool was_begun = exists(attempt->place.folder + "/" + kLockFile);
  if (attempt->step == Step::kSubmitted || was_begun) {
    return take_end(attempt, {"", "unknown to the cluster", ""});
  }
  if (attempt->demand != Demand::kNone) return over(attempt);
  if (attempt->refusals >= kMostRefusals) return give_up(attempt);
  submit(attempt);
}

// A dead node's lock may never be given back, and its worker may live: it has its folder for itself.
void SlurmRunner::take_end(Attempt* attempt, const SlurmJob& last) {
  const std::string& folder = attempt->place.folder;
  refresh(folder);
  if (attempt->seen_ended == 0.0) attempt->seen_ended = steady_seconds();
  const bool is_late = steady_seconds() - attempt->seen_ended > kFilesLateSeconds;
  if (last.state == "COMPLETED" && !is_done(folder) && !is_late) return;
  if (last.state != "NODE_FAIL" && has_lock(folder)) return;
  if (!is_done(folder) && !exists(folder + "/" + kFailureFile)) {
    const bool has_reason = !last.reason.empty() && last.reason != "None";
    (void)write_file(folder + "/" + kFailureFile,
                     "Slurm: " + last.state + (has_reason ? " (" + last.reason + ")" : ""));
  }
  over(attempt);
}

void SlurmRunner::give_up(Attempt* attempt) {
  (void)write_file(attempt->place.folder + "/" + kFailureFile, attempt->refusal);
  over(attempt);
}

void SlurmRunner::over(Attempt* attempt) {
  const std::string job = attempt->place.job;
  refresh(attempt->place.folder);
  const auto call = std::move(attempt->over);
  attempts_.erase(job);
  call(job);
}

}  // namespace vorlan::server
