// SPDX-License-Identifier: Apache-2.0
//
// BlockObserver: sees the blocks of a network on their way into it, for diagnostics.
#ifndef WVAD_SCORING_BLOCK_OBSERVER_H_
#define WVAD_SCORING_BLOCK_OBSERVER_H_

#include <cstdint>

namespace TSEG {

class BlockObserver {
 public:
  virtual ~BlockObserver() = default;
  // `floats` values, valid during the call.
  virtual void OnBlock(const float* block, int32_t floats) = 0;
};

}  // namespace TSEG

#endif  // WVAD_SCORING_BLOCK_OBSERVER_H_
