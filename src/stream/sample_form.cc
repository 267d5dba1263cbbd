// SPDX-License-Identifier: Apache-2.0
#include "stream/sample_form.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "wvad_stream.h"

namespace TSEG::stream {
namespace {

template <typename T>
T Load(const unsigned char* at) {
  T value;
  std::memcpy(&value, at, sizeof value);
  return value;
}

float Float(int32_t form, const unsigned char* at) {
  switch (form) {
    case WVAD_SAMPLE_S16:
      return static_cast<float>(Load<int16_t>(at)) / 32768.0F;
    case WVAD_SAMPLE_S24:
      // The upper byte goes, and the sign comes down from bit 23.
      return static_cast<float>(static_cast<int32_t>(Load<uint32_t>(at) << 8) >> 8) / 8388608.0F;
    case WVAD_SAMPLE_S32:
      return static_cast<float>(static_cast<double>(Load<int32_t>(at)) / 2147483648.0);
    default:
      return Load<float>(at);
  }
}

// The largest value that 16 bits hold, and all beyond: what a clipped recording consists of, whatever form it was brought to.
bool AtFullScale(float value) { return value >= 32767.0F / 32768.0F || value <= -32767.0F / 32768.0F; }

}  // namespace

size_t BytesOfSample(int32_t form) {
  switch (form) {
    case WVAD_SAMPLE_S16:
      return 2;
    case WVAD_SAMPLE_S24:
    case WVAD_SAMPLE_S32:
    case WVAD_SAMPLE_F32:
      return 4;
    default:
      return 0;
  }
}

const unsigned char* PieceLayout::origin(size_t channel) const {
  if (interleaved != nullptr) return static_cast<const unsigned char*>(interleaved) + channel * BytesOfSample(form);
  return static_cast<const unsigned char*>(planes[channel]);
}

size_t PieceLayout::step() const { return interleaved != nullptr ? channels * BytesOfSample(form) : BytesOfSample(form); }

size_t SampleReader::FirstBad(size_t frames) const {
  // An empty piece need not lie anywhere.
  if (frames == 0 || piece_.form != WVAD_SAMPLE_F32) return frames;
  const size_t step = piece_.step();
  size_t first = frames;
  for (size_t c = 0; c < channels(); ++c) {
    const unsigned char* at = piece_.origin(first_channel() + c);
    for (size_t i = 0; i < first; ++i) {
      if (!std::isfinite(Load<float>(at + i * step))) first = i;
    }
  }
  return first;
}

size_t SampleReader::Read(size_t from, size_t count, float* mono, PhaseMeter* phase) const {
  const size_t step = piece_.step();
  const size_t n_channels = channels();
  size_t clipped = 0;
  for (size_t i = 0; i < count; ++i) {
    float sum = 0;
    double squares = 0;
    for (size_t c = 0; c < n_channels; ++c) {
      // Cut off here, before anything else: a filter would spread what is far beyond over its whole block. What is no number stays none.
      const float value = std::clamp(Float(piece_.form, piece_.origin(first_channel() + c) + (from + i) * step), -1.0F, 1.0F);
      if (AtFullScale(value)) ++clipped;
      sum += value;
      squares += static_cast<double>(value) * value;
    }
    if (phase != nullptr) phase->AddFrame(sum, squares, n_channels);
    mono[i] = n_channels > 1 ? sum / static_cast<float>(n_channels) : sum;
  }
  return clipped;
}

}  // namespace TSEG::stream
