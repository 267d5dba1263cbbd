// SPDX-License-Identifier: Apache-2.0
//
// Whether mixing the channels of a recording takes its sound away, as it does where they carry the same sound in opposite phase.
#ifndef WVAD_STREAM_PHASE_METER_H_
#define WVAD_STREAM_PHASE_METER_H_

#include <cstddef>

namespace TSEG::stream {

class PhaseMeter {
 public:
  void Feed(const float* interleaved, size_t frames, size_t channels);
  // One frame of `channels` samples, by their sum and the sum of their squares.
  void AddFrame(double sum, double squares, size_t channels) {
    const double count = static_cast<double>(channels);
    mix_power_ += sum * sum / (count * count);
    parts_power_ += squares / (count * count);
    ++frames_;
  }
  // The mean of all channels has less than a tenth of the power that it would have if they had nothing to do with each other (a loss of
  // 10 dB and more), and there is something to lose.
  bool cancels() const;
  // The mean's power against that of its parts, in dB; no more than 0 where they cancel.
  double loss_db() const;

 private:
  double mix_power_ = 0;
  double parts_power_ = 0;  // of the mean of channels that have nothing to do with each other
  double frames_ = 0;
};

}  // namespace TSEG::stream

#endif  // WVAD_STREAM_PHASE_METER_H_
