// A solve's child process where the system calls by which the parent follows it do nothing but fail:
// the answer comes, or an error does, and the parent does not run at full speed meanwhile. The calls
// are replaced in this program.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include "solve/run/runner.h"
#include "task/parameter_index.h"

namespace {

// The error by which each call fails; 0: it does not.
int g_poll_error = 0;
int g_read_error = 0;
int g_waitpid_error = 0;
int g_fork_error = 0;
int g_num_kills = 0;

template <class Function>
Function next(const char* name) {
  return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

bool fails(int error) {
  if (error != 0) errno = error;
  return error != 0;
}

}  // namespace

extern "C" int poll(pollfd* descriptors, nfds_t count, int milliseconds) {
  if (fails(g_poll_error)) return -1;
  return next<int (*)(pollfd*, nfds_t, int)>("poll")(descriptors, count, milliseconds);
}

extern "C" ssize_t read(int descriptor, void* buffer, size_t size) {
  if (fails(g_read_error)) return -1;
  return next<ssize_t (*)(int, void*, size_t)>("read")(descriptor, buffer, size);
}

extern "C" pid_t waitpid(pid_t pid, int* status, int options) {
  if (fails(g_waitpid_error)) return -1;
  return next<pid_t (*)(pid_t, int*, int)>("waitpid")(pid, status, options);
}

extern "C" pid_t fork() noexcept {
  if (fails(g_fork_error)) return -1;
  return next<pid_t (*)()>("fork")();
}

extern "C" int kill(pid_t pid, int number) {
  ++g_num_kills;
  return next<int (*)(pid_t, int)>("kill")(pid, number);
}

namespace vorlan {
namespace {

class FailingCalls : public testing::Test {
 protected:
  ~FailingCalls() override { g_poll_error = g_read_error = g_waitpid_error = g_fork_error = 0; }

  // A solve that lasts for the seconds and then has an answer, or is ended before.
  Status solve(double seconds) {
    task_.model.cost = {1.0};
    Listener listener(&task_);
    const Work work = [seconds](const Parameters&, double, BackendMonitor* monitor,
                                Answer* answer) {
      monitor->log("begins\n");
      usleep(static_cast<useconds_t>(1e6 * seconds));
      answer->result.outcome = Outcome::kOptimal;
      return Status();
    };
    const double begin = monotonic_seconds();
    const double processor_begin = processor_seconds();
    Status status = run_in_child(work, &task_, &listener, &answer_);
    processor_ = processor_seconds() - processor_begin;
    seconds_ = monotonic_seconds() - begin;
    return status;
  }

  static double processor_seconds() {
    timespec time{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
  }

  // No busy loop of a second.
  void expect_idle() const { EXPECT_LT(processor_, 0.3); }

  vlntaskt task_;
  Answer answer_;
  double seconds_ = 0.0;
  double processor_ = 0.0;
};

TEST_F(FailingCalls, AnAnswerComesWhereEveryPollIsInterrupted) {
  g_poll_error = EINTR;
  const Status status = solve(1.0);
  EXPECT_TRUE(status.ok()) << status.message();
  EXPECT_EQ(answer_.result.outcome, Outcome::kOptimal);
  expect_idle();
}

TEST_F(FailingCalls, AShortSolveHasItsAnswerThoughPollFails) {
  g_poll_error = ENOMEM;
  const Status status = solve(0.2);
  EXPECT_TRUE(status.ok()) << status.message();
  EXPECT_EQ(answer_.result.outcome, Outcome::kOptimal);
  expect_idle();
}

TEST_F(FailingCalls, AnEndlessSolveEndsByAnErrorWherePollOrReadFails) {
#ifdef __SANITIZE_ADDRESS__
  GTEST_SKIP()
      << "a build with sanitizers aborts where a child ends for a reason that is not known";
#endif
  for (int* error : {&g_poll_error, &g_read_error}) {
    *error = EIO;
    const Status status = solve(600.0);
    *error = 0;
    EXPECT_EQ(status.code(), Code::kErrOptimizerDied);
    EXPECT_LT(seconds_, 60.0);
    expect_idle();
    task_.killed_children.reap_all();
  }
}

TEST_F(FailingCalls, AnAnswerComesWhereTheChildCannotBeAwaited) {
  for (const int error : {EINTR, EINVAL, ECHILD}) {
    g_waitpid_error = error;
    const Status status = solve(0.1);
    EXPECT_TRUE(status.ok()) << status.message();
    EXPECT_EQ(answer_.result.outcome, Outcome::kOptimal);
    EXPECT_LT(seconds_, 10.0);
    task_.killed_children.reap_all();  // ends, though nothing can be awaited
    expect_idle();
    g_waitpid_error = 0;
    while (waitpid(-1, nullptr, 0) > 0) {
    }
  }
}

TEST_F(FailingCalls, ARaceWithoutAProcessForTheRacerIsNone) {
  task_.model.cost = {1.0};
  std::string log;
  task_.log.link_function(
      &log, [](void* text, const char* more) { *static_cast<std::string*>(text) += more; });
  Race race;
  race.racers = {{"the racer", task_.parameters}};
  race.has_room = [] { return (g_fork_error = EAGAIN) != 0; };
  Listener listener(&task_);
  const Work work = [](const Parameters&, double, BackendMonitor*, Answer* answer) {
    usleep(200000);
    answer->result.outcome = Outcome::kOptimal;
    return Status();
  };
  const Status status = run_race(work, race, &task_, &listener, &answer_);
  EXPECT_EQ(g_fork_error, EAGAIN) << "nobody was to be added";
  EXPECT_TRUE(status.ok()) << status.message();
  EXPECT_EQ(answer_.result.outcome, Outcome::kOptimal);
  EXPECT_EQ(log, "");
}

// Its number may be another process's by the time somebody wins.
TEST_F(FailingCalls, ARacerThatGaveUpGetsNoSignal) {
  task_.model.cost = {1.0};
  Race race;
  race.racers = {{"the racer", task_.parameters}};
  race.racers[0].parameters.set(IntParam::kRandomSeed, 1);
  race.settles = [](const Answer& answer) { return answer.result.outcome == Outcome::kOptimal; };
  Listener listener(&task_);
  const Work work = [](const Parameters& parameters, double, BackendMonitor*, Answer* answer) {
    const bool gives_up = parameters.get(IntParam::kRandomSeed) == 1;
    if (!gives_up) usleep(500000);
    answer->result.outcome = gives_up ? Outcome::kStopped : Outcome::kOptimal;
    return Status();
  };
  g_num_kills = 0;
  const Status status = run_race(work, race, &task_, &listener, &answer_);
  EXPECT_TRUE(status.ok()) << status.message();
  EXPECT_EQ(answer_.result.outcome, Outcome::kOptimal);
  EXPECT_EQ(g_num_kills, 0);
}

// Where the system has reaped the child, its number may be another process's by now.
TEST_F(FailingCalls, AChildThatIsGoneGetsNoSignal) {
  g_waitpid_error = ECHILD;
  g_num_kills = 0;
  const Status status = solve(0.1);
  g_waitpid_error = 0;
  EXPECT_TRUE(status.ok()) << status.message();
  EXPECT_EQ(g_num_kills, 0);
  EXPECT_GT(waitpid(-1, nullptr, 0), 0);
}

}  // namespace
}  // namespace vorlan
