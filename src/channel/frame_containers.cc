// SPDX-License-Identifier: Apache-2.0
//
// The two frame containers: append at the end, free from the front, and give by index in between.
#include "channel/frame_containers.h"

#include <algorithm>
#include <cstring>

#include "frontend/feature_records.h"
#include "log/log.h"

namespace TSEG {
namespace {

constexpr uint32_t kMaxFrameBytes = 320;  // 10 ms at 16000 Hz
constexpr int32_t kFramesPerBlock = 2048;

// Gives frame `index` back to the pool, and lets go of the pointers of all frames at the front that have been given back by now.
template <typename T>
void FreeFrame(FrameHistory<T*>& frames, FramePool& pool, size_t index) {
  if (index < frames.kept_from()) return;  // given back long ago
  pool.Give(frames[index]);
  frames.set(index, nullptr);
  size_t first = frames.kept_from();
  if (index != first) return;
  while (first < frames.size() && frames[first] == nullptr) ++first;
  frames.DropBefore(first);
}

}  // namespace

FrameWavContainer::FrameWavContainer() : pPool(kMaxFrameBytes * kFramesPerBlock, kMaxFrameBytes, sizeof(uint8_t)) { frames.reserve(2048); }

void FrameWavContainer::write(const void* data, uint32_t nBytes) {
  const uint8_t* in = static_cast<const uint8_t*>(data);
  while (nBytes >= nFrameBytes - nPartial) {
    const uint32_t room = nFrameBytes - nPartial;
    uint8_t* frame = static_cast<uint8_t*>(pPool.Take());
    if (nPartial != 0) std::memcpy(frame, pPartial, nPartial);
    if (room != 0) std::memcpy(frame + nPartial, in, room);
    frames.push_back(frame);
    nPartial = 0;
    in += room;
    nBytes -= room;
  }
  if (nBytes != 0) std::memcpy(pPartial + nPartial, in, nBytes);
  nPartial += nBytes;
}

void FrameWavContainer::markLast() { ++nLastMarks; }

void FrameWavContainer::getWav(int32_t iFrame, const uint8_t** pData, uint32_t* nBytes) {
  *pData = nullptr;
  *nBytes = 0;
  const size_t index = static_cast<size_t>(iFrame);
  if (iFrame >= 0 && index < frames.size()) {
    *pData = frames[index];
    *nBytes = *pData != nullptr ? nFrameBytes : 0;
  } else if (iFrame >= 0 && index == frames.size() && nLastMarks >= 1) {
    *pData = pPartial;
    *nBytes = nPartial;
  }
  if (*pData == nullptr) WVAD_LOG_ERROR("FrameWavContainer|getWav is NULL iFrame:%d", iFrame);
}

void FrameWavContainer::freeWav(int32_t iFrame) {
  const size_t index = static_cast<size_t>(iFrame);
  if (iFrame >= 0 && index < frames.size()) {
    FreeFrame(frames, pPool, index);
  } else if (iFrame >= 0 && index == frames.size() && nLastMarks >= 1) {
    nPartial = 0;
  } else {
    WVAD_LOG_ERROR("FrameWavContainer|getWav is NULL iFrame:%d", iFrame);
  }
}

void FrameWavContainer::freeWavTo(int32_t n) {
  for (int32_t i = static_cast<int32_t>(nFreedTo); i < n; ++i) freeWav(i);
  if (n > static_cast<int32_t>(nFreedTo)) nFreedTo = static_cast<uint32_t>(n);
}

void FrameWavContainer::setFrameBytes(uint32_t n) {
  // A rate outside the supported ones reaches here before the session start refuses it; the partial frame's room is the bound.
  nFrameBytes = std::clamp(n, uint32_t{1}, kMaxFrameBytes);
  pPool.SetStride(static_cast<int32_t>(nFrameBytes));
}

void FrameWavContainer::reset() {
  frames.clear();
  nPartial = 0;
  pPool.Reset();
  nFrameBytes = kMaxFrameBytes;
  if (pPool.stride() != static_cast<int32_t>(kMaxFrameBytes)) pPool.SetStride(static_cast<int32_t>(kMaxFrameBytes));
  nLastMarks = 0;
  nFreedTo = 0;
}

FrameFeaContainer::FrameFeaContainer() : pPool(kFeatureFrame * kFramesPerBlock, kFeatureFrame, sizeof(float)) { frames.reserve(4096); }

float* FrameFeaContainer::addFrame() {
  float* frame = static_cast<float*>(pPool.Take());
  frames.push_back(frame);
  return frame;
}

float* FrameFeaContainer::getFea(int32_t iFrame) {
  float* frame = iFrame >= 0 && static_cast<size_t>(iFrame) < frames.size() ? frames[static_cast<size_t>(iFrame)] : nullptr;
  if (frame == nullptr) WVAD_LOG_ERROR("FrameFeaContainer|getFea is NULL iFrame:%d", iFrame);
  return frame;
}

void FrameFeaContainer::freeFea(int32_t iFrame) {
  if (iFrame < 0 || static_cast<size_t>(iFrame) >= frames.size()) {
    WVAD_LOG_ERROR("FrameFeaContainer|freeFea is NULL iFrame:%d", iFrame);
    return;
  }
  FreeFrame(frames, pPool, static_cast<size_t>(iFrame));
}

void FrameFeaContainer::freeFeaTo(int32_t n) {
  for (int32_t i = static_cast<int32_t>(nFreedTo); i < n; ++i) freeFea(i);
  if (n > static_cast<int32_t>(nFreedTo)) nFreedTo = static_cast<uint32_t>(n);
}

void FrameFeaContainer::reset() {
  frames.clear();
  pPool.Reset();
  nFreedTo = 0;
}

}  // namespace TSEG
