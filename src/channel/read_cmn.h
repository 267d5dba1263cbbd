// SPDX-License-Identifier: Apache-2.0
//
// ReadCmn: the order in which features leave for the reader, and the running mean that is taken off them on the way.
//
// A frame is taken in, waits until the mean rests on enough frames, is normalised in place and becomes ready. With bEnable clear it is
// ready at once and untouched. Single-precision sums, every step rounded. One per instance, one thread at a time; a steady flow allocates
// nothing.
#ifndef WVAD_CHANNEL_READ_CMN_H_
#define WVAD_CHANNEL_READ_CMN_H_

#include <cstdint>

#include "channel/frame_containers.h"
#include "channel/frame_index_queue.h"

namespace TSEG {

class ReadCmn {
 public:
  ReadCmn();

  uint8_t bEnable = 1;
  int32_t nLastFrame = -1;  // last frame taken in
  int32_t nCount = 0;       // frames taken in
  int32_t nDone = 0;        // frames normalised
  FrameIndexQueue pending;  // taken in, not yet normalised
  int32_t nFirst = 100;     // frames to see before the first release
  int32_t nSecond = 150;    // end of the first ramp
  int32_t nThird = 200;     // end of the second ramp: from here all frames go at once and the running mean alone counts
  int32_t nLag = 50;        // frames released by the end of the first ramp; the lag through the second
  float fPriorWeight = 0.6f;
  float prior24[24], prior40[40];
  float sum24[24] = {}, sum40[40] = {};
  FrameIndexQueue ready;  // normalised frames, for the reader to take
  FrameIndexQueue taken;  // the reader's list: frames it took and has not copied yet. Holds some between reads only when a piece
                          // was larger than the read buffer

  // Sets the thresholds of mean type `type`; type 1 switches off.
  void setup(int32_t type);
  // Back to the values of a new one, `taken` empty.
  void reset();
  // Takes in the frames from `from` up to below `to`; with `bFlush` everything taken in becomes ready.
  void process(FrameFeaContainer& frames, int32_t from, int32_t to, bool bFlush);
  // Moves the ready list behind what `out` still holds; swaps where `out` is empty.
  void takeReady(FrameIndexQueue& out);

 private:
  void addFrame(FrameFeaContainer& frames, int32_t f);
  int32_t releaseLimit() const;
  void release(FrameFeaContainer& frames, int32_t limit);
  void clearMeans();
};

}  // namespace TSEG

#endif  // WVAD_CHANNEL_READ_CMN_H_
