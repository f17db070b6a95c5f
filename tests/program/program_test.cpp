// program_test.cpp - runs the whole program case by case. Cases are found at run time in the folder
// cases/; each becomes one test named AREA.FILE__TITLE.
//
//   program_test                  every case
//   program_test --accept [TEXT]  rewrites the expectations of failing cases whose name holds TEXT
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <csignal>
#include <cstdio>
#include <stdexcept>
#include <string>
#include <vector>

#include "accept.h"
#include "casefile.h"
#include "compare.h"
#include "run.h"

namespace program {
namespace {

namespace fs = std::filesystem;

constexpr int kInjectedCode = 4321;

std::string joined(const std::vector<std::string>& texts) {
  std::string result;
  for (const std::string& text : texts) result += text;
  return result;
}

std::string operation_name(const std::string& call) { return call.substr(0, call.find('(')); }

// Lines that belong to a call follow it, indented.
std::size_t end_of_call(const std::vector<ExpectedCall>& calls, std::size_t index) {
  std::size_t end = index + 1;
  while (end < calls.size() && calls[end].text.starts_with("  ")) ++end;
  return end;
}

// Tells what must happen when the call at index fails.
Case with_failure(const Case& original, std::size_t index) {
  Case result = original;
  const ExpectedCall& failing = original.calls[index];
  if (failing.file.empty()) return result;
  result.calls.resize(end_of_call(original.calls, index));
  result.calls.push_back({"uncaught VLNException " + std::to_string(kInjectedCode) + " \"" +
                              failing.file + "\" " + std::to_string(failing.line),
                          {},
                          0});
  result.exit = {0, SIGABRT};
  return result;
}

bool ends_with_runtime_text(const std::string& text) {
  return text.ends_with(runtime_text("VLNException", {}));
}

// Makes each call of the case fail in turn: a checked call must end the run with its code, file and
// line, every other failure must change nothing.
void fail_each_call(const Case& original) {
  std::map<std::string, int> count;
  for (std::size_t i = 0; i < original.calls.size(); ++i) {
    const ExpectedCall& call = original.calls[i];
    if (!call.text.starts_with("VLN_")) continue;
    const std::string name = operation_name(call.text);
    const std::string rule = name + " call=" + std::to_string(++count[name]) + ": code " +
                             std::to_string(kInjectedCode) + '\n';
    Case expected = with_failure(original, i);
    const Outcome actual = run(original, rule);
    if (!call.file.empty()) {
      // How far the outputs came is other cases' matter.
      EXPECT_TRUE(ends_with_runtime_text(actual.standard_error)) << actual.standard_error;
      expected.standard_error = actual.standard_error;
      expected.standard_output = actual.standard_output;
      expected.left = actual.left;
    }
    const std::vector<std::string> found = differences(expected, actual);
    EXPECT_TRUE(found.empty()) << "when this call fails: " << call.text << '\n' << joined(found);
  }
}

class CaseTest : public testing::Test {
 public:
  explicit CaseTest(Case what) : case_(std::move(what)) {}

  void TestBody() override {
    const std::vector<std::string> found = differences(case_, run(case_));
    if (!found.empty()) {
      ADD_FAILURE_AT(case_.source.c_str(), case_.first_line + 1) << joined(found);
    } else if (case_.each_call_fails) {
      fail_each_call(case_);
    }
  }

 private:
  Case case_;
};

std::string test_name(const Case& what) {
  std::string name = what.source.stem().string() + "__" + what.title;
  for (char& c : name) {
    if (std::isalnum(static_cast<unsigned char>(c)) == 0) c = '_';
  }
  return name;
}

std::vector<Case> find_cases(const fs::path& folder) {
  const Sequences shared = read_sequences(folder / "sequences");
  std::vector<fs::path> files;
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(folder)) {
    if (entry.path().extension() == ".case") files.push_back(entry.path());
  }
  std::ranges::sort(files);
  std::vector<Case> cases;
  for (const fs::path& file : files) {
    for (Case& found : read_cases(file, shared)) cases.push_back(std::move(found));
  }
  return cases;
}

void register_case(const Case& what) {
  const std::string area = what.source.parent_path().filename().string();
  testing::RegisterTest(area.c_str(), test_name(what).c_str(), nullptr, nullptr,
                        what.source.c_str(), what.first_line + 1,
                        [what]() -> testing::Test* { return new CaseTest(what); });
}

int accept_cases(const std::vector<Case>& cases, const std::string& filter) {
  // The last case comes first, so that the line numbers of the others stay right.
  const std::vector<Case> backwards(cases.rbegin(), cases.rend());
  for (const Case& what : backwards) {
    const std::string name = what.source.parent_path().filename().string() + '.' + test_name(what);
    if (name.find(filter) == std::string::npos) continue;
    const Outcome actual = run(what);
    if (differences(what, actual).empty()) continue;
    std::printf("accepted %s\n", name.c_str());
    accept(what, actual, read_sequences(fs::path(VORLAN_CASES) / "sequences"));
  }
  return 0;
}

}  // namespace
}  // namespace program

int main(int argc, char** argv) {
  try {
    testing::InitGoogleTest(&argc, argv);
    const std::vector<program::Case> cases = program::find_cases(VORLAN_CASES);
    if (argc > 1 && std::string(argv[1]) == "--accept") {
      return program::accept_cases(cases, argc > 2 ? argv[2] : "");
    }
    for (const program::Case& what : cases) program::register_case(what);
    const int result = RUN_ALL_TESTS();
    const bool listed = GTEST_FLAG_GET(list_tests);
    if (!listed && testing::UnitTest::GetInstance()->test_to_run_count() == 0) {
      throw std::runtime_error("no case of this name");
    }
    return result;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "program_test: %s\n", error.what());
    return 2;
  }
}
