// SPDX-License-Identifier: Apache-2.0
//
// How loud a recording is, in blocks of 10 ms: for --gain auto.
#ifndef WVAD_WVAD_LEVEL_H_
#define WVAD_WVAD_LEVEL_H_

#include <array>
#include <cstddef>
#include <cstdint>

namespace TSEG::tool {

class LevelMeter {
 public:
  explicit LevelMeter(int rate_hz) : block_samples_(static_cast<size_t>(rate_hz) / 100) {}

  void Feed(const int16_t* samples, size_t count);
  // The loudest block in dB of full scale, -120 for silence.
  double loudest_db() const { return loudest_db_; }
  // Nothing but digital silence.
  bool silent() const { return loudest_db_ < -90.0; }
  // The gain in dB, from 0 to 40, that brings the louder parts (the 95th percentile of blocks that are not silent) to -20 dB without
  // driving more than one block in a thousand into saturation.
  double AutoGainDb() const;

 private:
  static constexpr int kBins = 121;  // one per decibel, -120 to 0

  size_t block_samples_;
  size_t fill_ = 0;
  double square_sum_ = 0;
  int peak_ = 0;
  double loudest_db_ = -120;
  int64_t blocks_ = 0;
  std::array<int64_t, kBins> levels_{};
  std::array<int64_t, kBins> peaks_{};
};

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_LEVEL_H_
