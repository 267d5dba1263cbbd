// SPDX-License-Identifier: Apache-2.0
#include "wvad/compare/comparison.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

namespace TSEG::tool {
namespace {

bool Overlap(const Span& a, const Span& b) { return a.begin_us < b.end_us && b.begin_us < a.end_us; }

// The first and the last span of `spans` that overlaps `span`; null if none does.
struct Range {
  const Span* first = nullptr;
  const Span* last = nullptr;
};
Range Overlapping(const Span& span, const Spans& spans) {
  Range range;
  auto at = std::partition_point(spans.begin(), spans.end(), [&](const Span& other) { return other.end_us <= span.begin_us; });
  for (; at != spans.end() && Overlap(*at, span); ++at) {
    if (range.first == nullptr) range.first = &*at;
    range.last = &*at;
  }
  return range;
}

bool Inside(int64_t time_us, const Spans& regions) {
  return std::any_of(regions.begin(), regions.end(),
                     [&](const Span& region) { return time_us > region.begin_us && time_us < region.end_us; });
}

Spans Collars(const Spans& reference, int64_t collar_us) {
  Spans collars;
  for (const Span& span : reference) {
    for (const int64_t boundary : {span.begin_us, span.end_us}) collars.push_back({boundary - collar_us, boundary + collar_us});
  }
  return Joined(std::move(collars));
}

// A pair of boundaries belongs together where each is the first (or last) that overlaps the other's segment; those at the edge of a region
// were cut there and say nothing.
void CountSegments(const Spans& reference, const Spans& found, const Spans& regions, int64_t collar_us, Comparison& result) {
  for (const Span& span : reference) {
    ++result.segments;
    const Range hits = Overlapping(span, found);
    if (hits.first == nullptr) {
      ++result.missed;
      continue;
    }
    const bool onset = Overlapping(*hits.first, reference).first == &span;
    if (onset && Inside(span.begin_us, regions) && Inside(hits.first->begin_us, regions)) {
      result.onsets_us.push_back(hits.first->begin_us - span.begin_us);
    }
    const bool offset = Overlapping(*hits.last, reference).last == &span;
    if (offset && Inside(span.end_us, regions) && Inside(hits.last->end_us, regions)) {
      result.offsets_us.push_back(hits.last->end_us - span.end_us);
    }
  }
  for (const Span& span : found) {
    if (Overlapping({span.begin_us - collar_us, span.end_us + collar_us}, reference).first == nullptr) ++result.false_alarms;
  }
}

std::optional<double> Ratio(double part, double whole) { return whole > 0 ? std::optional<double>(part / whole) : std::nullopt; }

std::optional<double> Median_s(std::vector<int64_t> values) {
  if (values.empty()) return std::nullopt;
  std::sort(values.begin(), values.end());
  const size_t half = values.size() / 2;
  const int64_t twice = values.size() % 2 == 1 ? 2 * values[half] : values[half - 1] + values[half];
  return static_cast<double>(twice) / 2e6;
}

// The smallest size of an error under which 95 % of them lie or at which they stand.
std::optional<double> Size95_s(std::vector<int64_t> values) {
  if (values.empty()) return std::nullopt;
  for (int64_t& value : values) value = std::abs(value);
  std::sort(values.begin(), values.end());
  return static_cast<double>(values[(values.size() * 95 + 99) / 100 - 1]) / 1e6;
}

}  // namespace

void Comparison::Add(const Comparison& other) {
  hit_us += other.hit_us;
  miss_us += other.miss_us;
  false_us += other.false_us;
  rest_us += other.rest_us;
  region_us += other.region_us;
  segments += other.segments;
  missed += other.missed;
  false_alarms += other.false_alarms;
  onsets_us.insert(onsets_us.end(), other.onsets_us.begin(), other.onsets_us.end());
  offsets_us.insert(offsets_us.end(), other.offsets_us.begin(), other.offsets_us.end());
}

Comparison Compare(const Spans& reference, const Spans& found, const Spans& regions, int64_t collar_us) {
  const Spans speech = Intersection(reference, regions);
  const Spans told = Intersection(found, regions);
  const Spans scored = collar_us > 0 ? Difference(regions, Collars(speech, collar_us)) : regions;
  Comparison result;
  result.region_us = Length(regions);
  result.hit_us = Length(Intersection(Intersection(speech, told), scored));
  result.miss_us = Length(Intersection(Difference(speech, told), scored));
  result.false_us = Length(Intersection(Difference(told, speech), scored));
  result.rest_us = Length(scored) - result.hit_us - result.miss_us - result.false_us;
  CountSegments(speech, told, regions, collar_us, result);
  return result;
}

Scores ScoresOf(const Comparison& comparison) {
  const auto hit = static_cast<double>(comparison.hit_us);
  const auto miss = static_cast<double>(comparison.miss_us);
  const auto wrong = static_cast<double>(comparison.false_us);
  Scores scores;
  scores.precision = Ratio(hit, hit + wrong);
  scores.recall = Ratio(hit, hit + miss);
  scores.f1 = Ratio(2 * hit, 2 * hit + wrong + miss);
  scores.p_miss = Ratio(miss, hit + miss);
  scores.p_false = Ratio(wrong, wrong + static_cast<double>(comparison.rest_us));
  if (scores.p_miss && scores.p_false) scores.dcf = 0.75 * *scores.p_miss + 0.25 * *scores.p_false;
  scores.error = Ratio(miss + wrong, hit + miss);
  scores.false_alarms_per_hour = Ratio(static_cast<double>(comparison.false_alarms), static_cast<double>(comparison.region_us) / 3600e6);
  scores.onset_median_s = Median_s(comparison.onsets_us);
  scores.onset_95_s = Size95_s(comparison.onsets_us);
  scores.offset_median_s = Median_s(comparison.offsets_us);
  scores.offset_95_s = Size95_s(comparison.offsets_us);
  return scores;
}

}  // namespace TSEG::tool
