// SPDX-License-Identifier: Apache-2.0
//
// Rates, channels, sample forms and layouts: the same sound is the same stream.
#include <cstring>
#include <vector>

#include "stream/signals.h"

namespace TSEG::stream::testing {
namespace {

const std::vector<std::pair<double, double>> kSpans = {{1.0, 2.0}, {3.5, 4.0}};

class Forms : public ::testing::Test {
 protected:
  template <typename T>
  std::string Heard(const std::vector<T>& samples, const wvad_stream_options& options) {
    Stream stream(model_, options, Settings());
    stream.Push(samples, 480 * static_cast<size_t>(options.channels));
    stream.Finish();
    EXPECT_EQ(stream.Sentences().size(), 2U);
    return Text(stream.events);
  }
  Model model_;
  const std::vector<int16_t> signal_ = Bursts(6, kSpans);
};

TEST_F(Forms, SampleFormsOfOneSoundGiveTheSameEvents) {
  const std::string wanted = Heard(signal_, Options());
  std::vector<int32_t> s24(signal_.size()), s24_padded(signal_.size()), s32(signal_.size());
  std::vector<float> f32(signal_.size());
  for (size_t i = 0; i < signal_.size(); ++i) {
    s24[i] = signal_[i] * 256;
    s24_padded[i] = static_cast<int32_t>((static_cast<uint32_t>(s24[i]) & 0xFFFFFFU) | 0x5A000000U);
    s32[i] = signal_[i] * 65536;
    f32[i] = static_cast<float>(signal_[i]) / 32768.0F;
  }
  EXPECT_EQ(Heard(s24, Options(16000, 1, WVAD_SAMPLE_S24)), wanted);
  EXPECT_EQ(Heard(s24_padded, Options(16000, 1, WVAD_SAMPLE_S24)), wanted);
  EXPECT_EQ(Heard(s32, Options(16000, 1, WVAD_SAMPLE_S32)), wanted);
  EXPECT_EQ(Heard(f32, Options(16000, 1, WVAD_SAMPLE_F32)), wanted);
}

TEST_F(Forms, ChannelsAreMixedOrChosen) {
  std::vector<int16_t> three(signal_.size() * 3);
  for (size_t i = 0; i < signal_.size(); ++i) three[3 * i + 1] = signal_[i];
  wvad_stream_options options = Options(16000, 3);
  options.channel = 2;
  EXPECT_EQ(Heard(three, options), Heard(signal_, Options()));
  // The mean of it and two silent ones is a third as loud, and still far above the floor.
  options.channel = WVAD_CHANNEL_MEAN;
  Heard(three, options);
  options.channel = 1;
  Stream silent(model_, options, Settings());
  silent.Push(three, 480);
  silent.Finish();
  EXPECT_TRUE(silent.Sentences().empty());
}

TEST_F(Forms, PlanesAreTheInterleavedChannels) {
  std::vector<int16_t> two(signal_.size() * 2);
  const std::vector<int16_t> other = Bursts(6, {{2.0, 3.0}});
  for (size_t i = 0; i < signal_.size(); ++i) {
    two[2 * i] = signal_[i];
    two[2 * i + 1] = other[i];
  }
  wvad_stream_options options = Options(16000, 2);
  Stream interleaved(model_, options, Settings());
  interleaved.Push(two, 320);
  interleaved.Finish();
  Stream planar(model_, options, Settings());
  for (size_t at = 0; at < signal_.size(); at += 1000) {
    const void* planes[] = {signal_.data() + at, other.data() + at};
    ASSERT_EQ(wvad_stream_push_planar(planar.get(), planes, 2000), WVAD_OK) << wvad_last_error();
  }
  planar.Finish();
  EXPECT_EQ(Text(planar.events), Text(interleaved.events));
  EXPECT_FALSE(interleaved.Sentences().empty());
}

TEST_F(Forms, SamplesNeedNotBeAligned) {
  std::vector<unsigned char> bytes(signal_.size() * 4 + 1);
  for (size_t i = 0; i < signal_.size(); ++i) {
    const float value = static_cast<float>(signal_[i]) / 32768.0F;
    std::memcpy(bytes.data() + 1 + 4 * i, &value, sizeof value);
  }
  Stream stream(model_, Options(16000, 1, WVAD_SAMPLE_F32), Settings());
  ASSERT_EQ(wvad_stream_push(stream.get(), bytes.data() + 1, bytes.size() - 1), WVAD_OK);
  stream.Finish();
  EXPECT_EQ(Text(stream.events), Heard(signal_, Options()));
}

TEST_F(Forms, EmptyPieceNeedsNoAddressInAnyForm) {
  for (const int32_t form : {WVAD_SAMPLE_S16, WVAD_SAMPLE_S24, WVAD_SAMPLE_S32, WVAD_SAMPLE_F32}) {
    for (const int32_t channel : {WVAD_CHANNEL_MEAN, 2}) {
      wvad_stream_options options = Options(16000, 2, form);
      options.channel = channel;
      Stream stream(model_, options, Settings());
      EXPECT_EQ(wvad_stream_push(stream.get(), nullptr, 0), WVAD_OK) << form;
      EXPECT_EQ(wvad_stream_push_planar(stream.get(), nullptr, 0), WVAD_OK) << form;
      stream.Finish();
      EXPECT_EQ(stream.Of(WVAD_EVENT_STREAM_END).at(0).time, 0) << form;
    }
  }
}

TEST_F(Forms, EveryRateFindsTheSentencesOnItsOwnClock) {
  for (const int rate : {4000, 6000, 8000, 11025, 12000, 16000, 22050, 24000, 32000, 44100, 48000, 88200, 96000, 176400, 192000}) {
    for (const char* profile : {"default", "fast"}) {
      Stream stream(model_, Options(rate), Settings(std::string("profile=") + profile + " pad_before=0.3 pad_after=0.2 min_silence=0.4"));
      stream.Push(Bursts(6, kSpans, rate), static_cast<size_t>(rate / 50));
      stream.Finish();
      const auto found = stream.Sentences();
      ASSERT_EQ(found.size(), kSpans.size()) << rate << " " << profile;
      for (size_t i = 0; i < found.size(); ++i) {
        // A filter rings a little before and behind the burst's hard edges.
        EXPECT_NEAR(found[i].first, kSpans[i].first - 0.3, 0.05) << rate << " " << profile;
        EXPECT_NEAR(found[i].second, kSpans[i].second + 0.2, 0.05) << rate << " " << profile;
      }
      EXPECT_EQ(stream.Of(WVAD_EVENT_STREAM_END).at(0).time, 6 * rate);
    }
  }
}

TEST_F(Forms, OppositePhaseIsNoticed) {
  std::vector<int16_t> two(signal_.size() * 2);
  for (size_t i = 0; i < signal_.size(); ++i) {
    two[2 * i] = signal_[i];
    two[2 * i + 1] = static_cast<int16_t>(-signal_[i]);
  }
  Stream stream(model_, Options(16000, 2), Settings());
  stream.Push(two, 320);
  wvad_stream_info info{};
  info.size = sizeof info;
  ASSERT_EQ(wvad_stream_get_info(stream.get(), &info), WVAD_OK);
  EXPECT_EQ(info.cancels, 1);
  EXPECT_LT(info.mix_loss_db, -40);
  EXPECT_EQ(info.samples, static_cast<int64_t>(signal_.size()));
}

}  // namespace
}  // namespace TSEG::stream::testing
