// SPDX-License-Identifier: Apache-2.0
//
// A recording at another sample rate, each channel by itself. Equal rates pass through bit for bit.
#ifndef WVAD_AUDIO_READER_RESAMPLED_SOURCE_H_
#define WVAD_AUDIO_READER_RESAMPLED_SOURCE_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "wvad/passed_on_source.h"
#include "wvad/resampler.h"

namespace TSEG::tool {

class ResampledSource : public PassedOnSource {
 public:
  // `rate_hz` is one that CheckRate takes.
  ResampledSource(std::unique_ptr<AudioSource> source, int rate_hz);
  int rate_hz() const override { return rate_hz_; }
  int64_t frames() const override { return -1; }  // the filter's ends decide
  size_t Read(float* out, size_t count) override;

 private:
  void Fill();

  int rate_hz_;
  std::vector<std::unique_ptr<Resampler>> resamplers_;  // one for each channel
  std::vector<std::vector<float>> ready_;               // of each channel, [taken_, size) not handed out yet
  std::vector<float> interleaved_;
  std::vector<float> mono_;
  size_t taken_ = 0;
  bool at_end_ = false;
};

}  // namespace TSEG::tool

#endif  // WVAD_AUDIO_READER_RESAMPLED_SOURCE_H_
