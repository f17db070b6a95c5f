// Runs of the program that end early, in every way that a run can be ended from outside.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "scratch_folder.h"

namespace {

namespace fs = std::filesystem;

double now() {
  using namespace std::chrono;
  return duration<double>(steady_clock::now().time_since_epoch()).count();
}

// Market split: equations over 0-1 variables that hardly any point meets exactly, each with a slack
// and a surplus whose sum is minimized. A point is found at once, the best one in hours.
std::string hard_model() {
  constexpr int kRows = 6;
  constexpr int kColumns = 50;
  std::mt19937 random(7);
  std::ostringstream rows;
  std::ostringstream columns;
  std::ostringstream bounds;
  std::ostringstream sides;
  for (int j = 0; j < kColumns; ++j) {
    for (int i = 0; i < kRows; ++i) {
      columns << " X" << j << " R" << i << ' ' << random() % 100 << '\n';
    }
    bounds << " BV BND X" << j << '\n';
  }
  for (int i = 0; i < kRows; ++i) {
    rows << " E R" << i << '\n';
    columns << " P" << i << " COST 1 R" << i << " 1\n N" << i << " COST 1 R" << i << " -1\n";
    sides << " RHS R" << i << " 1237\n";
  }
  return "NAME HARD\nROWS\n N COST\n" + rows.str() + "COLUMNS\n" + columns.str() + "RHS\n" +
         sides.str() + "BOUNDS\n" + bounds.str() + "ENDATA\n";
}

// A run of the program in a folder of the test's own.
class Program {
 public:
  explicit Program(const fs::path& folder, std::vector<std::string> words) : start_(now()) {
    const char* other = std::getenv("VORLAN_PROGRAM");
    words.insert(words.begin(), other != nullptr ? other : VORLAN_DEFAULT_PROGRAM);
    std::vector<char*> pointers;
    pointers.reserve(words.size() + 1);
    for (std::string& word : words) pointers.push_back(word.data());
    pointers.push_back(nullptr);
    pid_ = fork();
    if (pid_ != 0) return;
    if (chdir(folder.c_str()) != 0) _exit(98);
    const int text = open("stderr", O_WRONLY | O_CREAT | O_TRUNC, 0666);
    if (text < 0 || dup2(text, STDERR_FILENO) < 0) _exit(98);
    execv(pointers[0], pointers.data());
    _exit(97);
  }

  pid_t pid() const { return pid_; }

  // The process that runs the optimizer, once there is one.
  pid_t await_optimizer() const {
    const std::string name = std::to_string(pid_);
    for (const double begin = now(); now() - begin < 10.0; usleep(1000)) {
      pid_t child = 0;
      if (std::ifstream("/proc/" + name + "/task/" + name + "/children") >> child) return child;
    }
    return -1;
  }

  // The exit status, -1 when a signal ended it.
  int end() {
    int status = 0;
    EXPECT_EQ(waitpid(pid_, &status, 0), pid_);
    seconds_ = now() - start_;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

  double seconds() const { return seconds_; }

 private:
  pid_t pid_ = -1;
  double start_;
  double seconds_ = 0.0;
};

class Ending : public testing::Test {
 protected:
  Ending() { scratch_.write("hard.mps", hard_model()); }

  std::string content(const std::string& name) const { return scratch_.read(name); }

  // Reads, solves with the items, and writes everything that can be written.
  std::vector<std::string> words(const std::string& items) const {
    return {"-read",           "hard.mps",        "-solve:res=res,trm=trm,msg=msg" + items,
            "-write",          "left.task",       "-write",
            "left.lp",         "-write-solution", "left.json",
            "-write-solution", "left.plain",      "-write-solution",
            "left.b"};
  }

  void expect_incumbent() const {
    EXPECT_NE(content("left.json").find("\"solution status\": \"primal feasible\""),
              std::string::npos);
    EXPECT_NE(content("left.plain").find("SolutionStatus feasible unknown"), std::string::npos)
        << content("left.plain").substr(0, 300);
    for (const char* name : {"left.task", "left.lp", "left.b"}) {
      EXPECT_GT(content(name).size(), 100u) << name;
    }
  }

  const vorlan::test::ScratchFolder scratch_;
};

// Half a second is promised; a busy machine may take longer.
constexpr double kGenerousSeconds = 2.0;

TEST_F(Ending, SigTermKeepsWhatWasFoundAndTheRunGoesOn) {
  Program program(scratch_.path(), words(""));
  ASSERT_GT(program.await_optimizer(), 0);
  usleep(700000);
  const double sent = now();
  kill(program.pid(), SIGTERM);
  EXPECT_EQ(program.end(), 0) << content("stderr");
  EXPECT_LT(now() - sent, kGenerousSeconds);
  EXPECT_EQ(content("res"), "VLN_RES_OK");
  EXPECT_EQ(content("trm"), "VLN_RES_TRM_USER_CALLBACK");
  EXPECT_EQ(content("msg"), "");
  expect_incumbent();
}

TEST_F(Ending, TimeLimitKeepsWhatWasFoundAndTheRunGoesOn) {
  Program program(scratch_.path(), words(",time-limit=0.7"));
  EXPECT_EQ(program.end(), 0) << content("stderr");
  EXPECT_GE(program.seconds(), 0.7);
  EXPECT_LT(program.seconds(), 0.7 + kGenerousSeconds);
  EXPECT_EQ(content("res"), "VLN_RES_OK");
  EXPECT_EQ(content("trm"), "VLN_RES_TRM_USER_CALLBACK");
  expect_incumbent();
}

// The optimizer's process is ended as a crash, or the system's out-of-memory killer, would end it.
TEST_F(Ending, DeathOfTheOptimizersProcessIsACodeAndTheRunGoesOn) {
  std::vector<std::string> words = {
      "-read",           "hard.mps",  "-solve:res=res,trm=trm,msg=msg",
      "-write",          "left.task", "-solve:time-limit=0.5,res=second,trm=second-trm",
      "-write-solution", "left.json"};
  Program program(scratch_.path(), words);
  const pid_t optimizer = program.await_optimizer();
  ASSERT_GT(optimizer, 0);
  usleep(200000);
  kill(optimizer, SIGKILL);
  EXPECT_EQ(program.end(), 0) << content("stderr");
  EXPECT_EQ(content("res"), "VLN_RES_ERR_OPTIMIZER_DIED");
  EXPECT_EQ(content("trm"), "VLN_RES_TRM_FAILED");
  EXPECT_NE(content("msg").find("signal 9"), std::string::npos) << content("msg");
  EXPECT_GT(content("left.task").size(), 100u);
  EXPECT_EQ(content("second"), "VLN_RES_OK");
  EXPECT_NE(content("left.json").find("primal feasible"), std::string::npos);
}

TEST_F(Ending, TheOptimizersProcessDiesWithTheProgram) {
  ASSERT_EQ(prctl(PR_SET_CHILD_SUBREAPER, 1), 0);  // the orphan becomes ours
  Program program(scratch_.path(), words(""));
  const pid_t optimizer = program.await_optimizer();
  ASSERT_GT(optimizer, 0);
  usleep(200000);
  kill(program.pid(), SIGKILL);
  EXPECT_EQ(program.end(), -1);
  int status = 0;
  pid_t ended = 0;
  for (int i = 0; i < 500 && ended == 0; ++i) {
    ended = waitpid(optimizer, &status, WNOHANG);
    usleep(10000);
  }
  EXPECT_EQ(ended, optimizer) << "it outlives the program";
  EXPECT_TRUE(WIFSIGNALED(status));
  prctl(PR_SET_CHILD_SUBREAPER, 0);
}

}  // namespace
