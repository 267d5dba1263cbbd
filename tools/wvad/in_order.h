// SPDX-License-Identifier: Apache-2.0
//
// Work on many things by several threads, taken up and finished in one order: what is finished comes out as one thread alone would bring
// it.
#ifndef WVAD_WVAD_IN_ORDER_H_
#define WVAD_WVAD_IN_ORDER_H_

#include <cstddef>
#include <functional>

namespace TSEG::tool {

struct InOrderWork {
  // Called by the thread `worker` (from 0) for the thing `index`. Must not throw.
  std::function<void(size_t worker, size_t index)> work;
  // Called by the calling thread, for each thing in turn once its work is done; false ends everything. May throw, which ends it too.
  std::function<bool(size_t index)> finish;
  // Called once where it ends early, by whatever way: work that is still going on shall come to an end.
  std::function<void()> abandon;
};

// Works on the things 0 to `count` - 1. No thing is begun before all those are finished that lie 4 x `workers` and more before it, so
// that what waits for its turn does not grow. All threads have ended when this returns or throws.
void WorkInOrder(size_t count, size_t workers, const InOrderWork& work);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_IN_ORDER_H_
