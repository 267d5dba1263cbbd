// SPDX-License-Identifier: Apache-2.0
//
// Side: one way that audio takes through a session: its front end, and the containers that keep its PCM and its features for the reader. An
// instance has one for the caller's audio, and with gain control a second one for what gain control makes of it.
#ifndef WVAD_SESSION_SIDE_H_
#define WVAD_SESSION_SIDE_H_

#include <cstdint>
#include <memory>

#include "buffers/aligned_buffer.h"
#include "channel/frame_containers.h"
#include "channel/frame_history.h"
#include "channel/front_end_channel.h"
#include "channel/gain_control.h"
#include "channel/intake.h"
#include "params/cfg_vad.h"

namespace TSEG {

// Whether sessions of `rate` Hz are served: 16000, 8000 or 6000.
bool IsServedRate(int32_t rate);

struct Side {
  std::unique_ptr<FrontEndChannel> pFrontEnd = std::make_unique<FrontEndChannel>();
  std::unique_ptr<FrameWavContainer> pWav = std::make_unique<FrameWavContainer>();
  std::unique_ptr<FrameFeaContainer> pFea = std::make_unique<FrameFeaContainer>();

  // Sets the PCM container's frame to 10 ms of a served rate; another rate changes nothing, as no session runs on it.
  void SetFrameSize(int32_t rate);
  // Configures the front end for a session. `cmn_type` is the mean removal type of the engine's defaults; `ready_means` above 0: the front
  // end begins ready, with so many frames of the usual means.
  void StartFrontEnd(int32_t rate, const CFG_VAD& cfg, int cmn_type, int32_t ready_means);
  // Stores `n_bytes` of PCM and gives them to the front end.
  void Push(const uint8_t* chunk, uint32_t n_bytes, bool last);
  // Moves the frames that the front end has finished to the feature container, and their energies times `scale` to `energies` if it is not
  // null.
  void MoveFrames(FrameHistory<float>* energies, float scale);
  // Empties both containers.
  void End();
};

// The second side, behind gain control.
struct GainedSide : Side {
  std::unique_ptr<GainControl> pAgc = std::make_unique<GainControl>();
  uint32_t nAgcChunkSize = 2 * kChunkBytes;
  AlignedBuffer<uint8_t> pAgcChunk{nAgcChunkSize};  // gain-controlled copy of a chunk

  // Raises `n_bytes`, a chunk at the most, and pushes what comes of it.
  void PushGained(const uint8_t* chunk, uint32_t n_bytes, bool last);
};

}  // namespace TSEG

#endif  // WVAD_SESSION_SIDE_H_
