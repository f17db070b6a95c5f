// Makes docs/response-codes.md and docs/parameters.md from the library's tables.
//
//   table_docs codes|parameters FILE           compares the file with the table; a test
//   table_docs codes|parameters FILE --write   writes the file
#include <cmath>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>

#include "task/parameter_traits.h"
#include "task/parameters.h"
#include "task/response_codes.h"
#include "task/text.h"

namespace {

using namespace vorlan;

struct Group {
  int32_t first;
  const char* title;
};
constexpr Group kGroups[] = {
    {0, "Success"},           {1000, "Arguments and call order"},
    {1100, "Machine"},        {1200, "Parameters"},
    {1300, "Files"},          {1400, "Models and solutions"},
    {1500, "Optimizers"},     {1600, "Installation"},
    {8000, "Solver servers"}, {9000, "Termination codes"},
};

std::string response_codes_page() {
  std::string page =
      R"(# Response codes

Every operation of the library returns one of these codes; `-solve:res=FILE` and
`-solve:trm=FILE` leave the names of the response and the termination code. A number is never
given to another code. This page is made from the library's table.
)";
  size_t next_group = 0;
  for (const CodeEntry& entry : response_codes()) {
    const auto number = static_cast<int32_t>(entry.code);
    const Group* title = nullptr;
    while (next_group < std::size(kGroups) && number >= kGroups[next_group].first) {
      title = &kGroups[next_group++];
    }
    if (title != nullptr) {
      page += format_text(R"(
## %s

| number | name | meaning |
|---|---|---|
)",
                          title->title);
    }
    page += format_text("| %d | `%s` | %s |\n", number, entry.name, entry.text);
  }
  return page;
}

std::string words_of(const IntParamEntry& entry) {
  std::string text;
  for (const ValueWord& word : entry.words) {
    text += format_text("%s`%s` %d", text.empty() ? "" : ", ", word.word, word.value);
  }
  return text;
}

std::string string_parameters_section() {
  std::string text =
      R"(
## String parameters

Each is the name of a file that an optimization writes or reads, and empty by default: no file. They
act only when an optimization begins. `-read` clears all of them, whoever set them, unless it
is told `mode=unsafe`: a problem file can hold parameters, and must not make the program of
someone else write files. So give `-d` after `-read`.

| index | name | meaning |
|---|---|---|
)";
  for (const StringParamEntry& entry : string_parameters()) {
    text += format_text("| %d | `%s` | %s |\n", static_cast<int32_t>(entry.param), entry.name,
                        entry.text);
  }
  text += format_text(
      R"(
String parameters up to %d that are not in this table are reserved and take only the empty
string.

Every file is replaced at once when it is complete; the log file begins anew and grows with the
log. A name that ends in `.gz` or `.zst` is compressed, but for the log. All files are opened
before the solve: one that cannot be is the failure of the optimization, and nothing is solved. A
file that cannot be written after the solve makes its response code that of the file, with the
solutions kept in the task. When the solve itself fails, only the task solver result is written.
)",
      kNumStringParams - 1);
  return text;
}

struct ThemeTitle {
  ParamTheme theme;
  const char* title;
  const char* text;
};
constexpr ThemeTitle kThemes[] = {
    {ParamTheme::kLimits, "Limits", "What ends a solve before its optimum is proved."},
    {ParamTheme::kAccuracy, "Accuracy", "When a point counts as feasible, and as optimal."},
    {ParamTheme::kMethod, "Method", "How a model is solved."},
    {ParamTheme::kSearch, "Search for integer points", "For mixed-integer models alone."},
    {ParamTheme::kLogging, "Log", "What is told of a solve."},
    {ParamTheme::kMachine, "Machine",
     "What a solve may take of the machine, and in which process."},
    {ParamTheme::kFiles, "Files", "What is read, and what is written to problem files."},
};

const char* word_of(ParamOwner owner) { return owner == ParamOwner::kRun ? "run" : "model"; }

// The columns that integer and double parameters share.
std::string row_of(int32_t number, const char* name, const std::string& range,
                   const std::string& initial, const std::string& words, const char* text) {
  const ParamTraits& traits = *find_traits(name);
  return format_text("| %d | `%s` | %s | %s | %s | %s | %s | %s |\n", number, name, range.c_str(),
                     initial.c_str(), words.c_str(), words_of_methods(traits.methods).c_str(),
                     word_of(traits.owner), text);
}

std::string theme_section(const ThemeTitle& theme) {
  std::string rows;
  for (const IntParamEntry& entry : int_parameters()) {
    if (find_traits(entry.name)->theme != theme.theme) continue;
    rows += row_of(static_cast<int32_t>(entry.param), entry.name,
                   format_text("%d to %d", entry.lower, entry.upper), std::to_string(entry.initial),
                   words_of(entry), entry.text);
  }
  for (const DoubleParamEntry& entry : double_parameters()) {
    if (find_traits(entry.name)->theme != theme.theme) continue;
    rows += row_of(static_cast<int32_t>(entry.param), entry.name,
                   format_text("%g to %g", entry.lower, entry.upper),
                   format_text("%g", entry.initial), "", entry.text);
  }
  return format_text(R"(
## %s

%s

| index | name | range | default | words | used by | owner | meaning |
|---|---|---|---|---|---|---|---|
)",
                     theme.title, theme.text) +
         rows;
}

std::string parameters_page() {
  std::string page =
      R"(# Parameters

Set by name with `-d NAME VALUE`, where the value is a number, one of the parameter's words, or the
text of a string parameter; `VLN_IPAR_` begins the names of integer parameters, `VLN_DPAR_` those of
double and `VLN_SPAR_` those of string parameters. This page is made from the library's tables.

The column "used by" names the methods that look at a parameter: simplex and interior point for
linear models, conic for models with quadratic terms, cones or matrix variables, branch and cut for
linear models with integer variables, outer approximation for the others with integer variables.
Where a parameter of the model is set that the method of the solve does not use, the log says so.

The column "owner" says to whom a parameter belongs. Problem files in the formats PTF, OPF, JSON and
CBOR carry parameters of the model. They neither carry nor set what belongs to the run and its
machine, and a warning in the log names what a file tried to set.
)";
  for (const ThemeTitle& theme : kThemes) page += theme_section(theme);
  return page + string_parameters_section();
}

std::string read_file(const char* path) {
  std::ostringstream content;
  content << std::ifstream(path, std::ios::binary).rdbuf();
  return content.str();
}

}  // namespace

int main(int argc, char** argv) {
  const std::string what = argc > 1 ? argv[1] : "";
  if (argc < 3 || (what != "codes" && what != "parameters")) {
    std::fprintf(stderr, "usage: table_docs codes|parameters FILE [--write]\n");
    return 2;
  }
  const std::string page = what == "codes" ? response_codes_page() : parameters_page();
  if (argc > 3 && std::strcmp(argv[3], "--write") == 0) {
    std::ofstream file(argv[2], std::ios::binary);
    file << page;
    return file.flush() ? 0 : 1;
  }
  if (read_file(argv[2]) == page) return 0;
  std::fprintf(stderr, "%s is not what the table says; make it anew: %s %s %s --write\n", argv[2],
               argv[0], argv[1], argv[2]);
  return 1;
}
