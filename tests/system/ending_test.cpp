// Runs of the program that end early, in every way that a run can be ended from outside.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
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

  // The same, with SIGKILL for a run that lasts longer.
  int end_within(double limit) {
    for (int status = 0; now() - start_ < limit; usleep(5000)) {
      if (waitpid(pid_, &status, WNOHANG) != pid_) continue;
      seconds_ = now() - start_;
      return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    kill(pid_, SIGKILL);
    end();
    return -1;
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

// ---- Files of a solve that are pipes, or that are made to last

constexpr char kSmallModel[] = "min\n o: x + 2 y\nst\n c: x + y >= 1\nend\n";
constexpr char kContradiction[] = "min\n o: x + 2 y\nst\n c: x + y >= 1\n d: x + y <= 0\nend\n";
// A run that hangs is ended then.
constexpr double kHangs = 60.0;

// A run in a folder of its own, with the model and a file to be named by a parameter.
class FileRun {
 public:
  FileRun(const fs::path& folder, const std::string& parameter, const std::string& model,
          const std::string& file, const std::string& content = {},
          const std::string& limit = "time-limit=0.3,")
      : folder_(folder / parameter) {
    fs::create_directory(folder_);
    std::ofstream(folder_ / "model.lp") << (model.empty() ? kSmallModel : model);
    if (model == "hard") std::ofstream(folder_ / "hard.mps") << hard_model();
    if (content.empty()) {
      EXPECT_EQ(mkfifo((folder_ / file).c_str(), 0600), 0);
    } else {
      std::ofstream(folder_ / file) << content;
    }
    program_ = std::make_unique<Program>(
        folder_, std::vector<std::string>{"-read", model == "hard" ? "hard.mps" : "model.lp", "-d",
                                          "VLN_SPAR_" + parameter, file,
                                          "-solve:" + limit + "res=res,trm=trm"});
  }

  Program& program() { return *program_; }
  std::string content(const std::string& name) const {
    std::ifstream file(folder_ / name);
    return {std::istreambuf_iterator<char>(file), {}};
  }

 private:
  fs::path folder_;
  std::unique_ptr<Program> program_;
};

// Whatever a parameter names, and whatever a solve has to do with it: a pipe with nobody at its
// other end holds nothing up beyond the time limit. All run at once.
TEST_F(Ending, APipeWithNobodyAtItsOtherEndHoldsNothingUp) {
  struct Case {
    const char* parameter;
    std::string model;
    const char* response;
  };
  constexpr const char* kNotOpened = "VLN_RES_ERR_FILE_OPEN";
  const Case cases[] = {{"START_FILE", "hard", "VLN_RES_OK"},
                        {"BASIS_IN_FILE", "", "VLN_RES_OK"},
                        {"BRANCHING_PRIORITY_FILE", "", "VLN_RES_OK"},
                        {"IMPROVING_SOLUTION_FILE", "hard", "VLN_RES_OK"},
                        {"PROBLEM_FILE", "hard", "VLN_RES_OK"},
                        {"PROGRESS_FILE", "", kNotOpened},
                        {"LOG_FILE", "", kNotOpened},
                        {"SOLUTION_FILE", "", kNotOpened},
                        {"JSON_SOLUTION_FILE", "", kNotOpened},
                        {"B_SOLUTION_FILE", "", kNotOpened},
                        {"BASIS_OUT_FILE", "", kNotOpened},
                        {"RANGING_FILE", "", kNotOpened},
                        {"CONFLICT_FILE", kContradiction, kNotOpened},
                        {"SOLVER_RESULT_FILE", "", kNotOpened}};
  std::vector<std::unique_ptr<FileRun>> runs;
  for (const Case& c : cases) {
    runs.push_back(std::make_unique<FileRun>(scratch_.path(), c.parameter, c.model, "pipe.lp"));
  }
  for (size_t i = 0; i < std::size(cases); ++i) {
    EXPECT_EQ(runs[i]->program().end_within(kHangs), 0) << cases[i].parameter;
    EXPECT_EQ(runs[i]->content("res"), cases[i].response) << cases[i].parameter;
  }
}

// A Zstandard file of 40 GB of empty lines, in blocks of one byte that is repeated (RFC 8878).
std::string endless_lines() {
  constexpr uint32_t kBlock = 128 << 10;
  constexpr uint32_t kRepeatedByte = 2;
  constexpr int kBlocks = (40 << 10) * 8;
  std::string text("\x28\xb5\x2f\xfd\0\x58", 6);
  const auto append_block = [&text](uint32_t is_last) {
    const uint32_t head = kBlock << 3 | kRepeatedByte | is_last;
    for (int shift = 0; shift < 24; shift += 8) text += static_cast<char>(head >> shift & 0xff);
    text += '\n';
  };
  for (int i = 1; i < kBlocks; ++i) append_block(0);
  append_block(1);
  return text;
}

TEST_F(Ending, AStartThatLastsForEverIsStopped) {
  FileRun point(scratch_.path(), "START_FILE", "hard", "start", endless_lines());
  FileRun basis(scratch_.path(), "BASIS_IN_FILE", "", "start", endless_lines());
  for (FileRun* run : {&point, &basis}) {
    EXPECT_EQ(run->program().end_within(kHangs), 0);
    EXPECT_LT(run->program().seconds(), 0.3 + 2 * kGenerousSeconds);
    EXPECT_EQ(run->content("res"), "VLN_RES_OK");
    EXPECT_EQ(run->content("trm"), "VLN_RES_TRM_USER_CALLBACK");
  }
}

// The solution of this model is larger than a pipe holds.
std::string many_variables() {
  std::ostringstream text;
  text << "min\n o: x\nst\n c: x + y >= 1\nbounds\n";
  for (int i = 0; i < 20000; ++i) text << " a_rather_long_name_" << i << " >= 1\n";
  text << "end\n";
  return text.str();
}

// Whoever reads late gets all of it. Whoever never reads holds nothing up beyond the time limit.
TEST_F(Ending, ASolutionGoesToWhoeverReadsIt) {
  for (const bool reads : {false, true}) {
    const fs::path folder = fs::path(scratch_.path()) / (reads ? "reader" : "sleeper");
    fs::create_directory(folder);
    FileRun run(folder, "JSON_SOLUTION_FILE", many_variables(), "pipe", {},
                reads ? "" : "time-limit=0.3,");
    const int pipe =
        open((folder / "JSON_SOLUTION_FILE" / "pipe").c_str(), O_RDONLY | (reads ? 0 : O_NONBLOCK));
    ASSERT_GE(pipe, 0);
    std::string text;
    if (reads) {
      usleep(500000);
      char piece[5000];
      for (ssize_t count = 0; (count = read(pipe, piece, sizeof piece)) > 0;) {
        text.append(piece, static_cast<size_t>(count));
      }
    }
    EXPECT_EQ(run.program().end_within(kHangs), 0);
    EXPECT_EQ(run.content("res"), reads ? "VLN_RES_OK" : "VLN_RES_ERR_FILE_WRITE");
    EXPECT_TRUE(!reads || text.ends_with("}\n")) << text.size();
    close(pipe);
  }
}

}  // namespace
