// SPDX-License-Identifier: Apache-2.0
//
// From a source to what the engine takes: one channel chosen, all mixed, or each by itself; resampled to the engine's rate, gain applied,
// 16-bit samples in pieces of one size (only the last is shorter). A 16-bit source at the engine's rate passes bit for bit.
#ifndef WVAD_WVAD_PCM_STREAM_H_
#define WVAD_WVAD_PCM_STREAM_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "wvad/audio_source.h"
#include "wvad/phase_meter.h"
#include "wvad/resampler.h"

namespace TSEG::tool {

// For `channel`, which otherwise counts from 1.
constexpr int kMixChannels = 0;  // the mean of all
constexpr int kAllChannels = -1;

class PcmStream {
 public:
  // `name` is for messages. Throws Failure(kBadRate) if the source has no such channel.
  PcmStream(AudioSource& source, const std::string& name, int channel, int engine_rate_hz, int piece_ms, double gain_db);

  // What Next() fills: one, or with kAllChannels one for each channel of the source.
  size_t lanes() const { return lanes_.size(); }
  // The next piece of each lane, all of one length; false when there is none left.
  bool Next(std::vector<std::vector<int16_t>>* pieces);
  // Frames taken from the source so far.
  int64_t frames_read() const { return frames_read_; }
  // What mixing did to the sound so far.
  const PhaseMeter& phase() const { return phase_; }

 private:
  struct Lane {
    Lane(int number, int from_hz, int to_hz) : channel(number), resampler(from_hz, to_hz) {}
    int channel;
    Resampler resampler;
    std::vector<float> ready;  // at the engine's rate, [taken_, size) not handed out yet
  };

  void Fill();
  void Pick(const Lane& lane, size_t frames);

  AudioSource& source_;
  size_t piece_samples_;
  size_t block_frames_;
  float gain_;
  std::vector<std::unique_ptr<Lane>> lanes_;
  std::vector<float> interleaved_;
  std::vector<float> mono_;
  size_t taken_ = 0;
  bool at_end_ = false;
  int64_t frames_read_ = 0;
  PhaseMeter phase_;
};

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_PCM_STREAM_H_
