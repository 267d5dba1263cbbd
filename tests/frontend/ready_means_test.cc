// SPDX-License-Identifier: Apache-2.0
//
// A front end that begins ready: no delay, the usual means at first, and no trace of it in the next session.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "frontend/float_front.h"
#include "frontend/float_front_fixture.h"
#include "frontend/test_audio.h"

namespace TSEG {
namespace {

using testing_support::Front;
using testing_support::Noise;
using testing_support::SamplesFor;

TEST(ReadyMeans, FirstFrameLeavesAtOnceWhereItWouldWaitASecond) {
  Front plain("0", false);
  plain.append(Noise(SamplesFor(100), 500));
  EXPECT_TRUE(plain.read(false).empty());
  Front ready("0", false);
  ORVAFloatFrontBeginReady(ready.handle, 50);
  ready.append(Noise(399, 500));
  EXPECT_TRUE(ready.read(false).empty());
  ready.append(Noise(1, 500));  // without pitch 25 ms are enough
  EXPECT_EQ(ready.read(false).size(), 1U);
  ready.append(Noise(160 * 9, 500));
  EXPECT_EQ(ready.read(false).size(), 9U);
  Front with_pitch("0", true);
  ORVAFloatFrontBeginReady(with_pitch.handle, 50);
  with_pitch.append(Noise(799, 500));
  EXPECT_TRUE(with_pitch.read(false).empty());
  with_pitch.append(Noise(1, 500));
  EXPECT_EQ(with_pitch.read(false).size(), 1U);
}

TEST(ReadyMeans, UsualMeanCountsAsSoManyFrames) {
  // Two fronts on the same first frame x tell the usual mean p: the mean is (p n + x) / (n + 1), and what is handed out is x less that.
  const std::vector<int16_t> pcm = Noise(400, 500);
  const auto first = [&](int32_t frames) {
    Front front("0", false);
    ORVAFloatFrontBeginReady(front.handle, frames);
    front.append(pcm);
    return front.read(false).at(0);
  };
  const StaticFeatureFB one = first(1), three = first(3);
  for (int i = 0; i < 40; ++i) {
    const double distance = static_cast<double>(one.afFb40Cmn[i]) * 2;  // x - p
    EXPECT_NEAR(three.afFb40Cmn[i], distance * 3 / 4, 1e-4 * (1 + std::abs(distance))) << i;
  }
}

TEST(ReadyMeans, NextSessionBeginsAsEver) {
  Front front("0", false);
  ORVAFloatFrontBeginReady(front.handle, 50);
  front.append(Noise(SamplesFor(10), 500));
  EXPECT_EQ(front.read(false).size(), 12U);  // the window is 25 ms
  ORVAFloatFrontReset(front.handle, 1);
  front.append(Noise(SamplesFor(100), 500));
  EXPECT_TRUE(front.read(false).empty());
}

TEST(ReadyMeans, NoEffectWithoutMeansAndOnTheMeanOfTheWholeUtterance) {
  for (const char* type : {"1", "4"}) {
    Front plain(type, true), ready(type, true);
    ORVAFloatFrontBeginReady(ready.handle, 50);
    plain.append(Noise(SamplesFor(20), 500));
    ready.append(Noise(SamplesFor(20), 500));
    std::vector<StaticFeatureFB> a = plain.read(false), b = ready.read(false);
    EXPECT_EQ(a.size(), b.size()) << type;
    for (size_t i = 0; i < a.size() && i < b.size(); ++i) EXPECT_EQ(a[i].afFb40Cmn[7], b[i].afFb40Cmn[7]) << type;
  }
}

}  // namespace
}  // namespace TSEG
