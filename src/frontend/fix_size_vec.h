// SPDX-License-Identifier: Apache-2.0
//
// FixSizeVec<T>: a ring of 256 records addressed by their index in the stream.
//
// Two counters only grow: element k of the stream lives in slot k modulo 256, and nTail - nHead is the count. A popped element stays in its
// slot until it is overwritten. Misuse (a push on a full ring, a pop on an empty one, an index that has been popped) is a programming error
// and stops the process by a store through a null pointer. No allocation after construction.
//
//      slot   0 1 2 3 4 5 6 7            nHead = 6, nTail = 11: elements 6 to 10, element 8 in slot 0
//             8 9 10 . . . 6 7           (drawn with 8 slots)
#ifndef WVAD_FRONTEND_FIX_SIZE_VEC_H_
#define WVAD_FRONTEND_FIX_SIZE_VEC_H_

#include <cstdint>
#include <memory>

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

  FixSizeVec() : storage_(std::make_unique<T[]>(kCapacity)), pBegin(storage_.get()), pEnd(storage_.get() + kCapacity) {}
  FixSizeVec(const FixSizeVec&) = delete;
  FixSizeVec& operator=(const FixSizeVec&) = delete;

  uint32_t capacity() const { return static_cast<uint32_t>(pEnd - pBegin); }
  uint32_t size() const { return nTail - nHead; }
  bool empty() const { return nTail == nHead; }
  bool full() const { return size() >= capacity(); }

  // Copies the fields of `record` behind the newest element. Stops the process when the ring is full.
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

  // push_back without the copy: the slot behind the newest element joins the ring as its caller will fill it. Stops the process when the
  // ring is full.
  T& next_slot() {
    if (full()) platform::FaultAtZero();
    T& slot = pBegin[nTail % capacity()];
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
  T& at(int32_t k) { return pBegin[slot_of(k)]; }
  const T& at(int32_t k) const { return pBegin[slot_of(k)]; }

  void clear() { nHead = nTail = 0; }

 private:
  uint32_t slot_of(int32_t k) const {
    if (k < 0) return nHead % capacity();
    uint32_t index = static_cast<uint32_t>(k);
    if (index > nTail - 1) index = nTail - 1;
    if (index < nHead) platform::FaultAtZero();
    return index % capacity();
  }

  std::unique_ptr<T[]> storage_;
  T* pBegin;
  T* pEnd;

 public:
  uint32_t nHead = 0;
  uint32_t nTail = 0;
};

}  // namespace TSEG

#endif  // WVAD_FRONTEND_FIX_SIZE_VEC_H_
