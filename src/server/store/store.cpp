// The thread of commits; see store.h.
#include "store/store.h"

#include <iterator>

namespace vorlan::server {
namespace {

// The step to each version of the tables from the one before it. A step that was ever released
// stays as it is.
constexpr const char* kSteps[] = {R"(
  CREATE TABLE jobs (
    id TEXT PRIMARY KEY, owner TEXT NOT NULL, token TEXT NOT NULL, key TEXT NOT NULL,
    name TEXT NOT NULL, problem TEXT NOT NULL, bytes INTEGER NOT NULL, sha256 TEXT NOT NULL,
    priority INTEGER NOT NULL, time_limit REAL NOT NULL, threads INTEGER NOT NULL,
    state TEXT NOT NULL, outcome TEXT NOT NULL, attempt INTEGER NOT NULL, wish TEXT NOT NULL,
    response TEXT NOT NULL, termination TEXT NOT NULL, message TEXT NOT NULL,
    created REAL NOT NULL, began REAL NOT NULL, ended REAL NOT NULL) STRICT;
  CREATE UNIQUE INDEX jobs_by_key ON jobs (owner, key) WHERE key <> '';
  CREATE TABLE results (
    job TEXT NOT NULL REFERENCES jobs (id) ON DELETE CASCADE,
    name TEXT NOT NULL, bytes INTEGER NOT NULL, sha256 TEXT NOT NULL,
    PRIMARY KEY (job, name)) STRICT;
  CREATE TABLE tokens (
    id TEXT PRIMARY KEY, hash TEXT NOT NULL, owner TEXT NOT NULL, role TEXT NOT NULL,
    created REAL NOT NULL, expires REAL NOT NULL, revoked REAL NOT NULL) STRICT;
)",
                                  R"(
  ALTER TABLE jobs ADD COLUMN progress TEXT NOT NULL DEFAULT '';
  ALTER TABLE jobs ADD COLUMN most_variables INTEGER NOT NULL DEFAULT 0;
  ALTER TABLE tokens ADD COLUMN most_jobs INTEGER NOT NULL DEFAULT 0;
  ALTER TABLE tokens ADD COLUMN most_bytes INTEGER NOT NULL DEFAULT 0;
  ALTER TABLE tokens ADD COLUMN most_threads INTEGER NOT NULL DEFAULT 0;
  ALTER TABLE tokens ADD COLUMN most_time REAL NOT NULL DEFAULT 0.0;
  ALTER TABLE tokens ADD COLUMN most_variables INTEGER NOT NULL DEFAULT 0;
  CREATE TABLE audit (
    time REAL NOT NULL, what TEXT NOT NULL, owner TEXT NOT NULL, token TEXT NOT NULL,
    peer TEXT NOT NULL, job TEXT NOT NULL, detail TEXT NOT NULL) STRICT;
  CREATE INDEX audit_by_time ON audit (time);
)"};
constexpr auto kSchemaVersion = static_cast<int64_t>(std::size(kSteps));

}  // namespace

void prepare_tables(Database* database) {
  Statement version(*database, "PRAGMA user_version");
  version.step();
  const int64_t found = version.integer(0);
  if (found == kSchemaVersion) return;
  if (found > kSchemaVersion) {
    throw DatabaseError("the data folder was made by a later version of this server (tables " +
                        std::to_string(found) + ", known " + std::to_string(kSchemaVersion) + ")");
  }
  version.reset();
  database->execute("BEGIN IMMEDIATE");
  for (int64_t step = found; step < kSchemaVersion; ++step) database->execute(kSteps[step]);
  database->execute(("PRAGMA user_version=" + std::to_string(kSchemaVersion)).c_str());
  database->execute("COMMIT");
}

Store::Store(Loop* loop, const std::string& path) : loop_(loop), database_(path) {
  prepare_tables(&database_);
  thread_ = std::thread([this] { serve(); });
}

Store::~Store() {
  {
    const std::lock_guard lock(mutex_);
    ending_ = true;
  }
  changed_.notify_one();
  thread_.join();
}

void Store::write(Change change, Done done) {
  {
    const std::lock_guard lock(mutex_);
    waiting_.push_back({std::move(change), std::move(done), {}});
  }
  changed_.notify_one();
}

bool Store::take(std::vector<Item>* batch) {
  batch->clear();
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [this] { return ending_ || !waiting_.empty(); });
  batch->swap(waiting_);
  return !batch->empty();
}

void Store::serve() {
  for (std::vector<Item> batch; take(&batch);) {
    commit(&batch);
    for (Item& item : batch) {
      loop_->post([done = std::move(item.done), failure = std::move(item.failure)] {
        if (done) done(failure);
      });
    }
  }
}

// All of a batch are undone where one change fails, and each is made alone: the others must not
// fail with it.
void Store::commit(std::vector<Item>* batch) {
  try {
    database_.execute("BEGIN IMMEDIATE");
    for (const Item& item : *batch) item.change(&database_);
    database_.execute("COMMIT");
    return;
  } catch (const DatabaseError& error) {
    batch->front().failure = error.what();
  }
  try {
    database_.execute("ROLLBACK");
  } catch (const DatabaseError&) {
    // There may be nothing to undo.
  }
  if (batch->size() == 1) return;
  batch->front().failure.clear();
  for (Item& item : *batch) commit_alone(&item);
}

void Store::commit_alone(Item* item) {
  std::vector<Item> batch(1);
  batch.front().change = item->change;
  commit(&batch);
  item->failure = batch.front().failure;
}

}  // namespace vorlan::server
