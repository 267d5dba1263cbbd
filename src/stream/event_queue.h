// SPDX-License-Identifier: Apache-2.0
//
// EventQueue: the events that wait for a client, first in, first out.
//
// A ring whose size is a power of two. It doubles when it is full and keeps its room, so that a steady flow allocates nothing; room that a
// client needed once, for the events of minutes, goes back when the last of them is taken.
#ifndef WVAD_STREAM_EVENT_QUEUE_H_
#define WVAD_STREAM_EVENT_QUEUE_H_

#include <algorithm>
#include <cstddef>
#include <utility>
#include <vector>

#include "stream/event.h"

namespace TSEG::stream {

class EventQueue {
 public:
  bool empty() const { return head_ == tail_; }
  size_t size() const { return tail_ - head_; }
  // Events that it holds without taking memory.
  size_t room() const { return ring_.size(); }
  // On std::bad_alloc the queue and `event` are as before.
  void Put(Event&& event) {
    if (size() == ring_.size()) Grow();
    ring_[tail_ & (ring_.size() - 1)] = std::move(event);
    ++tail_;
  }
  // Takes the oldest one out, of which there is one.
  Event Take() noexcept {
    Event oldest = std::move(ring_[head_ & (ring_.size() - 1)]);
    ++head_;
    if (empty() && room() > kMostRoomKept) Clear();
    return oldest;
  }
  // Drops all events and gives the room back.
  void Clear() noexcept {
    std::vector<Event>().swap(ring_);
    head_ = tail_ = 0;
  }

 private:
  static constexpr size_t kFirstRoom = 16;
  static constexpr size_t kMostRoomKept = 1024;  // a probability for each 10 ms of ten seconds: 160 KiB

  void Grow() {
    std::vector<Event> bigger(std::max(kFirstRoom, room() * 2));
    const size_t n = size();
    for (size_t i = 0; i < n; ++i) bigger[i] = std::move(ring_[(head_ + i) & (ring_.size() - 1)]);
    ring_.swap(bigger);
    head_ = 0;
    tail_ = n;
  }

  std::vector<Event> ring_;
  size_t head_ = 0;  // counts of events taken out and put in
  size_t tail_ = 0;
};

}  // namespace TSEG::stream

#endif  // WVAD_STREAM_EVENT_QUEUE_H_
