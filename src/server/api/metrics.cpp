// Lines of figures; see metrics.h.
#include "api/metrics.h"

#include <iterator>

namespace vorlan::server {
namespace {

class Text {
 public:
  void begin(const std::string& name, const char* type, const char* help) {
    name_ = "vorlanserver_" + name;
    text_ += "# HELP " + name_ + " " + help + "\n# TYPE " + name_ + " " + type + "\n";
  }
  void add(uint64_t value, const std::string& labels = "") {
    text_ += name_ + labels + " " + std::to_string(value) + "\n";
  }
  void add_alone(const std::string& name, const char* type, const char* help, uint64_t value) {
    begin(name, type, help);
    add(value);
  }
  std::string take() { return std::move(text_); }

 private:
  std::string name_, text_;
};

std::string label(const char* name, const std::string& value) {
  return std::string("{") + name + "=\"" + value + "\"}";
}

}  // namespace

std::string metrics_document(const Jobs& jobs, const HttpFigures& http, uint64_t free_bytes) {
  Text text;
  const JobCounts& counts = jobs.counts();
  text.add_alone("jobs_submitted_total", "counter", "Jobs that were accepted.", counts.submitted);
  text.begin("jobs_ended_total", "counter", "Jobs that ended, by outcome.");
  for (const Outcome outcome :
       {Outcome::kOk, Outcome::kFailed, Outcome::kCancelled, Outcome::kLost}) {
    text.add(counts.ended[static_cast<size_t>(outcome)], label("outcome", word_of(outcome)));
  }
  text.add_alone("workers_died_total", "counter", "Attempts that are made up for by another.",
                 counts.died);
  text.add_alone("jobs_queued", "gauge", "Jobs that wait for a worker.", jobs.num_queued());
  text.add_alone("jobs_running", "gauge", "Jobs that have a worker.", jobs.num_running());
  text.add_alone("slots", "gauge", "Workers at a time.", jobs.limits().slots);
  text.add_alone("jobs_kept", "gauge", "Jobs that nobody has deleted.", jobs.all().size());
  text.add_alone("draining", "gauge", "1 once no more jobs are taken.", jobs.is_draining() ? 1 : 0);
  text.add_alone("free_bytes", "gauge", "Room left for the data folder.", free_bytes);
  text.add_alone("connections", "gauge", "Open connections.", http.connections);
  text.begin("answers_total", "counter", "Answers, by HTTP status.");
  for (const auto& [status, count] : http.answers) {
    text.add(count, label("status", std::to_string(status)));
  }
  return text.take();
}

}  // namespace vorlan::server
