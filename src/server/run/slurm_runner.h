// Workers on the nodes of a Slurm cluster, which share the data folder with the server. An attempt is
// a job of the cluster, submitted, watched and ended by Slurm's commands.
//
//   start   the script is written into the attempt's folder, then given to sbatch
//   end     the worker's last file is there and its lock is free, or the list of jobs says so; what
//           the worker did is judged from its files, never from the state that Slurm gives it
//   fall    a job is found again by its name. Where it cannot be known whether it was submitted it is
//           submitted once more: the worker's first step can be taken once only (run-attempt)
//
// Each command has a time limit of its own. While the controller is away, attempts that run go on and
// end by their files, and the others wait.
#pragma once

#include <map>
#include <memory>

#include "base/loop.h"
#include "run/command_queue.h"
#include "run/job_runner.h"
#include "run/slurm_words.h"

namespace vorlan::server {

class SlurmRunner : public Runner {
 public:
  SlurmRunner(Loop* loop, const SlurmSettings& settings);
  ~SlurmRunner() override;

  std::string start(const AttemptPlace& place, const WorkerSettings& settings,
                    const std::vector<std::string>& words, Over over) override;
  bool starts_at_once() const override { return false; }
  bool adopt(const AttemptPlace& place, Over over) override;
  void stop(const std::string& job) override;
  void kill(const std::string& job) override;
  std::string trouble() const override { return trouble_; }

 private:
  enum class Step { kToSubmit, kSubmitting, kUnsure, kSubmitted };
  enum class Demand { kNone, kStop, kKill };
  struct Attempt;

  Attempt* find(const std::string& job);
  void add(const AttemptPlace& place, Over over, Step step);
  void submit(Attempt* attempt);
  void submitted(const std::string& job, const CommandResult& result);
  void demand(const std::string& job, Demand demand);
  void act_on_demand(Attempt* attempt);

  void beat();
  void look_at_files();
  void list();
  void listed(uint64_t number, const CommandResult& result);
  void learn(Attempt* attempt, const SlurmJobs& jobs);
  void learn_none(Attempt* attempt);
  void take_end(Attempt* attempt, const SlurmJob& last);
  void give_up(Attempt* attempt);
  void over(Attempt* attempt);

  Loop* loop_;
  SlurmSettings settings_;
  CommandQueue submissions_;
  CommandQueue commands_;
  std::map<std::string, std::unique_ptr<Attempt>> attempts_;
  Loop::Handle beat_timer_;
  uint64_t num_lists_ = 0;
  bool is_listing_ = false;
  double next_list_ = 0.0;
  std::string trouble_;
};

}  // namespace vorlan::server
