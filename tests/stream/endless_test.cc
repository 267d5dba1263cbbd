// SPDX-License-Identifier: Apache-2.0
//
// A stream that does not end: what it finds is what its pieces give one by one, its clock does not drift, and its memory stays flat. So
// does that of a process in which many streams come and go.
//
// WVAD_ENDLESS_HOURS sets the length, 2 by default; docs/stream.md names it.
#include <cstdlib>
#include <fstream>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "stream/signals.h"

namespace TSEG::stream::testing {
namespace {

using Spans = std::vector<std::pair<double, double>>;

constexpr double kBlockS = 120;

double Hours() {
  const char* text = std::getenv("WVAD_ENDLESS_HOURS");
  return text != nullptr ? std::atof(text) : 2;
}

int64_t ResidentKb() {
  std::ifstream in("/proc/self/statm");
  int64_t total = 0, resident = 0;
  in >> total >> resident;
  return resident * 4;
}

// Two minutes with bursts of 0.5 to 2 s and pauses of 1 to 6 s, now and then one of 40 s; silence at both ends.
Spans BlockSpans(unsigned seed) {
  std::mt19937 random(seed);
  const auto between = [&](int low, int high) { return static_cast<int>(random() % static_cast<unsigned>(high - low + 1)) + low; };
  Spans spans;
  for (int at = between(200, 400); at < static_cast<int>(kBlockS * 100) - 400;) {
    const int end = at + between(50, 200);
    spans.emplace_back(at / 100.0, end / 100.0);
    at = end + (between(0, 9) == 0 ? 4000 : between(100, 600));
  }
  return spans;
}

#if defined(__SANITIZE_ADDRESS__)
constexpr int64_t kMostGrowthKb = 400 * 1024;  // it keeps up to 256 MiB of what is freed for a while
#else
constexpr int64_t kMostGrowthKb = 40 * 1024;
#endif

TEST(EndlessStream, HoursInFlatMemoryFindWhatThePiecesGiveOneByOne) {
  const Model model;
  const int64_t blocks = static_cast<int64_t>(Hours() * 3600 / kBlockS);
  Stream endless(model, Options(), Settings());
  int64_t begun_kb = 0;
  int64_t wrong = 0;
  for (int64_t block = 0; block < blocks && wrong < 5; ++block) {
    const Spans spans = BlockSpans(static_cast<unsigned>(block % 97));
    endless.Push(Bursts(kBlockS, spans), 16000);
    // Worked out by hand for each burst (signals.h): 0.30 s before it to 0.20 s behind it.
    std::vector<std::pair<double, double>> expected;
    const double start = static_cast<double>(block) * kBlockS;
    for (const auto& [begin, end] : spans) expected.emplace_back(start + begin - 0.3, start + end + 0.2);
    const auto found = endless.Sentences();
    EXPECT_EQ(found.size(), expected.size()) << "block " << block;
    wrong += found.size() != expected.size() ? 1 : 0;
    for (size_t i = 0; i < std::min(found.size(), expected.size()); ++i) {
      EXPECT_NEAR(found[i].first, expected[i].first, 0.0101) << "block " << block;
      EXPECT_NEAR(found[i].second, expected[i].second, 0.0101) << "block " << block;
    }
    endless.events.clear();
    if (block == 10) begun_kb = ResidentKb();
  }
  wvad_stream_info info{};
  info.size = sizeof info;
  ASSERT_EQ(wvad_stream_get_info(endless.get(), &info), WVAD_OK);
  EXPECT_EQ(info.samples, static_cast<int64_t>(kBlockS * 16000) * blocks);
  EXPECT_GT(info.renewals, blocks / 60);
  // One session of two hours holds some megabytes when it is renewed; what leaks with every session or sentence would be far above.
  EXPECT_LT(ResidentKb() - begun_kb, kMostGrowthKb);
}

TEST(ManyStreams, LeaveTheirMemoryToTheSystemRoundForRound) {
  const Model model;
  const auto second = Bursts(1, {{0.2, 0.8}});
  int64_t begun_kb = 0;
  for (int round = 0; round < 6; ++round) {
    std::vector<std::unique_ptr<Stream>> streams;
    for (int i = 0; i < 50; ++i) {
      streams.push_back(std::make_unique<Stream>(model, Options(), Settings()));
      streams.back()->Push(second, 16000);
    }
    streams.clear();
    if (round == 0) begun_kb = ResidentKb();
  }
  // A stream takes about 7 MB of addresses, of which a second of audio touches 1 MB. Were the rest cleared by hand in used memory, the
  // fifty would grow by 300 MB in the end.
  EXPECT_LT(ResidentKb() - begun_kb, kMostGrowthKb);
}

TEST(EndlessStream, OneBlockAloneIsFoundAsInTheStream) {
  const Model model;
  const Spans spans = BlockSpans(3);
  Stream alone(model, Options(), Settings());
  alone.Push(Bursts(kBlockS, spans), 16000);
  alone.Finish();
  const auto first = alone.Sentences();
  ASSERT_EQ(first.size(), spans.size());
  Stream twice(model, Options(), Settings());
  twice.Push(Bursts(kBlockS, BlockSpans(4)), 16000);
  twice.events.clear();
  twice.Push(Bursts(kBlockS, spans), 16000);
  twice.Finish();
  const auto second = twice.Sentences();
  ASSERT_EQ(second.size(), first.size());
  for (size_t i = 0; i < first.size(); ++i) {
    EXPECT_NEAR(second[i].first - kBlockS, first[i].first, 0.0101);
    EXPECT_NEAR(second[i].second - kBlockS, first[i].second, 0.0101);
  }
}

}  // namespace
}  // namespace TSEG::stream::testing
