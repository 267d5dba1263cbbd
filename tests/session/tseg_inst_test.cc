// SPDX-License-Identifier: Apache-2.0
//
// Which side of an instance decides and which one is read, by what it was made with and what its parameters have become.
#include "session/tseg_inst.h"

#include <gtest/gtest.h>

#include <string>

namespace TSEG {
namespace {

TEST(TsegInst, SidesFollowWhatItWasMadeWithAndWhatIsAskedNow) {
  const struct {
    bool made_with_gain, gain_now, read_gained;
    bool gained, reads_second;
  } rows[] = {
      {false, false, false, false, false}, {false, false, true, false, false},
      {false, true, false, false, false},                                       // switched on later: there is no second side to go by
      {false, true, true, false, false},   {true, false, false, false, false},  // switched off later: the second side stands idle
      {true, false, true, false, false},   {true, true, false, true, false},
      {true, true, true, true, true},
  };
  for (const auto& row : rows) {
    CFG_VAD cfg;
    cfg.wvad_param_vad_AgcOn = row.made_with_gain;
    TsegInst inst(cfg);
    inst.pCfg->wvad_param_vad_AgcOn = row.gain_now;
    inst.pCfg->wvad_param_vad_ReadAGC = row.read_gained;
    const std::string name = std::string(row.made_with_gain ? "made with gain" : "made without") + (row.gain_now ? ", on" : ", off") +
                             (row.read_gained ? ", reads it" : "");
    EXPECT_EQ(inst.sideB != nullptr, row.made_with_gain) << name;
    EXPECT_EQ(inst.gained(), row.gained ? inst.sideB.get() : nullptr) << name;
    const Side* read = row.reads_second ? inst.sideB.get() : &inst.sideA;
    EXPECT_EQ(&inst.read_side(), read) << name;
    EXPECT_EQ(&static_cast<const TsegInst&>(inst).read_side(), read) << name;
    EXPECT_EQ(inst.channels().first, inst.sideA.pFrontEnd.get()) << name;
    EXPECT_EQ(inst.channels().second, row.gained ? inst.sideB->pFrontEnd.get() : nullptr) << name;
  }
}

}  // namespace
}  // namespace TSEG
