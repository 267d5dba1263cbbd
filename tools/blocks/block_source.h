// SPDX-License-Identifier: Apache-2.0
//
// The blocks that a network sees, for training: those of a session, by the session's own intake, channel and pops.
//
// One source serves one thread; it may be used for one recording after another.
#ifndef WVAD_TOOLS_BLOCKS_BLOCK_SOURCE_H_
#define WVAD_TOOLS_BLOCKS_BLOCK_SOURCE_H_

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "blocks/audio_feed.h"

namespace TSEG::blocks {

// Floats of a block of that model type; 0 for a name that is none.
int BlockFloats(const std::string& model_type);

class BlockSource {
 public:
  explicit BlockSource(BlockOptions options) : feed_(std::move(options)) {}

  // Called with each block (valid during the call) and whether it closes the session.
  using BlockSink = std::function<void(const float* block, bool eof)>;

  // Runs a whole recording as one session. Nothing for a model type that is none.
  void Run(const std::vector<int16_t>& samples, const BlockSink& sink);

  // Frames that the last block of the last run was short of, for kinds whose blocks do not overlap.
  int padded_frames() const { return n_padded_; }

 private:
  AudioFeed feed_;
  int32_t n_padded_ = 0;
};

// The 75 values of the frame in the middle of an 825-float block.
constexpr int kCentreFirst = 5 * 75;
constexpr int kCentreFloats = 75;

}  // namespace TSEG::blocks

#endif  // WVAD_TOOLS_BLOCKS_BLOCK_SOURCE_H_
