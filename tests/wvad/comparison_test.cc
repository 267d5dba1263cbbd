// SPDX-License-Identifier: Apache-2.0
//
// Scores of segments that are small enough to be worked out on paper.
#include "wvad/compare/comparison.h"

#include <gtest/gtest.h>

#include <random>

namespace TSEG::tool {
namespace {

constexpr int64_t kSecond = 1000000;

Spans Of(std::vector<std::pair<double, double>> seconds) {
  Spans spans;
  for (const auto& [begin, end] : seconds) {
    spans.push_back({static_cast<int64_t>(begin * kSecond + 0.5), static_cast<int64_t>(end * kSecond + 0.5)});
  }
  return spans;
}

TEST(Comparison, SetsOfTimeAreJoinedCutAndTakenOff) {
  EXPECT_EQ(Joined(Of({{3, 4}, {1, 2}, {2, 2.5}, {1.5, 1.7}, {6, 6}})), Of({{1, 2.5}, {3, 4}}));
  EXPECT_EQ(Intersection(Of({{0, 2}, {3, 5}}), Of({{1, 4}, {4.5, 9}})), Of({{1, 2}, {3, 4}, {4.5, 5}}));
  EXPECT_EQ(Difference(Of({{0, 2}, {3, 5}}), Of({{1, 4}, {4.5, 4.6}})), Of({{0, 1}, {4, 4.5}, {4.6, 5}}));
  EXPECT_EQ(Difference(Of({{0, 2}}), {}), Of({{0, 2}}));
  EXPECT_EQ(Length(Of({{0, 2}, {3, 3.5}})), 2500000);
}

// Made sets, each second of which is in or out: the operations agree with those on the seconds.
TEST(Comparison, OperationsAgreeWithThoseOnFrames) {
  std::mt19937 random(1);
  for (int round = 0; round < 500; ++round) {
    const unsigned a = random() & 0xffff;
    const unsigned b = random() & 0xffff;
    const auto spans = [](unsigned bits) {
      Spans list;
      for (int i = 0; i < 16; ++i) {
        if ((bits >> i & 1U) != 0) list.push_back({i, i + 1});
      }
      return Joined(list);
    };
    EXPECT_EQ(Intersection(spans(a), spans(b)), spans(a & b)) << a << " " << b;
    EXPECT_EQ(Difference(spans(a), spans(b)), spans(a & ~b)) << a << " " << b;
  }
}

// Reference 1-3 and 6-8 of 10 s; found 1.5-3.5 and 9-9.5. Hit 1.5, missed 0.5 + 2, false 0.5 + 0.5, rest 5.
TEST(Comparison, TimesAndRates) {
  const Comparison comparison = Compare(Of({{1, 3}, {6, 8}}), Of({{1.5, 3.5}, {9, 9.5}}), Of({{0, 10}}), 0);
  EXPECT_EQ(comparison.hit_us, 1500000);
  EXPECT_EQ(comparison.miss_us, 2500000);
  EXPECT_EQ(comparison.false_us, 1000000);
  EXPECT_EQ(comparison.rest_us, 5000000);
  EXPECT_EQ(comparison.segments, 2);
  EXPECT_EQ(comparison.missed, 1);
  EXPECT_EQ(comparison.false_alarms, 1);
  const Scores scores = ScoresOf(comparison);
  EXPECT_DOUBLE_EQ(*scores.precision, 0.6);    // 1.5 / 2.5
  EXPECT_DOUBLE_EQ(*scores.recall, 0.375);     // 1.5 / 4
  EXPECT_DOUBLE_EQ(*scores.f1, 3.0 / 6.5);     // 2 * 1.5 / (3 + 1 + 2.5)
  EXPECT_DOUBLE_EQ(*scores.p_miss, 0.625);     // 2.5 / 4
  EXPECT_DOUBLE_EQ(*scores.p_false, 1.0 / 6);  // 1 / 6
  EXPECT_DOUBLE_EQ(*scores.dcf, 0.75 * 0.625 + 0.25 * (1.0 / 6));
  EXPECT_DOUBLE_EQ(*scores.error, 0.875);                // 3.5 / 4
  EXPECT_DOUBLE_EQ(*scores.false_alarms_per_hour, 360);  // 1 in 10 s
  EXPECT_DOUBLE_EQ(*scores.onset_median_s, 0.5);
  EXPECT_DOUBLE_EQ(*scores.offset_median_s, 0.5);
}

// With 0.5 s on both sides of 1 and 3 not scored, hit is 1.5-2.5, false 9-9.5, and of the 10 s 8 are left.
TEST(Comparison, CollarsAreNotScored) {
  const Comparison comparison = Compare(Of({{1, 3}}), Of({{0.5, 2.9}, {9, 9.5}}), Of({{0, 10}}), kSecond / 2);
  EXPECT_EQ(comparison.hit_us, 1000000);
  EXPECT_EQ(comparison.miss_us, 0);
  EXPECT_EQ(comparison.false_us, 500000);
  EXPECT_EQ(comparison.rest_us, 6500000);
  // What lies in the collar alone is no false alarm: 3.1 to 3.4 is nearer than 0.5 s, 3.6 to 3.8 is not.
  EXPECT_EQ(Compare(Of({{1, 3}}), Of({{3.1, 3.4}}), Of({{0, 10}}), kSecond / 2).false_alarms, 0);
  EXPECT_EQ(Compare(Of({{1, 3}}), Of({{3.6, 3.8}}), Of({{0, 10}}), kSecond / 2).false_alarms, 1);
}

// Of a reference segment from 1 to 9 the region 4-6 and 8-20 is scored: what is cut at an edge has no error there.
TEST(Comparison, RegionsCutWhatIsScored) {
  const Comparison comparison = Compare(Of({{1, 9}, {12, 13}}), Of({{2, 9.25}, {11.5, 13}}), Of({{4, 6}, {8, 20}}), 0);
  EXPECT_EQ(comparison.region_us, 14 * kSecond);
  EXPECT_EQ(comparison.hit_us, 4 * kSecond);
  EXPECT_EQ(comparison.miss_us, 0);
  EXPECT_EQ(comparison.false_us, 750000);
  EXPECT_EQ(comparison.onsets_us, std::vector<int64_t>{-500000});
  EXPECT_EQ(comparison.offsets_us, (std::vector<int64_t>{250000, 0}));
}

// One found segment over two of the reference: the first begin and the last end belong together, the others have no partner. And the other
// way round.
TEST(Comparison, JoinedAndSplitSegmentsArePairedAtTheirOuterBoundaries) {
  const Comparison joined = Compare(Of({{1, 2}, {3, 4}}), Of({{0.75, 4.5}}), Of({{0, 10}}), 0);
  EXPECT_EQ(joined.onsets_us, std::vector<int64_t>{-250000});
  EXPECT_EQ(joined.offsets_us, std::vector<int64_t>{500000});
  EXPECT_EQ(joined.missed, 0);
  const Comparison split = Compare(Of({{0.75, 4.5}}), Of({{1, 2}, {3, 4}}), Of({{0, 10}}), 0);
  EXPECT_EQ(split.onsets_us, std::vector<int64_t>{250000});
  EXPECT_EQ(split.offsets_us, std::vector<int64_t>{-500000});
}

TEST(Comparison, MedianIsSignedAndTheRestOfTheErrorsAreSizes) {
  Comparison comparison;
  for (int64_t i = 1; i <= 20; ++i) comparison.onsets_us.push_back(i * (i % 2 == 0 ? -kSecond : kSecond));
  // Sorted: -20, -18 ... -2, 1, 3 ... 19: the middle two are -2 and 1. Of 20 sizes the 19th is 19.
  EXPECT_DOUBLE_EQ(*ScoresOf(comparison).onset_median_s, -0.5);
  EXPECT_DOUBLE_EQ(*ScoresOf(comparison).onset_95_s, 19);
  comparison.onsets_us = {3 * kSecond, kSecond, 2 * kSecond};
  EXPECT_DOUBLE_EQ(*ScoresOf(comparison).onset_median_s, 2);
  EXPECT_DOUBLE_EQ(*ScoresOf(comparison).onset_95_s, 3);
}

TEST(Comparison, WhatHasNoMeaningIsMissing) {
  const Scores silence = ScoresOf(Compare({}, {}, Of({{0, 10}}), 0));
  EXPECT_FALSE(silence.precision || silence.recall || silence.f1 || silence.p_miss || silence.dcf || silence.error ||
               silence.onset_median_s);
  EXPECT_EQ(silence.p_false, 0);
  EXPECT_EQ(silence.false_alarms_per_hour, 0);
  const Scores nothing = ScoresOf(Comparison{});
  EXPECT_FALSE(nothing.p_false || nothing.false_alarms_per_hour);
}

TEST(Comparison, SumsAddUp) {
  Comparison total = Compare(Of({{1, 3}}), Of({{1, 2}}), Of({{0, 10}}), 0);
  total.Add(Compare(Of({{1, 3}}), Of({{1, 3}, {4, 5}}), Of({{0, 10}}), 0));
  EXPECT_EQ(total.hit_us, 3 * kSecond);
  EXPECT_EQ(total.miss_us, kSecond);
  EXPECT_EQ(total.false_us, kSecond);
  EXPECT_EQ(total.region_us, 20 * kSecond);
  EXPECT_EQ(total.segments, 2);
  EXPECT_EQ(total.false_alarms, 1);
  EXPECT_EQ(total.offsets_us, (std::vector<int64_t>{-kSecond, 0}));
}

}  // namespace
}  // namespace TSEG::tool
