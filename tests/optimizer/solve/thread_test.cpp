// Tasks are each other's strangers: many of them in many threads, with solves in this process and
// in child processes at once.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

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

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
// A sanitizer's own allocator may hold a lock at the moment of the fork, and its child then waits
// for ever. The C library's takes care of that.
TEST(Threads, SolvesInChildProcesses) { EXPECT_EQ(solve_in_threads("on"), 0); }
#endif

}  // namespace
