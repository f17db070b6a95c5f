// operations_test.cpp - the table operations.def is the header include/vorlan.h: same operations,
// in the same order, with the same argument names and types.
#include "operations.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace recording {
namespace {

// Runs of white space become one blank.
std::string normalized(std::string_view text) {
  std::string result;
  for (char c : text) {
    const bool blank = c == ' ' || c == '\n';
    if (!blank) {
      result += c;
    } else if (!result.empty() && result.back() != ' ') {
      result += ' ';
    }
  }
  return result;
}

// "VLN_readdata(vlntaskt* task, const char* filename)" of every declaration.
std::vector<std::string> declarations_of_header() {
  std::ifstream file(VORLAN_HEADER);
  const std::string text(std::istreambuf_iterator<char>(file), {});
  constexpr std::string_view kMark = "\nVLN_API VLNrescode_enum ";
  std::vector<std::string> found;
  for (std::size_t at = text.find(kMark); at != std::string::npos; at = text.find(kMark, at)) {
    at += kMark.size();
    found.push_back(normalized(std::string_view(text).substr(at, text.find(';', at) - at)));
  }
  return found;
}

std::string type_name(Kind kind) {
  static const std::map<Kind, std::string> names = {
      {Kind::Task, "vlntaskt*"},
      {Kind::TaskPointer, "vlntaskt**"},
      {Kind::Handle, "void*"},
      {Kind::Callback, "vlncallbackfunc"},
      {Kind::StreamFunction, "vlnstreamfunc"},
      {Kind::Int, "int32_t"},
      {Kind::Unsigned, "uint32_t"},
      {Kind::Text, "const char*"},
      {Kind::Secret, "const char*"},
      {Kind::Code, "VLNrescode_enum"},
      {Kind::SliceSize, "int64_t"},
      {Kind::TextSize, "int32_t"},
      {Kind::NewTask, "vlntaskt**"},
      {Kind::IntOut, "int32_t*"},
      {Kind::CodeOut, "VLNrescode_enum*"},
      {Kind::DoubleOut, "double*"},
      {Kind::VariableInts, "int32_t*"},
      {Kind::ConstraintInts, "int32_t*"},
      {Kind::VariableDoubles, "double*"},
      {Kind::ConstraintDoubles, "double*"},
      {Kind::SliceDoubles, "double*"},
      {Kind::SizedText, "char*"},
      {Kind::WideText, "char*"},
  };
  return names.at(kind);
}

std::vector<std::string> declarations_of_table() {
  std::vector<std::string> result;
  for (const Operation& operation : operations()) {
    std::string text(operation.name);
    text += '(';
    for (const Parameter& parameter : operation.parameters) {
      if (&parameter != operation.parameters.data()) text += ", ";
      text += type_name(parameter.kind) + ' ' + std::string(parameter.name);
    }
    if (operation.name == "VLN_echotask") text += ", ...";
    result.push_back(text + ')');
  }
  return result;
}

TEST(Operations, TableEqualsHeader) {
  EXPECT_EQ(declarations_of_table(), declarations_of_header());
}

TEST(Operations, ThereAre46) { EXPECT_EQ(operations().size(), 46U); }

TEST(Operations, AreFoundByName) {
  const Operation* found = find_operation("VLN_getxx");
  ASSERT_NE(found, nullptr);
  EXPECT_EQ(found->name, "VLN_getxx");
  EXPECT_EQ(find_operation("VLN_getx"), nullptr);
}

}  // namespace
}  // namespace recording
