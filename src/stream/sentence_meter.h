// SPDX-License-Identifier: Apache-2.0
//
// SentenceMeter: level, signal-to-noise and clipping of a sentence, from one power and one mark for each 10 ms and one count for each block
// of the input.
//
// Holds what the longest sentence needs and 25 s before it, in which a sentence that has not been told yet may have begun.
#ifndef WVAD_STREAM_SENTENCE_METER_H_
#define WVAD_STREAM_SENTENCE_METER_H_

#include <cstdint>

#include "stream/trailing_history.h"

namespace TSEG::stream {

struct SentenceMeasures {
  double level_db;
  double snr_db;   // may be not-a-number
  double clipped;  // 0 to 1
};

class SentenceMeter {
 public:
  // `input_block`: frames of the input in a block; `input_channels`: samples of it that are counted for each frame.
  SentenceMeter(int64_t input_block, int64_t input_channels) : input_block_(input_block), input_channels_(input_channels) {}

  // The next 10 ms: samples at the engine's rate; and the next block of the input: how many of its samples lie at full scale.
  void AddFrame(const int16_t* samples, size_t count);
  void AddInputBlock(size_t clipped) { clipped_.Add(static_cast<uint32_t>(clipped)); }
  // Frame `frame` holds speech, before all rules but the energy floor.
  void MarkSpeech(int64_t frame);
  // How many of the frames [from, to) do.
  int64_t SpeechIn(int64_t from, int64_t to) const;

  // Of frames [begin, end), which are [begin_input, end_input) of the input.
  SentenceMeasures Measure(int64_t begin, int64_t end, int64_t begin_input, int64_t end_input) const;
  void ForgetBefore(int64_t frame, int64_t input);

 private:
  double NoiseDb() const;

  int64_t input_block_;
  int64_t input_channels_;
  TrailingHistory<float> power_;  // mean of squares, full scale 1
  TrailingHistory<uint8_t> speech_;
  TrailingHistory<uint32_t> clipped_;
};

}  // namespace TSEG::stream

#endif  // WVAD_STREAM_SENTENCE_METER_H_
