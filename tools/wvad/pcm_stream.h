// SPDX-License-Identifier: Apache-2.0
//
// From a source to what the engine takes: one channel chosen or all mixed, resampled to the engine's rate, gain applied, 16-bit samples
// in pieces of one size (only the last is shorter). A 16-bit source at the engine's rate passes bit for bit.
#ifndef WVAD_WVAD_PCM_STREAM_H_
#define WVAD_WVAD_PCM_STREAM_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "wvad/audio_source.h"
#include "wvad/resampler.h"

namespace TSEG::tool {

constexpr int kMixChannels = 0;  // for `channel`: the mean of all channels

class PcmStream {
 public:
  // `name` is for messages. `channel` counts from 1. Throws Failure(kBadRate) if the source has no such channel.
  PcmStream(AudioSource& source, const std::string& name, int channel, int engine_rate_hz, int piece_ms, double gain_db);

  // The next piece; false when there is none left.
  bool Next(std::vector<int16_t>* piece);
  // Frames taken from the source so far.
  int64_t frames_read() const { return frames_read_; }

 private:
  void Fill();

  AudioSource& source_;
  int channel_;
  size_t piece_samples_;
  size_t block_frames_;
  float gain_;
  Resampler resampler_;
  std::vector<float> interleaved_;
  std::vector<float> mono_;
  std::vector<float> ready_;  // at the engine's rate, [taken_, size) not handed out yet
  size_t taken_ = 0;
  bool at_end_ = false;
  int64_t frames_read_ = 0;
};

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_PCM_STREAM_H_
