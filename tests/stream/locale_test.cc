// SPDX-License-Identifier: Apache-2.0
//
// A client's locale with a decimal comma changes nothing of a stream, whether it was set before the stream was opened or while it runs.
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "stream/engine_session.h"
#include "stream/shared_model.h"
#include "stream/signals.h"
#include "support/comma_locale.h"

namespace TSEG::stream::testing {
namespace {

using testing_support::CommaLocale;

class StreamLocale : public ::testing::Test {
 protected:
  wvad_settings SettingsOfAll() const {
    return Settings(
        "threshold=0.35 min_speech=0.1 min_silence=0.25 pad_before=0.1 pad_after=0.1 max_sentence=20.5 "
        "energy_floor_db=-50.5 turn_silence=0.5 still_every=2.5");
  }
  wvad_stream_options OptionsOfAll() const {
    wvad_stream_options options = Options();
    options.want = WVAD_WANT_PROBABILITY | WVAD_WANT_AUDIO;
    return options;
  }
  // Renewals so far.
  static int64_t Renewals(const Stream& stream) {
    wvad_stream_info info{};
    info.size = sizeof info;
    EXPECT_EQ(wvad_stream_get_info(stream.get(), &info), WVAD_OK);
    return info.renewals;
  }

  Model model_;
  // Sound that comes back after more than ten seconds of stillness: the session inside is renewed there.
  const std::vector<int16_t> signal_ = Bursts(16, {{1.0, 2.0}, {13.5, 14.5}});
};

TEST_F(StreamLocale, StreamOpenedUnderADecimalCommaHearsTheSame) {
  Stream plain(model_, OptionsOfAll(), SettingsOfAll());
  plain.Push(signal_, 1600);
  plain.Finish();
  ASSERT_EQ(plain.Sentences().size(), 2U);
  const CommaLocale comma;
  Stream stream(model_, OptionsOfAll(), SettingsOfAll());
  ASSERT_NE(stream.get(), nullptr);
  stream.Push(signal_, 1600);
  stream.Finish();
  EXPECT_EQ(Text(stream.events), Text(plain.events));
}

TEST_F(StreamLocale, OpenStreamIsRenewedAndResetUnderADecimalComma) {
  Stream plain(model_, OptionsOfAll(), SettingsOfAll());
  plain.Push(signal_, 1600);
  plain.Finish();
  Stream stream(model_, OptionsOfAll(), SettingsOfAll());
  const std::string without = Text(plain.events);
  const CommaLocale comma;
  stream.Push(signal_, 1600);
  EXPECT_EQ(Renewals(stream), 1);
  stream.Finish();
  EXPECT_EQ(Text(stream.events), without);
  ASSERT_EQ(wvad_stream_reset(stream.get()), WVAD_OK) << wvad_last_error();
  stream.events.clear();
  stream.Push(signal_, 1600);
  stream.Finish();
  EXPECT_EQ(Text(stream.events), without);
}

struct NoObserver : DecisionObserver {
  void OnFrame(const TsegInst&, int32_t, const DecidedFrame&, EndpointResult) override {}
};

// What the engine's rule compares with is the float next to the setting.
TEST(StreamLocaleThreshold, ReachesTheEngineToTheBitUnderADecimalComma) {
  const std::shared_ptr<SharedModel> model = SharedModel::Open(WVAD_TEST_MODEL);
  const CommaLocale comma;
  const std::pair<const char*, float> rows[] = {{"0.35", 0.35F}, {"0.1", 0.1F}, {"0.99", 0.99F}, {"0.3333333333333333", 1.0F / 3}};
  for (const auto& [text, wanted] : rows) {
    NoObserver observer;
    EngineInstance instance(model->engine(), &observer);
    const wvad_settings settings = Settings(std::string("threshold=") + text);
    const EngineSession session(instance, EngineParameters(settings, model->rate_hz(), false), 0);
    EXPECT_EQ(instance.record().pCfg->wvad_param_vad_threshold, wanted) << text;
  }
}

}  // namespace
}  // namespace TSEG::stream::testing
