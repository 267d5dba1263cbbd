// SPDX-License-Identifier: Apache-2.0
//
// The blocks that a network sees, made exactly as a session makes them: samples go through a FrontEndChannel in chunks of 400, the last
// chunk shorter or empty, and blocks are popped after each push.
//
// One source serves one thread; it may be used for one recording after another. A recording comes whole or in pieces of any size; how it is
// cut changes nothing, and memory does not grow with its length.
#ifndef WVAD_TOOLS_BLOCKS_BLOCK_SOURCE_H_
#define WVAD_TOOLS_BLOCKS_BLOCK_SOURCE_H_

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "channel/front_end_channel.h"
#include "channel/gain_control.h"

namespace TSEG::blocks {

// How a session would be set up.
struct BlockOptions {
  std::string model_type = "dnn_fb75";  // or "lstm_fb75", "lstm_fb40"
  int rate_hz = 16000;
  bool mean_removal = true;
  int cmn_type = 0;
  int gain_control_hz = 0;  // the rate that gain control before the front end is set up for; 0: none
};

// Floats of a block of that model type: 825, 300 or 160; 0 for any other type.
int BlockFloats(const std::string& model_type);

class BlockSource {
 public:
  explicit BlockSource(BlockOptions options);

  // Called with each block (valid during the call) and whether it closes the session.
  using BlockSink = std::function<void(const float* block, bool eof)>;

  // Runs a whole recording as one session.
  void Run(const std::vector<int16_t>& samples, const BlockSink& sink);
  // The same in steps: Begin, any number of Push, Finish.
  void Begin();
  void Push(const int16_t* samples, size_t count, const BlockSink& sink);
  void Finish(const BlockSink& sink);

  // Frames that the last block of the last run was short of (LSTM kinds).
  int padded_frames() const { return n_padded_; }

 private:
  void Chunk(bool last, const BlockSink& sink);
  void PopAll(bool last, const BlockSink& sink);

  BlockOptions options_;
  FrontEndChannel channel_;
  GainControl gain_;
  std::vector<int16_t> chunk_;  // not pushed yet, less than a chunk
  std::vector<int16_t> louder_;
  int32_t n_padded_ = 0;
};

// The 75 values of the frame in the middle of an 825-float block.
constexpr int kCentreFirst = 5 * 75;
constexpr int kCentreFloats = 75;

}  // namespace TSEG::blocks

#endif  // WVAD_TOOLS_BLOCKS_BLOCK_SOURCE_H_
