// SPDX-License-Identifier: Apache-2.0
//
// The ring of samples and the frames that are prepared ahead of their turn: neither is to be seen in a record.
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "frontend/float_front.h"
#include "frontend/float_front_fixture.h"
#include "frontend/test_audio.h"

namespace TSEG {
namespace {

using testing_support::Front;
using testing_support::SameRaw;
using testing_support::SamplesFor;

// A reader that lags behind goes over the end of the ring of 409600, one that keeps up has it begin anew again and again. Frame by frame
// both see what a fresh front end sees of the same samples.
TEST(FloatFront, FramesDoNotDependOnWhereTheyLieInTheRing) {
  const std::vector<int16_t> pcm = testing_support::Mixture(500000, 16000);
  Front lagging("1", false), prompt("1", false);
  std::vector<StaticFeatureFB> late, soon;
  const auto take = [](Front& front, std::vector<StaticFeatureFB>* records) {
    for (const StaticFeatureFB& record : front.read(false)) records->push_back(record);
  };
  const auto piece = [&pcm](size_t from, size_t count) { return std::vector<int16_t>(pcm.data() + from, pcm.data() + from + count); };
  ASSERT_EQ(lagging.append(piece(0, 400000)), 0);
  StaticFeatureFB record;
  while (late.size() < 1000 && ORVAFloatFrontGetFeature(lagging.handle, &record, 0) == 0) late.push_back(record);
  ASSERT_EQ(lagging.append(piece(400000, 100000)), 0);
  take(lagging, &late);
  for (size_t at = 0; at < pcm.size(); at += 400) {
    ASSERT_EQ(prompt.append(piece(at, 400)), 0);
    take(prompt, &soon);
  }
  ASSERT_EQ(late.size(), 1 + (pcm.size() - 800) / 160);
  ASSERT_EQ(soon.size(), late.size());
  for (size_t i = 0; i < late.size(); ++i) ASSERT_TRUE(SameRaw(late[i], soon[i])) << i;
  for (size_t i = 0; i < late.size(); i += 97) {
    Front fresh("1", false);
    ASSERT_EQ(fresh.append(piece(i * 160, 800)), 0);
    const std::vector<StaticFeatureFB> one = fresh.read(false);
    ASSERT_EQ(one.size(), 1u);
    EXPECT_TRUE(SameRaw(one[0], late[i])) << i;
  }
}

// The first record of a front end of 16 kHz without mean removal.
StaticFeatureFB FirstRecord(Front& front) {
  StaticFeatureFB record;
  EXPECT_EQ(ORVAFloatFrontGetFeature(front.handle, &record, 0), 0);
  return record;
}

TEST(FloatFront, ResetForgetsFramesThatWerePreparedAhead) {
  const std::vector<int16_t> loud = testing_support::Noise(SamplesFor(10), 20000);
  const std::vector<int16_t> silence(SamplesFor(10));
  for (const int new_session : {0, 1}) {
    Front front("1", false);
    ASSERT_EQ(front.append(loud), 0);
    FirstRecord(front);
    ORVAFloatFrontReset(front.handle, new_session);
    ASSERT_EQ(front.append(silence), 0);
    EXPECT_EQ(FirstRecord(front).fEnergy, 0.0f);
  }
}

TEST(FloatFront, EnergyIsOfTheKindThatHoldsWhenItsFrameComes) {
  Front front("1", false);
  ASSERT_EQ(front.append(std::vector<int16_t>(SamplesFor(10))), 0);
  EXPECT_EQ(FirstRecord(front).fEnergy, 0.0f);
  ASSERT_EQ(front.set("wffpl_param_k4_energy", "1"), 0);
  EXPECT_NEAR(FirstRecord(front).fEnergy, 56.9897f, 5e-5);  // 10 * log10(500000)
}

}  // namespace
}  // namespace TSEG
