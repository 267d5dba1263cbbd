// SPDX-License-Identifier: Apache-2.0
//
// FixSizeVec<T>: a ring of up to 256 records addressed by their index in the stream.
//
// Two counters only grow: element k of the stream lives in slot k modulo the number of slots, and nTail - nHead is the count. The slots are
// 16 at first and double when there are more elements at once than ever before, so that a stream whose frames go as they come stays in the
// caches; that is the only allocation. Misuse (a push on a full ring, a pop on an empty one, an index that has been popped) is a
// programming error and stops the process by a store through a null pointer.
//
//      slot   0 1 2 3 4 5 6 7            nHead = 6, nTail = 11: elements 6 to 10, element 8 in slot 0
//             8 9 10 . . . 6 7           (drawn with 8 slots)
#ifndef WVAD_FRONTEND_FIX_SIZE_VEC_H_
#define WVAD_FRONTEND_FIX_SIZE_VEC_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>

#include "frontend/feature_records.h"
#include "log/log.h"
#include "platform/platform.h"

namespace TSEG {

// The names under which a ring reports its misuse.
template <typename T>
struct FixSizeVecNames;
template <>
struct FixSizeVecNames<DynamicFeatureFB> {
  static constexpr const char* push_back = "FixSizeVec<struct TSEG::DynamicFeatureFB>::push_back";
  static constexpr const char* pop_front = "FixSizeVec<struct TSEG::DynamicFeatureFB>::pop_front";
};
template <>
struct FixSizeVecNames<StaticFeatureFB> {
  static constexpr const char* push_back = "FixSizeVec<class TSEG::StaticFeatureFB>::push_back";
  static constexpr const char* pop_front = "FixSizeVec<class TSEG::StaticFeatureFB>::pop_front";
};

// `kTrap` off is for a build that would rather log and go on: a misused push_back or pop_front then does nothing.
template <typename T, bool kTrap = true>
class FixSizeVec {
 public:
  static constexpr uint32_t kCapacity = 256;

  FixSizeVec() : storage_(std::make_unique<T[]>(kFirstSlots)) {}
  FixSizeVec(const FixSizeVec&) = delete;
  FixSizeVec& operator=(const FixSizeVec&) = delete;

  uint32_t capacity() const { return kCapacity; }
  uint32_t size() const { return nTail - nHead; }
  bool empty() const { return nTail == nHead; }
  bool full() const { return size() >= capacity(); }

  // Copies the fields of `record`, which is none of the ring's own, behind the newest element. Stops the process when the ring is full.
  void push_back(const T& record) {
    if (full()) {
      if constexpr (kTrap) {
        platform::FaultAtZero();
      } else {
        WVAD_LOG_ERROR("%s | container is full, size = %d", FixSizeVecNames<T>::push_back, static_cast<int>(size()));
        return;
      }
    }
    next_slot() = record;
  }

  // push_back without the copy: the slot behind the newest element, which its caller fills, and which joins the ring by push_spare. Both
  // stop the process when the ring is full.
  T& spare() {
    if (full()) platform::FaultAtZero();
    if (size() == slots_) Grow();
    return storage_[nTail % slots_];
  }
  void push_spare() {
    if (full()) platform::FaultAtZero();
    ++nTail;
  }
  // The same where the slot is filled in any case, once it has joined.
  T& next_slot() {
    T& slot = spare();
    ++nTail;
    return slot;
  }

  // Drops the oldest element. Stops the process when the ring is empty.
  void pop_front() {
    if (empty()) {
      if constexpr (kTrap) {
        platform::FaultAtZero();
      } else {
        WVAD_LOG_ERROR("%s | container should not empty", FixSizeVecNames<T>::pop_front);
        return;
      }
    }
    ++nHead;
  }

  // Element `k` of the stream. A negative `k` gives the oldest, one beyond the end the newest; one that has been popped stops the process.
  T& at(int32_t k) { return storage_[slot_of(k)]; }
  const T& at(int32_t k) const { return storage_[slot_of(k)]; }

  void clear() { nHead = nTail = 0; }

 private:
  static constexpr uint32_t kFirstSlots = 16;

  void Grow() {
    auto bigger = std::make_unique<T[]>(2 * size_t{slots_});
    for (uint32_t k = nHead; k != nTail; ++k) bigger[k % (2 * slots_)] = storage_[k % slots_];
    storage_ = std::move(bigger);
    slots_ *= 2;
  }
  uint32_t slot_of(int32_t k) const {
    if (k < 0) return nHead % slots_;
    uint32_t index = static_cast<uint32_t>(k);
    if (index > nTail - 1) index = nTail - 1;
    if (index < nHead) platform::FaultAtZero();
    return index % slots_;
  }

  std::unique_ptr<T[]> storage_;
  uint32_t slots_ = kFirstSlots;  // a power of two, at most kCapacity

 public:
  uint32_t nHead = 0;
  uint32_t nTail = 0;
};

}  // namespace TSEG

#endif  // WVAD_FRONTEND_FIX_SIZE_VEC_H_
