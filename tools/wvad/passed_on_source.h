// SPDX-License-Identifier: Apache-2.0
//
// A recording as another source gives it: what stands between a source and its listener, and changes one thing about it.
#ifndef WVAD_WVAD_PASSED_ON_SOURCE_H_
#define WVAD_WVAD_PASSED_ON_SOURCE_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include "wvad/audio_source.h"

namespace TSEG::tool {

class PassedOnSource : public AudioSource {
 public:
  explicit PassedOnSource(std::unique_ptr<AudioSource> source) : source_(std::move(source)) {}
  int rate_hz() const override { return source_->rate_hz(); }
  int channels() const override { return source_->channels(); }
  int64_t frames() const override { return source_->frames(); }
  SampleDepth depth() const override { return source_->depth(); }
  size_t Read(float* out, size_t count) override { return source_->Read(out, count); }
  std::string damage() override { return source_->damage(); }
  std::string note() const override { return source_->note(); }

 private:
  std::unique_ptr<AudioSource> source_;
};

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_PASSED_ON_SOURCE_H_
