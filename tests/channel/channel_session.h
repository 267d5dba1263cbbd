// SPDX-License-Identifier: Apache-2.0
//
// A whole session through one channel, driven as the write path does, and everything that came out of it.
#ifndef WVAD_TESTS_CHANNEL_CHANNEL_SESSION_H_
#define WVAD_TESTS_CHANNEL_CHANNEL_SESSION_H_

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "channel/front_end_channel.h"

namespace TSEG::testing_support {

constexpr size_t kChunk = 400;  // samples

// Values of a frame of the model type `type`.
inline int WidthOf(const std::string& type) { return type == "lstm_fb40" ? 40 : 75; }

struct Block {
  std::vector<float> values;
  int eof = 0;
  int padded = 0;
};

// What a session gives: the frames of the read path, their energies, the blocks.
struct Outcome {
  std::vector<std::vector<float>> frames;
  std::vector<float> energies;
  std::vector<Block> blocks;
  int eof = 0;    // set by the last pop, the one that gave nothing
  int stops = 0;  // pushes that stopped short
};

inline void MoveFrames(FrontEndChannel* channel, Outcome* outcome) {
  for (; channel->nFramesOut < FinishedFrames(*channel); ++channel->nFramesOut) {
    std::vector<float> frame(kFeatureFrame);
    outcome->energies.push_back(FillFeatureFrame(*channel, channel->nFramesOut, frame.data()));
    outcome->frames.push_back(frame);
  }
}

inline void PopBlocks(FrontEndChannel* channel, const std::string& type, bool last, Outcome* outcome) {
  for (;;) {
    uint8_t eof = 0;
    int32_t padded = 0;
    const float* block;
    size_t size;
    if (type == "dnn_fb75") {
      block = PopDnnBlock(channel, last, &eof);
      size = 825;
    } else if (type == "lstm_fb75") {
      block = PopLstmBlock75(channel, last, &eof, &padded);
      size = 300;
    } else {
      block = PopLstmBlock40(channel, last, &eof, &padded);
      size = 160;
    }
    outcome->eof = eof;
    if (block == nullptr) return;
    outcome->blocks.push_back(Block{std::vector<float>(block, block + size), eof, padded});
  }
}

// Writes `pcm` in chunks as the write path does, with an empty last chunk where the audio ends on a chunk's end.
inline Outcome RunSession(FrontEndChannel* channel, const std::string& type, const std::vector<int16_t>& pcm) {
  Outcome outcome;
  for (size_t at = 0;; at += kChunk) {
    const size_t n = std::min(kChunk, pcm.size() - at);
    const bool last = n < kChunk;
    bool more = FrontEndPush(channel, pcm.data() + at, static_cast<int>(n), last);
    while (more) {
      ++outcome.stops;
      MoveFrames(channel, &outcome);
      PopBlocks(channel, type, false, &outcome);
      more = FrontEndContinue(channel);
    }
    EXPECT_LE(channel->pending.size(), 5u);
    MoveFrames(channel, &outcome);
    PopBlocks(channel, type, last, &outcome);
    if (last) return outcome;
  }
}

}  // namespace TSEG::testing_support

#endif  // WVAD_TESTS_CHANNEL_CHANNEL_SESSION_H_
