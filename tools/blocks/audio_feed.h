// SPDX-License-Identifier: Apache-2.0
//
// AudioFeed: samples into one front-end channel, as a session writes them: cut into chunks, raised by gain control where there is one, and
// taken from the channel after each push.
//
// One thread at a time. How a recording is cut into pieces changes nothing, and memory does not grow with its length.
#ifndef WVAD_TOOLS_BLOCKS_AUDIO_FEED_H_
#define WVAD_TOOLS_BLOCKS_AUDIO_FEED_H_

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "channel/front_end_channel.h"
#include "channel/gain_control.h"
#include "channel/intake.h"
#include "frontend/float_front.h"
#include "scoring/channels_in_use.h"

namespace TSEG::blocks {

// How a session would be set up.
struct BlockOptions {
  std::string model_type = "dnn_fb75";  // a name of scoring/network_kinds.h
  int rate_hz = 16000;
  bool mean_removal = true;
  int cmn_type = 0;
  // How many frames of the usual means a recording begins with; 0: as sessions of the exported functions do, which take the means of the
  // first two seconds together.
  int32_t ready_means = kReadyMeans;
  int gain_control_hz = 0;  // the rate that gain control before the front end is set up for; 0: none
};

class AudioFeed {
 public:
  explicit AudioFeed(BlockOptions options);

  // Called whenever the channel may have more; `last` in the one call behind which nothing more comes.
  using Take = std::function<void(bool last)>;

  void Begin();
  void Push(const int16_t* samples, size_t count, const Take& take);
  void Finish(const Take& take);

  ChannelsInUse channels() { return {&channel_, nullptr}; }
  const BlockOptions& options() const { return options_; }

 private:
  void Piece(const int16_t* samples, size_t count, uint32_t status, const Take& take);

  BlockOptions options_;
  FrontEndChannel channel_;
  GainControl gain_;
  Intake intake_;
  std::vector<uint8_t> louder_;
};

}  // namespace TSEG::blocks

#endif  // WVAD_TOOLS_BLOCKS_AUDIO_FEED_H_
