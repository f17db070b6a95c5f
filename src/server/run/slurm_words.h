// The words that are said to a Slurm cluster and the lines that it answers: commands, the script of
// an attempt, the list of squeue. All of it is plain text, which has stayed the same over the
// releases; the JSON has not.
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "run/job_runner.h"

namespace vorlan::server {

struct SlurmSettings {
  std::string server;                // this program, by a path that the nodes have
  std::string worker;                // the program vorlancli, likewise
  std::string jail;                  // the mode of --jail
  uint64_t most_memory = 0;          // bytes of each process of a worker; 0: the node's
  std::vector<std::string> options;  // for sbatch, beside ours
};

// The name of an attempt's job on the cluster. It is the attempt's own, so that a job whose number
// was never learnt is found by it.
std::string slurm_name(const AttemptPlace& place);

// The text of the script that runs an attempt. It holds all that sbatch must know but the place.
std::string slurm_script(const SlurmSettings& settings, const AttemptPlace& place,
                         const WorkerSettings& needs, const std::vector<std::string>& words);
inline constexpr const char* kSlurmScript = "slurm.sh";

std::vector<std::string> submit_words(const AttemptPlace& place);
// The job's number in the output of sbatch --parsable; empty when there is none.
std::string submitted_id(std::string_view output);

std::vector<std::string> list_words();
struct SlurmJob {
  std::string id, state, reason;

  // No process of it runs any more, and none will.
  bool has_ended() const;
};
// The cluster's jobs by name. A name can have several, when the answer to a submission was lost.
using SlurmJobs = std::multimap<std::string, SlurmJob>;
SlurmJobs read_list(std::string_view output);

// Cancels what waits.
std::vector<std::string> cancel_waiting_words(const std::vector<std::string>& ids);
// Sends a signal to the worker of what runs: to all of its processes, or to the first alone, which
// is the worker itself.
std::vector<std::string> terminate_words(const std::vector<std::string>& ids);
std::vector<std::string> kill_words(const std::vector<std::string>& ids);

}  // namespace vorlan::server
