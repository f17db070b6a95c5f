// The plugin's two functions: exceptions end here.
#include <signal.h>

#include <ctime>
#include <exception>
#include <new>
#include <string>

#include "address.h"
#include "failure.h"
#include "remote_job.h"
#include "remote_plugin.h"

namespace vorlan::remote {
namespace {

// A connection that is gone must not end the caller's process, whose signal handlers are its own:
// the signal is blocked, and taken away if it came.
class PipeSignalBlock {
 public:
  PipeSignalBlock() {
    sigset_t pending;
    sigpending(&pending);
    was_pending_ = sigismember(&pending, SIGPIPE) == 1;
    sigemptyset(&pipe_);
    sigaddset(&pipe_, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &pipe_, &earlier_);
  }
  ~PipeSignalBlock() {
    const timespec at_once{};
    if (!was_pending_) sigtimedwait(&pipe_, nullptr, &at_once);
    pthread_sigmask(SIG_SETMASK, &earlier_, nullptr);
  }
  PipeSignalBlock(const PipeSignalBlock&) = delete;
  PipeSignalBlock& operator=(const PipeSignalBlock&) = delete;

 private:
  sigset_t pipe_{}, earlier_{};
  bool was_pending_ = false;
};

void fail(RemoteFailure failure, const std::string& message, RemoteAnswer* answer) {
  *answer = {};
  answer->end = RemoteEnd::kFailed;
  answer->failure = failure;
  message.copy(answer->message, sizeof answer->message - 1);
}

void warn_of_plain_token(const RemoteRequest& request, const Address& address) {
  if (address.is_encrypted || address.is_this_machine || request.token[0] == '\0') return;
  static constexpr char kText[] =
      "Warning: the access token and the model travel unencrypted to another machine; use https\n";
  request.log(request.handle, kText, sizeof kText - 1);
}

void solve(const RemoteRequest& request, RemoteAnswer* answer) {
  *answer = {};
  const PipeSignalBlock block;
  try {
    const Address address = parse_address(request.address);
    warn_of_plain_token(request, address);
    RemoteJob(request, address).solve(answer);
  } catch (const Failure& failure) {
    fail(failure.kind, failure.message, answer);
  } catch (const std::bad_alloc&) {
    fail(RemoteFailure::kMemory, "out of memory", answer);
  } catch (const std::exception& error) {
    fail(RemoteFailure::kProtocol,
         std::string("the server's answer makes no sense: ") + error.what(), answer);
  }
}

}  // namespace
}  // namespace vorlan::remote

extern "C" {

__attribute__((visibility("default"))) int32_t vorlan_remote_version() {
  return kRemotePluginVersion;
}

__attribute__((visibility("default"))) void vorlan_remote_solve(const RemoteRequest* request,
                                                                RemoteAnswer* answer) {
  vorlan::remote::solve(*request, answer);
}
}
