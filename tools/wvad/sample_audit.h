// SPDX-License-Identifier: Apache-2.0
//
// A recording whose samples are looked at on their way. Files of floats can hold what is no sound: values that are not numbers, which a
// resampler would smear over their neighbours, and values far beyond full scale, of which clipping leaves little.
#ifndef WVAD_WVAD_SAMPLE_AUDIT_H_
#define WVAD_WVAD_SAMPLE_AUDIT_H_

#include "wvad/passed_on_source.h"

namespace TSEG::tool {

class SampleAudit : public PassedOnSource {
 public:
  // `gain_db` is what the samples will be amplified by before they are clipped.
  SampleAudit(std::unique_ptr<AudioSource> source, double gain_db);
  // Not-a-number and the infinite become 0.
  size_t Read(float* out, size_t count) override;
  // Tells of any such sample, and where one in a thousand or more lies 6 dB beyond full scale, each with its share.
  std::string note() const override;

 private:
  float limit_;  // 6 dB beyond full scale, behind the gain
  float peak_ = 0;
  int64_t samples_ = 0;
  int64_t no_numbers_ = 0;
  int64_t beyond_ = 0;
};

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_SAMPLE_AUDIT_H_
