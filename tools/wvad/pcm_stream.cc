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
      piece_samples_(SamplesOf(engine_rate_hz, piece_ms)),
      block_frames_(SamplesOf(source.rate_hz(), piece_ms)),
      gain_(static_cast<float>(std::pow(10.0, gain_db / 20.0))) {
  if (channel > source.channels()) {
    throw Failure(ExitCode::kBadRate,
                  name + ": there is no channel " + std::to_string(channel) + " (the audio has " + std::to_string(source.channels()) + ")");
  }
  const bool all = channel == kAllChannels;
  for (int number = all ? 1 : channel; number <= (all ? source.channels() : channel); ++number) {
    lanes_.push_back(std::make_unique<Lane>(number, source.rate_hz(), engine_rate_hz));
  }
}

void PcmStream::Pick(const Lane& lane, size_t frames) {
  const size_t channels = static_cast<size_t>(source_.channels());
  for (size_t i = 0; i < frames; ++i) {
    const float* frame = interleaved_.data() + i * channels;
    if (lane.channel != kMixChannels) {
      mono_[i] = frame[lane.channel - 1];
    } else {
      float sum = 0;
      for (size_t c = 0; c < channels; ++c) sum += frame[c];
      mono_[i] = sum / static_cast<float>(channels);
    }
  }
}

void PcmStream::Fill() {
  const size_t channels = static_cast<size_t>(source_.channels());
  interleaved_.resize(block_frames_ * channels);
  const size_t frames = source_.Read(interleaved_.data(), block_frames_);
  frames_read_ += static_cast<int64_t>(frames);
  at_end_ = frames == 0;
  mono_.resize(frames);
  for (const std::unique_ptr<Lane>& lane : lanes_) {
    lane->ready.erase(lane->ready.begin(), lane->ready.begin() + static_cast<std::ptrdiff_t>(taken_));
    Pick(*lane, frames);
    if (at_end_) {
      lane->resampler.Finish(&lane->ready);
    } else {
      lane->resampler.Process(mono_.data(), frames, &lane->ready);
    }
  }
  taken_ = 0;
  if (lanes_[0]->channel == kMixChannels && channels > 1) phase_.Feed(interleaved_.data(), frames, channels);
}

bool PcmStream::Next(std::vector<std::vector<int16_t>>* pieces) {
  while (!at_end_ && lanes_[0]->ready.size() - taken_ < piece_samples_) Fill();
  const size_t count = std::min(piece_samples_, lanes_[0]->ready.size() - taken_);
  pieces->resize(lanes_.size());
  for (size_t lane = 0; lane < lanes_.size(); ++lane) {
    std::vector<int16_t>& piece = (*pieces)[lane];
    piece.resize(count);
    for (size_t i = 0; i < count; ++i) piece[i] = ToSample(lanes_[lane]->ready[taken_ + i] * gain_);
  }
  taken_ += count;
  return count > 0;
}

}  // namespace TSEG::tool
