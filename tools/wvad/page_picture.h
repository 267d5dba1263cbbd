// SPDX-License-Identifier: Apache-2.0
//
// The sound of a recording as pictures of it need it: the envelope of the wave, and how the power lies over the frequencies.
//
// Made once over the samples of a whole recording. The spectrogram has at most 200,000 columns, however long that is.
#ifndef WVAD_WVAD_PAGE_PICTURE_H_
#define WVAD_WVAD_PAGE_PICTURE_H_

#include <cstdint>
#include <vector>

namespace TSEG::tool {

// Least and greatest sample of each 2.5 ms, in turn, as parts of the loudest: 127 for it.
struct WaveEnvelope {
  int per_second = 400;
  int peak = 0;  // the loudest sample without its sign
  std::vector<int8_t> pairs;
};
WaveEnvelope EnvelopeOf(const std::vector<int16_t>& samples, int rate_hz);

// Columns of `bands` levels, lowest frequency first. A level is steps of `step_db` below `top_db` (of full scale), counted up from 0 for
// `levels` - 1 steps below it and less. Bands are of one width on the mel scale.
struct Spectrogram {
  static constexpr int kBands = 72;
  static constexpr int kLevels = 40;
  static constexpr double kStepDb = 2;
  static constexpr double kLowHz = 50;

  int hop_ms = 10;
  double high_hz = 8000;
  double top_db = 0;
  std::vector<uint8_t> columns;
};
Spectrogram SpectrogramOf(const std::vector<int16_t>& samples, int rate_hz);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_PAGE_PICTURE_H_
