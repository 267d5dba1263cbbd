// SPDX-License-Identifier: Apache-2.0
//
// One model, many streams, many threads.
#include <atomic>
#include <thread>
#include <vector>

#include "stream/signals.h"

namespace TSEG::stream::testing {
namespace {

TEST(StreamThreads, StreamsOfOneModelAnswerAsEachByItself) {
  const Model model;
  const auto run = [&](int which) {
    const int rate = which % 2 == 0 ? 16000 : 48000;
    Stream stream(model, Options(rate), Settings("profile=fast"));
    stream.Push(Bursts(6, {{1.0, 1.5 + 0.1 * which}, {3.0, 4.0}}, rate), static_cast<size_t>(100 + which));
    stream.Finish();
    return Text(stream.events);
  };
  std::vector<std::string> alone(4), together(8);
  for (int i = 0; i < 4; ++i) alone[static_cast<size_t>(i)] = run(i);
  std::vector<std::thread> threads;
  for (int i = 0; i < 8; ++i) threads.emplace_back([&, i] { together[static_cast<size_t>(i)] = run(i % 4); });
  for (std::thread& thread : threads) thread.join();
  for (size_t i = 0; i < together.size(); ++i) EXPECT_EQ(together[i], alone[i % 4]) << i;
}

TEST(StreamThreads, TwoThreadsOnOneStreamAreServedOrRefusedAndNeverMixed) {
  const Model model;
  Stream stream(model, Options(), Settings());
  std::atomic<int64_t> taken{0};
  std::atomic<bool> strange{false};
  const auto push = [&] {
    const std::vector<int16_t> piece(1600, 100);
    for (int i = 0; i < 300; ++i) {
      const wvad_status status = wvad_stream_push(stream.get(), piece.data(), 3200);
      if (status == WVAD_OK) taken += 1600;
      if (status != WVAD_OK && status != WVAD_E_BUSY) strange = true;
    }
  };
  std::thread first(push), second(push);
  first.join();
  second.join();
  EXPECT_FALSE(strange);
  wvad_stream_info info{};
  info.size = sizeof info;
  ASSERT_EQ(wvad_stream_get_info(stream.get(), &info), WVAD_OK);
  EXPECT_EQ(info.samples, taken.load());
}

}  // namespace
}  // namespace TSEG::stream::testing
