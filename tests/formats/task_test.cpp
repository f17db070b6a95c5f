// Task files (.jtask, .json, .task) and solution files: all that a task holds comes back to the
// last bit, errors name their places, and no damage to a file makes more of it than an error.
#include <gtest/gtest.h>

#include <bit>
#include <cmath>

#include "format/document/cbor_document.h"
#include "format/mps/mps.h"
#include "format/task/solution_file.h"
#include "format/task/task_file.h"
#include "reading.h"
#include "round_trip.h"
#include "samples.h"
#include "scratch_folder.h"
#include "task/numeric.h"
#include "test_bytes.h"

namespace vorlan::test {
namespace {

constexpr uint32_t kMutations = 300;
constexpr double kDenormal = 5e-324;

struct Encoding {
  const char* name;
  ProblemReader read;
  ProblemWriter write;
};
constexpr Encoding kJson = {"jtask", read_jtask, write_jtask};
constexpr Encoding kCbor = {"task", read_task, write_task};

std::string write(const Encoding& encoding, const ProblemFile& file) {
  std::string text;
  Warnings warnings;
  const Status status = write_text(encoding.write, file, &text, &warnings);
  return status.ok() ? text : "refused: " + status.message();
}

std::string error_of(const Encoding& encoding, std::string_view text) {
  ProblemFile file;
  Warnings warnings;
  return read_text(encoding.read, text, &file, &warnings).message();
}

void add_names(NameList* list, std::initializer_list<std::string_view> names) {
  for (const std::string_view name : names) list->add(name);
}

// Something of everything.
ProblemFile full_file() {
  ProblemFile file;
  Model& m = file.model;
  m.name = "a \"name\"\twith\nlines \\ and \xc3\xa4\xe2\x82\xac\xf0\x9f\x98\x80";
  m.objective_name = "cost \xff\xfe";
  m.maximize = true;
  m.constant = -0.0;
  m.cost = {1.0 / 3.0, -0.0, kDenormal, 1.7976931348623157e308, 0.1, -5e-7, 7, 8};
  m.var_lower = {-kInfinity, -0.0, 0, 1e-300, -1, 0, 0, 2};
  m.var_upper = {kInfinity, kInfinity, 4, 1e300, 1, 3, 3, 1};
  m.var_kind = {VarKind::kContinuous,  VarKind::kInteger,    VarKind::kSemiContinuous,
                VarKind::kSemiInteger, VarKind::kContinuous, VarKind::kContinuous,
                VarKind::kContinuous,  VarKind::kContinuous};
  add_names(&m.var_names, {"x", "", "x", "{\"bytes\": \"00\"}", std::string_view("nul\0", 4),
                           "\x80", "\x1f\x7f", std::string(10000, 'n')});
  m.con_lower = {-kInfinity, 1.0, 2.0};
  m.con_upper = {5.0, kInfinity, -2.0};
  add_names(&m.con_names, {"one", "", "three"});
  m.matrix.start = {0, 2, 2, 3, 3, 3, 3, 3, 4};
  m.matrix.row = {0, 2, 1, 2};
  m.matrix.value = {1.5, -2.5e-17, 3, -0.0};
  m.quadratic_cost = {{0, 0, 2.0}, {1, 0, -0.5}};
  m.quadratic_coefficients = {{1, {3, 2, 0.25}}, {2, {4, 4, 1.0}}};
  m.matrix_vars = {{2}, {3}};
  add_names(&m.matrix_var_names, {"X", "Y"});
  m.matrix_cost = {{0, {1, 0, 0.7}}, {1, {2, 2, -1.0}}};
  m.matrix_coefficients = {{0, 0, {0, 0, 1.0}}, {2, 1, {2, 1, 1e-9}}};
  m.cones = {{ConeKind::kRotatedQuadratic, {4, 0, 5}, {}},
             {ConeKind::kDualPower, {2, 1, 3}, {0.3, 0.7}},
             {ConeKind::kQuadratic, {6}, {}}};
  add_names(&m.cone_names, {"r", "", "q"});
  file.solutions[0] = filled_solution(m, 1.0);
  file.solutions[2] = filled_solution(m, -100.0);
  file.parameters = {{"VLN_IPAR_LOG", "1"}, {"Z", "\xff/tmp/x"}, {"A", ""}};
  return file;
}

ProblemFile small_file() {
  ProblemFile file;
  Model& m = file.model;
  m.cost = {1.0, 2.5};
  m.var_lower = {0.0, 0.0};
  m.var_upper = {kInfinity, 4.0};
  m.var_kind = {VarKind::kContinuous, VarKind::kContinuous};
  add_names(&m.var_names, {"x", "y"});
  m.con_lower = {3.0};
  m.con_upper = {kInfinity};
  m.matrix = {{0, 1, 2}, {0, 0}, {1.0, -1.0}};
  return file;
}

// --- Tasks

class TaskFile : public testing::TestWithParam<Encoding> {};

TEST_P(TaskFile, KeepsEverything) {
  const ProblemFile file = full_file();
  const std::string text = write(GetParam(), file);
  ProblemFile back;
  Warnings warnings;
  const Status status = read_text(GetParam().read, text, &back, &warnings);
  ASSERT_EQ(status.message(), "");
  EXPECT_EQ(difference(file, back), "");
  EXPECT_EQ(write(GetParam(), back), text);
}

TEST_P(TaskFile, EmptyModel) {
  ProblemFile file;
  EXPECT_EQ(round_trip_fault(GetParam().read, GetParam().write, write(GetParam(), file)), "");
  EXPECT_EQ(error_of(GetParam(), write(GetParam(), file)), "");
}

TEST_P(TaskFile, LeavesSolutionsOutWhenAsked) {
  const ProblemFile file = full_file();
  const ProblemView view = {file.model, file.solutions, false, {}};
  const ScratchFolder folder;
  OutputFile output;
  Warnings warnings;
  ASSERT_TRUE(output.open(folder.path("f").c_str(), "f", Compression::kNone).ok());
  ASSERT_TRUE(GetParam().write(view, &output, &warnings).ok());
  ASSERT_TRUE(output.finish().ok());
  ProblemFile back;
  const std::string text = read_all(folder.path("f"));
  ASSERT_EQ(read_text(GetParam().read, text, &back, &warnings).message(), "");
  EXPECT_FALSE(back.solutions[0].defined);
  EXPECT_TRUE(back.parameters.empty());
  EXPECT_EQ(text.find("solutions"), std::string::npos);
}

// Much more than a window of the reader, so that everything crosses its ends.
TEST_P(TaskFile, LargeModel) {
  ProblemFile file;
  Model& m = file.model;
  const size_t count = 60'000;
  uint64_t bits = 1;
  for (size_t j = 0; j < count; ++j) {
    bits = bits * 6364136223846793005U + 1442695040888963407U;
    m.cost.push_back(static_cast<double>(static_cast<int64_t>(bits)) * 1e-19);
    m.var_lower.push_back(-kInfinity);
    m.var_upper.push_back(static_cast<double>(j));
    m.var_kind.push_back(j % 2 == 0 ? VarKind::kInteger : VarKind::kContinuous);
    m.var_names.add("variable \"" + std::to_string(bits) + "\"");
    m.matrix.row.push_back(static_cast<int32_t>(j % 7));
    m.matrix.value.push_back(0.1 * static_cast<double>(j));
    m.matrix.start.push_back(static_cast<int64_t>(j) + 1);
  }
  m.con_lower.assign(7, 0.0);
  m.con_upper.assign(7, 1.0);
  const std::string text = write(GetParam(), file);
  ProblemFile back;
  Warnings warnings;
  ASSERT_EQ(read_text(GetParam().read, text, &back, &warnings).message(), "");
  EXPECT_EQ(difference(m, back.model), "");
}

TEST_P(TaskFile, EveryPrefixIsRefused) {
  ProblemFile file = full_file();
  file.model.var_names = {};
  const std::string text = write(GetParam(), file);
  // JSON is whole before its last line end.
  const size_t whole = text.size() - (text.back() == '\n' ? 1 : 0);
  for (size_t size = 0; size < whole; ++size) {
    ASSERT_NE(error_of(GetParam(), text.substr(0, size)), "") << size;
  }
}

// The checksum behind the data is what tells that they are whole.
TEST_P(TaskFile, CutCompressedFileIsRefused) {
  const ScratchFolder folder;
  for (const Compression compression : {Compression::kGzip, Compression::kZstd}) {
    const std::string whole = encoded(write(GetParam(), full_file()), compression);
    for (size_t cut = 0; cut < 10; ++cut) {
      const std::string path = folder.write("cut", whole.substr(0, whole.size() - cut));
      InputStream input;
      ASSERT_TRUE(input.open(path.c_str(), "cut").ok());
      ProblemFile file;
      Warnings warnings;
      EXPECT_EQ(GetParam().read(&input, ReadLimits(), &file, &warnings).ok(), cut == 0) << cut;
    }
  }
}

TEST_P(TaskFile, RefusesToWriteWhatItWouldNotRead) {
  ProblemFile file = small_file();
  file.model.cost[1] = kInfinity;
  EXPECT_EQ(write(GetParam(), file),
            "refused: a task file cannot hold the model: element 1 of the costs is no finite "
            "number");
  file = small_file();
  file.model.cones = {{ConeKind::kExponential, {0, 1}, {}}};
  EXPECT_EQ(write(GetParam(), file),
            "refused: a task file cannot hold the model: cone 0 needs three members");
}

// The first index that is not there, where a reader cannot know how many there are.
TEST_P(TaskFile, RefusesEntriesOfTheFirstConstraintThatIsNotThere) {
  ProblemFile file = small_file();
  file.model.quadratic_coefficients = {{1, {0, 0, 2.0}}};
  EXPECT_NE(write(GetParam(), file).find("entry 0 names a constraint that is not there"),
            std::string::npos)
      << write(GetParam(), file);
  file.model.quadratic_coefficients = {{0, {0, 0, 2.0}}};
  EXPECT_EQ(round_trip_fault(GetParam().read, GetParam().write, write(GetParam(), file)), "");
}

TEST_P(TaskFile, CorpusAndMutations) {
  expect_round_trips(GetParam().name, GetParam().read, GetParam().write);
}

TEST_P(TaskFile, PublicInstances) {
  if (!has_instances()) GTEST_SKIP() << kNoInstances;
  expect_instances({"lp", "mip", "qp"}, [](const Instance& instance) {
    if (!instance.ends_with("ps.gz")) return false;
    const Reading reading = read_as(read_mps, instance.text());
    const Reading back = read_as(GetParam().read, write_as(GetParam().write, reading.model));
    EXPECT_EQ(back.error, "") << instance.path;
    EXPECT_EQ(difference(reading.model, back.model), "") << instance.path;
    return true;
  });
}

INSTANTIATE_TEST_SUITE_P(Encodings, TaskFile, testing::Values(kJson, kCbor),
                         [](const auto& test) { return std::string(test.param.name); });

constexpr std::string_view kSmallJson = R"({
 "format": "vorlan task",
 "version": 1,
 "objective": {
  "sense": "minimize",
  "linear": [1,2.5],
  "constant": 0
 },
 "variables": {
  "lower": [0,0],
  "names": [
   "x",
   "y"
  ],
  "upper": ["inf",4]
 },
 "constraints": {
  "lower": [3],
  "upper": ["inf"]
 },
 "coefficients": {
  "row": [0,0],
  "start": [0,1,2],
  "value": [1,-1]
 }
}
)";

TEST(JsonTask, Golden) { EXPECT_EQ(write(kJson, small_file()), kSmallJson); }

std::string changed(std::string_view what, std::string_view by) {
  std::string text(kSmallJson);
  const size_t at = text.find(what);
  EXPECT_NE(at, std::string::npos) << what;
  return text.replace(at, what.size(), by);
}

// The small file with a further key.
std::string with_logic(const std::string& entry) {
  const std::string text(kSmallJson);
  return text.substr(0, text.rfind('}') - 1) + ",\n " + entry + "\n}\n";
}

TEST(JsonTask, SetsAndIndicatorsAreOfVersionTwo) {
  ProblemFile file = small_file();
  file.model.sets.push_back({SetKind::kSos2, {1, 0}, {-1.0, 2.5}});
  file.model.set_names.add("pair");
  file.model.var_kind[1] = VarKind::kInteger;
  file.model.var_upper[1] = 1.0;
  file.model.indicators.push_back({0, 1, true});
  const std::string text = write(kJson, file);
  EXPECT_NE(text.find("\"version\": 2,"), std::string::npos);
  EXPECT_NE(text.find(R"( "sets": {
  "kind": [2],
  "size": [2],
  "names": [
   "pair"
  ],
  "members": [1,0],
  "weights": [-1,2.5]
 },)"),
            std::string::npos)
      << text;
  EXPECT_NE(text.find(R"( "indicators": {
  "value": [1],
  "variable": [1],
  "constraint": [0]
 })"),
            std::string::npos)
      << text;
  ProblemFile back;
  Warnings warnings;
  ASSERT_EQ(read_text(read_jtask, text, &back, &warnings).message(), "");
  EXPECT_EQ(difference(file, back), "");
}

TEST(JsonTask, TakesOtherSpellings) {
  // Any order of keys, white space, escapes, a byte order mark, columns that are not sorted.
  const std::string text =
      "\xef\xbb\xbf"
      "{\"version\":1,\"constraints\":{\"upper\":[\"inf\",9],\"lower\":[3,\"-inf\"]},\r\n\t"
      "\"coefficients\":{\"value\":[1.0,-1E+0],\"start\":[0,2],\"row\":[1,0]},"
      "\"variables\":{\"names\":[\"\\u0041\\ud83d\\ude00b\\/"
      "\\n\"],\"lower\":[-0.0],\"upper\":[1e2]},"
      "\"objective\":{\"linear\":[1],\"sense\":\"maximize\"},\"form\\u0061t\":\"vorlan task\"}  \n";
  ProblemFile file;
  Warnings warnings;
  ASSERT_EQ(read_text(read_jtask, text, &file, &warnings).message(), "");
  EXPECT_TRUE(file.model.maximize);
  EXPECT_EQ(file.model.var_names[0],
            "A\xf0\x9f\x98\x80"
            "b/\n");
  EXPECT_TRUE(std::signbit(file.model.var_lower[0]));
  EXPECT_EQ(file.model.matrix.row, (std::vector<int32_t>{0, 1}));
  EXPECT_EQ(file.model.matrix.value, (std::vector<double>{-1.0, 1.0}));
}

TEST(JsonTask, Errors) {
  struct Case {
    std::string text, error;
  };
  const std::string deep(100'000, '[');
  const Case cases[] = {
      {"", "text:1:1: expected a map, found the end of the file"},
      {"[]", "text:1:1: expected a map, found '['"},
      {"{}", "text:1:1: a task lacks the key 'format'"},
      {changed("vorlan task", "other"),
       "text:2:12: expected the format 'vorlan task', found 'other'"},
      {changed(": 1,", ": 3,"), "text:3:13: expected version 1 or 2 of the format, found 3"},
      {with_logic(R"("sets": {"kind": [3], "size": [1], "members": [0], "weights": [1]})"),
       "text:26:10: a kind of set is neither 1 nor 2"},
      {with_logic(R"("sets": {"kind": [1], "size": [2], "members": [0], "weights": [1]})"),
       "text:26:10: set 0 has more members than there are"},
      {with_logic(R"("sets": {"kind": [1], "size": [1], "members": [0,1], "weights": [1,2]})"),
       "text:26:10: there are members of no set"},
      {with_logic(R"("sets": {"kind": [1], "size": [1], "members": [2], "weights": [1]})"),
       "text:26:10: set 0: a member is not there"},
      {with_logic(R"("sets": {"kind": [1], "size": [1], "members": [0], "weights": ["nan"]})"),
       "text:26:10: set 0: a weight is not finite"},
      {with_logic(R"("sets": {"kind": [1], "size": [0], "members": [], "weights": []})"),
       "text:26:10: set 0: it has no members"},
      {with_logic(R"("indicators": {"constraint": [0], "variable": [0], "value": [1]})"),
       "text:26:16: indicator 0: variable 'x' is not binary"},
      {with_logic(R"("indicators": {"constraint": [0], "variable": [0], "value": [2]})"),
       "text:26:16: a value of an indicator is neither 0 nor 1"},
      {with_logic(R"("indicators": {"constraint": [1], "variable": [0], "value": [1]})"),
       "text:26:16: indicator 0: its constraint is not there"},
      {changed("\"lower\"", "\"lowers\""),
       "text:10:13: 'variables' has no key 'lowers'; did you mean 'lower'?"},
      {changed("linear", "linea"),
       "text:6:12: 'objective' has no key 'linea'; did you mean 'linear'?"},
      {changed("\"constant\"", "\"sense\""), "text:7:12: 'objective' has twice the key 'sense'"},
      {changed("2.5]", "2.5z]"), "text:6:19: expected ',' or ']', found 'z'"},
      {changed("2.5]", "2.5"),
       "text:7:3: expected a number, \"inf\", \"-inf\" or \"nan\", found \"constant\""},
      {changed("2.5]", ".5]"), "text:6:16: expected a number, found '.5'"},
      {changed("2.5]", "1e999]"), "text:6:16: a number is too large, found '1e999'"},
      {changed("2.5]", "\"infinity\"]"),
       "text:6:16: expected a number, \"inf\", \"-inf\" or \"nan\", found \"infinity\""},
      {changed("2.5]", "\"nan\"]"), "text:4:15: element 1 of the costs is no finite number"},
      {changed("minimize", "min"), "text:5:12: expected 'minimize' or 'maximize', found 'min'"},
      {changed("4]", "4,5]"), "text:9:15: upper has 3 elements where there are 2 variables"},
      {changed("\"y\"", "\"y\",\"z\""), "text:9:15: there are 3 names for 2 elements"},
      {changed("\"y\"", "\"\\q\""), "text:13:4: a text has an escape that JSON does not know"},
      {changed("\"y\"", "\"\\ud800\""), "text:13:4: a text has an escape that JSON does not know"},
      {changed("\"y\"", "\"\xff\""), "text:13:4: a text is not UTF-8"},
      {changed("\"y\"", "{\"bytes\": \"0\"}"), "text:13:4: expected pairs of hexadecimal digits"},
      {changed("\"y\"", "\"y"), "text:13:4: a text has a line end or a control in it"},
      {changed("[0,0],\n  \"start", "[0,1],\n  \"start"), "text:21:18: element 1 is in row 1 of 1"},
      {changed("[0,1,2]", "[0,2,1]"), "text:21:18: start descends"},
      {changed("[0,1,2]", "[0,2,2]"), "text:21:18: column 0 has a row twice"},
      {changed("[0,0],\n  \"start", "[0,99999999999],\n  \"start"),
       "text:22:13: expected an integer from -2147483648 to 2147483647, found '99999999999'"},
      {std::string(kSmallJson) + "x",
       "text:27:1: expected nothing behind the end of the document, "
       "found 'x'"},
      {"{\"format\": " + deep, "text:1:12: expected a text in quotes, found '['"},
  };
  for (const Case& c : cases) EXPECT_EQ(error_of(kJson, c.text), c.error) << c.text.substr(0, 500);
}

TEST(JsonTask, ExampleOfTheDocumentation) {
  const std::string page = read_all(VORLAN_CORPUS "/../../docs/formats/task.md");
  const std::string_view fence = "```json\n";
  const size_t begin = page.find(fence) + fence.size();
  ProblemFile file;
  Warnings warnings;
  const std::string example = page.substr(begin, page.find("```", begin) - begin);
  ASSERT_EQ(read_text(read_jtask, example, &file, &warnings).message(), "");
  EXPECT_EQ(write(kJson, file), example);
}

TEST(JsonTask, DimensionsAreBelievedUpToTheLimit) {
  const auto with = [](const char* dimension) {
    return changed("\"coefficients\"", std::string("\"matrix variables\": {\"dimension\": [") +
                                           dimension + "]},\n \"coefficients\"");
  };
  EXPECT_EQ(error_of(kJson, with("1000")), "");
  EXPECT_EQ(
      error_of(kJson, with("2000")),
      "text:21:22: what is declared up to here would take more than 16 MiB of memory, which is "
      "VLN_IPAR_READ_DECLARED_LIMIT");
  EXPECT_EQ(error_of(kJson, with("0")), "text:21:22: matrix variable 0 has the dimension 0");
}

std::string bytes(std::initializer_list<int> values) {
  std::string text;
  for (const int value : values) text.push_back(static_cast<char>(value));
  return text;
}

// The document of an empty model, byte by byte.
TEST(CborTask, Golden) {
  const std::string none = bytes({0xd8, 0x56, 0x40});
  const std::string expected =
      bytes({0xd9, 0xd9, 0xf7, 0xa5, 0x66}) + "format" + bytes({0x6b}) + "vorlan task" +
      bytes({0x67}) + "version" + bytes({0x01, 0x69}) + "objective" + bytes({0xa3, 0x65}) +
      "sense" + bytes({0x68}) + "minimize" + bytes({0x66}) + "linear" + none + bytes({0x68}) +
      "constant" + bytes({0xf9, 0x00, 0x00, 0x69}) + "variables" + bytes({0xa2, 0x65}) + "lower" +
      none + bytes({0x65}) + "upper" + none + bytes({0x6b}) + "constraints" + bytes({0xa2, 0x65}) +
      "lower" + none + bytes({0x65}) + "upper" + none;
  EXPECT_EQ(write(kCbor, {}), expected);
}

TEST(CborTask, ShortestFloats) {
  struct Case {
    double value;
    std::string encoded;
  };
  // The examples of RFC 8949, appendix A.
  const Case cases[] = {{0.0, bytes({0xf9, 0x00, 0x00})},
                        {-0.0, bytes({0xf9, 0x80, 0x00})},
                        {1.0, bytes({0xf9, 0x3c, 0x00})},
                        {1.5, bytes({0xf9, 0x3e, 0x00})},
                        {65504.0, bytes({0xf9, 0x7b, 0xff})},
                        {5.960464477539063e-8, bytes({0xf9, 0x00, 0x01})},
                        {0.00006103515625, bytes({0xf9, 0x04, 0x00})},
                        {-4.0, bytes({0xf9, 0xc4, 0x00})},
                        {100000.0, bytes({0xfa, 0x47, 0xc3, 0x50, 0x00})},
                        {3.4028234663852886e+38, bytes({0xfa, 0x7f, 0x7f, 0xff, 0xff})},
                        {1.1, bytes({0xfb, 0x3f, 0xf1, 0x99, 0x99, 0x99, 0x99, 0x99, 0x9a})},
                        {1.0e+300, bytes({0xfb, 0x7e, 0x37, 0xe4, 0x3c, 0x88, 0x00, 0x75, 0x9c})}};
  for (const Case& c : cases) {
    ProblemFile file;
    file.model.constant = c.value;
    const std::string text = write(kCbor, file);
    EXPECT_NE(text.find("constant" + c.encoded + "\x69"), std::string::npos) << c.value;
    ProblemFile back;
    Warnings warnings;
    ASSERT_TRUE(read_text(read_task, text, &back, &warnings).ok());
    EXPECT_EQ(std::bit_cast<uint64_t>(back.model.constant), std::bit_cast<uint64_t>(c.value));
  }
}

std::string replaced(std::string text, std::string_view what, std::string_view by) {
  const size_t at = text.find(what);
  EXPECT_NE(at, std::string::npos);
  return text.replace(at, what.size(), by);
}

// A name that ends in such a letter is a text like others, for whoever reads the file.
TEST(JsonTask, LettersBeyondAsciiStayAtTheEndOfAName) {
  ProblemFile file = small_file();
  file.model.name = "caf\xc3\xa9";
  EXPECT_NE(write(kJson, file).find("\"caf\xc3\xa9\""), std::string::npos) << write(kJson, file);
}

TEST(CborTask, TakesOtherEncodings) {
  // Arrays of single items and of other types, as general encoders write them.
  const std::string text = write(kCbor, small_file());
  const std::string start = std::string("start") + bytes({0xd8, 0x4f, 0x58, 24});
  std::string plain = replaced(text, start + text.substr(text.find(start) + start.size(), 24),
                               std::string("start") + bytes({0x83, 0x00, 0x01, 0x02}));
  plain = replaced(plain, std::string("row") + bytes({0xd8, 0x4e, 0x48, 0, 0, 0, 0, 0, 0, 0, 0}),
                   std::string("row") + bytes({0xd8, 0x45, 0x44, 0, 0, 0, 0}));
  ProblemFile file, back;
  Warnings warnings;
  ASSERT_EQ(read_text(read_task, plain, &back, &warnings).message(), "");
  EXPECT_EQ(difference(small_file().model, back.model), "");
}

// The costs, 1 and 2.5, as floats of 32 bits; the rows, 0 and 0, as integers of every size.
TEST(CborTask, TakesArraysOfEveryType) {
  const std::string text = write(kCbor, small_file());
  const std::string costs = "linear" + bytes({0xd8, 0x56, 0x50}) +
                            bytes({0, 0, 0, 0, 0, 0, 0xf0, 0x3f, 0, 0, 0, 0, 0, 0, 0x04, 0x40});
  const std::string rows = "row" + bytes({0xd8, 0x4e, 0x48}) + std::string(8, '\0');
  const std::string singles = replaced(
      text, costs, "linear" + bytes({0xd8, 0x55, 0x48, 0, 0, 0x80, 0x3f, 0, 0, 0x20, 0x40}));
  for (const auto& [tag, size] :
       {std::pair(64, 1), {69, 2}, {70, 4}, {71, 8}, {77, 2}, {78, 4}, {79, 8}}) {
    const auto head = bytes({0xd8, tag, 0x40 + 2 * size});
    const std::string other =
        replaced(singles, rows, "row" + head + std::string(2 * static_cast<size_t>(size), '\0'));
    ProblemFile back;
    Warnings warnings;
    ASSERT_EQ(read_text(read_task, other, &back, &warnings).message(), "") << tag;
    EXPECT_EQ(difference(small_file().model, back.model), "") << tag;
  }
}

TEST(CborTask, Errors) {
  const std::string small = write(kCbor, small_file());
  const auto where = [&](std::string_view what) {
    return "text: byte " + std::to_string(small.find(what) + what.size()) + ": ";
  };
  EXPECT_EQ(error_of(kCbor, ""), "text: byte 0: expected a map, found the end of the file");
  EXPECT_EQ(error_of(kCbor, "{}"), "text: byte 0: expected a map, found a text");
  EXPECT_EQ(error_of(kCbor, "%!PS"), "text: byte 0: expected a map, found a negative integer");
  EXPECT_EQ(error_of(kCbor, bytes({0xbf})),
            "text: byte 0: expected a map, found byte 0xbf (indefinite or reserved)");
  EXPECT_EQ(error_of(kCbor, small + "x"), "text: byte " + std::to_string(small.size()) +
                                              ": expected nothing behind the end of the document");
  EXPECT_EQ(error_of(kCbor, replaced(small, std::string("row") + bytes({0xd8, 0x4e, 0x48}),
                                     std::string("row") + bytes({0xd8, 0x4e, 0x47}))),
            "text: byte " + std::to_string(small.find("row") + 6) +
                ": expected elements of 4 bytes, found 7 bytes");
  EXPECT_EQ(error_of(kCbor, replaced(small, std::string("row") + bytes({0xd8, 0x4e}),
                                     std::string("row") + bytes({0xd8, 0x56}))),
            where("row") + "expected an array of little-endian integers (tags 64 to 79)");
  // An array that claims more than the file has is an error, not an allocation.
  const std::string huge = small.substr(0, small.find("linear") + 6) +
                           bytes({0xd8, 0x56, 0x5b, 0x7f}) + std::string(7, '\xf8') +
                           std::string(100, 'x');
  EXPECT_EQ(error_of(kCbor, huge), "text: byte " + std::to_string(huge.size()) +
                                       ": expected an element of the array, found the end of the "
                                       "file");
}

// --- Solutions

Status write_b(const ProblemView& p, OutputFile* file, Warnings*) {
  return write_b_solution({p.model, p.solutions}, file);
}

Status write_json(const ProblemView& p, OutputFile* file, Warnings*) {
  return write_json_solution({p.model, p.solutions}, {}, file);
}

Status write_result(const ProblemView& p, OutputFile* file, Warnings*) {
  return write_solver_result({Code::kErrOptimizer,
                              "it \"failed\"",
                              Code::kTrmTimeLimit,
                              {{"seconds", 0.5}, {"nodes", 3.0}}},
                             {p.model, p.solutions}, file);
}

Status read_b(InputStream* input, const ReadLimits&, ProblemFile* file, Warnings*) {
  return read_b_solution(input, file->model, &file->solutions);
}

std::string text_of(ProblemWriter writer, const ProblemFile& file) {
  std::string text;
  Warnings warnings;
  EXPECT_TRUE(write_text(writer, file, &text, &warnings).ok());
  return text;
}

std::string read_into(const std::string& text, ProblemFile* file) {
  Warnings warnings;
  return read_text(read_b, text, file, &warnings).message();
}

TEST(BSolution, KeepsEverything) {
  const ProblemFile file = full_file();
  const std::string text = text_of(write_b, file);
  ProblemFile back = full_file();
  back.solutions[1] = back.solutions[0];
  back.solutions[0].xx[0] = 99.0;
  ASSERT_EQ(read_into(text, &back), "");
  EXPECT_EQ(difference(file.solutions, back.solutions), "");
  EXPECT_EQ(text_of(write_b, back), text);
}

// Files of versions that knew no duals of cones.
TEST(BSolution, DualsOfConesAreZeroWhenMissing) {
  ProblemFile file = full_file();
  for (Solution& s : file.solutions) s.snx.clear();
  ProblemFile back = full_file();
  ASSERT_EQ(read_into(text_of(write_b, file), &back), "");
  EXPECT_EQ(back.solutions[0].snx, std::vector<double>(file.model.cost.size(), 0.0));
  EXPECT_TRUE(back.solutions[1].snx.empty());
  file.solutions[0].snx = {1.0};
  EXPECT_NE(read_into(text_of(write_b, file), &back).find("'snx' of the solution has 1 element "),
            std::string::npos);
}

TEST(BSolution, NoneDefined) {
  ProblemFile file = full_file();
  file.solutions = {};
  ProblemFile back = full_file();
  ASSERT_EQ(read_into(text_of(write_b, file), &back), "");
  EXPECT_EQ(difference(back.solutions, {}), "");
}

TEST(BSolution, IsRefusedWholeWhereItDoesNotFit) {
  ProblemFile file = small_file();
  file.solutions[1] = filled_solution(file.model, 1.0);
  const std::string text = text_of(write_b, file);
  const auto error_with = [&](auto change) {
    ProblemFile other = small_file();
    other.solutions[0] = filled_solution(other.model, 7.0);
    change(&other.model);
    const Solutions before = other.solutions;
    std::string error = read_into(text, &other);
    EXPECT_EQ(error.empty(), !difference(other.solutions, before).empty());
    const size_t words = error.find(": the solution");
    return words == std::string::npos ? error : error.substr(words + 2);
  };
  EXPECT_EQ(error_with([](Model*) {}), "");
  EXPECT_EQ(error_with([](Model* m) { m->var_names = {}; }), "");
  EXPECT_EQ(error_with([](Model* m) {
              m->var_names = {};
              add_names(&m->var_names, {"x", "z"});
              m->con_lower.clear();
            }),
            "the solution is of another task: variable 1 is 'y' there and 'z' here");
  EXPECT_EQ(error_with([](Model* m) {
              m->cost.push_back(0.0);
              m->var_names.add("z");
            }),
            "the solution is of another task: it is for 2 variables, the task has 3");
  EXPECT_EQ(error_with([](Model* m) { m->con_lower.clear(); }),
            "the solution is of another task: it is for 1 constraint, the task has 0");
  EXPECT_EQ(error_with([](Model* m) { m->matrix_vars = {{2}}; }),
            "the solution is of another task: it is for 0 matrix variables, the task has 1");
}

TEST(BSolution, DimensionsOfMatrixVariables) {
  const ProblemFile file = full_file();
  ProblemFile other = full_file();
  other.model.matrix_vars = {{3}, {2}};
  EXPECT_NE(read_into(text_of(write_b, file), &other)
                .find("matrix variable 0 has dimension 2 there and 3 here"),
            std::string::npos);
}

TEST(BSolution, DamageIsRefused) {
  ProblemFile file = small_file();
  file.solutions[1] = filled_solution(file.model, 1.0);
  const std::string text = text_of(write_b, file);
  for (size_t size = 0; size < text.size(); ++size) {
    ProblemFile back = small_file();
    ASSERT_NE(read_into(text.substr(0, size), &back), "") << size;
    ASSERT_EQ(difference(back.solutions, {}), "");
  }
  for (uint32_t seed = 1; seed < 10 * kMutations; ++seed) {
    ProblemFile back = small_file();
    if (!read_into(mutated(text, seed), &back).empty()) {
      ASSERT_EQ(difference(back.solutions, {}), "") << seed;
    }
  }
  ProblemFile back = small_file();
  EXPECT_EQ(read_into(text_of(write_result, file), &back),
            "text: byte 11: expected the format 'vorlan solution', found 'vorlan result'");
}

TEST(JsonSolution, Golden) {
  ProblemFile file = small_file();
  Solution& s = file.solutions[1];
  s.defined = true;
  s.problem_status = ProblemStatus::kPrimalAndDualFeasible;
  s.status = SolutionStatus::kOptimal;
  s.primal_objective = 3.0;
  s.skx = {StatusKey::kBasic, StatusKey::kAtLower};
  s.skc = {StatusKey::kAtLower};
  s.xx = {3.0, 0.0};
  s.slx = {0.0, 3.5};
  s.sux = {0.0, 0.0};
  s.xc = {3.0};
  s.slc = s.y = {1.0};
  s.suc = {0.0};
  EXPECT_EQ(text_of(write_json, file), R"({
 "format": "vorlan solution",
 "version": 1,
 "solutions": {
  "basic": {
   "y": [1],
   "xc": [3],
   "xx": [3,0],
   "skc": [3],
   "skx": [1,3],
   "slc": [1],
   "slx": [0,3.5],
   "suc": [0],
   "sux": [0,0],
   "problem status": "primal and dual feasible",
   "solution status": "optimal",
   "primal objective": 3
  }
 },
 "variables": {
  "count": 2,
  "names": [
   "x",
   "y"
  ]
 },
 "constraints": {
  "count": 1
 }
}
)");
}

TEST(JsonSolution, NoneDefined) {
  EXPECT_NE(text_of(write_json, small_file()).find("\"solutions\": {},"), std::string::npos);
}

TEST(SolverResult, CodesAndFigures) {
  const std::string text = text_of(write_result, small_file());
  EXPECT_TRUE(text.starts_with(kCborMagic));
  for (const std::string& part :
       {bytes({0x68}) + "response" + bytes({0xa4, 0x64}) + "code" + bytes({0x19, 0x05, 0xdd}),
        std::string("VLN_RES_ERR_OPTIMIZER"), std::string("it \"failed\""),
        bytes({0x6b}) + "termination" + bytes({0xa3, 0x64}) + "code" + bytes({0x19, 0x23, 0x29}),
        bytes({0x67}) + "figures" + bytes({0xa2, 0x65}) + "nodes" +
            bytes({0xf9, 0x42, 0x00, 0x67}) + "seconds" + bytes({0xf9, 0x38, 0x00}),
        bytes({0x69}) + "solutions" + bytes({0xa0})}) {
    EXPECT_NE(text.find(part), std::string::npos) << part;
  }
}

}  // namespace
}  // namespace vorlan::test
