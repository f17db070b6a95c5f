// The life of jobs: submitted, queued, started, ended, deleted. All of it happens in the loop; what
// must survive a fall is in the database before anybody is told of it.
//
//   a submission   file on the disk, then row, then the answer
//   a start        row (starting, attempt n), then the worker
//   an end         worker gone and its lock free, files on the disk, then row with their digests,
//                  then visible
//
// After a fall the rows and the attempts' locks tell everything: recover() goes on from there.
//
// The class is large because each step reads and changes the same few facts of a job (row, wish,
// attempt, slot) and must see them as the step before left them. What needs less than all of them has
// a class of its own: the queue's order, the quotas under way, a worker, the progress in a log.
#pragma once

#include <array>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "base/loop.h"
#include "base/work_threads.h"
#include "jobs/fair_queue.h"
#include "jobs/job.h"
#include "run/attempt.h"
#include "run/job_runner.h"
#include "run/progress.h"
#include "store/audit.h"
#include "store/store.h"

namespace vorlan::server {

struct JobLimits {
  size_t slots = 1;        // workers at a time
  size_t most_queued = 0;  // jobs that have not ended
  WorkerSettings worker;   // caps; a job may ask for less time and fewer threads
  double retention_seconds = 0.0;
};

// The jobs and bytes that a token takes.
struct Usage {
  int64_t jobs = 0;   // that have not ended
  int64_t bytes = 0;  // of the problem files of all
};
using UsageByToken = std::map<std::string, Usage>;

// A submission under way, which counts among its token's jobs until it is one.
class Reservation {
 public:
  Reservation(std::shared_ptr<UsageByToken> received, std::string token);
  ~Reservation() { end(); }
  Reservation(const Reservation&) = delete;
  Reservation& operator=(const Reservation&) = delete;

  int64_t bytes() const { return bytes_; }
  void raise_to(int64_t bytes);
  void end();

 private:
  std::shared_ptr<UsageByToken> received_;
  std::string token_;
  int64_t bytes_ = 0;
};

// Since the server's start.
struct JobCounts {
  uint64_t submitted = 0;
  uint64_t died = 0;                // workers, without having ended their job
  std::array<uint64_t, 5> ended{};  // by outcome
};

class Jobs {
 public:
  Jobs(Loop* loop, Store* store, WorkThreads* files, Runner* runner, std::string data_folder,
       const JobLimits& limits);
  ~Jobs();
  Jobs(const Jobs&) = delete;
  Jobs& operator=(const Jobs&) = delete;

  // Takes up what an earlier server left, and removes what nobody will ask for.
  void recover(std::vector<Job> rows);

  const JobLimits& limits() const { return limits_; }
  // Jobs that nobody has deleted, by id. nullptr when there is none.
  const Job* find(const std::string& id) const;
  const std::map<std::string, Job>& all() const { return jobs_; }
  static bool is_visible(const Job& job) { return job.wish != Wish::kDelete; }
  // How many would have to start before, if owners took no turns: 1 is the next.
  size_t queue_place(const Job& job) const;
  size_t num_open() const { return num_open_; }
  size_t num_running() const { return running_.size(); }
  size_t num_queued() const { return queue_.size(); }

  // A path for a body that is being received.
  std::string incoming_path(const std::string& id) const;
  std::string job_folder(const std::string& id) const;
  // The folder of the last attempt.
  std::string attempt_folder(const Job& job) const;
  static std::string new_id();

  // The job that was submitted under the owner's key, accepted or about to be; empty when none was.
  std::string id_of_key(const std::string& owner, const std::string& key) const;
  // A key that no submission may use any more: the submitter has given up and may not know how far
  // it got.
  void revoke_key(const std::string& owner, const std::string& key);
  bool is_revoked(const std::string& owner, const std::string& key) const;

  // The usage of a token, those jobs included that are being received.
  Usage usage(const std::string& token) const;
  std::shared_ptr<Reservation> reserve(const std::string& token);

  // No worker is started any more; `done` is called once none runs. Queued jobs stay for the next
  // server.
  void drain(std::function<void()> done);
  // True when the data folder has room for more than what runs. Nothing is accepted or started
  // without.
  bool has_room(uint64_t bytes = 0) const;
  // Why the runner can start no worker at present; empty when it can.
  std::string runner_trouble() const { return runner_->trouble(); }
  bool is_draining() const { return drained_ != nullptr; }
  const JobCounts& counts() const { return counts_; }

  // An empty failure says that the thing is done, and on the disk.
  using Done = std::function<void(const std::string& failure)>;
  // Takes over the received file. The key must be free.
  void submit(Job job, const Actor& actor, const std::string& received, Done done);
  // Takes jobs that find() knows. A lesser wish than the present one changes nothing.
  void set_wish(const std::string& id, Wish wish, const Actor& actor, Done done);

  // Calls the function at the next change of the job, once, if the watch is still held.
  using Watch = std::shared_ptr<std::function<void()>>;
  void watch(const std::string& id, const Watch& watch);
  // Does the same for changes of any job but those of its log.
  void watch_all(const Watch& watch);

  // The last event of a job: it changed, or it was deleted.
  struct News {
    std::string id;
    std::string owner;
    bool is_deletion = false;
  };
  // Events by rising numbers, which are the jobs' `news`. Those before forgotten() are not there.
  const std::map<uint64_t, News>& news() const { return news_; }
  uint64_t last_news() const { return seq_; }
  uint64_t forgotten() const { return forgotten_; }

 private:
  struct Settlement;
  struct Deletion {
    Actor actor;
    Done done;
  };

  Job* find_any(const std::string& id);
  void changed(Job* job);
  void log_grew(Job* job);
  void add_news(uint64_t number, News news);
  static void tell(const std::vector<std::weak_ptr<std::function<void()>>>& watches);
  void save(const Job& job, Done done);
  void retry_later(std::function<void()> function);

  void accept(Job job, const Actor& actor, Done done);
  void undo_submission(const std::string& id, const Actor& actor);
  void look_at_drain();
  void enqueue(Job* job);
  void start_waiting();
  void wait_for_room();
  void decide_start(Job* job);
  void begin_attempt(const std::string& id);
  void put_back(const std::string& id, const std::string& failure);
  void take_slot(const Job& job);
  void free_slot(const Job& job);

  void worker_over(const std::string& id);
  void settle(const std::string& id);
  void settled(const std::string& id, const Settlement& settlement);
  void settle_later(const std::string& id, Settlement settlement);
  void run_again(Job* job);
  void end(const std::string& id, const Job& ended);
  void end_unstarted(const std::string& id, const Actor& actor, Done done);
  void apply_end(const std::string& id, const Job& ended);
  void act_on_wish(const std::string& id);
  void erase(const std::string& id, const Actor& actor, Done done);
  void forget(const std::string& id);

  void recover_job(Job* job);
  void remove_leftovers();
  void look_at_running();
  void look_at(Job* job);
  bool read_progress(Job* job, const std::string& log);
  void expire_old();
  Runner::Over over_function();

  Loop* loop_;
  Store* store_;
  WorkThreads* files_;
  Runner* runner_;
  std::string data_folder_;
  JobLimits limits_;

  std::map<std::string, Job> jobs_;
  std::map<std::pair<std::string, std::string>, std::string> keys_;
  std::map<std::pair<std::string, std::string>, double> revoked_keys_;
  // Connections can outlive the jobs when the server ends.
  std::shared_ptr<UsageByToken> received_ = std::make_shared<UsageByToken>();
  std::map<std::string, std::vector<Deletion>> deletions_;  // of jobs whose end is being made safe
  std::map<std::string, std::vector<std::weak_ptr<std::function<void()>>>> watches_;
  std::vector<std::weak_ptr<std::function<void()>>> watches_of_all_;
  std::map<uint64_t, News> news_;
  std::deque<uint64_t> deletions_told_;  // their numbers
  FairQueue queue_;
  // How far the logs of running jobs have been read.
  struct Follower {
    uint64_t offset = 0;
    ProgressReader reader;
  };
  std::map<std::string, Follower> followers_;
  std::set<std::string> running_;  // jobs that have a slot
  // How often it was tried to begin an attempt, or to judge it, of jobs for which that failed.
  std::map<std::string, int> tries_;
  size_t num_open_ = 0;
  JobCounts counts_;
  std::function<void()> drained_;
  uint64_t seq_;
  uint64_t forgotten_;
  bool waits_for_room_ = false;
  Loop::Handle look_timer_;
  Loop::Handle expire_timer_;
  std::map<uint64_t, Loop::Handle> retries_;
};

}  // namespace vorlan::server
