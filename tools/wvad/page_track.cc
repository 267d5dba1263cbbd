// SPDX-License-Identifier: Apache-2.0
#include "wvad/page_track.h"

#include <algorithm>

#include "wvad/checksum.h"
#include "wvad/frame_speech.h"
#include "wvad/system.h"

namespace TSEG::tool {

PageTrack MakeTrack(const EngineOptions& options, TracedEngine& engine, const std::vector<int16_t>& samples,
                    const std::vector<float>& powers, size_t piece_samples, const std::function<void(int64_t)>& heard) {
  PageTrack track;
  track.model = options.model;
  track.checksum = Sha256Of(engine.model_file());
  track.settings = options.settings;
  track.parameters = engine.parameters();
  track.facts = engine.facts();
  track.rows.resize(powers.size());
  FrameSpeech speech;
  TracedRecording recording(
      engine, [&](const Sentence& sentence) { track.sentences.push_back(sentence); },
      [&](int64_t frame, const TraceRow& row) {
        if (frame >= static_cast<int64_t>(track.rows.size())) return;
        track.rows[static_cast<size_t>(frame)] = row;
        speech.Set(frame, row);
      });
  for (size_t at = 0; at < samples.size() && !Interrupted(); at += piece_samples) {
    const auto first = samples.begin() + static_cast<std::ptrdiff_t>(at);
    recording.Feed({first, first + static_cast<std::ptrdiff_t>(std::min(piece_samples, samples.size() - at))});
    heard(recording.samples());
  }
  recording.Finish();
  track.renewals = recording.renewals();
  for (const Sentence& sentence : track.sentences) {
    track.numbered.push_back(speech.Number(sentence, engine.rate_hz(), static_cast<int64_t>(track.numbered.size()) + 1));
  }
  track.levels = LevelsOf(track.numbered, powers);
  return track;
}

}  // namespace TSEG::tool
