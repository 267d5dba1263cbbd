// SPDX-License-Identifier: Apache-2.0
#include "audio_reader/resampled_source.h"

#include <algorithm>
#include <utility>

namespace TSEG::tool {
namespace {

constexpr size_t kBlockFrames = 4096;

}  // namespace

ResampledSource::ResampledSource(std::unique_ptr<AudioSource> source, int rate_hz)
    : PassedOnSource(std::move(source)), rate_hz_(rate_hz), ready_(static_cast<size_t>(channels())) {
  for (size_t c = 0; c < ready_.size(); ++c) resamplers_.push_back(std::make_unique<Resampler>(PassedOnSource::rate_hz(), rate_hz));
  interleaved_.resize(kBlockFrames * ready_.size());
  mono_.resize(kBlockFrames);
}

size_t ResampledSource::Read(float* out, size_t count) {
  while (!at_end_ && ready_[0].size() - taken_ < count) Fill();
  const size_t got = std::min(count, ready_[0].size() - taken_);
  for (size_t i = 0; i < got; ++i) {
    for (size_t c = 0; c < ready_.size(); ++c) out[i * ready_.size() + c] = ready_[c][taken_ + i];
  }
  taken_ += got;
  return got;
}

// What was handed out goes, a block more comes.
void ResampledSource::Fill() {
  const size_t frames = PassedOnSource::Read(interleaved_.data(), kBlockFrames);
  at_end_ = frames < kBlockFrames;
  for (size_t c = 0; c < ready_.size(); ++c) {
    ready_[c].erase(ready_[c].begin(), ready_[c].begin() + static_cast<std::ptrdiff_t>(taken_));
    for (size_t i = 0; i < frames; ++i) mono_[i] = interleaved_[i * ready_.size() + c];
    resamplers_[c]->Process(mono_.data(), frames, &ready_[c]);
    if (at_end_) resamplers_[c]->Finish(&ready_[c]);
  }
  taken_ = 0;
}

}  // namespace TSEG::tool
