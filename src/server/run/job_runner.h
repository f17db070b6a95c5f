// The interface between the jobs and the places where workers run: processes of this machine, or a
// cluster. A runner tells that an attempt is over only when no process of it is left that could
// still write.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "run/attempt.h"

namespace vorlan::server {

struct AttemptPlace {
  std::string job;     // the job's id
  std::string folder;  // the attempt's, which is there
};

class Runner {
 public:
  virtual ~Runner() = default;

  // Called once for each attempt that was started or adopted, in the loop.
  using Over = std::function<void(const std::string& job)>;

  // Starts the worker with these words; the settings say what it may take of its machine. The reason
  // when it cannot be started; nothing runs then, and `over` is not called.
  virtual std::string start(const AttemptPlace& place, const WorkerSettings& settings,
                            const std::vector<std::string>& words, Over over) = 0;
  // True when a worker that was started runs at once. Elsewhere it runs when it writes its process
  // id.
  virtual bool starts_at_once() const = 0;
  // Takes over an attempt that a server before this one has started. False when it is over.
  virtual bool adopt(const AttemptPlace& place, Over over) = 0;
  // Asks the worker to end its solve and write what it has, as soon as it can be asked.
  virtual void stop(const std::string& job) = 0;
  // Ends all processes of the attempt at once.
  virtual void kill(const std::string& job) = 0;
  // Why no worker can be started at present, in words; empty when nothing is known to be in the way.
  virtual std::string trouble() const { return {}; }
};

}  // namespace vorlan::server
