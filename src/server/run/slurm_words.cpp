// Words and lines of Slurm's commands; see slurm_words.h.
#include "run/slurm_words.h"

#include <algorithm>
#include <cctype>
#include <cmath>

namespace vorlan::server {
namespace {

constexpr std::string_view kNamePrefix = "vln-";
// The time that is left for reading the problem and writing the results.
constexpr double kMinutesBesideSolve = 10.0;
constexpr double kMebibyte = 1024.0 * 1024.0;

// A word of a shell script, whatever is in it.
std::string quoted(const std::string& word) {
  std::string text = "'";
  for (const char c : word) {
    if (c == '\'')
      text += "'\\''";
    else
      text += c;
  }
  return text + "'";
}

std::string directive(const std::string& word) { return "#SBATCH " + word + "\n"; }

// The words before the first that is no option, which are the numbers of jobs.
std::vector<std::string> cancel_words(std::vector<std::string> options,
                                      const std::vector<std::string>& ids) {
  options.insert(options.begin(), "scancel");
  options.insert(options.end(), ids.begin(), ids.end());
  return options;
}

// Up to the separator, which is taken too.
std::string_view take_field(std::string_view* line) {
  const size_t end = std::min(line->find('|'), line->size());
  const std::string_view field = line->substr(0, end);
  line->remove_prefix(std::min(end + 1, line->size()));
  return field;
}

}  // namespace

std::string slurm_name(const AttemptPlace& place) {
  return std::string(kNamePrefix) + place.job + "-" +
         place.folder.substr(place.folder.rfind('/') + 1);
}

// The worker itself gets the signals because of exec, and the job lasts as long as the worker.
// Slurm must not start it again by itself: an attempt's folder serves once.
std::string slurm_script(const SlurmSettings& settings, const AttemptPlace& place,
                         const WorkerSettings& needs, const std::vector<std::string>& words) {
  std::string text = "#!/bin/sh\n" + directive("--no-requeue") + directive("--export=PATH");
  text += directive("--nodes=1") + directive("--ntasks=1");
  if (needs.threads > 0) text += directive("--cpus-per-task=" + std::to_string(needs.threads));
  if (settings.most_memory > 0) {
    const double mebibytes = std::ceil(static_cast<double>(settings.most_memory) / kMebibyte);
    text += directive("--mem=" + std::to_string(static_cast<long>(mebibytes)));
  }
  if (needs.time_limit > 0.0) {
    const double minutes = std::ceil(needs.time_limit / 60.0) + kMinutesBesideSolve;
    text += directive("--time=" + std::to_string(static_cast<long>(std::min(minutes, 1e8))));
  }
  for (const std::string& option : settings.options) text += directive(option);
  text += "exec " + quoted(settings.server) + " run-attempt " + settings.jail + " " +
          std::to_string(settings.most_memory) + " " + quoted(place.folder) + " " +
          quoted(settings.worker);
  for (const std::string& word : words) text += " " + quoted(word);
  return text + "\n";
}

std::vector<std::string> submit_words(const AttemptPlace& place) {
  return {"sbatch",
          "--parsable",
          "--job-name=" + slurm_name(place),
          "--chdir=" + place.folder,
          "--output=slurm.out",
          "--open-mode=append",
          place.folder + "/" + kSlurmScript};
}

// A line "NUMBER" or "NUMBER;CLUSTER", maybe after warnings.
std::string submitted_id(std::string_view output) {
  while (!output.empty()) {
    const size_t end = std::min(output.find('\n'), output.size());
    const std::string_view line = output.substr(0, end);
    output.remove_prefix(std::min(end + 1, output.size()));
    const std::string_view number = line.substr(0, line.find(';'));
    const bool is_number =
        !number.empty() && std::all_of(number.begin(), number.end(),
                                       [](unsigned char c) { return std::isdigit(c) != 0; });
    if (is_number) return std::string(number);
  }
  return {};
}

// The name comes last: only ours are known to hold no separator.
std::vector<std::string> list_words() {
  return {"squeue", "--noheader", "--all", "--states=all", "--me", "--format=%i|%T|%r|%j"};
}

bool SlurmJob::has_ended() const {
  static constexpr std::string_view kEnds[] = {
      "COMPLETED", "FAILED",        "CANCELLED", "TIMEOUT",   "NODE_FAIL",
      "BOOT_FAIL", "OUT_OF_MEMORY", "DEADLINE",  "PREEMPTED", "REVOKED"};
  return std::find(std::begin(kEnds), std::end(kEnds), state) != std::end(kEnds);
}

SlurmJobs read_list(std::string_view output) {
  SlurmJobs jobs;
  while (!output.empty()) {
    const size_t end = std::min(output.find('\n'), output.size());
    std::string_view line = output.substr(0, end);
    output.remove_prefix(std::min(end + 1, output.size()));
    SlurmJob job;
    job.id = take_field(&line);
    job.state = take_field(&line);
    job.reason = take_field(&line);
    if (line.starts_with(kNamePrefix)) jobs.emplace(line, job);
  }
  return jobs;
}

// A signal to a job that waits would block for as long as it waits and then end it after all. So
// each command names the state that it is for, and does nothing to jobs in others.
std::vector<std::string> cancel_waiting_words(const std::vector<std::string>& ids) {
  return cancel_words({"--state=PENDING"}, ids);
}

std::vector<std::string> terminate_words(const std::vector<std::string>& ids) {
  return cancel_words({"--state=RUNNING", "--signal=TERM", "--batch"}, ids);
}

std::vector<std::string> kill_words(const std::vector<std::string>& ids) {
  return cancel_words({"--state=RUNNING", "--signal=KILL", "--full"}, ids);
}

}  // namespace vorlan::server
