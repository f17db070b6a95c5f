// The task travels as the same files that users write and read, so that whatever a file can say, a
// server can solve.
#include "remote/remote_optimize.h"

#include <cstring>

#include "file/input_stream.h"
#include "format/problem_file.h"
#include "format/task/solution_file.h"
#include "remote/plugin_loader.h"
#include "remote/scratch_file.h"
#include "solve/run/listener.h"
#include "task/parameter_index.h"
#include "task/text.h"

namespace vorlan {
namespace {

constexpr const char* kProblemName = "problem.task.zst";

constexpr struct {
  RemoteFailure failure;
  Code code;
} kFailures[] = {
    {RemoteFailure::kAddress, Code::kErrServerAddress},
    {RemoteFailure::kUnreachable, Code::kErrServerUnreachable},
    {RemoteFailure::kCertificate, Code::kErrServerCertificate},
    {RemoteFailure::kProtocol, Code::kErrServerProtocol},
    {RemoteFailure::kAccess, Code::kErrServerAccess},
    {RemoteFailure::kBusy, Code::kErrServerBusy},
    {RemoteFailure::kTooLarge, Code::kErrServerProblemSize},
    {RemoteFailure::kLost, Code::kErrServerLost},
    {RemoteFailure::kJobGone, Code::kErrServerJobGone},
    {RemoteFailure::kResult, Code::kErrServerResult},
    {RemoteFailure::kMemory, Code::kErrMemory},
};

Code code_of(RemoteFailure failure) {
  for (const auto& row : kFailures) {
    if (row.failure == failure) return row.code;
  }
  return Code::kErrInternal;
}

Code code_of_name(const char* name) {
  for (const CodeEntry& entry : response_codes()) {
    if (std::strcmp(entry.name, name) == 0) return entry.code;
  }
  return Code::kErrOptimizer;
}

// The task's side of the conversation. The last line of the remote log is held back: of a solve
// that failed it is the line by which this library, too, will tell the failure.
class Conversation {
 public:
  explicit Conversation(Task* task) : task_(task) {}

  static int beat(void* handle, double seconds) {
    return static_cast<Conversation*>(handle)->asks_to_stop(seconds) ? 1 : 0;
  }
  static void log(void* handle, const char* text, size_t length) {
    static_cast<Conversation*>(handle)->take_text({text, length});
  }

  // The seconds are those that the remote optimizer has taken: the way there does not count.
  bool asks_to_stop(double seconds) const { return callback_asks_to_stop(task_, seconds); }

  // Hands on what was held back, but not the line of the failure.
  void finish(const Status& status) {
    if (status.ok() || held_ != failure_line(status)) task_->log.write(held_);
    held_.clear();
  }

 private:
  // The server logs as its operator wishes; a caller who wants no log gets none.
  void take_text(std::string_view text) {
    if (task_->parameters.get(IntParam::kLog) < kLogSummary) return;
    held_ += text;
    const size_t last_end =
        held_.size() < 2 ? std::string::npos : held_.rfind('\n', held_.size() - 2);
    if (last_end == std::string::npos) return;
    task_->log.write(held_.substr(0, last_end + 1));
    held_.erase(0, last_end + 1);
  }

  Task* task_;
  std::string held_;
};

// The task as the server is to have it: solutions to start from go along, names of files do not.
Status write_problem(Task* task, const ScratchFile& file, const StopRule& rule) {
  const Parameters parameters = task->parameters;
  for (const StringParamEntry& entry : string_parameters()) {
    (void)task->parameters.put_string(static_cast<int32_t>(entry.param), {});
  }
  task->parameters.set(IntParam::kTaskFileSolutions, 1);
  Status status = write_task_file(task, file.path().c_str(), Compression::kZstd, rule);
  task->parameters = parameters;
  return status;
}

Status read_result(Task* task, const ScratchFile& file, Code* termination) {
  InputStream input;
  file.rewind();
  Status status = input.open(file.path().c_str(), "the server's result");
  SolverResult result;
  Solutions solutions;
  if (status.ok()) status = read_solver_result(&input, task->model, &result, &solutions);
  if (!status.ok()) {
    return {Code::kErrServerResult, "the server's result cannot be read: " + status.message()};
  }
  *termination = result.termination;
  task->solver_result.figures = std::move(result.figures);
  if (result.response != Code::kOk) return {result.response, result.message};
  task->solutions = std::move(solutions);
  return {};
}

}  // namespace

Status optimize_remotely(Task* task, const char* address, const char* token, Code* termination) {
  RemoteSolve solve = nullptr;
  Status status = load_remote_plugin(&solve);
  ScratchFile problem;
  ScratchFile result;
  if (status.ok()) status = problem.open();
  if (status.ok()) status = result.open();
  if (!status.ok()) return status;

  Conversation conversation(task);
  const StopQuestion asks_to_stop = [&] { return conversation.asks_to_stop(0.0); };
  status = write_problem(task, problem, {asks_to_stop, AtStop::kGiveUp});
  if (asks_to_stop()) {
    *termination = Code::kTrmUserCallback;
    return {};
  }
  if (!status.ok()) return status;

  const RemoteRequest request = {address,          token,        problem.get(), problem.size(),
                                 kProblemName,     result.get(), &conversation, Conversation::beat,
                                 Conversation::log};
  RemoteAnswer answer = {};
  solve(&request, &answer);
  switch (answer.end) {
    case RemoteEnd::kResult:
      status = read_result(task, result, termination);
      break;
    case RemoteEnd::kStopped:
      *termination = Code::kTrmUserCallback;
      break;
    case RemoteEnd::kNoResult:
      status = {code_of_name(answer.response), answer.message};
      break;
    case RemoteEnd::kFailed:
      status = {code_of(answer.failure), answer.message};
      break;
  }
  conversation.finish(status);
  return status;
}

}  // namespace vorlan
