// A solve's child process, with backends that misbehave in every way that a real one has been seen
// to: silent, printing, out of memory, dead.
#include "solve/run/child_process.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <new>
#include <sstream>
#include <string>
#include <vector>

#include "solve/run/runner.h"

namespace vorlan {
namespace {

constexpr double kNoLimit = kInfinity;

// The caller of the solve: what it sees and does.
struct Caller {
  int calls = 0;
  int stop_at_call = 0;  // 0: never
  std::vector<double> times;
  std::string log;
};

int count_call(vlntaskt*, void* handle, VLNcallbackcode_enum, const double* doubles, const int*,
               const long*) {
  auto* caller = static_cast<Caller*>(handle);
  caller->times.push_back(doubles[50]);
  ++caller->calls;
  return caller->stop_at_call > 0 && caller->calls >= caller->stop_at_call;
}

void append_log(void* handle, const char* text) { static_cast<Caller*>(handle)->log += text; }

class ChildProcess : public testing::Test {
 protected:
  ChildProcess() {
    task_.model.cost = {1.0, 2.0};
    task_.model.con_lower = {0.0};
    task_.callback = {count_call, &caller_};
    task_.log.link_function(&caller_, append_log);
  }

  using Solve = decltype(Backend::solve);

  Status run(Solve solve) {
    const MinimizeProblem problem(task_.model);
    return run(
        [&](const Parameters& parameters, double seconds, BackendMonitor* monitor, Answer* answer) {
          return solve(problem, parameters, seconds, monitor, &answer->result);
        });
  }

  Status run(const Work& work) {
    Listener listener(&task_);
    Answer answer;
    const double start = monotonic_seconds();
    Status status = run_in_child(work, &task_, &listener, &answer);
    seconds_ = monotonic_seconds() - start;
    result_ = std::move(answer.result);
    verdict_ = answer.verdict;
    conflict_ = std::move(answer.conflict);
    return status;
  }

  vlntaskt task_;
  Caller caller_;
  BackendResult result_;
  Verdict verdict_;
  Conflict conflict_;
  double seconds_ = 0.0;
};

Status hang(const MinimizeProblem&, const Parameters&, double, BackendMonitor*, BackendResult*) {
  while (true) pause();
}

TEST_F(ChildProcess, HandsEveryPartOfTheResultOver) {
  const Status status = run([](const MinimizeProblem& problem, const Parameters&, double seconds,
                               BackendMonitor*, BackendResult* result) -> Status {
    EXPECT_EQ(seconds, kNoLimit);
    result->outcome = Outcome::kOptimal;
    result->certificate = Certificate::kPrimalRay;
    result->termination = Code::kTrmStall;
    result->progress.nodes = 12;
    result->progress.bound = -2.5;
    result->x = {problem.cost[0], 4.0};
    result->d = {5.0, 6.0};
    result->y = {7.0};
    result->var_key = {StatusKey::kBasic, StatusKey::kFixed};
    result->con_key = {StatusKey::kAtUpper};
    return {};
  });
  ASSERT_TRUE(status.ok()) << status.message();
  EXPECT_EQ(result_.outcome, Outcome::kOptimal);
  EXPECT_EQ(result_.certificate, Certificate::kPrimalRay);
  EXPECT_EQ(result_.termination, Code::kTrmStall);
  EXPECT_EQ(result_.progress.nodes, 12);
  EXPECT_EQ(result_.progress.bound, -2.5);
  EXPECT_EQ(result_.x, (std::vector<double>{1.0, 4.0}));
  EXPECT_EQ(result_.d, (std::vector<double>{5.0, 6.0}));
  EXPECT_EQ(result_.y, (std::vector<double>{7.0}));
  EXPECT_EQ(result_.var_key, (std::vector<StatusKey>{StatusKey::kBasic, StatusKey::kFixed}));
  EXPECT_EQ(result_.con_key, (std::vector<StatusKey>{StatusKey::kAtUpper}));
}

TEST_F(ChildProcess, MissingArraysStayMissing) {
  ASSERT_TRUE(run([](const MinimizeProblem&, const Parameters&, double, BackendMonitor*,
                     BackendResult*) -> Status {
                return {};
              }).ok());
  EXPECT_TRUE(result_.x.empty());
  EXPECT_TRUE(result_.y.empty());
  EXPECT_TRUE(result_.var_key.empty());
}

TEST_F(ChildProcess, FailureComesWithItsMessage) {
  const Status status = run([](const MinimizeProblem&, const Parameters&, double, BackendMonitor*,
                               BackendResult*) -> Status {
    return {Code::kErrModelNumber, "row 7 is odd"};
  });
  EXPECT_EQ(status.code(), Code::kErrModelNumber);
  EXPECT_EQ(status.message(), "row 7 is odd");
}

TEST_F(ChildProcess, ExceptionsBecomeCodes) {
  EXPECT_EQ(run([](const MinimizeProblem&, const Parameters&, double, BackendMonitor*,
                   BackendResult*) -> Status {
              throw std::bad_alloc();
            }).code(),
            Code::kErrMemory);
  EXPECT_EQ(run([](const MinimizeProblem&, const Parameters&, double, BackendMonitor*,
                   BackendResult*) -> Status {
              throw 7;
            }).code(),
            Code::kErrOptimizer);
}

#ifndef __SANITIZE_ADDRESS__  // its allocator knows no limit of the process and ends it
TEST_F(ChildProcess, MemoryLimitIsACodeHoweverTheBackendTakesIt) {
  ASSERT_TRUE(task_.parameters.put_by_name("VLN_DPAR_MEMORY_LIMIT", "64").ok());
  const Solve within = [](const MinimizeProblem&, const Parameters&, double, BackendMonitor*,
                          BackendResult* result) -> Status {
    std::vector<char> block(32u << 20, 'x');
    result->outcome = block.back() == 'x' ? Outcome::kOptimal : Outcome::kUnknown;
    return {};
  };
  const Solve beyond = [](const MinimizeProblem&, const Parameters&, double, BackendMonitor*,
                          BackendResult*) -> Status {
    std::vector<char> block(96u << 20, 'x');
    return {Code::kErrInternal, std::string(1, block.back())};
  };
  const Solve beyond_and_dies = [](const MinimizeProblem&, const Parameters&, double,
                                   BackendMonitor*, BackendResult*) noexcept -> Status {
    std::vector<char> block(96u << 20, 'x');
    return {Code::kErrInternal, std::string(1, block.back())};
  };
  EXPECT_TRUE(run(within).ok());
  EXPECT_EQ(result_.outcome, Outcome::kOptimal);
  for (const Solve solve : {beyond, beyond_and_dies}) {
    const Status status = run(solve);
    EXPECT_EQ(status.code(), Code::kErrMemory);
    EXPECT_NE(status.message().find("64 MiB"), std::string::npos) << status.message();
  }
}
#endif

TEST_F(ChildProcess, DeathIsACodeAndTheCallerLivesOn) {
  const Status status = run([](const MinimizeProblem&, const Parameters&, double, BackendMonitor*,
                               BackendResult*) -> Status {
    raise(SIGKILL);
    return {};
  });
  EXPECT_EQ(status.code(), Code::kErrOptimizerDied);
  EXPECT_NE(status.message().find("signal 9"), std::string::npos) << status.message();
}

TEST_F(ChildProcess, PrintedTextAndLogTextReachTheLogInOrder) {
  testing::internal::CaptureStdout();
  const Status status = run([](const MinimizeProblem&, const Parameters&, double,
                               BackendMonitor* monitor, BackendResult*) -> Status {
    std::printf("printed\n");
    std::fflush(stdout);
    monitor->log("logged ");
    monitor->log("in pieces\nand the rest");
    return {};
  });
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  ASSERT_TRUE(status.ok());
  EXPECT_EQ(caller_.log, R"(printed
logged in pieces
and the rest
)");
}

// More text than the pipe and the reader take at a time, so that milestones overtook it, and text
// overtook milestones.
TEST_F(ChildProcess, MilestonesAndTextStandInTheOrderInWhichTheyCame) {
  constexpr int kRounds = 100;
  task_.model.var_kind = {VarKind::kInteger, VarKind::kInteger};
  const Work work = [](const Parameters&, double, BackendMonitor* monitor, Answer*) -> Status {
    Progress progress;
    for (int k = 0; k < kRounds; ++k) {
      monitor->log(std::string(5000, '.') + " text " + std::to_string(k) + '\n');
      progress.objective = -k;
      monitor->milestone(progress, "point " + std::to_string(k));
    }
    return {};
  };
  ASSERT_TRUE(run(work).ok());
  for (int k = 0; k < kRounds; ++k) {
    const std::string number = std::to_string(k) + '\n';
    const size_t text = caller_.log.find(" text " + number);
    const size_t milestone = caller_.log.find("point " + number);
    // The child drops text where its reader is kept from reading for long.
    if (text == std::string::npos) continue;
    ASSERT_NE(milestone, std::string::npos) << k;
    EXPECT_LT(text, milestone) << k;
    const size_t next_text = caller_.log.find(" text " + std::to_string(k + 1) + '\n');
    EXPECT_LT(milestone, next_text) << k;
  }
}

// Rows that the clock asks for stand between those of milestones.
TEST_F(ChildProcess, NoRowShowsOlderFiguresThanTheOneBeforeIt) {
  task_.model.var_kind = {VarKind::kInteger, VarKind::kInteger};
  ASSERT_TRUE(task_.parameters.put_by_name("VLN_DPAR_LOG_INTERVAL", "0.01").ok());
  const Work work = [](const Parameters&, double, BackendMonitor* monitor, Answer*) -> Status {
    Progress progress;
    for (int k = 1; k <= 60; ++k) {
      progress.nodes = k;
      monitor->milestone(progress, "step");
      usleep(3000);
    }
    return {};
  };
  ASSERT_TRUE(run(work).ok());
  std::istringstream rows(caller_.log);
  std::string line;
  int last = 0;
  while (std::getline(rows, line)) {
    double seconds = 0.0;
    int nodes = 0;
    if (std::sscanf(line.c_str(), "%*1c%lf s %d", &seconds, &nodes) != 2) continue;
    EXPECT_GE(nodes, last) << caller_.log;
    last = nodes;
  }
  EXPECT_EQ(last, 60);
}

TEST_F(ChildProcess, PendingOutputIsNotWrittenTwice) {
  testing::internal::CaptureStdout();
  std::fputs("once", stdout);
  const Status status = run([](const MinimizeProblem&, const Parameters&, double, BackendMonitor*,
                               BackendResult*) -> Status {
    std::fputs("printed", stdout);
    std::fflush(stdout);
    return {};
  });
  ASSERT_TRUE(status.ok());
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "once");
  EXPECT_EQ(caller_.log, "printed\n");
}

// The parent may look at the pipe before the last line is there, and at the answer after it.
TEST_F(ChildProcess, TextThatCameWithTheAnswerIsRead) {
  vorlan::ChildProcess child(task_.model);
  Listener listener(&task_);
  const Work work = [](const Parameters&, double, BackendMonitor* monitor, Answer*) {
    monitor->log("the last line\n");
    return Status();
  };
  ASSERT_TRUE(child.start(work, task_.parameters, listener).ok());
  while (!child.is_complete()) usleep(1000);
  std::string text;
  child.look(vorlan::ChildProcess::Pipe::kSilent);
  child.tell_text([&](std::string_view line) { text += line; });
  EXPECT_TRUE(child.is_over());
  EXPECT_EQ(text, "the last line\n");
  EXPECT_TRUE(child.leave(&task_).ok());
}

TEST_F(ChildProcess, AnExceptionOfTheCallersLeavesNoProcessBehind) {
  task_.log.link_function(nullptr, [](void*, const char*) { throw std::bad_alloc(); });
  const Work work = [](const Parameters&, double, BackendMonitor* monitor, Answer*) -> Status {
    monitor->log("text\n");
    while (true) pause();
  };
  EXPECT_THROW(static_cast<void>(run(work)), std::bad_alloc);
  EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "there is a child";
  EXPECT_EQ(errno, ECHILD);
}

TEST_F(ChildProcess, MuchLogTextArrivesWhole) {
  ASSERT_TRUE(run([](const MinimizeProblem&, const Parameters&, double, BackendMonitor* monitor,
                     BackendResult*) -> Status {
                for (int i = 0; i < 50000; ++i) monitor->log("0123456789012345678\n");
                return {};
              }).ok());
  EXPECT_EQ(caller_.log.size(), 50000u * 20u);
}

TEST_F(ChildProcess, SilentBackendIsStoppedAndTheCallbackKeepsItsBeat) {
  caller_.stop_at_call = 30;
  ASSERT_TRUE(run(hang).ok());
  EXPECT_EQ(result_.outcome, Outcome::kStopped);
  EXPECT_EQ(result_.termination, Code::kTrmUserCallback);
  EXPECT_TRUE(result_.x.empty());
  ASSERT_EQ(caller_.calls, 30) << "the callback is not asked again once it has said stop";
  // Generous for a busy machine: the beat is 50 a second, and a kill follows within half a second.
  EXPECT_LT(caller_.times.back(), 3.0);
  EXPECT_LT(seconds_ - caller_.times.back(), 1.5);
}

TEST_F(ChildProcess, TimeLimitStopsASilentBackend) {
  ASSERT_TRUE(task_.parameters.put_by_name("VLN_DPAR_TIME_LIMIT", "0.2").ok());
  ASSERT_TRUE(run(hang).ok());
  EXPECT_EQ(result_.termination, Code::kTrmTimeLimit);
  EXPECT_GE(seconds_, 0.2);
  EXPECT_LT(seconds_, 2.0);
}

TEST_F(ChildProcess, LastIncumbentOfAKilledBackendIsKept) {
  caller_.stop_at_call = 10;
  ASSERT_TRUE(run([](const MinimizeProblem& problem, const Parameters& parameters, double seconds,
                     BackendMonitor* monitor, BackendResult* result) -> Status {
                for (double i = 1.0; i <= 5.0; ++i) {
                  const double x[] = {i, 10.0 * i};
                  monitor->incumbent(x, {});
                }
                Progress progress;
                progress.bound = 1.25;
                monitor->should_stop(progress);
                return hang(problem, parameters, seconds, monitor, result);
              }).ok());
  EXPECT_EQ(result_.outcome, Outcome::kStopped);
  EXPECT_EQ(result_.x, (std::vector<double>{5.0, 50.0}));
  EXPECT_EQ(result_.progress.bound, 1.25);
}

// Matrix variables come whole: without them the point would be none.
TEST_F(ChildProcess, LastIncumbentHasItsMatrixVariables) {
  caller_.stop_at_call = 10;
  task_.model.matrix_vars = {{2}, {1}};
  ASSERT_TRUE(run([](const MinimizeProblem& problem, const Parameters& parameters, double seconds,
                     BackendMonitor* monitor, BackendResult* result) -> Status {
                for (double i = 1.0; i <= 4.0; ++i) {
                  const double x[] = {i, 10.0 * i};
                  const double barx[] = {i, 0.5, i + 1.0, 7.0 * i};
                  monitor->incumbent(x, barx);
                }
                return hang(problem, parameters, seconds, monitor, result);
              }).ok());
  EXPECT_EQ(result_.outcome, Outcome::kStopped);
  EXPECT_EQ(result_.x, (std::vector<double>{4.0, 40.0}));
  EXPECT_EQ(result_.barx, (std::vector<double>{4.0, 0.5, 5.0, 28.0}));
}

// An interior point has its multipliers too, and may be known to be feasible.
TEST_F(ChildProcess, LastPointOfAKilledBackendIsWhole) {
  caller_.stop_at_call = 10;
  ASSERT_TRUE(run([](const MinimizeProblem& problem, const Parameters& parameters, double seconds,
                     BackendMonitor* monitor, BackendResult* result) -> Status {
                BackendResult point;
                point.x = {1.0, 2.0};
                point.y = {3.0};
                point.d = {4.0, 5.0};
                monitor->keep(point, kInfinity);
                EXPECT_FALSE(monitor->wants_point()) << "it has just got one";
                point.y = {6.0};
                monitor->keep(point, 1e-9);
                return hang(problem, parameters, seconds, monitor, result);
              }).ok());
  EXPECT_EQ(result_.outcome, Outcome::kStopped);
  EXPECT_EQ(result_.x, (std::vector<double>{1.0, 2.0}));
  EXPECT_EQ(result_.y, (std::vector<double>{6.0}));
  EXPECT_EQ(result_.d, (std::vector<double>{4.0, 5.0}));
  EXPECT_EQ(verdict_.residuals.primal, 1e-9);
  EXPECT_EQ(verdict_.residuals.dual, kInfinity) << "nobody has measured it";
}

TEST_F(ChildProcess, HandsTheVerdictOver) {
  ASSERT_TRUE(run(Work([](const Parameters&, double, BackendMonitor*, Answer* answer) -> Status {
                answer->verdict.residuals = {1.0, 2.0, 3.0};
                answer->verdict.ray_holds = true;
                return {};
              })).ok());
  EXPECT_EQ(verdict_.residuals.primal, 1.0);
  EXPECT_EQ(verdict_.residuals.dual, 2.0);
  EXPECT_EQ(verdict_.residuals.gap, 3.0);
  EXPECT_TRUE(verdict_.ray_holds);
}

// A solve that is to stop before it begins still looks at what the task holds.
// What is looked for besides, such as the reason of an infeasible model, may end in any way.
TEST_F(ChildProcess, AnAnswerThatStandsOutlivesWhatComesAfterIt) {
  using Ending = void (*)();
  constexpr Ending kEndings[] = {[] {
                                   while (true) pause();
                                 },
                                 [] { raise(SIGKILL); }, [] { throw std::bad_alloc(); }};
  for (const Ending end : kEndings) {
    caller_.stop_at_call = caller_.calls + 3;
    const Status status =
        run([end](const Parameters&, double, BackendMonitor* monitor, Answer* answer) -> Status {
          answer->result.outcome = Outcome::kInfeasible;
          answer->result.certificate = Certificate::kDualRay;
          answer->result.y = {2.0};
          answer->verdict.ray_holds = true;
          monitor->keep_answer(*answer);
          answer->result = {};
          end();
          return {};
        });
    ASSERT_TRUE(status.ok()) << status.message();
    EXPECT_EQ(result_.outcome, Outcome::kInfeasible);
    EXPECT_EQ(result_.certificate, Certificate::kDualRay);
    EXPECT_EQ(result_.termination, Code::kOk);
    EXPECT_EQ(result_.y, std::vector<double>{2.0});
    EXPECT_TRUE(verdict_.ray_holds);
  }
}

TEST_F(ChildProcess, AConflictIsAddedToAnAnswerThatStands) {
  const Status status =
      run([](const Parameters&, double, BackendMonitor* monitor, Answer* answer) -> Status {
        answer->result.outcome = Outcome::kInfeasible;
        monitor->keep_answer(*answer);
        answer->conflict = {{Conflict::kLower, 0, Conflict::kUpper}, true};
        return {};
      });
  ASSERT_TRUE(status.ok()) << status.message();
  EXPECT_EQ(result_.outcome, Outcome::kInfeasible);
  EXPECT_EQ(conflict_.marks, (std::vector<uint8_t>{Conflict::kLower, 0, Conflict::kUpper}));
  EXPECT_TRUE(conflict_.is_minimal);
}

TEST_F(ChildProcess, AStopBeforeTheBeginningReachesTheWork) {
  caller_.stop_at_call = 1;
  Listener listener(&task_);
  ASSERT_TRUE(listener.beat_now({}));
  Answer answer;
  const Work work = [](const Parameters&, double, BackendMonitor* monitor, Answer* found) {
    found->result.outcome = monitor->should_stop({}) ? Outcome::kStopped : Outcome::kOptimal;
    found->result.x = {1.0, 2.0};
    return Status();
  };
  ASSERT_TRUE(run_in_child(work, &task_, &listener, &answer).ok());
  EXPECT_EQ(answer.result.outcome, Outcome::kStopped);
  EXPECT_EQ(answer.result.termination, Code::kTrmUserCallback);
  EXPECT_EQ(answer.result.x, (std::vector<double>{1.0, 2.0}));
}

TEST_F(ChildProcess, ObedientBackendEndsByItself) {
  caller_.stop_at_call = 3;
  ASSERT_TRUE(run([](const MinimizeProblem&, const Parameters&, double, BackendMonitor* monitor,
                     BackendResult* result) -> Status {
                while (!monitor->should_stop({})) usleep(1000);
                result->outcome = Outcome::kStopped;
                result->x = {8.0, 9.0};
                return {};
              }).ok());
  EXPECT_EQ(result_.termination, Code::kTrmUserCallback);
  EXPECT_EQ(result_.x, (std::vector<double>{8.0, 9.0})) << "killed, though it obeyed";
}

TEST_F(ChildProcess, WorksWhereChildSignalsAreIgnored) {
  const auto earlier = signal(SIGCHLD, SIG_IGN);
  const Status status = run([](const MinimizeProblem&, const Parameters&, double, BackendMonitor*,
                               BackendResult* result) -> Status {
    result->outcome = Outcome::kOptimal;
    return {};
  });
  signal(SIGCHLD, earlier);
  EXPECT_TRUE(status.ok()) << status.message();
  EXPECT_EQ(result_.outcome, Outcome::kOptimal);
}

// A process that another thread forks at the same moment has the pipe as well, and keeps it.
pid_t g_stranger = -1;
bool g_wants_stranger = false;

void fork_stranger() {
  if (!g_wants_stranger) return;
  g_wants_stranger = false;
  g_stranger = static_cast<pid_t>(syscall(SYS_fork));  // no handlers of fork again
  if (g_stranger != 0) return;
  sleep(60);
  _exit(0);
}

class Stranger {
 public:
  Stranger() {
    static const int registered = pthread_atfork(fork_stranger, nullptr, nullptr);
    EXPECT_EQ(registered, 0);
    g_wants_stranger = true;
  }
  ~Stranger() {
    EXPECT_GT(g_stranger, 0);
    EXPECT_EQ(waitpid(g_stranger, nullptr, WNOHANG), 0) << "it held the pipe to the end";
    kill(g_stranger, SIGKILL);
    waitpid(g_stranger, nullptr, 0);
  }
  Stranger(const Stranger&) = delete;
  Stranger& operator=(const Stranger&) = delete;
};

TEST_F(ChildProcess, APipeThatAStrangerHoldsDoesNotKeepTheAnswerBack) {
  const Stranger stranger;
  const Status status = run([](const MinimizeProblem&, const Parameters&, double,
                               BackendMonitor* monitor, BackendResult* result) -> Status {
    monitor->log("some text");
    result->outcome = Outcome::kOptimal;
    return {};
  });
  EXPECT_TRUE(status.ok()) << status.message();
  EXPECT_EQ(result_.outcome, Outcome::kOptimal);
  EXPECT_EQ(caller_.log, "some text\n");
  EXPECT_LT(seconds_, 30.0);
}

TEST_F(ChildProcess, APipeThatAStrangerHoldsDoesNotHideADeath) {
  const Stranger stranger;
  const Status status = run([](const MinimizeProblem&, const Parameters&, double, BackendMonitor*,
                               BackendResult*) -> Status {
    raise(SIGKILL);
    return {};
  });
  EXPECT_EQ(status.code(), Code::kErrOptimizerDied);
  EXPECT_NE(status.message().find("signal 9"), std::string::npos) << status.message();
  EXPECT_LT(seconds_, 30.0);
}

TEST_F(ChildProcess, TerminationSignalsAreTheParentsAffair) {
  ASSERT_TRUE(run([](const MinimizeProblem&, const Parameters&, double, BackendMonitor*,
                     BackendResult* result) -> Status {
                raise(SIGTERM);
                raise(SIGINT);
                result->outcome = Outcome::kOptimal;
                return {};
              }).ok());
  EXPECT_EQ(result_.outcome, Outcome::kOptimal);
}

TEST_F(ChildProcess, NoZombieStays) {
  caller_.stop_at_call = 2;
  ASSERT_TRUE(run(hang).ok());
  task_.killed_children.reap_all();
  EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "a child of the solve is still there";
}

// The child dies with its parent, even when that is killed outright.
TEST_F(ChildProcess, DoesNotOutliveItsParent) {
  ASSERT_EQ(prctl(PR_SET_CHILD_SUBREAPER, 1), 0);
  const pid_t parent = fork();
  ASSERT_GE(parent, 0);
  if (parent == 0) {
    (void)run(hang);
    _exit(0);
  }
  usleep(300000);  // the grandchild is up and hanging
  kill(parent, SIGKILL);
  EXPECT_EQ(waitpid(parent, nullptr, 0), parent);
  int status = 0;
  pid_t grandchild = 0;
  for (int i = 0; i < 500 && grandchild == 0; ++i) {
    usleep(10000);
    grandchild = waitpid(-1, &status, WNOHANG);
  }
  EXPECT_GT(grandchild, 0) << "the child of the killed process lives on";
  if (grandchild > 0) {
    EXPECT_TRUE(WIFSIGNALED(status));
  }
  prctl(PR_SET_CHILD_SUBREAPER, 0);
}

}  // namespace
}  // namespace vorlan
