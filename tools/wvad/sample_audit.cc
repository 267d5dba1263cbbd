// SPDX-License-Identifier: Apache-2.0
#include "wvad/sample_audit.h"

#include <algorithm>
#include <cmath>

#include "wvad/report_json.h"

namespace TSEG::tool {
namespace {

std::string Share(int64_t part, int64_t whole) {
  const double percent = 100.0 * static_cast<double>(part) / static_cast<double>(whole);
  return percent < 0.1 ? "less than 0.1 %" : Fixed(percent, 1) + " %";
}

}  // namespace

SampleAudit::SampleAudit(std::unique_ptr<AudioSource> source, double gain_db)
    : PassedOnSource(std::move(source)), limit_(static_cast<float>(2.0 / std::pow(10.0, gain_db / 20.0))) {}

size_t SampleAudit::Read(float* out, size_t count) {
  const size_t frames = PassedOnSource::Read(out, count);
  const size_t samples = frames * static_cast<size_t>(channels());
  for (size_t i = 0; i < samples; ++i) {
    if (!std::isfinite(out[i])) {
      out[i] = 0;
      ++no_numbers_;
      continue;
    }
    const float size = std::fabs(out[i]);
    if (size > limit_) ++beyond_;
    peak_ = std::max(peak_, size);
  }
  samples_ += static_cast<int64_t>(samples);
  return frames;
}

std::string SampleAudit::note() const {
  constexpr float kIntegers = 1000;  // no float recording is so loud; one in the range of 16-bit numbers is
  std::string note = PassedOnSource::note();
  const auto add = [&note](const std::string& words) { note += (note.empty() ? "" : "; ") + words; };
  if (no_numbers_ > 0) add(Share(no_numbers_, samples_) + " of the samples are no numbers or infinite and count as silence");
  if (beyond_ > 0 && beyond_ >= samples_ / 1000) {
    add(Share(beyond_, samples_) + " of the samples lie more than 6 dB beyond full scale and were clipped" +
        (peak_ > kIntegers ? " (full scale is 1.0; samples that go up to 32768 have to be divided by that first)" : ""));
  }
  return note;
}

}  // namespace TSEG::tool
