// SPDX-License-Identifier: Apache-2.0
//
// What a resource holds of its own.
#include <gtest/gtest.h>

#include <string>

#include "res/res_mgr.h"

namespace TSEG {
namespace {

TEST(Resource, HoldsItsKeyPathAndLabel) {
  const WREC_RES_SET key = {-3, "APT"};
  Res res(key, std::string(2000, 'p').c_str());
  EXPECT_EQ(std::string(res.GetResURI()), std::string(1023, 'p'));
  EXPECT_EQ(res.GetResSet()->nResID, -3);
  EXPECT_EQ(std::string(res.GetResKey(), 32), std::string(32, '\0'));
  const std::string label(40, 'L');
  res.SetResKey(label.c_str());
  EXPECT_EQ(std::string(res.GetResKey(), 32), std::string(32, 'L'));
}

}  // namespace
}  // namespace TSEG
