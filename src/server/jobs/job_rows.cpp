// Rows of jobs; see job_rows.h.
#include "jobs/job_rows.h"

#include <map>
#include <span>

namespace vorlan::server {
namespace {

constexpr const char* kStates[] = {"queued", "starting", "running", "ended"};
constexpr const char* kOutcomes[] = {"", "ok", "failed", "cancelled", "lost"};
constexpr const char* kWishes[] = {"", "stop", "cancel", "delete"};

template <class Enum>
Enum find_word(std::span<const char* const> words, const std::string& text) {
  for (size_t i = 0; i < words.size(); ++i) {
    if (text == words[i]) return static_cast<Enum>(i);
  }
  throw DatabaseError("the database holds the unknown word '" + text + "'");
}

void bind_job(Statement* row, const Job& job) {
  int column = 0;
  for (const std::string* text :
       {&job.id, &job.owner, &job.token, &job.key, &job.name, &job.problem}) {
    row->bind(column++, *text);
  }
  row->bind(column++, static_cast<int64_t>(job.bytes));
  row->bind(column++, job.sha256);
  row->bind(column++, job.priority);
  row->bind(column++, job.time_limit);
  row->bind(column++, job.threads);
  row->bind(column++, std::string_view(word_of(job.state)));
  row->bind(column++, std::string_view(kOutcomes[static_cast<size_t>(job.outcome)]));
  row->bind(column++, job.attempt);
  row->bind(column++, std::string_view(word_of(job.wish)));
  for (const std::string* text : {&job.response, &job.termination, &job.message}) {
    row->bind(column++, *text);
  }
  for (const double time : {job.created, job.began, job.ended}) row->bind(column++, time);
  row->bind(column++, job.progress);
  row->bind(column++, job.most_variables);
}

Job read_job(const Statement& row) {
  Job job;
  int column = 0;
  for (std::string* text : {&job.id, &job.owner, &job.token, &job.key, &job.name, &job.problem}) {
    *text = row.text(column++);
  }
  job.bytes = static_cast<uint64_t>(row.integer(column++));
  job.sha256 = row.text(column++);
  job.priority = row.integer(column++);
  job.time_limit = row.number(column++);
  job.threads = row.integer(column++);
  job.state = find_word<JobState>(kStates, row.text(column++));
  job.outcome = find_word<Outcome>(kOutcomes, row.text(column++));
  job.attempt = row.integer(column++);
  job.wish = find_word<Wish>(kWishes, row.text(column++));
  for (std::string* text : {&job.response, &job.termination, &job.message}) {
    *text = row.text(column++);
  }
  for (double* time : {&job.created, &job.began, &job.ended}) *time = row.number(column++);
  job.progress = row.text(column++);
  job.most_variables = row.integer(column++);
  return job;
}

void save_results(Database* database, const Job& job) {
  if (job.results.empty()) return;
  Statement insert(*database, "INSERT OR REPLACE INTO results VALUES (?, ?, ?, ?)");
  for (const ResultFile& result : job.results) {
    insert.bind(0, job.id);
    insert.bind(1, result.name);
    insert.bind(2, static_cast<int64_t>(result.bytes));
    insert.bind(3, result.sha256);
    insert.step();
    insert.reset();
  }
}

}  // namespace

const char* word_of(JobState state) { return kStates[static_cast<size_t>(state)]; }
const char* word_of(Outcome outcome) { return kOutcomes[static_cast<size_t>(outcome)]; }
const char* word_of(Wish wish) { return kWishes[static_cast<size_t>(wish)]; }

void save_job(Database* database, const Job& job) {
  Statement row(*database, R"(INSERT INTO jobs VALUES
      (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)
    ON CONFLICT (id) DO UPDATE SET state = excluded.state, outcome = excluded.outcome,
      attempt = excluded.attempt, wish = excluded.wish, response = excluded.response,
      termination = excluded.termination, message = excluded.message, began = excluded.began,
      ended = excluded.ended,
      progress = excluded.progress)");
  bind_job(&row, job);
  row.step();
  save_results(database, job);
}

void delete_job(Database* database, const std::string& id) {
  Statement row(*database, "DELETE FROM jobs WHERE id = ?");
  row.bind(0, id);
  row.step();
}

std::vector<Job> load_jobs(const Database& database) {
  std::vector<Job> jobs;
  std::map<std::string, size_t> places;
  Statement rows(database, "SELECT * FROM jobs ORDER BY id");
  while (rows.step()) {
    jobs.push_back(read_job(rows));
    places[jobs.back().id] = jobs.size() - 1;
  }
  Statement results(database, "SELECT job, name, bytes, sha256 FROM results ORDER BY rowid");
  while (results.step()) {
    jobs[places.at(results.text(0))].results.push_back(
        {results.text(1), static_cast<uint64_t>(results.integer(2)), results.text(3)});
  }
  return jobs;
}

}  // namespace vorlan::server
