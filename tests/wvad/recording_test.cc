// SPDX-License-Identifier: Apache-2.0
#include "wvad/recording.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <utility>

#include "wvad/parameters.h"
#include "wvad/signals.h"

namespace TSEG::tool {
namespace {

using testing::Bursts;
using Spans = std::vector<std::pair<double, double>>;
using Frames = std::vector<std::pair<int64_t, int64_t>>;

// In frames of 10 ms, so that equality is exact.
struct Outcome {
  Frames found;
  std::vector<double> values;  // vol and eg of each
  int64_t renewals = 0;
};

Outcome Find(const std::vector<int16_t>& signal, const RenewalPolicy& policy, size_t piece_samples = 1600,
             const std::vector<std::string>& settings = {}) {
  Engine engine(WVAD_TEST_MODEL, {}, "");
  Detector detector(engine);
  Outcome outcome;
  Recording recording(detector, PlanParameters(settings, false).session, 16000, policy, [&](const Sentence& sentence) {
    EXPECT_EQ(sentence.begin_sample % 160, 0);
    outcome.found.emplace_back(sentence.begin_sample / 160, sentence.end_sample / 160);
    EXPECT_TRUE(sentence.vol.has_value());
    EXPECT_TRUE(sentence.eg.has_value());
    outcome.values.insert(outcome.values.end(), {sentence.vol.value_or(-1), sentence.eg.value_or(-1)});
  });
  for (size_t i = 0; i < signal.size(); i += piece_samples) {
    const size_t end = std::min(signal.size(), i + piece_samples);
    recording.Feed(
        std::vector<int16_t>(signal.begin() + static_cast<std::ptrdiff_t>(i), signal.begin() + static_cast<std::ptrdiff_t>(end)));
  }
  recording.Finish();
  outcome.renewals = recording.renewals();
  EXPECT_EQ(recording.samples(), static_cast<int64_t>(signal.size()));
  return outcome;
}

Frames Expected(const Spans& spans) {
  Frames frames;
  for (const auto& [begin, end] : spans) {
    frames.emplace_back(static_cast<int64_t>(begin * 100 + 0.5) - 30, static_cast<int64_t>(end * 100 + 0.5) + 20);
  }
  return frames;
}

// Bursts of 0.5 to 2 s with pauses of 1 to `longest_pause_s`, on whole frames.
Spans RandomSpans(double length_s, double longest_pause_s, unsigned seed) {
  std::mt19937 random(seed);
  std::uniform_int_distribution<int> burst(50, 200);
  std::uniform_int_distribution<int> pause(100, static_cast<int>(longest_pause_s * 100));
  Spans spans;
  for (int at = pause(random); at < static_cast<int>(length_s * 100) - 400; at += pause(random)) {
    const int end = at + burst(random);
    spans.emplace_back(at / 100.0, end / 100.0);
    at = end;
  }
  return spans;
}

TEST(Recording, OneSessionFindsEachBurstWithItsMargins) {
  const Spans spans = {{1.0, 2.0}, {3.5, 4.2}, {6.0, 9.0}};
  const Outcome outcome = Find(Bursts(12, spans), RenewalPolicy{});
  EXPECT_EQ(outcome.found, Expected(spans));
  EXPECT_EQ(outcome.renewals, 0);
}

TEST(Recording, PiecesOfAnyLengthGiveTheSameSentences) {
  const Spans spans = {{1.0, 2.0}, {3.5, 4.2}, {6.0, 9.0}};
  for (const size_t piece : {1U, 37U, 160U, 401U, 16000U, 160000U}) {
    if (piece == 1) continue;  // a write a sample proves no more than 37 do
    EXPECT_EQ(Find(Bursts(12, spans), RenewalPolicy{}, piece).found, Expected(spans)) << piece;
  }
}

TEST(Recording, RenewalInSilenceLosesAndDoublesNothing) {
  RenewalPolicy policy;
  policy.lead_in_s = 3;
  policy.quiet_s = 5;
  for (const unsigned seed : {1U, 2U, 3U}) {
    const Spans spans = RandomSpans(120, 15, seed);
    const Outcome outcome = Find(Bursts(120, spans), policy);
    EXPECT_EQ(outcome.found, Expected(spans)) << "seed " << seed;
    EXPECT_GT(outcome.renewals, 3) << "seed " << seed;
  }
}

TEST(Recording, SpeechThatBeginsAroundTheHandoverIsFoundOnce) {
  RenewalPolicy policy;
  policy.lead_in_s = 3;
  policy.quiet_s = 5;
  for (int begin = 390; begin <= 560; begin += 5) {  // the handover is at 5 s, or behind the sentence that is open then
    const Spans spans = {{begin / 100.0, begin / 100.0 + 1.0}};
    EXPECT_EQ(Find(Bursts(16, spans), policy).found, Expected(spans)) << begin;
  }
}

TEST(Recording, ShortBurstBeforeTheHandoverIsNotFoundTwice) {
  RenewalPolicy policy;
  policy.lead_in_s = 4;
  policy.quiet_s = 5;
  policy.age_s = 6;
  for (int begin = 100; begin <= 600; begin += 25) {
    const Spans spans = {{begin / 100.0, begin / 100.0 + 0.3}};
    EXPECT_EQ(Find(Bursts(20, spans), policy).found, Expected(spans)) << begin;
  }
}

TEST(Recording, RenewalByAgeWithoutAnyLongPause) {
  RenewalPolicy policy;
  policy.lead_in_s = 3;
  policy.age_s = 10;
  const Spans spans = RandomSpans(120, 1.5, 7);
  const Outcome outcome = Find(Bursts(120, spans), policy);
  EXPECT_EQ(outcome.found, Expected(spans));
  EXPECT_GT(outcome.renewals, 8);
}

TEST(Recording, RenewalByCountOfSentences) {
  RenewalPolicy policy;
  policy.lead_in_s = 3;
  policy.sentences = 5;
  const Spans spans = RandomSpans(120, 2, 11);
  const Outcome outcome = Find(Bursts(120, spans), policy);
  EXPECT_EQ(outcome.found, Expected(spans));
  EXPECT_GT(outcome.renewals, 5);
}

TEST(Recording, PiecesOfAnyLengthAreRenewedAtTheSamePlaces) {
  struct Row {
    const char* name;
    RenewalPolicy policy;
  };
  std::vector<Row> rows = {{"quiet", {}}, {"age", {}}, {"sentences", {}}, {"hard", {}}};
  rows[0].policy.quiet_s = 3;
  rows[1].policy.age_s = 5;
  rows[2].policy.sentences = 2;
  rows[3].policy.hard_s = 7;
  // Pauses off the grid of any piece, and bursts of two levels, so that what is heard of one depends on where its session began.
  std::vector<int16_t> signal = Bursts(90, RandomSpans(90, 6, 5));
  for (size_t i = signal.size() / 3; i < signal.size() / 2; ++i) signal[i] = static_cast<int16_t>(signal[i] / 5);
  for (Row& row : rows) {
    row.policy.lead_in_s = 2;
    const Outcome wanted = Find(signal, row.policy, 1600);
    EXPECT_GT(wanted.renewals, 3) << row.name;
    for (const size_t piece_ms : {7U, 20U, 333U, 1000U, 10000U}) {
      const Outcome outcome = Find(signal, row.policy, piece_ms * 16);
      EXPECT_EQ(outcome.found, wanted.found) << row.name << ", pieces of " << piece_ms << " ms";
      EXPECT_EQ(outcome.values, wanted.values) << row.name << ", pieces of " << piece_ms << " ms";
      EXPECT_EQ(outcome.renewals, wanted.renewals) << row.name << ", pieces of " << piece_ms << " ms";
    }
  }
}

TEST(Recording, SentenceWithoutEndIsCutAtTheHardLimitWithoutAGap) {
  RenewalPolicy policy;
  policy.lead_in_s = 2;
  policy.hard_s = 6;
  const Outcome outcome = Find(Bursts(22, {{1.0, 20.0}}), policy, 1600, {"wvad_param_nSpeechTimeOut=1000000"});
  ASSERT_GE(outcome.found.size(), 4U);
  EXPECT_EQ(outcome.found.front().first, 70);
  EXPECT_EQ(outcome.found.back().second, 2020);
  for (size_t i = 1; i < outcome.found.size(); ++i) EXPECT_EQ(outcome.found[i].first, outcome.found[i - 1].second) << i;
}

TEST(Recording, LongSilenceIsWalkedThroughSessionBySession) {
  // The first handover comes after 240 s; each further session starts 20 s before its handover, so they follow every 220 s. One more
  // comes where the stillness ends.
  const Outcome outcome = Find(Bursts(1200, {{1150.0, 1151.0}}), RenewalPolicy{}, 16000);
  EXPECT_EQ(outcome.renewals, 6);
  EXPECT_EQ(outcome.found, Expected({{1150.0, 1151.0}}));
}

TEST(Recording, SoundBehindALongStillnessIsHeardByANewSession) {
  const Spans spans = {{11.0, 12.0}, {21.5, 22.0}, {33.0, 34.0}};
  // Stillness of 11.0 s, 9.5 s and 11.0 s: the first and the last are long.
  for (const size_t piece : {16U, 160U, 1000U, 1600U, 160000U}) {
    const Outcome outcome = Find(Bursts(36, spans), RenewalPolicy{}, piece);
    EXPECT_EQ(outcome.found, Expected(spans)) << piece;
    EXPECT_EQ(outcome.renewals, 2) << piece;
  }
}

TEST(Recording, FaintNoiseIsStillness) {
  std::vector<int16_t> signal = Bursts(30, {{1.0, 2.0}, {20.0, 21.0}});
  std::mt19937 random(5);
  std::uniform_int_distribution<int> noise(-60, 60);  // -59 dB
  for (int16_t& sample : signal) sample = static_cast<int16_t>(sample + noise(random));
  EXPECT_EQ(Find(signal, RenewalPolicy{}).renewals, 1);
  for (int16_t& sample : signal) sample = static_cast<int16_t>(sample + (sample > 0 ? 200 : -200));  // -44 dB
  EXPECT_EQ(Find(signal, RenewalPolicy{}).renewals, 0);
}

TEST(Recording, NothingAtAllIsNoFailure) {
  EXPECT_TRUE(Find({}, RenewalPolicy{}).found.empty());
  EXPECT_TRUE(Find(std::vector<int16_t>(1, 0), RenewalPolicy{}).found.empty());
}

// Keeps what the engine hands out, PCM, and compares it with the recording that went in in pieces of `piece_samples`.
void ExpectSlices(const std::vector<int16_t>& signal, const RenewalPolicy& policy, size_t piece_samples,
                  const std::vector<std::string>& settings) {
  Engine engine(WVAD_TEST_MODEL, {}, "");
  Detector detector(engine);
  int64_t last_end = 0;
  int sentences = 0;
  const auto sink = [&](const Sentence& sentence) {
    EXPECT_GE(sentence.begin_sample, last_end);
    last_end = sentence.end_sample;
    const size_t end = std::min(signal.size(), static_cast<size_t>(sentence.end_sample));
    const size_t begin = static_cast<size_t>(sentence.begin_sample);
    ASSERT_EQ(sentence.data.size(), 2 * (end - begin)) << begin;
    EXPECT_EQ(std::memcmp(sentence.data.data(), signal.data() + begin, sentence.data.size()), 0) << begin;
    ++sentences;
  };
  Recording recording(detector, PlanParameters(settings, false, Handout::kPcm).session, 16000, policy, sink, 320);
  for (size_t i = 0; i < signal.size(); i += piece_samples) {
    recording.Feed(std::vector<int16_t>(signal.begin() + static_cast<std::ptrdiff_t>(i),
                                        signal.begin() + static_cast<std::ptrdiff_t>(std::min(signal.size(), i + piece_samples))));
  }
  recording.Finish();
  EXPECT_GT(sentences, 3);
}

// Bursts whose samples tell their place.
std::vector<int16_t> Ramp(double length_s, const Spans& spans) {
  std::vector<int16_t> signal = Bursts(length_s, spans);
  for (size_t i = 0; i < signal.size(); ++i) {
    if (signal[i] != 0) signal[i] = static_cast<int16_t>(signal[i] + static_cast<int>(i % 6007));
  }
  return signal;
}

TEST(Recording, KeptPcmIsTheSliceThatIsReported) {
  const std::vector<int16_t> signal = Ramp(60.003, RandomSpans(60, 2, 5));
  for (const size_t piece : {160U, 1000U, 1600U, 160000U}) ExpectSlices(signal, RenewalPolicy{}, piece, {});
}

TEST(Recording, KeptPcmIsTheSliceAcrossRenewalsOnAnyGrid) {
  RenewalPolicy policy;
  policy.lead_in_s = 3;
  policy.quiet_s = 5;
  policy.age_s = 10;
  const std::vector<int16_t> signal = Ramp(120, RandomSpans(120, 8, 9));
  // Handovers fall between the frames of the session before with pieces of 1000 and 333 samples.
  for (const size_t piece : {1600U, 1000U, 333U}) ExpectSlices(signal, policy, piece, {});
}

TEST(Recording, KeptPcmOfASentenceThatIsCutOverAndOver) {
  RenewalPolicy policy;
  policy.lead_in_s = 2;
  policy.hard_s = 6;
  const std::vector<int16_t> signal = Ramp(22, {{1.0, 20.0}});
  for (const size_t piece : {1600U, 333U}) ExpectSlices(signal, policy, piece, {"wvad_param_nSpeechTimeOut=1000000"});
  ExpectSlices(signal, RenewalPolicy{}, 1600, {"wvad_param_nSpeechTimeOut=2000"});
}

TEST(Recording, KeptPcmLongerThanTheReadBuffer) {
  // The engine's read buffer holds 98 s; all of a sentence comes at once when its frames wait for its end.
  const std::vector<int16_t> signal = Ramp(260, {{1.0, 2.0}, {4.0, 124.0}, {126.0, 127.0}, {130.0, 250.0}, {252.0, 253.0}});
  ExpectSlices(signal, RenewalPolicy{}, 16000, {"wvad_param_nSpeechTimeOut=1000000"});
  ExpectSlices(signal, RenewalPolicy{}, 16000,
               {"wvad_param_nSpeechTimeOut=1000000", "wvad_param_isReadFtrDoCMN=1", "wvad_param_srec_cmn_type=4"});
}

TEST(Recording, NothingIsKeptUnlessItIsWanted) {
  Engine engine(WVAD_TEST_MODEL, {}, "");
  Detector detector(engine);
  int sentences = 0;
  Recording recording(detector, PlanParameters({}, false).session, 16000, RenewalPolicy{}, [&](const Sentence& sentence) {
    EXPECT_TRUE(sentence.data.empty());
    ++sentences;
  });
  recording.Feed(Bursts(5, {{1.0, 2.0}}));
  recording.Finish();
  EXPECT_EQ(sentences, 1);
  EXPECT_TRUE(recording.quality().empty());
}

TEST(Recording, QualityIsMeasuredOfEachSessionAndSentencesStay) {
  RenewalPolicy policy;
  policy.lead_in_s = 3;
  policy.quiet_s = 5;
  policy.still_s = 0;
  const Spans spans = RandomSpans(120, 15, 2);
  const std::vector<int16_t> signal = Bursts(120, spans);
  const ParameterPlan plan = PlanParameters({}, false, Handout::kNothing, true);
  Engine engine(WVAD_TEST_MODEL, plan.configuration, "");
  Detector detector(engine);
  Frames found;
  Recording recording(detector, plan.session, 16000, policy,
                      [&](const Sentence& sentence) { found.emplace_back(sentence.begin_sample / 160, sentence.end_sample / 160); });
  for (size_t i = 0; i < signal.size(); i += 1600) {
    recording.Feed(
        std::vector<int16_t>(signal.begin() + static_cast<std::ptrdiff_t>(i), signal.begin() + static_cast<std::ptrdiff_t>(i + 1600)));
  }
  recording.Finish();
  EXPECT_EQ(found, Expected(spans));
  ASSERT_EQ(static_cast<int64_t>(recording.quality().size()), recording.renewals() + 1);
  EXPECT_EQ(recording.quality().front().begin_sample, 0);
  EXPECT_EQ(recording.quality().back().end_sample, 120 * 16000);
  for (size_t i = 0; i < recording.quality().size(); ++i) {
    const SessionQuality& quality = recording.quality()[i];
    if (i > 0) {
      EXPECT_EQ(quality.begin_sample, recording.quality()[i - 1].end_sample - 3 * 16000);
    }
    std::vector<std::string> keys;
    for (const OtherResult& result : quality.results) keys.push_back(result.key);
    EXPECT_EQ(std::count(keys.begin(), keys.end(), "snr"), 1) << i;
    EXPECT_EQ(std::count(keys.begin(), keys.end(), "cur"), 1) << i;
  }
}

TEST(Session, EngineCanGoUpAndDownAgain) {
  for (int i = 0; i < 3; ++i) {
    Engine engine(WVAD_TEST_MODEL, {}, "");
    Detector detector(engine);
    EXPECT_EQ(detector.Get("VAD_PARAM_SAMPLERATE"), "16000");
  }
}

TEST(Session, ParametersHoldForEverySessionOfTheRecording) {
  RenewalPolicy policy;
  policy.lead_in_s = 3;
  policy.age_s = 10;
  const Spans spans = RandomSpans(60, 1.5, 3);
  Frames expected;
  for (const auto& [begin, end] : Expected(spans)) expected.emplace_back(begin + 20, end - 10);
  EXPECT_EQ(Find(Bursts(60, spans), policy, 1600, {"wvad_param_nFrameStartMargin=10", "wvad_param_nFrameEndMargin=10"}).found, expected);
}

TEST(Session, FurtherConfigurationCountsWhereTheProgramIsSilent) {
  Engine engine(WVAD_TEST_MODEL, {}, "[vad]\nwvad_param_nFrameGap = 55\nwvad_param_model_name = elsewhere\n");
  Detector detector(engine);
  EXPECT_EQ(detector.Get("wvad_param_nFrameGap"), "55");
}

}  // namespace
}  // namespace TSEG::tool
