// SPDX-License-Identifier: Apache-2.0
#include "wvad/spooled_source.h"

#include <cstdint>
#include <utility>

#include "wvad/passed_on_source.h"

namespace TSEG::tool {

class KeepingSource : public PassedOnSource {
 public:
  KeepingSource(SampleSpool& spool, std::unique_ptr<AudioSource> source) : PassedOnSource(std::move(source)), spool_(spool) {}
  size_t Read(float* out, size_t count) override {
    const size_t frames = PassedOnSource::Read(out, count);
    const size_t samples = frames * static_cast<size_t>(channels());
    spool_.file_.Append(out, samples * sizeof(float));
    spool_.frames_ += static_cast<int64_t>(frames);
    return frames;
  }

 private:
  SampleSpool& spool_;
};

class KeptSource : public AudioSource {
 public:
  explicit KeptSource(const SampleSpool& spool) : spool_(spool) {}
  int rate_hz() const override { return spool_.rate_hz_; }
  int channels() const override { return spool_.channels_; }
  int64_t frames() const override { return spool_.frames_; }
  SampleDepth depth() const override { return spool_.depth_; }
  size_t Read(float* out, size_t count) override {
    const size_t frame_bytes = sizeof(float) * static_cast<size_t>(spool_.channels_);
    const size_t frames = spool_.file_.ReadAt(at_, out, count * frame_bytes) / frame_bytes;
    at_ += frames * frame_bytes;
    return frames;
  }

 private:
  const SampleSpool& spool_;
  uint64_t at_ = 0;
};

SampleSpool::SampleSpool(const std::string& name) : file_(name) {}

std::unique_ptr<AudioSource> SampleSpool::Keep(std::unique_ptr<AudioSource> source) {
  rate_hz_ = source->rate_hz();
  channels_ = source->channels();
  depth_ = source->depth();
  return std::make_unique<KeepingSource>(*this, std::move(source));
}

std::unique_ptr<AudioSource> SampleSpool::Again() const { return std::make_unique<KeptSource>(*this); }

}  // namespace TSEG::tool
