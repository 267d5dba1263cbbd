// SPDX-License-Identifier: Apache-2.0
//
// The life of a channel and the way from samples to finished frames: reading the front end, edge copies, first and second differences.
//
// Frames are read one by one and finished as soon as their right context is there, so that a ring is never asked for more room than it has.
#include "channel/front_end_channel.h"

#include <algorithm>
#include <cstring>
#include <string>

namespace TSEG {
namespace {

// First differences weigh the four neighbours of a frame; every step is rounded to single.
float BankDifference(float f0, float f1, float f3, float f4) {
  float d = 0.0f - f0 * 0.2f;
  d = d - f1 * 0.1f;
  d = d + f3 * 0.1f;
  return d + f4 * 0.2f;
}

float PitchDifference(float f0, float f1, float f3, float f4) {
  float d = 0.0f - f0 * 0.75f;
  d = d - f1 * 0.375f;
  d = d + f3 * 0.375f;
  return d + f4 * 0.75f;
}

// Reads the next frame of the front end. Where the audio ends with this push, frames that wait for the mean are let go once no other frame
// comes.
bool ReadInto(FrontEndChannel* channel, StaticFeatureFB* frame) {
  while (ORVAFloatFrontGetFeature(channel->hFront, frame, channel->bFlush ? 1 : 0) != kFrontOk) {
    if (!channel->bPushLast || channel->bFlush) return false;
    channel->bFlush = true;
  }
  return true;
}

// The same into `pending`.
bool ReadFrame(FrontEndChannel* channel) {
  StaticFeatureFB* frame = channel->pFramePool.Take();
  const bool read = ReadInto(channel, frame);
  if (read) {
    channel->pending.push_back(frame);
  } else {
    channel->pFramePool.Give(frame);
  }
  return read;
}

void AppendCopies(FrontEndChannel* channel, const StaticFeatureFB& frame, int copies) {
  for (int i = 0; i < copies; ++i) {
    StaticFeatureFB* copy = channel->pFramePool.Take();
    *copy = frame;
    channel->pending.push_back(copy);
  }
}

// Reads one frame on the way to the 75-value records. The very first one is preceded by two copies of itself, its left context.
bool ReadFrame75(FrontEndChannel* channel) {
  const bool first = channel->pending.empty();
  if (!ReadFrame(channel)) return false;
  if (first) {
    AppendCopies(channel, *channel->pending.front(), 2);
    channel->nFramesIn = 2;
  }
  ++channel->nFramesIn;
  return true;
}

// The record of the centre of the five oldest frames, all but its second differences.
void BuildDynamic(const PointerQueue<StaticFeatureFB>& pending, DynamicFeatureFB* out) {
  const StaticFeatureFB& f0 = *pending[0];
  const StaticFeatureFB& f1 = *pending[1];
  const StaticFeatureFB& f2 = *pending[2];
  const StaticFeatureFB& f3 = *pending[3];
  const StaticFeatureFB& f4 = *pending[4];
  std::memcpy(out->afCmn24, f2.afFb24Cmn, sizeof out->afCmn24);
  std::memcpy(out->afCmn40, f2.afFb40Cmn, sizeof out->afCmn40);
  std::memcpy(out->afRaw24, f2.afFb24, sizeof out->afRaw24);
  std::memcpy(out->afRaw40, f2.afFb40, sizeof out->afRaw40);
  for (int i = 0; i < kFb24; ++i) out->afDelta24[i] = BankDifference(f0.afFb24[i], f1.afFb24[i], f3.afFb24[i], f4.afFb24[i]);
  std::memcpy(out->afRawDelta24, out->afDelta24, sizeof out->afRawDelta24);
  out->fPitch = f2.fPitch;
  out->fPitchDelta = PitchDifference(f0.fPitch, f1.fPitch, f3.fPitch, f4.fPitch);
  out->fPitchAux = f2.fPitchAux;
  out->fEnergy = f2.fEnergy;
}

// Second differences of stored frame `t`. At the ends of the stream the edge record stands in for what is beyond it.
void SecondDifferences(FixSizeVec<DynamicFeatureFB>* frames, int32_t t) {
  const DynamicFeatureFB& f0 = frames->at(t - 2);
  const DynamicFeatureFB& f1 = frames->at(t - 1);
  const DynamicFeatureFB& f3 = frames->at(t + 1);
  const DynamicFeatureFB& f4 = frames->at(t + 2);
  DynamicFeatureFB& out = frames->at(t);
  for (int i = 0; i < kFb24; ++i) out.afAccel24[i] = BankDifference(f0.afDelta24[i], f1.afDelta24[i], f3.afDelta24[i], f4.afDelta24[i]);
  // The raw first differences are the same values, and so are their differences.
  std::memcpy(out.afRawAccel24, out.afAccel24, sizeof out.afRawAccel24);
  out.fPitchAccel = PitchDifference(f0.fPitchDelta, f1.fPitchDelta, f3.fPitchDelta, f4.fPitchDelta);
}

// Both return whether frames are left behind for want of room.
bool Continue40(FrontEndChannel* channel) {
  for (;;) {
    if (channel->vecStatic.full()) return true;
    if (!ReadInto(channel, &channel->vecStatic.spare())) return false;
    channel->vecStatic.push_spare();
    ++channel->nFramesIn;
  }
}

bool Continue75(FrontEndChannel* channel) {
  for (;;) {
    while (static_cast<int32_t>(channel->vecDynamic.nTail) < channel->nFramesIn - 4) {
      if (channel->vecDynamic.full()) return true;
      BuildDynamic(channel->pending, &channel->vecDynamic.next_slot());
      channel->pFramePool.Give(channel->pending.front());
      channel->pending.pop_front();
    }
    if (ReadFrame75(channel)) continue;
    if (!channel->bPushLast || channel->bEdgeDone || channel->pending.empty()) return false;
    // The last frame stands in for its own right context.
    channel->bEdgeDone = true;
    AppendCopies(channel, *channel->pending.back(), 2);
    channel->nFramesIn += 2;
  }
}

}  // namespace

FrontEndChannel::FrontEndChannel() : block(static_cast<size_t>(kDnnBlockFloats)) { ORVAFloatFrontCreate(&hFront); }

FrontEndChannel::~FrontEndChannel() { ORVAFloatFrontDestroy(hFront); }

void FrontEndChannelStart(FrontEndChannel* channel, int nRate, bool bDoCMN, int cmnType, bool bK4Energy, int nFeatureDim) {
  channel->bStatic40 = nFeatureDim == kFb40;
  ORVAFloatFrontSetParameter(channel->hFront, "wffpl_param_cmn_type", bDoCMN ? std::to_string(cmnType).c_str() : "1");
  ORVAFloatFrontSetParameter(channel->hFront, "wffpl_param_ispitch_enable", channel->bStatic40 ? "0" : "1");
  if (bK4Energy) ORVAFloatFrontSetParameter(channel->hFront, "wffpl_param_k4_energy", "1");
  ORVAFloatFrontSetParameter(channel->hFront, "wffpl_param_SampleRate", std::to_string(nRate).c_str());
  ORVAFloatFrontReset(channel->hFront, 1);
  FrontEndChannelClear(channel);
}

void FrontEndChannelClear(FrontEndChannel* channel) {
  channel->pFramePool.Reset();
  channel->pending.clear();
  channel->vecDynamic.clear();
  channel->vecStatic.clear();
  channel->nFramesIn = channel->nDeltaDone = channel->nFramesOut = channel->nCursor = 0;
  channel->bMore = channel->bPushLast = channel->bFlush = channel->bEdgeDone = false;
}

bool FrontEndPush(FrontEndChannel* channel, const int16_t* samples, int nSamples, bool bLast) {
  ORVAFloatFrontAppendData(channel->hFront, samples, nSamples);
  channel->bPushLast = bLast;
  channel->bFlush = false;
  channel->bEdgeDone = false;
  channel->bMore = true;
  return FrontEndContinue(channel);
}

bool FrontEndContinue(FrontEndChannel* channel) {
  if (!channel->bMore) return false;
  if (channel->bStatic40) {
    channel->bMore = Continue40(channel);
    return channel->bMore;
  }
  channel->bMore = Continue75(channel);
  // While frames are to come the two newest wait for their right neighbours.
  const int32_t count = static_cast<int32_t>(channel->vecDynamic.nTail);
  const int32_t limit = channel->bPushLast && !channel->bMore ? count : count - 2;
  for (; channel->nDeltaDone < limit; ++channel->nDeltaDone) SecondDifferences(&channel->vecDynamic, channel->nDeltaDone);
  return channel->bMore;
}

int32_t FinishedFrames(const FrontEndChannel& channel) { return channel.bStatic40 ? channel.nFramesIn : channel.nDeltaDone; }

float FillFeatureFrame(const FrontEndChannel& channel, int32_t index, float* out) {
  if (channel.bStatic40) {
    const StaticFeatureFB& frame = channel.vecStatic.at(index);
    std::fill_n(out, 75, 0.0f);
    std::memcpy(out + 75, frame.afFb40, sizeof frame.afFb40);
    return frame.fEnergy;
  }
  const DynamicFeatureFB& frame = channel.vecDynamic.at(index);
  std::memcpy(out, frame.afRaw24, sizeof frame.afRaw24);
  std::memcpy(out + 24, frame.afRawDelta24, sizeof frame.afRawDelta24);
  std::memcpy(out + 48, frame.afRawAccel24, sizeof frame.afRawAccel24);
  out[72] = frame.fPitchDelta;
  out[73] = frame.fPitchAccel;
  out[74] = frame.fPitchAux;
  std::memcpy(out + 75, frame.afRaw40, sizeof frame.afRaw40);
  return frame.fEnergy;
}

void DropMovedFrames(FrontEndChannel* channel) {
  if (channel->bStatic40) {
    while (static_cast<int32_t>(channel->vecStatic.nHead) < channel->nFramesOut) channel->vecStatic.pop_front();
    return;
  }
  const int32_t keep_from = std::min(channel->nFramesOut, channel->nDeltaDone - 2);
  while (static_cast<int32_t>(channel->vecDynamic.nHead) < keep_from) channel->vecDynamic.pop_front();
}

}  // namespace TSEG
