// Tasks are each other's strangers: many of them in many threads, with solves in this process and
// in child processes at once.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include "small_models.h"
#include "task_support.h"
#include "vorlan.h"

namespace {

constexpr int kThreads = 4;
constexpr int kRounds = 25;

// minimize x + y, x + y >= N, 0 <= x, y: the optimum is N.
std::string model_of(int number) {
  return "NAME\nROWS\n N c\n G r\nCOLUMNS\n x c 1 r 1\n y c 1 r 1\nRHS\n b r " +
         std::to_string(number) + "\nENDATA\n";
}

void keep(void* handle, const char* text) { static_cast<std::string*>(handle)->append(text); }

// The objective that a task of its own finds; a failure is -1.
double solve(const std::string& file, const char* child) {
  vlntaskt* task = nullptr;
  std::string log;
  if (VLN_makeemptytask(nullptr, &task) != VLN_RES_OK) return -1.0;
  double objective = -1.0;
  VLNrescode_enum termination = VLN_RES_OK;
  const bool solved = VLN_linkfunctotaskstream(task, 0, &log, keep) == VLN_RES_OK &&
                      VLN_putparam(task, "VLN_IPAR_CHILD_PROCESS", child) == VLN_RES_OK &&
                      VLN_readdata(task, file.c_str()) == VLN_RES_OK &&
                      VLN_optimizetrm(task, &termination) == VLN_RES_OK &&
                      VLN_getprimalobj(task, 1, &objective) == VLN_RES_OK;
  const bool told = log.find("Optimization ended") != std::string::npos;
  VLN_deletetask(&task);
  return solved && told ? objective : -1.0;
}

// Solves in all threads; the number of wrong answers.
int solve_in_threads(const char* child) {
  std::atomic<int> wrong = 0;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    const std::string file = write_test_file(std::to_string(t) + ".mps", model_of(t + 1));
    threads.emplace_back([file, t, child, &wrong] {
      for (int round = 0; round < kRounds; ++round) {
        if (solve(file, child) != t + 1.0) ++wrong;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  return wrong;
}

bool is_same_file(const struct stat& one, const struct stat& other) {
  return one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

// Each solve used to point descriptor 1 elsewhere and back: two at once left it there for good.
TEST(Threads, SolvesInThisProcessLeaveStandardOutputAlone) {
  struct stat before = {};
  ASSERT_EQ(fstat(STDOUT_FILENO, &before), 0);
  std::atomic<bool> ended = false;
  std::atomic<bool> moved = false;
  std::thread watcher([&] {
    while (!ended) {
      struct stat now = {};
      if (fstat(STDOUT_FILENO, &now) != 0 || !is_same_file(before, now)) moved = true;
    }
  });
  EXPECT_EQ(solve_in_threads("off"), 0);
  ended = true;
  watcher.join();
  EXPECT_FALSE(moved) << "another thread's text would have gone elsewhere";
}

// What a task does in the mixed test: a model that each way of solving is for, the solution that it
// makes, and its optimum.
struct Kind {
  const char* name;
  std::string content;
  int32_t solution;
  double optimum;
};

const Kind kKinds[] = {
    {"linear.lp", "minimize\n c: x + 2 y\nsubject to\n r: x + y >= 3\nbounds\n x <= 2\nend\n",
     VLN_SOLUTION_BASIC, 4.0},
    {"integer.lp",
     "maximize\n c: 5 x + 4 y\nsubject to\n r: 6 x + 4 y <= 24\n s: x + 2 y <= 6\ngenerals\n x "
     "y\nend\n",
     VLN_SOLUTION_INTEGER, 20.0},
    {"quadratic.lp", "minimize\n c: [ x ^2 + y ^2 ] / 2\nsubject to\n r: x + y >= 2\nend\n",
     VLN_SOLUTION_INTERIOR, 1.0},
    {"matrix.dat-s", dense_matrix_model(30), VLN_SOLUTION_INTERIOR, -1.0},
    {"mixed.lp",
     "minimize\n c: [ x ^2 + y ^2 ] / 2\nsubject to\n r: x + y >= 3\ngenerals\n x y\nend\n",
     VLN_SOLUTION_INTEGER, 2.5},
};

// Reads, sets, solves, asks, and writes; whether all of it went as it does alone.
bool live_through(const Kind& kind, const std::string& folder, int thread, const char* child) {
  vlntaskt* task = nullptr;
  std::string log;
  const std::string out = folder + "/" + std::to_string(thread) + ".";
  VLNrescode_enum termination = VLN_RES_OK;
  double objective = 0.0;
  bool good = VLN_makeemptytask(nullptr, &task) == VLN_RES_OK;
  const auto succeeds = [&good](VLNrescode_enum code) { good = good && code == VLN_RES_OK; };
  succeeds(VLN_linkfunctotaskstream(task, 0, &log, keep));
  succeeds(VLN_putparam(task, "VLN_IPAR_CHILD_PROCESS", child));
  succeeds(VLN_putparam(task, "VLN_IPAR_NUM_THREADS", "1"));
  succeeds(VLN_putparam(task, "VLN_DPAR_TIME_LIMIT", "60"));
  good = good && VLN_putparam(task, "VLN_IPAR_BOGUS", "1") != VLN_RES_OK;
  succeeds(VLN_readdata(task, (folder + "/" + kind.name).c_str()));
  succeeds(VLN_optimizetrm(task, &termination));
  succeeds(termination);
  succeeds(VLN_getprimalobj(task, kind.solution, &objective));
  for (const char* name : {"ptf", "ptf.gz", "jtask.zst", "task"}) {
    succeeds(VLN_writedata(task, (out + name).c_str()));
  }
  succeeds(VLN_readdata(task, (out + "task").c_str()));
  good = good && VLN_readdata(task, (out + "missing.mps").c_str()) != VLN_RES_OK;
  VLN_deletetask(&task);
  return good && objective > kind.optimum - 1e-5 && objective < kind.optimum + 1e-5;
}

// Every kind of model in every thread, the threads a kind apart. The number of tasks that failed.
int live_in_threads(const char* child, int rounds) {
  for (const Kind& kind : kKinds) write_test_file(kind.name, kind.content);
  const std::string folder = std::filesystem::path(test_file_path("x")).parent_path();
  std::atomic<int> failed = 0;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      for (int round = 0; round < rounds; ++round) {
        const Kind& kind = kKinds[static_cast<size_t>(t + round) % std::size(kKinds)];
        if (!live_through(kind, folder, t, child)) ++failed;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  return failed;
}

TEST(Threads, TasksOfEveryKindInThisProcess) { EXPECT_EQ(live_in_threads("off", kRounds), 0); }

// The first solves of this process that need dense algebra, all at once, each of which loads it. How
// many went wrong.
int load_in_threads(const Kind& kind, const std::string& folder) {
  std::atomic<int> waiting = kThreads;
  std::atomic<int> failed = 0;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      for (--waiting; waiting > 0;) std::this_thread::yield();
      if (!live_through(kind, folder, t, "off")) ++failed;
    });
  }
  for (std::thread& thread : threads) thread.join();
  return failed;
}

// OpenBLAS is loaded with a variable in the environment that chooses its kernels. Of two threads that
// did so at once one could take the other's environment for the caller's, and the variable stayed. The
// moment for that is short: ThreadSanitizer sees the race in every run, the variable tells it seldom.
TEST(Threads, DenseAlgebraIsLoadedAtOnceAndLeavesTheEnvironmentAlone) {
  constexpr const char* kVariable = "OPENBLAS_CORETYPE";
  constexpr int kProcesses = 20;
  const Kind& matrix = kKinds[3];
  if (std::getenv(kVariable) != nullptr) GTEST_SKIP() << kVariable << " is set";
  write_test_file(matrix.name, matrix.content);
  const std::string folder = std::filesystem::path(test_file_path("x")).parent_path();
  for (int number = 0; number < kProcesses; ++number) {
    const pid_t child = fork();
    if (child == 0) {
      const bool failed = load_in_threads(matrix, folder) != 0;
      _exit(failed ? 1 : std::getenv(kVariable) != nullptr ? 2 : 0);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_EQ(status, 0) << "a solve failed (256), or the variable stayed (512)";
  }
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
// A sanitizer's allocator may be locked by another thread at the moment of the fork, and its child
// then waits for ever. The C library's takes care of that.
TEST(Threads, SolvesInChildProcesses) { EXPECT_EQ(solve_in_threads("on"), 0); }
TEST(Threads, TasksOfEveryKindInChildProcesses) { EXPECT_EQ(live_in_threads("on", kRounds), 0); }

// A child that is forked while a thread loads a library could not load one itself.
TEST(Threads, SolvesInChildProcessesWhileLibrariesAreLoaded) {
  std::atomic<bool> ended = false;
  std::thread loader([&] {
    while (!ended) {
      for (const char* name : {"libutil.so.1", "libanl.so.1", "libnss_compat.so.2"}) {
        void* const library = dlopen(name, RTLD_NOW);
        if (library != nullptr) dlclose(library);
      }
    }
  });
  EXPECT_EQ(live_in_threads("on", kRounds), 0);
  ended = true;
  loader.join();
}
#endif

}  // namespace
