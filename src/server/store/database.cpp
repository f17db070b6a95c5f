// Calls of SQLite; see database.h.
#include "store/database.h"

#include <sqlite3.h>

namespace vorlan::server {
namespace {

// Longer than any transaction of this server or of `vorlanserver token` takes.
constexpr int kBusyMilliseconds = 10'000;

}  // namespace

Statement::Statement(const Database& database, const char* sql) : database_(database.handle_) {
  check(sqlite3_prepare_v2(database_, sql, -1, &statement_, nullptr));
}

Statement::~Statement() { sqlite3_finalize(statement_); }

void Statement::check(int code) const {
  if (code != SQLITE_OK) throw DatabaseError(sqlite3_errmsg(database_));
}

void Statement::bind(int index, std::string_view text) {
  check(sqlite3_bind_text(statement_, index + 1, text.data(), static_cast<int>(text.size()),
                          SQLITE_TRANSIENT));
}

void Statement::bind(int index, int64_t number) {
  check(sqlite3_bind_int64(statement_, index + 1, number));
}

void Statement::bind(int index, double number) {
  check(sqlite3_bind_double(statement_, index + 1, number));
}

bool Statement::step() {
  const int code = sqlite3_step(statement_);
  if (code == SQLITE_ROW) return true;
  if (code == SQLITE_DONE) return false;
  throw DatabaseError(sqlite3_errmsg(database_));
}

void Statement::reset() { sqlite3_reset(statement_); }

std::string Statement::text(int column) const {
  const auto* bytes = reinterpret_cast<const char*>(sqlite3_column_text(statement_, column));
  if (bytes == nullptr) return {};
  return {bytes, static_cast<size_t>(sqlite3_column_bytes(statement_, column))};
}

int64_t Statement::integer(int column) const { return sqlite3_column_int64(statement_, column); }

double Statement::number(int column) const { return sqlite3_column_double(statement_, column); }

Database::Database(const std::string& path) {
  const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX;
  if (sqlite3_open_v2(path.c_str(), &handle_, flags, nullptr) != SQLITE_OK) {
    const std::string reason = handle_ == nullptr ? "out of memory" : sqlite3_errmsg(handle_);
    sqlite3_close(handle_);
    throw DatabaseError("cannot open '" + path + "': " + reason);
  }
  sqlite3_busy_timeout(handle_, kBusyMilliseconds);
  execute("PRAGMA journal_mode=WAL; PRAGMA synchronous=FULL; PRAGMA foreign_keys=ON;");
}

Database::~Database() { sqlite3_close(handle_); }

void Database::execute(const char* sql) const {
  char* message = nullptr;
  if (sqlite3_exec(handle_, sql, nullptr, nullptr, &message) == SQLITE_OK) return;
  const std::string reason = message == nullptr ? "unknown" : message;
  sqlite3_free(message);
  throw DatabaseError(reason);
}

}  // namespace vorlan::server
