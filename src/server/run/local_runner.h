// Workers as processes of this machine. Each has a session of its own, so that all of it can be
// killed, and lives on when the server ends or falls.
#pragma once

#include <map>
#include <memory>

#include "base/files.h"
#include "base/loop.h"
#include "run/jail.h"
#include "run/job_runner.h"

namespace vorlan::server {

class LocalRunner : public Runner {
 public:
  // `program` is the worker's program.
  LocalRunner(Loop* loop, std::string program, const JailSettings& jail);
  ~LocalRunner() override;

  std::string start(const AttemptPlace& place, const WorkerSettings& settings,
                    const std::vector<std::string>& words, Over over) override;
  bool starts_at_once() const override { return true; }
  const Jail& jail() const { return jail_; }
  bool adopt(const AttemptPlace& place, Over over) override;
  void stop(const std::string& job) override;
  void kill(const std::string& job) override;

 private:
  struct Worker;

  void watch(std::unique_ptr<Worker> worker);
  void watch_lock(Worker* worker);
  void look(const std::string& job);
  void end_child(Worker* worker);
  void count_processes();
  void try_stop(const std::string& job);
  Worker* find(const std::string& job);

  Loop* loop_;
  std::string program_;
  Jail jail_;
  Loop::Handle count_timer_;
  std::map<std::string, std::unique_ptr<Worker>> workers_;
};

}  // namespace vorlan::server
