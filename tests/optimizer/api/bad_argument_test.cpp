// Every operation with a null task, with null pointers, with selectors and indices out of range:
// always a response code, never a crash, and the out-arguments stay as they were.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "task_support.h"

namespace {

struct Case {
  const char* what;
  std::function<VLNrescode_enum(vlntaskt*)> call;
};

int32_t g_int = 77;
double g_double = 77.0;
char g_text[8] = "same";
VLNrescode_enum g_code = VLN_RES_OK;

int no_callback(vlntaskt*, void*, VLNcallbackcode_enum, const double*, const int*, const long*) {
  return 0;
}
void no_stream(void*, const char*) {}

// All operations that take a task, with arguments that are otherwise good.
std::vector<Case> all_operations() {
  return {
      {"putcallbackfunc", [](vlntaskt* t) { return VLN_putcallbackfunc(t, no_callback, nullptr); }},
      {"linkfiletotaskstream",
       [](vlntaskt* t) { return VLN_linkfiletotaskstream(t, 0, "/dev/null", 1); }},
      {"linkfunctotaskstream",
       [](vlntaskt* t) { return VLN_linkfunctotaskstream(t, 0, nullptr, no_stream); }},
      {"echotask", [](vlntaskt* t) { return VLN_echotask(t, 0, "text"); }},
      {"putintparam", [](vlntaskt* t) { return VLN_putintparam(t, 45, 1); }},
      {"getintparam", [](vlntaskt* t) { return VLN_getintparam(t, 45, &g_int); }},
      {"putstrparam", [](vlntaskt* t) { return VLN_putstrparam(t, 0, ""); }},
      {"putparam", [](vlntaskt* t) { return VLN_putparam(t, "VLN_IPAR_LOG", "2"); }},
      {"readdata", [](vlntaskt* t) { return VLN_readdata(t, "/dev/null"); }},
      {"writedata", [](vlntaskt* t) { return VLN_writedata(t, "/dev/null"); }},
      {"readbsolution", [](vlntaskt* t) { return VLN_readbsolution(t, "/dev/null", 0); }},
      {"writebsolution", [](vlntaskt* t) { return VLN_writebsolution(t, "/dev/null", 0); }},
      {"writejsonsol", [](vlntaskt* t) { return VLN_writejsonsol(t, "/dev/null"); }},
      {"writetasksolverresult_file",
       [](vlntaskt* t) { return VLN_writetasksolverresult_file(t, "/dev/null", 0); }},
      {"optimizetrm", [](vlntaskt* t) { return VLN_optimizetrm(t, &g_code); }},
      {"optimizermt", [](vlntaskt* t) { return VLN_optimizermt(t, "http://s", "", &g_code); }},
      {"getobjsense", [](vlntaskt* t) { return VLN_getobjsense(t, &g_int); }},
      {"putobjsense", [](vlntaskt* t) { return VLN_putobjsense(t, 0); }},
      {"getnumvar", [](vlntaskt* t) { return VLN_getnumvar(t, &g_int); }},
      {"getnumcon", [](vlntaskt* t) { return VLN_getnumcon(t, &g_int); }},
      {"getnumcone", [](vlntaskt* t) { return VLN_getnumcone(t, &g_int); }},
      {"getnumbarvar", [](vlntaskt* t) { return VLN_getnumbarvar(t, &g_int); }},
      {"getdimbarvarj", [](vlntaskt* t) { return VLN_getdimbarvarj(t, 0, &g_int); }},
      {"getmaxnamelen", [](vlntaskt* t) { return VLN_getmaxnamelen(t, &g_int); }},
      {"solutiondef", [](vlntaskt* t) { return VLN_solutiondef(t, kBasic, &g_int); }},
      {"getprosta", [](vlntaskt* t) { return VLN_getprosta(t, kBasic, &g_int); }},
      {"getsolsta", [](vlntaskt* t) { return VLN_getsolsta(t, kBasic, &g_int); }},
      {"getskx", [](vlntaskt* t) { return VLN_getskx(t, kBasic, &g_int); }},
      {"getskc", [](vlntaskt* t) { return VLN_getskc(t, kBasic, &g_int); }},
      {"getxx", [](vlntaskt* t) { return VLN_getxx(t, kBasic, &g_double); }},
      {"getslx", [](vlntaskt* t) { return VLN_getslx(t, kBasic, &g_double); }},
      {"getsux", [](vlntaskt* t) { return VLN_getsux(t, kBasic, &g_double); }},
      {"getxc", [](vlntaskt* t) { return VLN_getxc(t, kBasic, &g_double); }},
      {"getslc", [](vlntaskt* t) { return VLN_getslc(t, kBasic, &g_double); }},
      {"getsuc", [](vlntaskt* t) { return VLN_getsuc(t, kBasic, &g_double); }},
      {"gety", [](vlntaskt* t) { return VLN_gety(t, kBasic, &g_double); }},
      {"getprimalobj", [](vlntaskt* t) { return VLN_getprimalobj(t, kBasic, &g_double); }},
      {"getbarxslice", [](vlntaskt* t) { return VLN_getbarxslice(t, kBasic, 0, 0, 0, &g_double); }},
      {"getbarsslice", [](vlntaskt* t) { return VLN_getbarsslice(t, kBasic, 0, 0, 0, &g_double); }},
      {"getvarname", [](vlntaskt* t) { return VLN_getvarname(t, 0, 8, g_text); }},
      {"getconname", [](vlntaskt* t) { return VLN_getconname(t, 0, 8, g_text); }},
      {"getbarvarname", [](vlntaskt* t) { return VLN_getbarvarname(t, 0, 8, g_text); }},
      {"getlasterror",
       [](vlntaskt* t) { return VLN_getlasterror(t, &g_code, 0, &g_int, nullptr); }},
  };
}

TEST(BadArgument, NullTaskIsACodeForEveryOperation) {
  // The header declares 46 operations; these three take no task handle by value.
  constexpr size_t kWithoutTask = 3;  // makeemptytask, deletetask, getcodedesc
  EXPECT_EQ(all_operations().size() + kWithoutTask, 46u);
  for (const Case& c : all_operations()) {
    EXPECT_EQ(code_name(c.call(nullptr)), "VLN_RES_ERR_NULL_TASK") << c.what;
  }
  EXPECT_EQ(g_int, 77);
  EXPECT_EQ(g_double, 77.0);
  EXPECT_STREQ(g_text, "same");
}

TEST(BadArgument, LifecycleWithNulls) {
  vlntaskt* task = nullptr;
  int environment = 0;
  EXPECT_EQ(code_name(VLN_makeemptytask(&environment, &task)), "VLN_RES_ERR_ENVIRONMENT");
  EXPECT_EQ(task, nullptr);
  EXPECT_EQ(code_name(VLN_makeemptytask(nullptr, nullptr)), "VLN_RES_ERR_NULL_ARGUMENT");
  EXPECT_EQ(code_name(VLN_deletetask(nullptr)), "VLN_RES_ERR_NULL_ARGUMENT");
  EXPECT_EQ(VLN_deletetask(&task), VLN_RES_OK);
}

TEST(BadArgument, NullPointersAreNamed) {
  const Case cases[] = {
      {"filename", [](vlntaskt* t) { return VLN_linkfiletotaskstream(t, 0, nullptr, 0); }},
      {"format", [](vlntaskt* t) { return VLN_echotask(t, 0, nullptr); }},
      {"value", [](vlntaskt* t) { return VLN_getintparam(t, 45, nullptr); }},
      {"value", [](vlntaskt* t) { return VLN_putstrparam(t, 0, nullptr); }},
      {"name", [](vlntaskt* t) { return VLN_putparam(t, nullptr, "1"); }},
      {"value", [](vlntaskt* t) { return VLN_putparam(t, "VLN_IPAR_LOG", nullptr); }},
      {"filename", [](vlntaskt* t) { return VLN_readdata(t, nullptr); }},
      {"filename", [](vlntaskt* t) { return VLN_writedata(t, nullptr); }},
      {"filename", [](vlntaskt* t) { return VLN_readbsolution(t, nullptr, 0); }},
      {"filename", [](vlntaskt* t) { return VLN_writebsolution(t, nullptr, 0); }},
      {"filename", [](vlntaskt* t) { return VLN_writejsonsol(t, nullptr); }},
      {"filename", [](vlntaskt* t) { return VLN_writetasksolverresult_file(t, nullptr, 0); }},
      {"trm", [](vlntaskt* t) { return VLN_optimizetrm(t, nullptr); }},
      {"address", [](vlntaskt* t) { return VLN_optimizermt(t, nullptr, "", &g_code); }},
      {"token", [](vlntaskt* t) { return VLN_optimizermt(t, "http://s", nullptr, &g_code); }},
      {"trm", [](vlntaskt* t) { return VLN_optimizermt(t, "http://s", "", nullptr); }},
      {"sense", [](vlntaskt* t) { return VLN_getobjsense(t, nullptr); }},
      {"numvar", [](vlntaskt* t) { return VLN_getnumvar(t, nullptr); }},
      {"numcon", [](vlntaskt* t) { return VLN_getnumcon(t, nullptr); }},
      {"numcone", [](vlntaskt* t) { return VLN_getnumcone(t, nullptr); }},
      {"numbarvar", [](vlntaskt* t) { return VLN_getnumbarvar(t, nullptr); }},
      {"dimbarvarj", [](vlntaskt* t) { return VLN_getdimbarvarj(t, 0, nullptr); }},
      {"maxlen", [](vlntaskt* t) { return VLN_getmaxnamelen(t, nullptr); }},
      {"isdef", [](vlntaskt* t) { return VLN_solutiondef(t, kBasic, nullptr); }},
      {"problemsta", [](vlntaskt* t) { return VLN_getprosta(t, kBasic, nullptr); }},
      {"solutionsta", [](vlntaskt* t) { return VLN_getsolsta(t, kBasic, nullptr); }},
      {"skx", [](vlntaskt* t) { return VLN_getskx(t, kBasic, nullptr); }},
      {"skc", [](vlntaskt* t) { return VLN_getskc(t, kBasic, nullptr); }},
      {"xx", [](vlntaskt* t) { return VLN_getxx(t, kBasic, nullptr); }},
      {"slx", [](vlntaskt* t) { return VLN_getslx(t, kBasic, nullptr); }},
      {"sux", [](vlntaskt* t) { return VLN_getsux(t, kBasic, nullptr); }},
      {"xc", [](vlntaskt* t) { return VLN_getxc(t, kBasic, nullptr); }},
      {"slc", [](vlntaskt* t) { return VLN_getslc(t, kBasic, nullptr); }},
      {"suc", [](vlntaskt* t) { return VLN_getsuc(t, kBasic, nullptr); }},
      {"y", [](vlntaskt* t) { return VLN_gety(t, kBasic, nullptr); }},
      {"primalobj", [](vlntaskt* t) { return VLN_getprimalobj(t, kBasic, nullptr); }},
      {"name", [](vlntaskt* t) { return VLN_getvarname(t, 0, 8, nullptr); }},
      {"name", [](vlntaskt* t) { return VLN_getconname(t, 0, 8, nullptr); }},
  };
  TestTask task;
  ASSERT_EQ(task.read(two_products(-1)), VLN_RES_OK);
  task.solve();
  for (const Case& c : cases) {
    EXPECT_EQ(code_name(c.call(task)), "VLN_RES_ERR_NULL_ARGUMENT") << c.what;
    EXPECT_EQ(task.last_message(), std::string("argument '") + c.what + "' is null");
  }
  EXPECT_EQ(code_name(VLN_getlasterror(task, nullptr, 0, &g_int, nullptr)),
            "VLN_RES_ERR_NULL_ARGUMENT");
  EXPECT_EQ(code_name(VLN_getlasterror(task, &g_code, 0, nullptr, nullptr)),
            "VLN_RES_ERR_NULL_ARGUMENT");
  EXPECT_EQ(code_name(VLN_getlasterror(task, &g_code, 5, &g_int, nullptr)),
            "VLN_RES_ERR_NULL_ARGUMENT");
}

struct RangeCase {
  const char* code;
  std::function<VLNrescode_enum(vlntaskt*)> call;
};

TEST(BadArgument, SelectorsAndIndicesOutOfRange) {
  const RangeCase cases[] = {
      {"VLN_RES_ERR_STREAM_SELECTOR", [](vlntaskt* t) { return VLN_echotask(t, 1, "x"); }},
      {"VLN_RES_ERR_STREAM_SELECTOR",
       [](vlntaskt* t) { return VLN_linkfiletotaskstream(t, -1, "/dev/null", 0); }},
      {"VLN_RES_ERR_STREAM_SELECTOR",
       [](vlntaskt* t) { return VLN_linkfunctotaskstream(t, 4, nullptr, no_stream); }},
      {"VLN_RES_ERR_SENSE_SELECTOR", [](vlntaskt* t) { return VLN_putobjsense(t, 2); }},
      {"VLN_RES_ERR_SENSE_SELECTOR", [](vlntaskt* t) { return VLN_putobjsense(t, -1); }},
      {"VLN_RES_ERR_SOLUTION_SELECTOR", [](vlntaskt* t) { return VLN_solutiondef(t, 3, &g_int); }},
      {"VLN_RES_ERR_SOLUTION_SELECTOR", [](vlntaskt* t) { return VLN_getxx(t, -1, &g_double); }},
      {"VLN_RES_ERR_COMPRESSION_SELECTOR",
       [](vlntaskt* t) { return VLN_writebsolution(t, "x", 1); }},
      {"VLN_RES_ERR_COMPRESSION_SELECTOR",
       [](vlntaskt* t) { return VLN_readbsolution(t, "x", 4); }},
      {"VLN_RES_ERR_COMPRESSION_SELECTOR",
       [](vlntaskt* t) { return VLN_writetasksolverresult_file(t, "x", 9); }},
      {"VLN_RES_ERR_INDEX_RANGE", [](vlntaskt* t) { return VLN_getvarname(t, 2, 8, g_text); }},
      {"VLN_RES_ERR_INDEX_RANGE", [](vlntaskt* t) { return VLN_getvarname(t, -1, 8, g_text); }},
      {"VLN_RES_ERR_INDEX_RANGE", [](vlntaskt* t) { return VLN_getconname(t, 2, 8, g_text); }},
      {"VLN_RES_ERR_INDEX_RANGE", [](vlntaskt* t) { return VLN_getbarvarname(t, 0, 8, g_text); }},
      {"VLN_RES_ERR_INDEX_RANGE", [](vlntaskt* t) { return VLN_getdimbarvarj(t, 0, &g_int); }},
      {"VLN_RES_ERR_BUFFER_SIZE", [](vlntaskt* t) { return VLN_getvarname(t, 0, 0, g_text); }},
      {"VLN_RES_ERR_INDEX_RANGE",
       [](vlntaskt* t) { return VLN_getbarxslice(t, kBasic, 0, 1, 1, &g_double); }},
      {"VLN_RES_ERR_SLICE_SIZE",
       [](vlntaskt* t) { return VLN_getbarsslice(t, kBasic, 0, 0, 1, &g_double); }},
  };
  TestTask task;
  ASSERT_EQ(task.read(two_products(-1)), VLN_RES_OK);
  task.solve();
  int number = 0;
  for (const RangeCase& c : cases) {
    EXPECT_EQ(code_name(c.call(task)), c.code) << "case " << number++;
  }
  EXPECT_EQ(g_int, 77);
  EXPECT_EQ(g_double, 77.0);
  EXPECT_STREQ(g_text, "same");
}

TEST(BadArgument, MalformedServerAddresses) {
  TestTask task;
  VLNrescode_enum termination = VLN_RES_OK;
  for (const char* address : {"", "server", "ftp://server", "http://", "http://server/path",
                              "http://user@server", "http://server:99999", " http://server"}) {
    EXPECT_EQ(code_name(VLN_optimizermt(task, address, "", &termination)),
              "VLN_RES_ERR_SERVER_ADDRESS")
        << address;
  }
  EXPECT_EQ(code_name(termination), "VLN_RES_TRM_FAILED");
}

TEST(BadArgument, LastErrorKeepsTheLastFailure) {
  TestTask task;
  VLNrescode_enum code = VLN_RES_ERR_SERVER_PROBLEM_SIZE;
  int32_t length = -1;
  EXPECT_EQ(VLN_getlasterror(task, &code, 0, &length, nullptr), VLN_RES_OK);
  EXPECT_EQ(code, VLN_RES_OK);
  EXPECT_EQ(length, 0);
  VLN_putobjsense(task, 5);
  VLN_getnumvar(task, &g_int);
  g_int = 77;
  char cut[6] = "xxxxx";
  EXPECT_EQ(VLN_getlasterror(task, &code, sizeof cut, &length, cut), VLN_RES_OK);
  EXPECT_EQ(code_name(code), "VLN_RES_ERR_SENSE_SELECTOR");
  EXPECT_STREQ(cut, "objec");
  EXPECT_EQ(static_cast<size_t>(length), task.last_message().size());
}

TEST(BadArgument, CodeDescriptions) {
  char name[1024] = "";
  char text[1024] = "";
  EXPECT_EQ(VLN_getcodedesc(VLN_RES_OK, name, text), VLN_RES_OK);
  EXPECT_STREQ(name, "VLN_RES_OK");
  EXPECT_STREQ(text, "Success.");
  EXPECT_EQ(VLN_getcodedesc(VLN_RES_OK, nullptr, nullptr), VLN_RES_OK);
  EXPECT_EQ(code_name(VLN_getcodedesc(static_cast<VLNrescode_enum>(-5), name, text)),
            "VLN_RES_ERR_UNKNOWN_CODE");
  EXPECT_STREQ(name, "VLN_RES_UNKNOWN");
}

}  // namespace
