// SPDX-License-Identifier: Apache-2.0
//
// A stream whose events are taken as they come allocates nothing for a frame, whether a callback gets them or a queue.
#include <vector>

#include "stream/signals.h"
#include "support/count_allocations.h"

namespace TSEG::stream::testing {
namespace {

using testing_support::CountAllocations;

void OnEvent(const wvad_event* event, void* user) {
  if (event->kind == WVAD_EVENT_PROBABILITY) ++*static_cast<int*>(user);
}

// 80 s of one sentence in pieces of 10 ms. Counted are the frames from 4200 on: what grows with an open sentence doubles behind 4096 of
// them, and then behind 8192.
struct Count {
  long allocations = 0;
  int probabilities = 0;
};

Count CountFrames(const Model& model, bool by_callback) {
  Count count;
  wvad_stream_options options = Options();
  options.want = WVAD_WANT_PROBABILITY;
  if (by_callback) {
    options.on_event = OnEvent;
    options.user = &count.probabilities;
  }
  Stream stream(model, options, Settings("max_sentence=3600"));
  const std::vector<int16_t> signal = Bursts(80, {{0.0, 80.0}});
  long before = 0;
  for (size_t frame = 0; frame < 8000; ++frame) {
    if (frame == 4200) {
      before = CountAllocations();
      count.probabilities = 0;
    }
    EXPECT_EQ(wvad_stream_push(stream.get(), signal.data() + frame * 160, 320), WVAD_OK);
    wvad_event event{};
    event.size = sizeof event;
    while (!by_callback && wvad_stream_next_event(stream.get(), &event) == 1) OnEvent(&event, &count.probabilities);
  }
  count.allocations = CountAllocations() - before;
  return count;
}

TEST(StreamAllocation, FramesAllocateNothing) {
  const Model model;
  for (const bool by_callback : {true, false}) {
    const Count count = CountFrames(model, by_callback);
    EXPECT_EQ(count.allocations, 0) << (by_callback ? "callback" : "queue");
    EXPECT_EQ(count.probabilities, 3800);
  }
}

}  // namespace
}  // namespace TSEG::stream::testing
