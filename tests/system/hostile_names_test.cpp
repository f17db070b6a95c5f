// Names of a stranger's file hold what acts on a terminal, or line feeds before words that a log's
// reader looks for. The library's own text, be it log or message, shows them encoded: no control
// character but the line feed at the end of its own lines.
#include <gtest/gtest.h>

#include <cstdlib>
#include <sstream>
#include <string>

#include "scratch_folder.h"

namespace {

struct HostileFile {
  const char* name;
  std::string content;
};

// A JSON task with these names of its model, variables and constraint; bounds and keys are to fit.
std::string jtask(const std::string& lower, const std::string& more,
                  const std::string& upper = "\"inf\"", const std::string& least = "2") {
  return "{\"format\": \"vorlan task\", \"version\": 1, \"modelname\": "
         "\"m\\u001b[2J\\nOptimization ended: fine\", \"objective\": {\"name\": "
         "\"c\\u0007\\nVLN_RES_OK\", \"sense\": \"minimize\", \"linear\": [1, 2], \"constant\": "
         "0}, " +
         more + "\"variables\": {\"lower\": [" + lower + ", 0], \"upper\": [3, " + upper +
         "], \"names\": [\"x\\u001b\\nOptimization ended: fine\", "
         "\"y\\u009b\"]}, \"constraints\": {\"lower\": [" +
         least +
         "], \"upper\": [\"inf\"], \"names\": "
         "[\"r\\r\\nVLN_RES_OK\"]}, \"coefficients\": {\"row\": [0, 0], \"start\": [0, 1, 2], "
         "\"value\": [1, 1]}}";
}

// What is solved, what has crossed bounds or no point, and what is refused with a message that quotes
// the file.
const HostileFile kFiles[] = {
    {"good.jtask", jtask("0", "")},
    {"crossed.jtask", jtask("7", "")},
    {"infeasible.jtask", jtask("0", "", "1", "9")},
    {"key.jtask", jtask("0", "\"k\\u001b\\nVLN_RES_OK\": 1, ")},
    {"value.jtask", jtask("\"v\\u001b\\nVLN_RES_OK\"", "")},
    {"word.lp", "minimize\n c: x\x1b[31m + y\nsubject to\n r\x07: x + z\x1b >= 2 kg\x1b\nend\n"},
    {"section.lp", "minim\x1b[31mize\n x\nend\n"},
    {"row.mps", "NAME e\x1b\nROWS\n N c\n G r\x07\nCOLUMNS\n x\x1b c 1 q\x1b 1\nENDATA\n"},
    {"number.mps", "NAME e\nROWS\n N c\nCOLUMNS\n x c 1\x1b\nENDATA\n"},
    {"sense.cbf", "VER\n3\n\nOBJSENSE\nMI\x1bN\n"},
    {"number.dat-s", "2\n1\n2\x1b\n"},
    {"sense.ptf", "Task 'e'\nObjective Minim\x1bize\n x\nEnd\n"},
};

bool is_control(char byte) {
  const auto code = static_cast<unsigned char>(byte);
  return (code < 0x20 && byte != '\n' && byte != '\t') || code == 0x7f;
}

// Nothing that acts on a terminal, and no line that could be a reader's word.
void expect_harmless(const std::string& text, const std::string& name) {
  for (const char byte : text) {
    EXPECT_FALSE(is_control(byte)) << name << ": " << static_cast<int>(byte) << '\n' << text;
  }
  EXPECT_EQ(text.find("\xc2\x9b"), std::string::npos) << name;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    EXPECT_NE(line.rfind("VLN_RES_OK", 0), 0u) << name << '\n' << text;
    EXPECT_NE(line.rfind("Optimization ended: fine", 0), 0u) << name << '\n' << text;
  }
}

class HostileNames : public testing::Test {
 protected:
  // What the program and its library say of a file that is read and solved, with a result file whose
  // name is hostile too.
  std::string said_of(const HostileFile& file) const {
    scratch_.write(file.name, file.content);
    const char* other = std::getenv("VORLAN_PROGRAM");
    const std::string program = other != nullptr ? other : VORLAN_DEFAULT_PROGRAM;
    const std::string line =
        "cd '" + scratch_.path() + "' && '" + program + "' -log log -read " + file.name +
        " -d VLN_SPAR_JSON_SOLUTION_FILE \"$(printf 'o\\033\\nVLN_RES_OK')\" "
        "-d VLN_SPAR_LOG_FILE copy -d VLN_SPAR_RANGING_FILE ranges -solve:msg=msg "
        "-write a.mps -write a.lp -write a.ptf 2>stderr";
    if (std::system(line.c_str()) == -1) ADD_FAILURE() << "no shell";
    return scratch_.read("log") + scratch_.read("copy") + scratch_.read("msg") +
           scratch_.read("stderr") + scratch_.read("ranges");
  }

  const vorlan::test::ScratchFolder scratch_;
};

TEST_F(HostileNames, AreEncodedInWhatTheLibrarySays) {
  for (const HostileFile& file : kFiles) {
    const std::string said = said_of(file);
    EXPECT_GT(said.size(), 50u) << file.name;
    expect_harmless(said, file.name);
  }
}

TEST_F(HostileNames, AreEncodedInFilesOfASolvedModel) {
  const std::string said = said_of(kFiles[0]);
  EXPECT_NE(said.find("Optimization ended\n"), std::string::npos) << said;
  for (const char* name : {"a.mps", "a.lp", "a.ptf"}) {
    const std::string text = scratch_.read(name);
    EXPECT_GT(text.size(), 50u) << name;
    expect_harmless(text, name);
  }
}

}  // namespace
