// SPDX-License-Identifier: Apache-2.0
#include "wvad/spooled_source.h"

#include <cerrno>
#include <cstring>
#include <utility>

#include "wvad/failure.h"
#include "wvad/passed_on_source.h"

namespace TSEG::tool {

class KeepingSource : public PassedOnSource {
 public:
  KeepingSource(SampleSpool& spool, std::unique_ptr<AudioSource> source) : PassedOnSource(std::move(source)), spool_(spool) {}
  size_t Read(float* out, size_t count) override {
    const size_t frames = PassedOnSource::Read(out, count);
    const size_t samples = frames * static_cast<size_t>(channels());
    if (std::fwrite(out, sizeof(float), samples, spool_.file_.get()) != samples) {
      throw Failure(ExitCode::kOutput, spool_.name_ + ": its temporary file cannot be written: " + std::strerror(errno));
    }
    spool_.frames_ += static_cast<int64_t>(frames);
    return frames;
  }

 private:
  SampleSpool& spool_;
};

class KeptSource : public AudioSource {
 public:
  explicit KeptSource(SampleSpool& spool) : spool_(spool) { std::rewind(spool_.file_.get()); }
  int rate_hz() const override { return spool_.rate_hz_; }
  int channels() const override { return spool_.channels_; }
  int64_t frames() const override { return spool_.frames_; }
  SampleDepth depth() const override { return spool_.depth_; }
  size_t Read(float* out, size_t count) override {
    return std::fread(out, sizeof(float) * static_cast<size_t>(spool_.channels_), count, spool_.file_.get());
  }

 private:
  SampleSpool& spool_;
};

SampleSpool::SampleSpool(const std::string& name) : name_(name), file_(std::tmpfile()) {
  if (!file_) throw Failure(ExitCode::kOutput, name_ + ": no temporary file can be made: " + std::strerror(errno));
}

std::unique_ptr<AudioSource> SampleSpool::Keep(std::unique_ptr<AudioSource> source) {
  rate_hz_ = source->rate_hz();
  channels_ = source->channels();
  depth_ = source->depth();
  return std::make_unique<KeepingSource>(*this, std::move(source));
}

std::unique_ptr<AudioSource> SampleSpool::Again() {
  if (std::fflush(file_.get()) != 0) {
    throw Failure(ExitCode::kOutput, name_ + ": its temporary file cannot be written: " + std::strerror(errno));
  }
  return std::make_unique<KeptSource>(*this);
}

}  // namespace TSEG::tool
