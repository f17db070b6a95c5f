// Changes of the database, many to a commit: they have to survive a fall of the server. A commit
// waits for the disk, so a thread of its own makes them; all changes that come while it waits are
// made by the next one together.
#pragma once

#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "base/loop.h"
#include "store/database.h"

namespace vorlan::server {

class Store {
 public:
  // Opens DATA/server.sqlite and brings its tables up to date. Throws DatabaseError.
  Store(Loop* loop, const std::string& path);
  // Makes the waiting changes, then ends.
  ~Store();
  Store(const Store&) = delete;
  Store& operator=(const Store&) = delete;

  // A change of the database. It runs in the store's thread, perhaps more than once, after those
  // given before it.
  using Change = std::function<void(Database*)>;
  // Called in the loop once the change is on the disk, or with the reason why it never will be.
  using Done = std::function<void(const std::string& failure)>;
  void write(Change change, Done done);

 private:
  struct Item {
    Change change;
    Done done;
    std::string failure;
  };

  void serve();
  bool take(std::vector<Item>* batch);
  void commit(std::vector<Item>* batch);
  void commit_alone(Item* item);

  Loop* loop_;
  Database database_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<Item> waiting_;
  bool ending_ = false;
  std::thread thread_;
};

// Makes the tables of an empty database, or what later versions have added to them; refuses one that a later version has made.
void prepare_tables(Database* database);

}  // namespace vorlan::server
