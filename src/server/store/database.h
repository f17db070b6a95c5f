// SQLite with errors as exceptions. A Database is used by one thread at a time.
#pragma once

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

struct sqlite3;
struct sqlite3_stmt;

namespace vorlan::server {

class DatabaseError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

class Database;

// A prepared statement; binding and columns count from 0.
class Statement {
 public:
  Statement(const Database& database, const char* sql);
  ~Statement();
  Statement(const Statement&) = delete;
  Statement& operator=(const Statement&) = delete;

  void bind(int index, std::string_view text);
  void bind(int index, int64_t number);
  void bind(int index, double number);

  // True while there is a row.
  bool step();
  // Makes it ready to be bound and stepped again.
  void reset();

  std::string text(int column) const;
  int64_t integer(int column) const;
  double number(int column) const;

 private:
  void check(int code) const;

  sqlite3* database_;
  sqlite3_stmt* statement_ = nullptr;
};

class Database {
 public:
  // Opens the file, which is made when it is missing, with a write-ahead log and every commit on
  // the disk before it returns.
  explicit Database(const std::string& path);
  ~Database();
  Database(const Database&) = delete;
  Database& operator=(const Database&) = delete;

  void execute(const char* sql) const;

 private:
  friend class Statement;
  sqlite3* handle_ = nullptr;
};

}  // namespace vorlan::server
