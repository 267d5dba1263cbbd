// SPDX-License-Identifier: Apache-2.0
#include "wvad/pcm_stream.h"

#include <algorithm>
#include <cmath>

#include "wvad/failure.h"

namespace TSEG::tool {
namespace {

size_t SamplesOf(int rate_hz, int ms) { return static_cast<size_t>(std::max<int64_t>(1, static_cast<int64_t>(rate_hz) * ms / 1000)); }

// Nearest, saturating; not-a-number (a damaged float file) becomes silence.
int16_t ToSample(float value) {
  const float scaled = value * 32768.0F;
  if (std::isnan(scaled)) return 0;
  return static_cast<int16_t>(std::lrintf(std::clamp(scaled, -32768.0F, 32767.0F)));
}

}  // namespace

PcmStream::PcmStream(AudioSource& source, const std::string& name, int channel, int engine_rate_hz, int piece_ms, double gain_db)
    : source_(source),
      channel_(channel),
      piece_samples_(SamplesOf(engine_rate_hz, piece_ms)),
      block_frames_(SamplesOf(source.rate_hz(), piece_ms)),
      gain_(static_cast<float>(std::pow(10.0, gain_db / 20.0))),
      resampler_(source.rate_hz(), engine_rate_hz) {
  if (channel > source.channels()) {
    throw Failure(ExitCode::kBadRate,
                  name + ": there is no channel " + std::to_string(channel) + " (the audio has " + std::to_string(source.channels()) + ")");
  }
}

void PcmStream::Fill() {
  const size_t channels = static_cast<size_t>(source_.channels());
  interleaved_.resize(block_frames_ * channels);
  const size_t frames = source_.Read(interleaved_.data(), block_frames_);
  frames_read_ += static_cast<int64_t>(frames);
  ready_.erase(ready_.begin(), ready_.begin() + static_cast<std::ptrdiff_t>(taken_));
  taken_ = 0;
  if (frames == 0) {
    at_end_ = true;
    resampler_.Finish(&ready_);
    return;
  }
  mono_.resize(frames);
  for (size_t i = 0; i < frames; ++i) {
    const float* frame = interleaved_.data() + i * channels;
    if (channel_ != kMixChannels) {
      mono_[i] = frame[channel_ - 1];
    } else {
      float sum = 0;
      for (size_t c = 0; c < channels; ++c) sum += frame[c];
      mono_[i] = sum / static_cast<float>(channels);
    }
  }
  resampler_.Process(mono_.data(), frames, &ready_);
}

bool PcmStream::Next(std::vector<int16_t>* piece) {
  while (!at_end_ && ready_.size() - taken_ < piece_samples_) Fill();
  const size_t count = std::min(piece_samples_, ready_.size() - taken_);
  piece->resize(count);
  for (size_t i = 0; i < count; ++i) (*piece)[i] = ToSample(ready_[taken_ + i] * gain_);
  taken_ += count;
  return count > 0;
}

}  // namespace TSEG::tool
