// SPDX-License-Identifier: Apache-2.0
//
// From the caller's samples to float: forms, interleaved or planar, one channel or the mean of all.
//
// Full scale is 1.0, and floats beyond it are cut off there. Nothing allocates; samples need not be aligned.
#ifndef WVAD_STREAM_SAMPLE_FORM_H_
#define WVAD_STREAM_SAMPLE_FORM_H_

#include <cstddef>
#include <cstdint>

#include "stream/phase_meter.h"

namespace TSEG::stream {

// Bytes of a sample of the form, WVAD_SAMPLE_...; 0 for a number that is none.
size_t BytesOfSample(int32_t form);

// Where the samples of a piece lie: channel c, frame i at origin(c) + i * step.
struct PieceLayout {
  const void* interleaved;    // or null
  const void* const* planes;  // [channels] then
  size_t channels;
  int32_t form;

  const unsigned char* origin(size_t channel) const;
  size_t step() const;
};

// Takes `channel` (from 1), or the mean of all for 0.
class SampleReader {
 public:
  SampleReader(const PieceLayout& piece, int32_t channel) : piece_(piece), channel_(channel) {}

  // The first frame in which a channel that is listened to is not a finite number; `frames` if there is none.
  size_t FirstBad(size_t frames) const;
  // Frames `from` to `from` + `count` - 1 into `mono` [count]; `phase` may be null. Returns how many of the samples lie at full scale.
  size_t Read(size_t from, size_t count, float* mono, PhaseMeter* phase) const;

 private:
  size_t first_channel() const { return channel_ > 0 ? static_cast<size_t>(channel_) - 1 : 0; }
  size_t channels() const { return channel_ > 0 ? 1 : piece_.channels; }

  PieceLayout piece_;
  int32_t channel_;
};

}  // namespace TSEG::stream

#endif  // WVAD_STREAM_SAMPLE_FORM_H_
