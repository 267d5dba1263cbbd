// SPDX-License-Identifier: Apache-2.0
//
// Floats beyond full scale count as full scale, from the first step on: what is resampled, mixed, measured and handed out.
#include <cmath>
#include <vector>

#include "stream/signals.h"

namespace TSEG::stream::testing {
namespace {

class FullScale : public ::testing::Test {
 protected:
  // Two sentences, with a loud sample of either sign every tenth of a second.
  static std::vector<float> Signal(int rate, int channels, float loud) {
    const std::vector<int16_t> bursts = Bursts(6, {{1.0, 2.0}, {3.5, 4.0}}, rate);
    std::vector<float> samples;
    for (size_t i = 0; i < bursts.size(); ++i) {
      const bool is_loud = i % static_cast<size_t>(rate / 10) == 7;
      const float value = is_loud ? (i % 2 == 0 ? loud : -loud) : static_cast<float>(bursts[i]) / 32768.0F;
      for (int c = 0; c < channels; ++c) samples.push_back(c == 0 ? value : value / 2);
    }
    return samples;
  }
  std::vector<Seen> Heard(const std::vector<float>& samples, int rate, int channels) {
    wvad_stream_options options = Options(rate, channels, WVAD_SAMPLE_F32);
    options.want = WVAD_WANT_PROBABILITY | WVAD_WANT_AUDIO;
    Stream stream(model_, options, Settings());
    stream.Push(samples, static_cast<size_t>(rate / 50 * channels));
    stream.Finish();
    EXPECT_FALSE(stream.Sentences().empty());
    return stream.events;
  }
  void ExpectEqual(const std::vector<Seen>& got, const std::vector<Seen>& wanted, const std::string& row) {
    ASSERT_EQ(got.size(), wanted.size()) << row;
    EXPECT_EQ(Text(got), Text(wanted)) << row;
    for (size_t i = 0; i < got.size(); ++i) EXPECT_EQ(got[i].audio, wanted[i].audio) << row;
  }
  Model model_;
};

TEST_F(FullScale, SamplesBeyondItAreHeardAsIt) {
  for (const int rate : {8000, 16000, 48000}) {
    // With two channels the second is at half of the first: full scale from 2 on.
    for (const int channels : {1, 2}) {
      const std::vector<Seen> wanted = Heard(Signal(rate, channels, channels == 1 ? 1.0F : 2.0F), rate, channels);
      for (const float loud : {5.0F, 1e10F, 3e38F}) {
        ExpectEqual(Heard(Signal(rate, channels, loud), rate, channels), wanted,
                    std::to_string(loud) + " at " + std::to_string(rate) + " Hz in " + std::to_string(channels));
      }
    }
  }
}

// One frame (3e38, 3e38) before 16000 of (0.25, -0.25). At full scale it brings a power of (2 / 2)^2 = 1 to the mix, and 2 / 4 to the
// parts, the others 0 and 0.125 / 4: 1 of 500.5, which is -26.99 dB.
TEST_F(FullScale, OneWildFrameDoesNotHideThatChannelsCancel) {
  std::vector<float> samples = {3e38F, 3e38F};
  for (int i = 0; i < 16000; ++i) samples.insert(samples.end(), {0.25F, -0.25F});
  Stream stream(model_, Options(16000, 2, WVAD_SAMPLE_F32), Settings());
  stream.Push(samples, samples.size());
  wvad_stream_info info{};
  info.size = sizeof info;
  ASSERT_EQ(wvad_stream_get_info(stream.get(), &info), WVAD_OK);
  EXPECT_EQ(info.cancels, 1);
  EXPECT_NEAR(info.mix_loss_db, -26.99, 0.01);
}

}  // namespace
}  // namespace TSEG::stream::testing
