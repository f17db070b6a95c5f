// interface_test.cpp - the types that cross the boundary to the library, and the error that a
// failing call raises. interface_c99.c looks at the header from C.
#include <gtest/gtest.h>
#include <vorlan.h>
#include <vorlanplainsol.h>

#include <cstddef>
#include <limits>
#include <type_traits>

#include "fakelibrary.h"
#include "interface_c99.h"
#include "vlnexception.h"

namespace {

// Any 32-bit number is a valid value, whatever a library answers.
static_assert(std::is_enum_v<VLNrescode_enum>);
static_assert(std::is_same_v<std::underlying_type_t<VLNrescode_enum>, std::int32_t>);
static_assert(sizeof(VLNrescode_enum) == 4);
static_assert(std::is_same_v<std::underlying_type_t<VLNcallbackcode_enum>, std::int32_t>);
static_assert(sizeof(VLNcallbackcode_enum) == 4);
static_assert(VLN_RES_OK == 0);
static_assert(VLN_RES_ERR_SERVER_PROBLEM_SIZE == 8008);

static_assert(std::is_same_v<vlncallbackfunc, int (*)(vlntaskt*, void*, VLNcallbackcode_enum,
                                                      const double*, const int*, const long*)>);
static_assert(std::is_same_v<vlnstreamfunc, void (*)(void*, const char*)>);
static_assert(std::is_same_v<decltype(VLN_getlasterror),
                             VLNrescode_enum(vlntaskt*, VLNrescode_enum*, std::int32_t,
                                             std::int32_t*, char*)>);
static_assert(std::is_same_v<decltype(VLN_getbarxslice),
                             VLNrescode_enum(vlntaskt*, std::int32_t, std::int32_t, std::int32_t,
                                             std::int64_t, double*)>);
static_assert(std::is_same_v<decltype(VLN_writebsolution),
                             VLNrescode_enum(vlntaskt*, const char*, std::uint32_t)>);
static_assert(std::is_same_v<decltype(VLN_writeplainsol), std::int32_t(vlntaskt*, const char*)>);

// The error is three fields in this order and nothing else. An aggregate with a base would take its
// first initializer for the base, and the line below would not compile.
static_assert(std::is_aggregate_v<VLNException>);
static_assert(!std::is_polymorphic_v<VLNException>);
static_assert(std::is_standard_layout_v<VLNException>);
static_assert(std::is_trivially_copyable_v<VLNException>);
static_assert(std::is_same_v<decltype(VLNException::code), VLNrescode_enum>);
static_assert(std::is_same_v<decltype(VLNException::file), const char*>);
static_assert(std::is_same_v<decltype(VLNException::line), std::int32_t>);
static_assert(offsetof(VLNException, code) == 0);
static_assert(offsetof(VLNException, file) == 8);
static_assert(offsetof(VLNException, line) == 16);
static_assert(sizeof(VLNException) == 24);
constexpr VLNException kExample = {VLN_RES_ERR_SERVER_PROBLEM_SIZE, "file", 809};
static_assert(kExample.code == 8008 && kExample.line == 809);

TEST(Check, SuccessDoesNothing) { EXPECT_NO_THROW(CHKR_("file", 1, VLN_RES_OK)); }

TEST(Check, AnyOtherCodeThrows) {
  const char* const file = "file";
  for (const std::int32_t code : {1, -1, 8008, 100001, std::numeric_limits<std::int32_t>::min(),
                                  std::numeric_limits<std::int32_t>::max()}) {
    try {
      CHKR_(file, -7, static_cast<VLNrescode_enum>(code));
      ADD_FAILURE() << code << " passed";
    } catch (const VLNException& error) {
      EXPECT_EQ(error.code, code);
      EXPECT_EQ(error.file, file);
      EXPECT_EQ(error.line, -7);
    }
  }
}

TEST(Check, SourceNames) {
  EXPECT_STREQ(kDriverSource, "src/command/vorlancli");
  EXPECT_STREQ(kPlainsolSource, "src/command/vorlanplainsol");
}

TEST(Header, ServesC99) {
  fake::reset();
  EXPECT_EQ(callsseenfromc(), 1);
}

}  // namespace
