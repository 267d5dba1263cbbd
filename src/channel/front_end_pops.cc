// SPDX-License-Identifier: Apache-2.0
//
// The three pops of a channel: runs of finished frames, stacked side by side into the blocks that the networks read.
//
// The last five frames stay held back until the session's last push, as the stacking wants them for right context. That holds for all three
// pops, though only the one of eleven frames looks ahead; with bPopsEarly the other two give the same blocks as soon as they can: one frame
// must be left for the last push to find the end by, and the next second differences look at two. A missing frame of the last block is the
// frame before it with 75 values and zeros with 40; training cuts its blocks through the same pops.
#include <cstring>

#include "channel/front_end_channel.h"

namespace TSEG {
namespace {

constexpr int32_t kContext = 5;  // frames held back, and frames on either side of a centre
constexpr int32_t kStep = 4;     // frames of a recurrent step
constexpr size_t k75 = 75, k40 = 40;

// 72 contiguous values of the record, then three of pitch.
void Copy75(const DynamicFeatureFB& frame, float* out) {
  std::memcpy(out, frame.afCmn24, sizeof frame.afCmn24);
  std::memcpy(out + 24, frame.afDelta24, sizeof frame.afDelta24);
  std::memcpy(out + 48, frame.afAccel24, sizeof frame.afAccel24);
  out[72] = frame.fPitchDelta;
  out[73] = frame.fPitchAccel;
  out[74] = frame.fPitchAux;
}

constexpr int32_t kNeeded75 = 2, kNeeded40 = 1;  // frames that the recurrent pops cannot do without

int32_t Limit(int32_t total, bool last) { return last ? total : total - kContext; }

int32_t RecurrentLimit(const FrontEndChannel& channel, int32_t total, bool last, int32_t needed) {
  return last || !channel.bPopsEarly ? Limit(total, last) : total - needed;
}

}  // namespace

const float* PopDnnBlock(FrontEndChannel* channel, bool bLast, uint8_t* bEof) {
  const int32_t total = channel->nDeltaDone;
  int32_t& cursor = channel->nCursor;
  if (cursor >= Limit(total, bLast)) return nullptr;

  float* block = channel->block.data();
  for (int32_t j = 0; j <= 2 * kContext; ++j) Copy75(channel->vecDynamic.at(cursor + j - kContext), block + static_cast<size_t>(j) * k75);
  if (cursor - kContext >= 0) channel->vecDynamic.pop_front();
  ++cursor;
  if (bLast && cursor == total) {
    for (int32_t i = 0; i < kContext; ++i) {
      if (total + i - kContext > 0) channel->vecDynamic.pop_front();
    }
    *bEof = 1;
  }
  return block;
}

const float* PopLstmBlock75(FrontEndChannel* channel, bool bLast, uint8_t* bEof, int32_t* nPadded) {
  const int32_t total = channel->nDeltaDone;
  const int32_t limit = RecurrentLimit(*channel, total, bLast, kNeeded75);
  int32_t& cursor = channel->nCursor;
  float* block = channel->block.data();
  if (limit - cursor >= kStep) {
    for (int32_t j = 0; j < kStep; ++j) {
      Copy75(channel->vecDynamic.at(cursor + j), block + static_cast<size_t>(j) * k75);
      channel->vecDynamic.pop_front();
    }
    cursor += kStep;
    if (bLast && cursor == total) *bEof = 1;
    return block;
  }
  if (!bLast) return nullptr;
  *bEof = 1;
  if (cursor == limit) return nullptr;
  for (int32_t j = 0; j < kStep; ++j) {
    float* place = block + static_cast<size_t>(j) * k75;
    if (cursor + j < limit) {
      Copy75(channel->vecDynamic.at(cursor + j), place);
      channel->vecDynamic.pop_front();
    } else {
      std::memcpy(place, place - k75, k75 * sizeof(float));
      ++*nPadded;
    }
  }
  cursor = limit;
  return block;
}

const float* PopLstmBlock40(FrontEndChannel* channel, bool bLast, uint8_t* bEof, int32_t* nPadded) {
  const int32_t total = channel->nFramesIn;
  const int32_t limit = RecurrentLimit(*channel, total, bLast, kNeeded40);
  int32_t& cursor = channel->nCursor;
  float* block = channel->block.data();
  if (limit - cursor >= kStep) {
    for (int32_t j = 0; j < kStep; ++j) {
      std::memcpy(block + static_cast<size_t>(j) * k40, channel->vecStatic.at(cursor + j).afFb40, k40 * sizeof(float));
      channel->vecStatic.pop_front();
    }
    cursor += kStep;
    if (bLast && cursor == total) *bEof = 1;
    return block;
  }
  if (!bLast) return nullptr;
  *bEof = 1;
  if (cursor == limit) return nullptr;
  for (int32_t j = 0; j < kStep; ++j) {
    float* place = block + static_cast<size_t>(j) * k40;
    if (cursor + j < limit) {
      std::memcpy(place, channel->vecStatic.at(cursor + j).afFb40, k40 * sizeof(float));
      channel->vecStatic.pop_front();
    } else {
      std::memset(place, 0, k40 * sizeof(float));
      ++*nPadded;
    }
  }
  cursor = limit;
  return block;
}

}  // namespace TSEG
