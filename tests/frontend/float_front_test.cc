// SPDX-License-Identifier: Apache-2.0
//
// The front end through its handle: reference numbers, the PCM ring, the schedule by which records leave, the running mean, resets.
#include "frontend/float_front.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include "frontend/float_front_fixture.h"
#include "frontend/test_audio.h"
#include "support/log_capture.h"

namespace TSEG {
namespace {

using testing::ElementsAre;
using testing_support::Front;
using testing_support::LogCapture;
using testing_support::Mixture;
using testing_support::Noise;
using testing_support::SameRaw;
using testing_support::SamplesFor;

int32_t UlpDistance(float a, float b) {
  int32_t x, y;
  std::memcpy(&x, &a, sizeof x);
  std::memcpy(&y, &b, sizeof y);
  return std::abs(x - y);
}

// ---- Reference numbers

struct Case {
  int rate;
  const char* cmn;
  bool k4;
};
class FloatFrontReference : public testing::TestWithParam<Case> {};

TEST_P(FloatFrontReference, RecordsAgree) {
  const Case& c = GetParam();
  const std::string rate = std::to_string(c.rate);
  const std::vector<int16_t> pcm = testing_support::ReadNumbers<int16_t>("frontend/pcm_" + rate + ".i16");
  const std::vector<float> rows =
      testing_support::ReadNumbers<float>("frontend/records_" + rate + "_cmn" + c.cmn + "_k4" + (c.k4 ? "1" : "0") + ".f32");
  Front front(c.cmn, true, c.rate);
  if (c.k4) front.set("wffpl_param_k4_energy", "1");
  ASSERT_EQ(front.append(pcm), 0);
  std::vector<StaticFeatureFB> records = front.read(false);
  for (const StaticFeatureFB& record : front.read(true)) records.push_back(record);
  ASSERT_EQ(records.size(), 301u);
  ASSERT_EQ(rows.size(), 76u * 131u);
  for (size_t n = 0; n < 76; ++n) {
    const StaticFeatureFB& record = records[4 * n];
    const float* row = &rows[131 * n];
    for (size_t i = 0; i < 24; ++i) {
      ASSERT_NEAR(record.afFb24[i], row[i], 2e-4) << "record " << 4 * n << " value " << i;
      ASSERT_NEAR(record.afFb24Cmn[i], row[64 + i], 2e-4) << "record " << 4 * n << " value " << i;
    }
    for (size_t i = 0; i < 40; ++i) {
      ASSERT_NEAR(record.afFb40[i], row[24 + i], 2e-4) << "record " << 4 * n << " value " << i;
      ASSERT_NEAR(record.afFb40Cmn[i], row[88 + i], 2e-4) << "record " << 4 * n << " value " << i;
    }
    ASSERT_EQ(record.fPitch, row[128]) << "record " << 4 * n;
    ASSERT_NEAR(record.fPitchAux, row[129], 1e-4) << "record " << 4 * n;
    ASSERT_LE(UlpDistance(record.fEnergy, row[130]), 2) << "record " << 4 * n;
  }
}

INSTANTIATE_TEST_SUITE_P(AllRates, FloatFrontReference,
                         testing::Values(Case{16000, "0", false}, Case{16000, "1", false}, Case{16000, "2", true}, Case{16000, "3", false},
                                         Case{8000, "0", false}, Case{8000, "1", false}, Case{8000, "2", true}, Case{8000, "3", false},
                                         Case{6000, "0", false}, Case{6000, "1", false}, Case{6000, "2", true}, Case{6000, "3", false}),
                         [](const testing::TestParamInfo<Case>& row) { return std::to_string(row.param.rate) + "Type" + row.param.cmn; });

// ---- The PCM ring

TEST(FloatFront, RingRefusesTheSampleThatWouldFillIt) {
  const LogCapture log(kLogErr);
  Front front("1", false);
  EXPECT_EQ(front.append(std::vector<int16_t>(409600)), 3);
  EXPECT_EQ(front.append(std::vector<int16_t>(409599)), 0);
  EXPECT_EQ(front.append(std::vector<int16_t>(1)), 3);
  EXPECT_THAT(log.Lines(),
              ElementsAre("ORVAFloatFrontAppendData | PCMBUFFER is full!", "Error! The error string is -> ORVAFE_ERRID_BUFFERFULL = 3",
                          "ORVAFloatFrontAppendData | PCMBUFFER is full!", "Error! The error string is -> ORVAFE_ERRID_BUFFERFULL = 3"));
  // Nothing was taken of the refused writes: (409599 - 800) / 160 + 1 frames come out.
  EXPECT_EQ(front.read(false).size(), 2555u);
}

TEST(FloatFront, RefusedWriteLeavesTheSessionAsItWas) {
  const std::vector<int16_t> pcm = Mixture(SamplesFor(40), 16000);
  Front plain("1", true), disturbed("1", true);
  plain.append(pcm);
  disturbed.append(std::vector<int16_t>(pcm.begin(), pcm.begin() + 3000));
  EXPECT_EQ(disturbed.append(Noise(409600, 9000)), 3);
  disturbed.append(std::vector<int16_t>(pcm.begin() + 3000, pcm.end()));
  const std::vector<StaticFeatureFB> a = plain.read(false), b = disturbed.read(false);
  ASSERT_EQ(a.size(), 40u);
  ASSERT_EQ(b.size(), 40u);
  for (size_t i = 0; i < a.size(); ++i) EXPECT_TRUE(SameRaw(a[i], b[i])) << i;
}

TEST(FloatFront, FramesAreTheSameAcrossTheEndOfTheRing) {
  // A pattern of ten hops repeats every ten frames, wherever its samples lie in the ring; 70 s pass the end of the ring more than twice.
  for (const int rate : {16000, 8000, 6000}) {
    const size_t hop = static_cast<size_t>(rate / 100);
    const std::vector<int16_t> pattern = Mixture(10 * hop, rate);
    Front front("1", true, rate);
    std::vector<StaticFeatureFB> first;
    size_t n = 0;
    const size_t pieces = 2 * 409600 / hop / 10 + 20;
    for (size_t piece = 0; piece < pieces; ++piece) {
      ASSERT_EQ(front.append(pattern), 0) << rate;
      for (const StaticFeatureFB& record : front.read(false)) {
        if (n < 10) {
          first.push_back(record);
        } else {
          ASSERT_TRUE(SameRaw(record, first[n % 10])) << rate << " frame " << n;
        }
        ++n;
      }
    }
    EXPECT_EQ(n, pieces * 10 - 4) << rate;
  }
}

TEST(FloatFront, AudioShorterThanAWindowGivesNoFrame) {
  for (const int rate : {16000, 8000, 6000}) {
    Front front("1", true, rate);
    const size_t window = static_cast<size_t>(rate / 20);
    front.append(Noise(window - 1, 1000));
    int code = -1;
    EXPECT_TRUE(front.read(false, &code).empty());
    EXPECT_EQ(code, kFrontNone);
    EXPECT_TRUE(front.read(true, &code).empty());
    EXPECT_EQ(code, kFrontNone);
    front.append(Noise(1, 1000));
    EXPECT_EQ(front.read(false).size(), 1u);
  }
}

TEST(FloatFront, PiecesOfAnySizeGiveTheSameRecords) {
  const std::vector<int16_t> pcm = Mixture(SamplesFor(300), 16000);
  Front whole("0", true), pieces("0", true);
  whole.append(pcm);
  std::vector<StaticFeatureFB> a = whole.read(true), b;
  size_t at = 0;
  for (size_t step = 1; at < pcm.size(); step = step * 7 % 1013 + 1) {
    const size_t end = std::min(pcm.size(), at + step);
    pieces.append(std::vector<int16_t>(pcm.begin() + static_cast<long>(at), pcm.begin() + static_cast<long>(end)));
    at = end;
    for (const StaticFeatureFB& record : pieces.read(false)) b.push_back(record);
  }
  for (const StaticFeatureFB& record : pieces.read(true)) b.push_back(record);
  ASSERT_EQ(a.size(), 300u);
  ASSERT_EQ(b.size(), 300u);
  for (size_t i = 0; i < a.size(); ++i) EXPECT_TRUE(SameRaw(a[i], b[i])) << i;
}

// ---- The schedule and the mean

TEST(FloatFront, ScheduleLetsRecordsGoAsFramesAreSeen) {
  struct Row {
    const char* type;
    size_t frames, delivered;
  };
  // Type 0: (T - 100) * 50 / 50 up to 150, then 150 * (T - 150) / 50 + 50 up to 200, then all.
  // Type 2: (T - 50) * 25 / 50 up to 100, then 125 * (T - 100) / 50 + 25 up to 150. Type 3: (T - 25) * 25 / 50, then 75 * (T - 75) / 25
  // + 25.
  constexpr Row kRows[] = {{"0", 1, 0},     {"0", 100, 0},   {"0", 101, 1},   {"0", 125, 25},  {"0", 150, 50},  {"0", 151, 53},
                           {"0", 175, 125}, {"0", 199, 197}, {"0", 200, 200}, {"0", 201, 201}, {"1", 1, 1},     {"1", 2, 2},
                           {"2", 50, 0},    {"2", 51, 0},    {"2", 52, 1},    {"2", 100, 25},  {"2", 101, 27},  {"2", 150, 150},
                           {"3", 25, 0},    {"3", 27, 1},    {"3", 75, 25},   {"3", 76, 28},   {"3", 100, 100}, {"4", 300, 0}};
  for (const Row& row : kRows) {
    Front front(row.type, false);
    front.append(Noise(SamplesFor(row.frames), 1000));
    int code = -1;
    EXPECT_EQ(front.read(false, &code).size(), row.delivered) << "type " << row.type << ", " << row.frames << " frames";
    EXPECT_EQ(code, row.delivered == row.frames ? kFrontNone : kFrontPending) << "type " << row.type << ", " << row.frames << " frames";
  }
}

TEST(FloatFront, FewFramesLeanOnThePrior) {
  // 50 frames of silence: every raw value is 0, so a record holds minus the prior times (200 - 50) * 0.6 / 200 = 0.45.
  Front front("0", false);
  front.append(std::vector<int16_t>(SamplesFor(50)));
  int code = -1;
  EXPECT_TRUE(front.read(false, &code).empty());
  EXPECT_EQ(code, kFrontPending);
  const std::vector<StaticFeatureFB> records = front.read(true, &code);
  EXPECT_EQ(code, kFrontNone);
  ASSERT_EQ(records.size(), 50u);
  for (const StaticFeatureFB& record : records) {
    EXPECT_FLOAT_EQ(record.afFb24Cmn[0], -0.45f * 12.7679f);
    EXPECT_FLOAT_EQ(record.afFb24Cmn[23], -0.45f * 16.4931f);
    EXPECT_FLOAT_EQ(record.afFb40Cmn[0], -0.45f * 11.6815f);
    EXPECT_FLOAT_EQ(record.afFb40Cmn[39], -0.45f * 15.364f);
  }
}

TEST(FloatFront, MeanMixesPriorAndSumByTheirRounding) {
  const float prior = 17.4227f;  // value 16 of the bank of 24
  Front front("0", false), raw("1", false);
  const std::vector<int16_t> pcm = Mixture(SamplesFor(50), 16000);
  front.append(pcm);
  raw.append(pcm);
  float sum = 0;
  for (const StaticFeatureFB& record : raw.read(false)) sum += record.afFb24[16];
  const float w = 150.0f * 0.6f / 200.0f;
  const float kept = sum * (1.0f - w);
  const float mean = kept / 50.0f + prior * w;
  EXPECT_TRUE(front.read(false).empty());
  const std::vector<StaticFeatureFB> records = front.read(true);
  ASSERT_EQ(records.size(), 50u);
  for (const StaticFeatureFB& record : records) EXPECT_EQ(record.afFb24Cmn[16], record.afFb24[16] - mean);
}

TEST(FloatFront, MeanOfManyFramesIsTheirAverageAtTheMomentOfDelivery) {
  Front front("3", false), raw("1", false);
  const std::vector<int16_t> pcm = Mixture(SamplesFor(120), 16000);
  front.append(pcm);
  raw.append(pcm);
  const std::vector<StaticFeatureFB> plain = raw.read(false), records = front.read(false);
  ASSERT_EQ(records.size(), 120u);
  // From frame 100 on each record leaves as soon as it is computed.
  float sum = 0;
  for (size_t i = 0; i < 120; ++i) {
    sum += plain[i].afFb40[20];
    if (i >= 100) {
      EXPECT_EQ(records[i].afFb40Cmn[20], plain[i].afFb40[20] - sum / static_cast<float>(i + 1)) << i;
    }
  }
}

TEST(FloatFront, TypeOneRemovesNothingAndWaitsForNothing) {
  Front front("1", true);
  const std::vector<int16_t> pcm = Mixture(SamplesFor(30), 16000);
  front.append(pcm);
  const std::vector<StaticFeatureFB> records = front.read(false);
  ASSERT_EQ(records.size(), 30u);
  for (const StaticFeatureFB& record : records) {
    EXPECT_EQ(std::memcmp(record.afFb24, record.afFb24Cmn, sizeof record.afFb24), 0);
    EXPECT_EQ(std::memcmp(record.afFb40, record.afFb40Cmn, sizeof record.afFb40), 0);
  }
}

TEST(FloatFront, WholeUtteranceBeyond512FramesGivesTheNewerOnesTwice) {
  Front front("4", true), raw("1", true);
  const std::vector<int16_t> pcm = Mixture(SamplesFor(600), 16000);
  front.append(pcm);
  raw.append(pcm);
  EXPECT_TRUE(front.read(false).empty());
  const std::vector<StaticFeatureFB> records = front.read(true), plain = raw.read(false);
  ASSERT_EQ(records.size(), 600u);
  ASSERT_EQ(plain.size(), 600u);
  for (size_t i = 0; i < 600; ++i) EXPECT_TRUE(SameRaw(records[i], plain[i < 88 ? i + 512 : i])) << i;
}

TEST(FloatFront, WholeUtteranceMeanIsTheAverageWithoutPrior) {
  Front front("4", false);
  front.append(Mixture(SamplesFor(60), 16000));
  EXPECT_TRUE(front.read(false).empty());
  const std::vector<StaticFeatureFB> records = front.read(true);
  ASSERT_EQ(records.size(), 60u);
  double sum = 0;
  for (const StaticFeatureFB& record : records) sum += record.afFb24Cmn[5];
  EXPECT_NEAR(sum, 0.0, 1e-3);
}

TEST(FloatFront, FlushFromTheStartNormalisesEachFrameByWhatCameBefore) {
  // A read with flush delivers a frame as soon as it is computed: the first one is normalised by itself and the prior alone.
  Front front("0", false), raw("1", false);
  const std::vector<int16_t> pcm = Mixture(SamplesFor(3), 16000);
  front.append(pcm);
  raw.append(pcm);
  const std::vector<StaticFeatureFB> records = front.read(true), plain = raw.read(false);
  ASSERT_EQ(records.size(), 3u);
  const float w = 199.0f * 0.6f / 200.0f;
  const float kept = plain[0].afFb40[39] * (1.0f - w);
  EXPECT_EQ(records[0].afFb40Cmn[39], plain[0].afFb40[39] - (kept / 1.0f + 15.364f * w));
}

// ---- Resets

TEST(FloatFront, ResetWithinASessionKeepsTheMeanAndCountsItsFrames) {
  Front front("0", false);
  front.append(std::vector<int16_t>(SamplesFor(50)));
  EXPECT_TRUE(front.read(false).empty());
  ORVAFloatFrontReset(front.handle, 0);
  // 50 frames count from before: at 151 frames seen 53 may be out, and the 50 of before count as out.
  front.append(std::vector<int16_t>(SamplesFor(100)));
  EXPECT_EQ(front.read(false).size(), 0u);
  front.append(std::vector<int16_t>(160));
  EXPECT_EQ(front.read(false).size(), 3u);
}

TEST(FloatFront, ResetForANewSessionForgetsTheMean) {
  const std::vector<int16_t> pcm = Mixture(SamplesFor(250), 16000);
  Front fresh("0", true), used("0", true);
  used.append(Noise(SamplesFor(300), 8000, 5));
  used.read(false);
  used.append(Noise(500, 8000, 6));  // left over in the ring
  ORVAFloatFrontReset(used.handle, 1);
  fresh.append(pcm);
  used.append(pcm);
  const std::vector<StaticFeatureFB> a = fresh.read(true), b = used.read(true);
  ASSERT_EQ(a.size(), 250u);
  ASSERT_EQ(b.size(), 250u);
  for (size_t i = 0; i < a.size(); ++i) {
    EXPECT_TRUE(SameRaw(a[i], b[i])) << i;
    EXPECT_EQ(std::memcmp(a[i].afFb40Cmn, b[i].afFb40Cmn, sizeof a[i].afFb40Cmn), 0) << i;
  }
}

TEST(FloatFront, ResetIsTimed) {
  Front front;
  const LogCapture log(kLogPrf | kLogTrc);
  ORVAFloatFrontReset(front.handle, 1);
  // Not every system's regular expressions have sets of characters.
  const std::regex wanted("TSEG::ORVAFloatFrontReset  [0-9]+\\.[0-9]{3} msec\\.");
  EXPECT_THAT(log.Lines(), ElementsAre(testing::Truly([&](const std::string& line) { return std::regex_match(line, wanted); })));
}

TEST(FloatFront, RateChangeBetweenSessionsGivesWhatAFreshObjectGives) {
  const std::vector<int16_t> pcm = Mixture(8000, 8000);
  Front fresh("1", true, 8000), used("1", true, 16000);
  used.append(Noise(16000, 3000));
  used.read(false);
  used.set("wffpl_param_SampleRate", "8000");
  ORVAFloatFrontReset(used.handle, 1);
  fresh.append(pcm);
  used.append(pcm);
  const std::vector<StaticFeatureFB> a = fresh.read(false), b = used.read(false);
  ASSERT_EQ(a.size(), 96u);
  ASSERT_EQ(b.size(), 96u);
  for (size_t i = 0; i < a.size(); ++i) EXPECT_TRUE(SameRaw(a[i], b[i])) << i;
}

TEST(FloatFront, ManyThreadsMakeAndUseTheirOwnAtOnce) {
  const std::vector<int16_t> pcm = Mixture(SamplesFor(40), 16000);
  Front alone("1", true);
  alone.append(pcm);
  const std::vector<StaticFeatureFB> want = alone.read(false);
  ASSERT_EQ(want.size(), 40u);
  std::vector<int> same(6, 0);
  std::vector<std::thread> threads;
  for (int& count : same) {
    threads.emplace_back([&count, &pcm, &want] {
      for (int round = 0; round < 5; ++round) {
        Front front("1", true);
        front.append(pcm);
        const std::vector<StaticFeatureFB> got = front.read(false);
        for (size_t i = 0; i < got.size() && i < want.size(); ++i) count += SameRaw(got[i], want[i]) ? 1 : 0;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (const int count : same) EXPECT_EQ(count, 200);
}

}  // namespace
}  // namespace TSEG
