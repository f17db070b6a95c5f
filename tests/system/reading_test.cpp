// Reading, and what is left behind by it: problem files that would make the optimizer write files,
// files whose names say no format, runs that were started without standard streams.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <set>
#include <string>

#include "scratch_folder.h"

namespace {

namespace fs = std::filesystem;
using Names = std::set<std::string>;

constexpr const char* kModel =
    R"(NAME TWO
ROWS
 N COST
 L M1
 L M2
COLUMNS
 X COST -3 M1 1
 X M2 1
 Y COST -2 M1 1
 Y M2 3
RHS
 RHS M1 4 M2 6
BOUNDS
 UP BND X 3
ENDATA
)";
constexpr const char* kOptimum = "-1.100000e+01";

// Every string parameter, as a hostile file sets it.
constexpr const char* kSettings[][2] = {
    {"VLN_SPAR_LOG_FILE", "evil.log"},
    {"VLN_SPAR_PROBLEM_FILE", "evil.mps"},
    {"VLN_SPAR_B_SOLUTION_FILE", "evil.b"},
    {"VLN_SPAR_JSON_SOLUTION_FILE", "evil.json"},
    {"VLN_SPAR_SOLVER_RESULT_FILE", "evil.task"},
};
const Names kEvilFiles = {"evil.log", "evil.mps", "evil.b", "evil.json", "evil.task"};

// Commands of the shell with $P for the program, run in a folder that is empty before each, with
// the inputs of the test beside it in ../in.
class Reading : public testing::Test {
 protected:
  Reading() {
    fs::create_directories(root_ / "in");
    input("good.mps", kModel);
  }

  void input(const std::string& name, const std::string& text) const {
    scratch_.write("in/" + name, text);
  }

  // The exit status.
  int run(const std::string& command) const {
    fs::remove_all(root_ / "run");
    fs::create_directories(root_ / "run");
    const char* other = std::getenv("VORLAN_PROGRAM");
    const std::string program = other != nullptr ? other : VORLAN_DEFAULT_PROGRAM;
    const std::string line = "cd '" + (root_ / "run").string() + "' && P='" + program + "' && " +
                             "{ " + command + "; } 2>../stderr";
    return std::system(line.c_str());
  }

  Names left() const {
    Names names;
    for (const auto& entry : fs::directory_iterator(root_ / "run")) {
      names.insert(entry.path().filename().string());
    }
    return names;
  }

  std::string left(const std::string& name) const { return scratch_.read("run/" + name); }

  // Makes ../in/NAME by the program, with the settings of a hostile file where asked for.
  void make_input(const std::string& name, bool hostile) const {
    std::string command = "$P -read ../in/good.mps";
    for (const auto& [parameter, value] : kSettings) {
      if (hostile) command += std::string(" -d ") + parameter + ' ' + value;
    }
    ASSERT_EQ(run(command + " -write ../in/" + name), 0) << scratch_.read("stderr");
  }

  const vorlan::test::ScratchFolder scratch_;
  const fs::path root_ = scratch_.path();
};

std::string hostile_jtask() {
  std::string parameters;
  for (const auto& [parameter, value] : kSettings) {
    parameters +=
        std::string(parameters.empty() ? "" : ", ") + '"' + parameter + "\": \"" + value + '"';
  }
  return R"({"format": "vorlan task", "version": 1, "parameters": {)" + parameters + R"(},
    "objective": {"sense": "minimize", "linear": [1]},
    "variables": {"lower": [0], "upper": [1]}, "constraints": {"lower": [], "upper": []}})";
}

std::string hostile_ptf() {
  std::string text =
      R"(Minimize ] extended problem 1
Minimize
 o: x
Subject To
 c: x >= 1
Parameters
)";
  for (const auto& [parameter, value] : kSettings) {
    text += std::string(" ") + parameter + " = " + value + '\n';
  }
  return text + "End\n";
}

constexpr const char* kHostileFiles[] = {"h.jtask", "h.json",    "h.ptf",       "h.opf",
                                         "w.task",  "w.task.gz", "w.jtask.zst", "w.ptf"};

class Hostile : public Reading {
 protected:
  Hostile() {
    for (const char* name : kHostileFiles) {
      const std::string file = name;
      if (file[0] == 'w') {
        make_input(file, true);
      } else {
        input(file,
              file.ends_with("json") || file.ends_with("jtask") ? hostile_jtask() : hostile_ptf());
      }
    }
  }
};

TEST_F(Hostile, ASafeReadLeavesNothingBehindNorDoesTheSolveAfterIt) {
  for (const std::string name : kHostileFiles) {
    for (const char* mode : {"", ":safe", ":mode=safe", ":unsafe,safe"}) {
      EXPECT_EQ(run("$P -read" + std::string(mode) + " ../in/" + name + " -solve -solve"), 0)
          << name;
      EXPECT_EQ(left(), Names()) << name << mode;
    }
  }
}

TEST_F(Hostile, AnUnsafeReadWritesNothingBeforeTheSolve) {
  for (const std::string name : kHostileFiles) {
    EXPECT_EQ(run("$P -read:unsafe ../in/" + name + " -write out.lp"), 0) << name;
    EXPECT_EQ(left(), Names{"out.lp"}) << name;
    EXPECT_EQ(run("$P -read:unsafe ../in/" + name + " -solve"), 0) << name;
    EXPECT_EQ(left(), kEvilFiles) << name;
  }
}

TEST_F(Hostile, ALaterSafeReadClearsWhatAnUnsafeOneLeft) {
  EXPECT_EQ(run("$P -read:unsafe ../in/w.task -read ../in/good.mps -solve"), 0);
  EXPECT_EQ(left(), Names());
  EXPECT_EQ(run("$P -d VLN_SPAR_JSON_SOLUTION_FILE a.json -read ../in/good.mps -solve"), 0);
  EXPECT_EQ(left(), Names());
  EXPECT_EQ(run("$P -read ../in/w.task -d VLN_SPAR_JSON_SOLUTION_FILE a.json -solve"), 0);
  EXPECT_EQ(left(), Names{"a.json"});
}

// A file that was written in a safe run carries nothing on to an unsafe one.
TEST_F(Hostile, AWrittenCopyOfASafeReadIsHarmless) {
  EXPECT_EQ(run("$P -read ../in/w.task -write ../in/copy.task"), 0);
  EXPECT_EQ(run("$P -read:unsafe ../in/copy.task -solve"), 0);
  EXPECT_EQ(left(), Names());
}

// A reading that fails, behind the parameters or in them, has set nothing.
TEST_F(Hostile, AFileThatIsRefusedLeavesNothing) {
  input("bad.ptf", hostile_ptf().replace(hostile_ptf().rfind("End"), 3, "Bogus"));
  std::string nul = hostile_jtask();
  nul.replace(nul.find("evil.log"), 8, "evil\\u0000");
  input("nul.jtask", nul);
  for (const char* name : {"bad.ptf", "nul.jtask"}) {
    EXPECT_NE(run("$P -read:unsafe ../in/" + std::string(name) + " -solve"), 0) << name;
    EXPECT_EQ(left(), Names()) << name;
  }
}

// The service that runs the program sees a file that cannot be written, and the solution all the
// same.
TEST_F(Reading, AResultThatCannotBeWrittenIsTold) {
  EXPECT_EQ(run("$P -read ../in/good.mps -d VLN_SPAR_JSON_SOLUTION_FILE /dev/full "
                "-solve:res=res,trm=trm,msg=msg -write-solution plain"),
            0);
  EXPECT_EQ(left("res"), "VLN_RES_ERR_FILE_WRITE");
  EXPECT_EQ(left("trm"), "VLN_RES_OK");
  EXPECT_NE(left("msg").find("No space left"), std::string::npos);
  EXPECT_NE(left("plain").find(kOptimum), std::string::npos);
}

// The name says nothing: the content does, through every way in.
TEST_F(Reading, TheContentSaysTheFormatWhereTheNameDoesNot) {
  for (const std::string suffix : {"mps", "lp", "ptf", "cbf", "dat-s", "jtask", "task"}) {
    for (const std::string compressed : {"", ".gz", ".zst"}) {
      const std::string name = "m." + suffix + compressed;
      make_input(name, false);
      fs::copy_file(root_ / "in" / name, root_ / "in" / "bare");
      fs::copy_file(root_ / "in" / name, root_ / "in" / "other.txt");
      for (const char* source : {"../in/bare", "../in/other.txt", "- <../in/bare",
                                 "/dev/stdin <../in/bare", "/dev/fd/7 7<../in/bare"}) {
        EXPECT_EQ(run("$P -read " + std::string(source) + " -solve -write-solution plain"), 0)
            << name << ' ' << source << '\n'
            << scratch_.read("stderr");
        EXPECT_NE(left("plain").find(kOptimum), std::string::npos) << name << ' ' << source;
      }
      EXPECT_EQ(run("cat ../in/bare | $P -read - -solve -write-solution plain"), 0) << name;
      EXPECT_NE(left("plain").find(kOptimum), std::string::npos) << name;
      fs::remove(root_ / "in" / "bare");
      fs::remove(root_ / "in" / "other.txt");
    }
  }
}

TEST_F(Reading, TheSuffixDecidesWhereItSaysAFormat) {
  input("misnamed.lp", kModel);
  EXPECT_NE(run("$P -read ../in/misnamed.lp"), 0);
  EXPECT_NE(scratch_.read("stderr").find("'minimize' or 'maximize' was expected"),
            std::string::npos);
  input("words", "hello\n");
  EXPECT_NE(run("$P -read ../in/words"), 0);
  EXPECT_NE(scratch_.read("stderr").find("VLN_RES_ERR_FILE_FORMAT (1302): '../in/words' cannot be "
                                         "read: neither the suffix of its name nor its content"),
            std::string::npos)
      << scratch_.read("stderr");
}

// A limit on the size of files, of half a kibibyte or of nothing, is an error of each write that
// meets it and no signal that ends the run.
TEST_F(Reading, ALimitOnTheSizeOfFilesIsAnErrorOfTheWrite) {
  for (const std::string limit : {"(ulimit -f 1; ", "(ulimit -f 0; "}) {
    EXPECT_EQ(
        run(limit + "exec $P -log run.log -read ../in/good.mps -d VLN_SPAR_LOG_FILE solve.log "
                    "-solve:res=res,trm=trm -write-solution a.plain)"),
        0)
        << limit;
  }
  constexpr int kAborted = (128 + 6) << 8;
  EXPECT_EQ(run("(ulimit -f 0; exec $P -read ../in/good.mps -write a.mps)"), kAborted);
  EXPECT_EQ(left(), Names());
}

// Files that are opened get the lowest free numbers: those of the closed streams, into which the
// program prints.
TEST_F(Reading, ClosedStandardStreamsDoNotMixIntoFiles) {
  for (const char* closed : {"2>&-", "1>&- 2>&-", "0<&- 1>&- 2>&-"}) {
    EXPECT_EQ(run("$P -log run.log -read ../in/good.mps -d VLN_SPAR_LOG_FILE solve.log "
                  "-d VLN_SPAR_JSON_SOLUTION_FILE a.json -solve:printtime -write a.mps " +
                  std::string(closed)),
              0)
        << closed;
    EXPECT_EQ(left("run.log").find("Read time"), std::string::npos) << left("run.log");
    EXPECT_EQ(left("run.log").find("Solve time"), std::string::npos) << left("run.log");
    EXPECT_NE(left("run.log").find("Optimization ended"), std::string::npos);
    EXPECT_NE(left("solve.log").find("Optimization ended"), std::string::npos);
    EXPECT_EQ(left("a.json").front(), '{');
    EXPECT_EQ(left("a.mps").substr(0, 4), "NAME");
  }
}

}  // namespace
