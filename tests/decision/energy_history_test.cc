// SPDX-License-Identifier: Apache-2.0
//
// Which energies a session lets go of, and which it keeps for whom.
#include "decision/energy_history.h"

#include <gtest/gtest.h>

#include "decision/inst_builder.h"

namespace TSEG {
namespace {

// A session that has decided on `decided` of `n` frames; the energy of frame f is f.
std::unique_ptr<TsegInst> Session(int n, int decided, const CFG_VAD& cfg = CFG_VAD()) {
  auto inst = MakeInst(cfg);
  for (int f = 0; f < n; ++f) {
    inst->decision.eScore.push_back(static_cast<float>(f));
    inst->power.frameEnergy.push_back(static_cast<double>(f));
  }
  inst->decision.nFrameIdx = decided;
  return inst;
}

CFG_VAD WithQuality() {
  CFG_VAD cfg;
  cfg.wvad_param_bKelOn = true;
  return cfg;
}

TEST(EnergyHistory, KeepsFromTheFrameToBeDecidedOn) {
  auto inst = Session(500, 480);
  DropPassedEnergies(inst.get());
  EXPECT_EQ(inst->decision.eScore.kept_from(), 480u);
  EXPECT_EQ(inst->decision.eScore.size(), 500u);
  EXPECT_EQ(inst->decision.eScore[480], 480.0f);
}

TEST(EnergyHistory, KeepsTheThreeNewest) {
  auto inst = Session(500, 500);
  DropPassedEnergies(inst.get());
  EXPECT_EQ(inst->decision.eScore.kept_from(), 497u);
  for (int n = 0; n < 4; ++n) {
    inst = Session(n, n);
    DropPassedEnergies(inst.get());
    EXPECT_EQ(inst->decision.eScore.kept_from(), 0u) << n;
  }
}

TEST(EnergyHistory, KeepsAllForTheDebugText) {
  CFG_VAD cfg;
  cfg.wvad_param_isVadDegOn = true;
  auto inst = Session(500, 480, cfg);
  DropPassedEnergies(inst.get());
  EXPECT_EQ(inst->decision.eScore.kept_from(), 0u);
}

TEST(EnergyHistory, KeepsWhatTheAdaptiveFloorHasNotTakenIn) {
  CFG_VAD cfg;
  cfg.wvad_param_k4_energy = true;
  auto inst = Session(1000, 299, cfg);
  DropPassedEnergies(inst.get());
  EXPECT_EQ(inst->decision.eScore.kept_from(), 0u);
  inst->decision.nFrameIdx = 790;
  inst->decision.pEnergyStats->nLastFrame = 700;
  DropPassedEnergies(inst.get());
  EXPECT_EQ(inst->decision.eScore.kept_from(), 700u);
}

TEST(EnergyHistory, FirstSoundThatIsStillLookedForHoldsBackItsLowerBound) {
  auto inst = Session(500, 490, WithQuality());
  inst->results.pProbe->nScanned = 160 * 300 + 159;
  DropPassedEnergies(inst.get());
  EXPECT_EQ(inst->decision.eScore.kept_from(), 296u);
  inst->results.pProbe->nScanned = 160 * 600;  // the scan is ahead of the energies
  DropPassedEnergies(inst.get());
  EXPECT_EQ(inst->decision.eScore.kept_from(), 490u);
  EXPECT_EQ(inst->results.pProbe->bEnergyKept, 0);
}

TEST(EnergyHistory, FirstSoundIsMadeOneMeanBeforeItsFramesGo) {
  auto inst = Session(500, 490, WithQuality());
  inst->results.pProbe->nFntState = 1;
  inst->results.pProbe->nScanned = 160 * 24;  // frame 20
  DropPassedEnergies(inst.get());
  EXPECT_EQ(inst->decision.eScore.kept_from(), 490u);
  // 20, 21 and 22 over 1000, times 0.3333 in single.
  const float expected = static_cast<float>((0.020 + 0.021 + 0.022) * 0.33329999446868896);
  EXPECT_EQ(FirstSoundEnergy(*inst, 20), expected);
  auto whole = Session(500, 490, WithQuality());
  EXPECT_EQ(FirstSoundEnergy(*whole, 20), expected);
}

TEST(EnergyHistory, ConfiguredFirstSoundWaitsForItsFramesAndIsKept) {
  CFG_VAD cfg = WithQuality();
  cfg.wvad_param_nSilBytes = 160 * 404;  // frame 400
  auto inst = Session(402, 402, cfg);    // the last of its three frames is missing
  DropPassedEnergies(inst.get());
  EXPECT_EQ(inst->decision.eScore.kept_from(), 399u);
  inst->decision.eScore.push_back(402.0f);
  for (int f = 403; f < 600; ++f) inst->decision.eScore.push_back(static_cast<float>(f));
  inst->decision.nFrameIdx = 600;
  DropPassedEnergies(inst.get());
  EXPECT_EQ(inst->decision.eScore.kept_from(), 597u);
  EXPECT_EQ(FirstSoundEnergy(*inst, 400), static_cast<float>((0.400 + 0.401 + 0.402) * 0.33329999446868896));
}

TEST(EnergyHistory, FirstSoundBeforeTheFirstFrameHoldsNothingBackAndStaysAFailure) {
  auto inst = Session(500, 490, WithQuality());
  inst->results.pProbe->nFntState = 1;
  inst->results.pProbe->nScanned = 160 * 2;  // frame -2
  DropPassedEnergies(inst.get());
  EXPECT_EQ(inst->decision.eScore.kept_from(), 490u);
  EXPECT_THROW(FirstSoundEnergy(*inst, -2), std::out_of_range);
}

TEST(EnergyHistory, PowersOfTheOpenSentenceStay) {
  auto inst = Session(500, 480);
  inst->decision.pEndpoint->nState = 1;
  inst->decision.pEndpoint->nBeginFrame = 130;
  inst->decision.pEndpoint->nFloor = 470;
  DropPassedEnergies(inst.get());
  EXPECT_EQ(inst->power.frameEnergy.kept_from(), 130u);
}

TEST(EnergyHistory, BetweenSentencesPowersStayFromTheFloorOn) {
  auto inst = Session(500, 480);
  inst->decision.pEndpoint->nState = 2;
  inst->decision.pEndpoint->nBeginFrame = 130;
  inst->decision.pEndpoint->nFloor = 450;
  DropPassedEnergies(inst.get());
  EXPECT_EQ(inst->power.frameEnergy.kept_from(), 450u);
  EXPECT_EQ(inst->power.frameEnergy[450], 450.0);
}

TEST(EnergyHistory, PowersAllStayUnderAMarginThatWraps) {
  CFG_VAD cfg;
  cfg.wvad_param_nFrameEndMargin = 2147483647;
  auto inst = Session(500, 480, cfg);
  inst->decision.pEndpoint->nState = 2;
  inst->decision.pEndpoint->nFloor = 450;
  DropPassedEnergies(inst.get());
  EXPECT_EQ(inst->power.frameEnergy.kept_from(), 0u);
}

}  // namespace
}  // namespace TSEG
