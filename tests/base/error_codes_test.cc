// SPDX-License-Identifier: Apache-2.0
#include "base/error_codes.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

namespace TSEG {
namespace {

TEST(ErrorCodes, TableHoldsEachCodeOnceUnderItsName) {
  const ErrorCode expected[] = {
      {14001, "WVAD_ERROR_ALREADY_INIT"},
      {14002, "WVAD_ERROR_NOT_INIT"},
      {14003, "WVAD_ERROR_ALREADY_START"},
      {14004, "WVAD_ERROR_NOT_START"},
      {14007, "WVAD_ERROR_RESOURCE_TYPE"},
      {14009, "WVAD_ERROR_INVALID_PARA"},
      {14010, "WVAD_ERROR_INVALID_PARA_VALUE"},
      {14011, "WVAD_ERROR_NULL_HANDLE"},
      {14012, "WVAD_ERROR_INVALID_HANDLE"},
      {14013, "WVAD_ERROR_BUF_NOT_ENOUGH"},
      {14014, "WVAD_ERROR_AUDIO_ENOUGH"},
      {14017, "WVAD_ERROR_PARA_NOT_SETTABLE"},
      {14020, "WVAD_ERROR_PARAM_TOO_LONG"},
      {14021, "WVAD_ERROR_WRITE_LENGTH_NOT_EVEN"},
      {15002, "WKEL_ERROR_NOT_INIT"},
      {15003, "WKEL_ERROR_ALREADY_START"},
      {15004, "WKEL_ERROR_NOT_START"},
      {15009, "WKEL_ERROR_INVALID_PARA"},
      {15011, "WKEL_ERROR_NULL_HANDLE"},
      {15013, "WKEL_ERROR_BUF_NOT_ENOUGH"},
      {30000, "RES_MGR_ERROR_RESOURCE_NOT_EXIST"},
      {30001, "RES_MGR_ERROR_RESOURCE_ALREADY_EXIST"},
      {30002, "RES_MGR_ERROR_RESOURCE_UNREADABLE"},
      {30003, "RES_MGR_ERROR_INVALID_PARA_VALUE"},
      {30004, "RES_MGR_ERROR_NULL_HANDLE"},
      {30005, "RES_MGR_ERROR_RESOURCE_MAGIC"},
      {30007, "RES_MGR_ERROR_RESOURCE_TOO_OLD"},
      {30009, "RES_MGR_ERROR_RESOURCE_DELETE"},
      {30011, "RES_MGR_ERROR_RESOURCE_TYPE"},
  };
  size_t count = 0;
  const ErrorCode* table = ErrorTable(&count);
  ASSERT_EQ(count, std::size(expected));
  for (size_t i = 0; i < count; ++i) {
    EXPECT_EQ(table[i].code, expected[i].code) << i;
    EXPECT_STREQ(table[i].name, expected[i].name) << i;
  }
}

TEST(ErrorCodes, NoNumberAndNoNameComesTwice) {
  size_t count = 0;
  const ErrorCode* table = ErrorTable(&count);
  std::set<int> codes;
  std::set<std::string> names;
  for (size_t i = 0; i < count; ++i) {
    EXPECT_TRUE(codes.insert(table[i].code).second) << table[i].code;
    EXPECT_TRUE(names.insert(table[i].name).second) << table[i].name;
  }
}

TEST(ErrorCodes, GapsHaveNoName) {
  for (const int code : {14000, 14005, 14006, 14008, 14015, 14016, 14018, 14019, 14022, 15001, 15012, 15020, 29999, 30006, 30012, 0, -1}) {
    EXPECT_STREQ(ErrorName(code), "ret") << code;
  }
  EXPECT_STREQ(ErrorName(14014), "WVAD_ERROR_AUDIO_ENOUGH");
}

}  // namespace
}  // namespace TSEG
