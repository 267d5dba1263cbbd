// SPDX-License-Identifier: Apache-2.0
//
// The result list: what is due when, in which order, with which texts, and the limit of 16.
#include "decision/results.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "decision/inst_builder.h"

namespace TSEG {
namespace {

std::unique_ptr<TsegInst> KelInstance() {
  CFG_VAD cfg;
  cfg.wvad_param_bKelOn = true;
  return MakeInst(cfg);
}

// The delivered items as "key:text".
std::vector<std::string> Collect(TsegInst* inst) {
  WVadResult* out = nullptr;
  EXPECT_EQ(CollectResults(inst, &out), 0);
  if (out == nullptr) {
    ADD_FAILURE() << "no result record";
    return {};
  }
  EXPECT_EQ(out->nStatus, 0u);
  std::vector<std::string> items;
  for (int i = 0; i < out->nCount; ++i) {
    EXPECT_STREQ(out->pItems[i].pName, "KEL");
    EXPECT_EQ(out->pItems[i].nWord, 0u);
    items.push_back(std::string(out->pItems[i].pKey) + ":" + out->pItems[i].pText);
  }
  return items;
}

std::vector<std::string> Keys(TsegInst* inst) {
  std::vector<std::string> keys;
  for (const std::string& item : Collect(inst)) keys.push_back(item.substr(0, item.find(':')));
  return keys;
}

using Texts = std::vector<std::string>;

// A session in which "fnt" is due: first sound at frame 20 - 4, first begin at frame 20, energies of 20.
void MakeFntDue(TsegInst* inst) {
  inst->results.pProbe->nFntState = 1;
  inst->results.pProbe->nScanned = 20 * 160;
  inst->decision.pEndpoint->nFirstBegin = 20;
  inst->decision.eScore = std::vector<float>(100, 20000.0f);
}

TEST(CollectResults, SecondCallHasNoVolItems) {
  auto inst = MakeInst();
  *inst->results.pVolResults = {"one", "two"};
  EXPECT_EQ(Collect(inst.get()), (Texts{"vol:one", "vol:two"}));
  EXPECT_EQ(inst->results.bVolDelivered, 1);
  EXPECT_EQ(Collect(inst.get()), Texts{});
}

TEST(CollectResults, WithoutTheQualityComponentOnlyVolComes) {
  auto inst = MakeInst();
  MakeFntDue(inst.get());
  inst->decision.bAudioFinish = 1;
  inst->decision.pEndpoint->nLastEnd = 50;
  inst->results.pProbe->nTotalSamples = 50 * 160;
  inst->results.pKelResults->push_back({"KEL", "snr", "text", 0, 0});
  *inst->results.pVolResults = {"one"};
  EXPECT_EQ(Keys(inst.get()), Texts{"vol"});
  EXPECT_EQ(inst->results.pProbe->nFntState, 1);
}

TEST(CollectResults, LastWordOfAnItemIsNeverWritten) {
  auto inst = MakeInst();
  *inst->results.pVolResults = {"one"};
  inst->results.pResultList->items[0].nUnused = 0xABCD;
  Collect(inst.get());
  EXPECT_EQ(inst->results.pResultList->items[0].nUnused, 0xABCDu);
}

TEST(CollectResults, QualityEntriesComeAsTheyAreEachTime) {
  auto inst = KelInstance();
  inst->results.pKelResults->push_back({"KEL", "snr", "S", 0, 0});
  inst->results.pKelResults->push_back({"KEL", "cur", "C", 0, 0});
  *inst->results.pVolResults = {"V"};
  EXPECT_EQ(Collect(inst.get()), (Texts{"vol:V", "snr:S", "cur:C"}));
  EXPECT_EQ(Collect(inst.get()), (Texts{"snr:S", "cur:C"}));
}

TEST(CollectResults, FntComesOnce) {
  auto inst = KelInstance();
  MakeFntDue(inst.get());
  // The sound lies at frame 16, the begin at 20: 40 ms; the energy is 20 * 3 * 0.3333 = 19.998.
  EXPECT_EQ(Collect(inst.get()), Texts{"fnt:\"ws\":[{\"fnt\":40,\"trig\":true,\"bg\":200}]"});
  EXPECT_EQ(inst->results.pProbe->nFntState, 3);
  EXPECT_EQ(Collect(inst.get()), Texts{});
}

TEST(CollectResults, FntTriggersBelowTheThresholdAndFromTheScoreOn) {
  struct Row {
    const char* name;
    int32_t begin;
    float energy;
    const char* text;
  };
  const Row rows[] = {
      {"69 ms cannot be, 60 is below 70", 22, 20000.0f, "fnt:\"ws\":[{\"fnt\":60,\"trig\":true,\"bg\":220}]"},
      {"70 is not", 23, 20000.0f, "fnt:\"ws\":[{\"fnt\":70,\"trig\":false,\"bg\":230}]"},
      {"before the sound", 10, 20000.0f, "fnt:\"ws\":[{\"fnt\":-60,\"trig\":true,\"bg\":100}]"},
      {"weak", 20, 18000.0f, "fnt:\"ws\":[{\"fnt\":40,\"trig\":false,\"bg\":200}]"},
  };
  for (const Row& row : rows) {
    auto inst = KelInstance();
    MakeFntDue(inst.get());
    inst->decision.pEndpoint->nFirstBegin = row.begin;
    inst->decision.eScore = std::vector<float>(100, row.energy);
    EXPECT_EQ(Collect(inst.get()), Texts{row.text}) << row.name;
  }
}

TEST(CollectResults, FntWaitsForSoundBeginAndEnergies) {
  auto inst = KelInstance();
  MakeFntDue(inst.get());
  inst->results.pProbe->nFntState = 0;
  EXPECT_EQ(Collect(inst.get()), Texts{});
  MakeFntDue(inst.get());
  inst->decision.pEndpoint->nFirstBegin = -1;
  EXPECT_EQ(Collect(inst.get()), Texts{});
  MakeFntDue(inst.get());
  inst->decision.eScore = std::vector<float>(18, 20000.0f);  // index 16, so 18 must be there
  EXPECT_EQ(Collect(inst.get()), Texts{});
  inst->decision.eScore.push_back(20000.0f);
  EXPECT_EQ(Keys(inst.get()), Texts{"fnt"});
}

TEST(CollectResults, FntTakesTheConfiguredPositionWhereThereIsOne) {
  auto inst = KelInstance();
  MakeFntDue(inst.get());
  inst->pCfg->wvad_param_nSilBytes = 10 * 160 + 159;  // frame 10, less 4
  EXPECT_EQ(Collect(inst.get()), Texts{"fnt:\"ws\":[{\"fnt\":140,\"trig\":false,\"bg\":200}]"});
}

TEST(CollectResults, SoundBeforeTheHistoryRaisesTheSubscriptFailure) {
  for (const int frame : {2, 3}) {  // index -2 and -1
    auto inst = KelInstance();
    MakeFntDue(inst.get());
    inst->results.pProbe->nScanned = frame * 160;
    inst->decision.pEndpoint->nFirstBegin = 1;
    WVadResult* out = nullptr;
    try {
      CollectResults(inst.get(), &out);
      ADD_FAILURE() << frame;
    } catch (const std::out_of_range& failure) {
      EXPECT_STREQ(failure.what(), "invalid vector<T> subscript");
    }
    EXPECT_EQ(out, nullptr);
  }
  auto inst = KelInstance();  // index -3 fails the test before it
  MakeFntDue(inst.get());
  inst->results.pProbe->nScanned = 160;
  EXPECT_EQ(Collect(inst.get()), Texts{});
}

// A session that ended 50 ms after its last speech, which was as strong as its tail.
void MakeBktDue(TsegInst* inst) {
  inst->decision.bAudioFinish = 1;
  inst->reading.nReadBegun = 1;
  inst->decision.pEndpoint->nLastEnd = 95;
  inst->results.pProbe->nTotalSamples = 100 * 160;
  inst->decision.eScore = std::vector<float>(100, 16500.0f);  // tail 4
  inst->results.fLastVol = 6.4f;                              // 1.6 times that, in single
}

TEST(CollectResults, BktComesOnce) {
  auto inst = KelInstance();
  MakeBktDue(inst.get());
  inst->results.fLastVol = 6.0f;
  EXPECT_EQ(Collect(inst.get()), Texts{"bkt:\"ws\":[{\"bkt\":50,\"trig\":true,\"ed\":950}]"});
  EXPECT_EQ(inst->results.pProbe->nTotalSamples, 9999999);
  EXPECT_EQ(Collect(inst.get()), Texts{});
}

TEST(CollectResults, BktNeedsTheSessionsEnd) {
  auto inst = KelInstance();
  MakeBktDue(inst.get());
  inst->decision.bAudioFinish = 0;
  EXPECT_EQ(Collect(inst.get()), Texts{});
  inst->decision.bTimeOut = 1;
  inst->results.fLastVol = 1.0f;
  EXPECT_EQ(Keys(inst.get()), Texts{"bkt"});
}

TEST(CollectResults, BktAtTheThresholdIsNotReportedAndNotSpent) {
  auto inst = KelInstance();
  MakeBktDue(inst.get());
  inst->decision.pEndpoint->nLastEnd = 94;  // 60 ms
  inst->results.fLastVol = 0.0f;
  EXPECT_EQ(Collect(inst.get()), Texts{});
  EXPECT_EQ(inst->results.pProbe->nTotalSamples, 16000);
}

TEST(CollectResults, WeakTailLosesBkt) {
  auto inst = KelInstance();
  MakeBktDue(inst.get());
  inst->results.fLastVol = 7.0f;
  EXPECT_EQ(Collect(inst.get()), Texts{});
  inst->results.fLastVol = 0.0f;
  EXPECT_EQ(Collect(inst.get()), Texts{});  // the count is spent
  EXPECT_STREQ(inst->results.pProbe->szBkt, "\"ws\":[{\"bkt\":50,\"trig\":true,\"ed\":950}]");
}

TEST(CollectResults, ShortHistoryCountsAsAFarTail) {
  auto inst = KelInstance();
  MakeBktDue(inst.get());
  inst->decision.eScore = std::vector<float>(2, 16500.0f);
  inst->results.fLastVol = 210.25f;
  EXPECT_EQ(Keys(inst.get()), Texts{"bkt"});
}

TEST(CollectResults, TimeOutWithoutSpeechGivesSilAlone) {
  auto inst = KelInstance();
  inst->pCfg->wvad_param_nResponseTimeOut = 100;
  inst->results.pProbe->nFntState = 1;
  inst->results.pProbe->nScanned = 20 * 160;
  inst->results.pProbe->nTotalSamples = 100;
  RunFrames(inst.get(), 40, false);
  ASSERT_EQ(inst->decision.bTimeOut, 1);
  EXPECT_EQ(Collect(inst.get()), Texts{"sil:\"ws\":[{\"sil\":true}]"});
  EXPECT_EQ(Keys(inst.get()), Texts{"sil"});  // each time
  inst->reading.nReadBegun = 1;
  EXPECT_EQ(Collect(inst.get()), Texts{});
}

TEST(CollectResults, ItemsStopAtSixteenAndTheRestComesLater) {
  auto inst = KelInstance();
  MakeFntDue(inst.get());
  MakeBktDue(inst.get());
  inst->results.fLastVol = 1.0f;
  inst->reading.nReadBegun = 0;
  inst->results.pVolResults->assign(15, "V");
  inst->results.pKelResults->push_back({"KEL", "snr", "S", 0, 0});
  inst->results.pKelResults->push_back({"KEL", "cur", "C", 0, 0});
  const Texts first = Keys(inst.get());
  ASSERT_EQ(first.size(), 16u);
  EXPECT_EQ(first.back(), "snr");
  EXPECT_EQ(inst->results.pProbe->nFntState, 1);
  EXPECT_EQ(Keys(inst.get()), (Texts{"snr", "cur", "fnt", "bkt", "sil"}));
}

TEST(CollectResults, FullListStopsBetweenTheEvents) {
  for (const int room : {1, 2}) {
    auto inst = KelInstance();
    MakeFntDue(inst.get());
    MakeBktDue(inst.get());
    inst->results.fLastVol = 1.0f;
    inst->reading.nReadBegun = 0;
    inst->results.pVolResults->assign(static_cast<size_t>(16 - room), "V");
    const Texts keys = Keys(inst.get());
    ASSERT_EQ(keys.size(), 16u);
    EXPECT_EQ(keys.back(), room == 1 ? "fnt" : "bkt");
    EXPECT_EQ(Keys(inst.get()), room == 1 ? (Texts{"bkt", "sil"}) : Texts{"sil"});
  }
}

TEST(CollectResults, MoreThanSixteenVolTextsAreCut) {
  auto inst = MakeInst();
  inst->results.pVolResults->assign(20, "V");
  EXPECT_EQ(Keys(inst.get()).size(), 16u);
}

}  // namespace
}  // namespace TSEG
