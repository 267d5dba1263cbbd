// SPDX-License-Identifier: Apache-2.0
//
// FrameWavContainer and FrameFeaContainer: every frame of a session, kept twice, as PCM and as 115 floats, until it has been read or passed
// by.
//
// Frames come from pools of 2048, so that a second of audio costs no allocation once the pool has grown. Of freed frames at the front not
// even the pointers stay, so that a session whose frames are freed as they come needs no more memory the longer it is. One thread at a
// time.
#ifndef WVAD_CHANNEL_FRAME_CONTAINERS_H_
#define WVAD_CHANNEL_FRAME_CONTAINERS_H_

#include <cstdint>

#include "channel/frame_history.h"
#include "channel/frame_pool.h"

namespace TSEG {

class FrameWavContainer {
 public:
  FrameWavContainer();

  FrameHistory<uint8_t*> frames;  // one per complete frame, null once freed
  uint8_t pPartial[320] = {};     // the frame being filled
  uint32_t nPartial = 0;          // bytes in pPartial
  uint32_t nFrameBytes = 320;
  uint32_t nLastMarks = 0;  // raised each time the last audio was written: the partial frame then counts as a frame
  uint32_t nFreedTo = 0;    // frames below this index have been freed

  void write(const void* data, uint32_t nBytes);
  void markLast();
  // Frame `iFrame`, or the partial one behind the last with the mark set. Null, after a log line, if there is none.
  void getWav(int32_t iFrame, const uint8_t** pData, uint32_t* nBytes);
  void freeWav(int32_t iFrame);
  void freeWavTo(int32_t n);
  // Sets the frame size, at most 320 bytes, and re-cuts the blocks. Only on an empty container.
  void setFrameBytes(uint32_t n);
  void reset();

 private:
  FramePool pPool;
};

class FrameFeaContainer {
 public:
  FrameFeaContainer();

  FrameHistory<float*> frames;  // 115 floats each, null once freed
  uint32_t nFreedTo = 0;

  // A new frame of 115 floats, already appended, not cleared.
  float* addFrame();
  float* getFea(int32_t iFrame);
  void freeFea(int32_t iFrame);
  void freeFeaTo(int32_t n);
  void reset();

 private:
  FramePool pPool;
};

}  // namespace TSEG

#endif  // WVAD_CHANNEL_FRAME_CONTAINERS_H_
