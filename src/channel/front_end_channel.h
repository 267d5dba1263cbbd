// SPDX-License-Identifier: Apache-2.0
//
// FrontEndChannel: one front end with the frames between it and the network. Samples go in by FrontEndPush; stacked blocks come out by the
// three pops; finished frames wait in two rings of 256.
//
// A push that would overfill a ring stops short and says so (bMore); the caller moves frames and runs its loop, then calls
// FrontEndContinue until nothing is left, so that the outcome is that of a ring without end. Belongs to the writing thread of its instance.
// After the first chunks of a session nothing here allocates.
#ifndef WVAD_CHANNEL_FRONT_END_CHANNEL_H_
#define WVAD_CHANNEL_FRONT_END_CHANNEL_H_

#include <cstdint>

#include "buffers/aligned_buffer.h"
#include "channel/frame_pool.h"
#include "frontend/feature_records.h"
#include "frontend/fix_size_vec.h"
#include "frontend/float_front.h"

namespace TSEG {

// Floats of the blocks that the pops give.
constexpr int32_t kDnnBlockFloats = 825, kLstm75BlockFloats = 300, kLstm40BlockFloats = 160;

class FrontEndChannel {
 public:
  FrontEndChannel();
  ~FrontEndChannel();
  FrontEndChannel(const FrontEndChannel&) = delete;
  FrontEndChannel& operator=(const FrontEndChannel&) = delete;

  FrontHandle hFront = nullptr;
  PointerQueue<StaticFeatureFB> pending;    // frames that wait for their right context, oldest first
  RecordPool<StaticFeatureFB> pFramePool;   // 32 records a block
  FixSizeVec<DynamicFeatureFB> vecDynamic;  // finished 75-value frames, capacity 256
  FixSizeVec<StaticFeatureFB> vecStatic;    // finished 40-value frames, capacity 256
  int32_t nFramesIn = 0;                    // frames entered, edge copies included
  int32_t nDeltaDone = 0;                   // frames whose second differences are done
  int32_t nFramesOut = 0;                   // frames moved on to the feature container
  int32_t nCursor = 0;                      // next frame of the session's pop, from the session's start
  AlignedBuffer<float> block;               // 825 floats: what the pops hand out
  bool bStatic40 = false;                   // the session's frames are those of 40 values, without pitch; otherwise those of 75
  bool bPopsEarly = false;                  // the recurrent pops hold back no more frames than they need; holds for all sessions
  // State of a push that stopped short.
  bool bMore = false;      // frames of the last push are still to come: call FrontEndContinue
  bool bPushLast = false;  // that push was the last of the session
  bool bFlush = false;     // it has begun to flush the front end
  bool bEdgeDone = false;  // its two closing copies have been made
};

// Configures the front end for a session of `nRate` Hz and empties the channel. `cmnType` is the mean removal type of the default
// parameters, used when `bDoCMN` is set. K4 energy, once on, stays on for the life of the channel. `nFeatureDim`: 40 for frames of 40
// static values without pitch, anything else for those of 75. A session uses one of the pops alone.
void FrontEndChannelStart(FrontEndChannel* channel, int nRate, bool bDoCMN, int cmnType, bool bK4Energy, int nFeatureDim);
// Empties frames, rings and counters, and touches nothing else.
void FrontEndChannelClear(FrontEndChannel* channel);

// Gives `nSamples` samples to the front end and turns what comes out into finished frames, as far as the ring has room. `bLast` flushes and
// closes the right edge. Returns whether frames are left (bMore).
bool FrontEndPush(FrontEndChannel* channel, const int16_t* samples, int nSamples, bool bLast);
// Goes on with a push that stopped short, after frames have been taken from the rings. Returns whether frames are still left.
bool FrontEndContinue(FrontEndChannel* channel);

// The pops. Each gives a block in the channel's scratch, valid until the next pop, or null when nothing is to be had. `bLast`
// opens the held-back frames of the right edge. `*bEof` is set to 1 at the end of the session (else left alone), `*nPadded` to the number
// of missing frames of the last block (else left alone).
const float* PopDnnBlock(FrontEndChannel* channel, bool bLast, uint8_t* bEof);                       // 825 floats
const float* PopLstmBlock75(FrontEndChannel* channel, bool bLast, uint8_t* bEof, int32_t* nPadded);  // 300 floats
const float* PopLstmBlock40(FrontEndChannel* channel, bool bLast, uint8_t* bEof, int32_t* nPadded);  // 160 floats

// Frames not yet moved to a feature container: stream indices [nFramesOut, FinishedFrames) of vecStatic (frames of 40) or vecDynamic.
int32_t FinishedFrames(const FrontEndChannel& channel);
// Fills `out` [115] with the read-path view of finished frame `index`; returns its energy.
float FillFeatureFrame(const FrontEndChannel& channel, int32_t index, float* out);

// For model types without a loop: drops finished frames that have been moved, all but those that later differences need.
void DropMovedFrames(FrontEndChannel* channel);

}  // namespace TSEG

#endif  // WVAD_CHANNEL_FRONT_END_CHANNEL_H_
