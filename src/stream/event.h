// SPDX-License-Identifier: Apache-2.0
//
// Event: the public record with what its pointers lead to.
#ifndef WVAD_STREAM_EVENT_H_
#define WVAD_STREAM_EVENT_H_

#include <cstdint>
#include <functional>
#include <limits>
#include <vector>

#include "frontend/feature_records.h"
#include "wvad_stream.h"

namespace TSEG::stream {

struct Event {
  wvad_event record{};
  std::vector<int16_t> audio;
  std::vector<float> features;

  Event() = default;
  Event(int32_t kind, int64_t time, int64_t known_at) {
    constexpr double kNone = std::numeric_limits<double>::quiet_NaN();
    record.size = sizeof record;
    record.kind = kind;
    record.time = time;
    record.known_at = known_at;
    record.sentence = -1;
    record.probability = std::numeric_limits<float>::quiet_NaN();
    record.level_db = record.snr_db = record.clipped = kNone;
  }

  // The record with its pointers at what this object holds; valid as long as it stays where it is.
  const wvad_event& Linked() {
    record.audio = audio.empty() ? nullptr : audio.data();
    record.n_audio = audio.size();
    record.features = features.empty() ? nullptr : features.data();
    record.n_features = features.size() / kFeatureFrame;
    return record;
  }
};

using EventSink = std::function<void(Event&&)>;

}  // namespace TSEG::stream

#endif  // WVAD_STREAM_EVENT_H_
