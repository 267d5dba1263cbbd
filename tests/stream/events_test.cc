// SPDX-License-Identifier: Apache-2.0
//
// The events of made signals, worked out by hand from the model that hears every frame as speech: the energy floor alone decides.
#include <cmath>
#include <string>
#include <vector>

#include "stream/signals.h"

namespace TSEG::stream::testing {
namespace {

using Spans = std::vector<std::pair<double, double>>;

class Events : public ::testing::Test {
 protected:
  // Frames of 10 ms at 16 kHz.
  static int64_t Frame(int64_t frame) { return frame * 160; }
  static std::vector<int> Kinds(const Stream& stream) {
    std::vector<int> kinds;
    for (const Seen& seen : stream.events) kinds.push_back(seen.record.kind);
    return kinds;
  }
  Model model_;
};

TEST_F(Events, SentenceIsToldFromOnsetToTurnEnd) {
  Stream stream(model_, Options(), Settings());
  stream.Push(Bursts(6, {{1.0, 2.0}}), 160);
  stream.Finish();
  EXPECT_EQ(Kinds(stream), (std::vector<int>{WVAD_EVENT_ONSET, WVAD_EVENT_SENTENCE_BEGIN, WVAD_EVENT_SENTENCE_END, WVAD_EVENT_TURN_END,
                                             WVAD_EVENT_STREAM_END}));
  // The first frame whose window reaches into the burst, the margin of 0.3 s before what the engine takes for speech, 0.2 s behind.
  EXPECT_EQ(stream.events[0].record.time, Frame(98));
  EXPECT_EQ(stream.events[1].record.begin, Frame(70));
  EXPECT_EQ(stream.events[1].record.sentence, 0);
  EXPECT_EQ(stream.events[2].record.begin, Frame(70));
  EXPECT_EQ(stream.events[2].record.end, Frame(220));
  EXPECT_EQ(stream.events[2].record.flags, 0U);
  EXPECT_EQ(stream.events[3].record.sentence, 0);
  EXPECT_EQ(stream.events[4].record.time, Frame(600));
}

TEST_F(Events, EachTellsWhenItWasKnownInTheFirstSecondToo) {
  for (const int at : {20, 400}) {
    SCOPED_TRACE(at);
    Stream stream(model_, Options(), Settings("turn_silence=1"));
    stream.Push(Bursts(8, {{at / 100.0, at / 100.0 + 1}}), 160);
    // Frame f is decided upon when its own window of 50 ms, those of its neighbours (differences and context) and the chunk of 25 ms that
    // completes them have been heard: more than the ten frames of window and context, and no more than a quarter of a second.
    const auto known = [&](int kind) { return static_cast<double>(stream.Of(kind).at(0).known_at) / 160; };
    const auto expect = [&](int kind, int frame) {
      EXPECT_GT(known(kind), frame + 10) << kind;
      EXPECT_LT(known(kind), frame + 25) << kind;
    };
    expect(WVAD_EVENT_ONSET, at);                // the third frame of speech
    expect(WVAD_EVENT_SENTENCE_BEGIN, at + 20);  // 20 frames behind the engine's first
    expect(WVAD_EVENT_SENTENCE_END, at + 140);   // 40 frames behind the fall a second later
    expect(WVAD_EVENT_TURN_END, at + 200);
  }
}

TEST_F(Events, ShortSoundIsDroppedAgain) {
  Stream stream(model_, Options(), Settings());
  stream.Push(Bursts(4, {{1.0, 1.06}}), 160);
  stream.Finish();
  EXPECT_EQ(Kinds(stream), (std::vector<int>{WVAD_EVENT_ONSET, WVAD_EVENT_ONSET_DROPPED, WVAD_EVENT_STREAM_END}));
  EXPECT_EQ(stream.events[1].record.time, stream.events[0].record.time);
}

TEST_F(Events, StreamThatBeginsAndEndsInSpeechSaysSo) {
  Stream stream(model_, Options(), Settings());
  stream.Push(Bursts(3, {{0, 3}}), 160);
  stream.Finish();
  const std::vector<wvad_event> ends = stream.Of(WVAD_EVENT_SENTENCE_END);
  ASSERT_EQ(ends.size(), 1U);
  EXPECT_EQ(ends[0].flags, static_cast<uint32_t>(WVAD_FLAG_BEGAN_IN_SPEECH | WVAD_FLAG_ENDED_IN_SPEECH));
  EXPECT_EQ(ends[0].begin, 0);
  EXPECT_EQ(ends[0].end, Frame(296));  // the last four frames have no whole window of 50 ms
}

TEST_F(Events, LongestSentenceIsCutAndTheNextGoesOnFromThere) {
  Stream stream(model_, Options(), Settings("max_sentence=5"));
  stream.Push(Bursts(14, {{1, 10}}), 160);
  stream.Finish();
  const std::vector<wvad_event> ends = stream.Of(WVAD_EVENT_SENTENCE_END);
  ASSERT_EQ(ends.size(), 2U);
  EXPECT_EQ(ends[0].flags, static_cast<uint32_t>(WVAD_FLAG_ENDED_IN_SPEECH));
  EXPECT_EQ(ends[1].flags, static_cast<uint32_t>(WVAD_FLAG_BEGAN_IN_SPEECH));
  EXPECT_GE(ends[1].begin, ends[0].end);
}

TEST_F(Events, SilenceIsReportedAsOftenAsAsked) {
  Stream stream(model_, Options(), Settings("still_every=2 turn_silence=0"));
  stream.Push(Bursts(12, {{5.0, 6.0}}), 160);
  stream.Finish();
  const std::vector<wvad_event> still = stream.Of(WVAD_EVENT_SILENCE);
  ASSERT_EQ(still.size(), 4U);  // after 2 and 4 s of the start, 2 and 4 s after the end at 6.2 s
  EXPECT_EQ(still[0].begin, 0);
  EXPECT_EQ(still[0].time, Frame(200));
  EXPECT_EQ(still[1].time, Frame(400));
  EXPECT_EQ(still[2].begin, Frame(620));
  EXPECT_EQ(still[2].time, Frame(820));
  EXPECT_EQ(still[3].time, Frame(1020));
  EXPECT_TRUE(stream.Of(WVAD_EVENT_TURN_END).empty());
}

TEST_F(Events, ProbabilityComesForEachFrameInOrder) {
  wvad_stream_options options = Options();
  options.want = WVAD_WANT_PROBABILITY;
  Stream stream(model_, options, Settings());
  stream.Push(Bursts(5, {{1.0, 2.0}}), 160);
  stream.Finish();
  const std::vector<wvad_event> frames = stream.Of(WVAD_EVENT_PROBABILITY);
  ASSERT_GE(frames.size(), 490U);
  ASSERT_LE(frames.size(), 500U);
  for (size_t i = 0; i < frames.size(); ++i) {
    ASSERT_EQ(frames[i].time, Frame(static_cast<int64_t>(i)));
    ASSERT_GT(frames[i].probability, 0.7F);  // whatever the energy says
    ASSERT_LE(frames[i].probability, 1.0F);
  }
}

TEST_F(Events, AudioOfASentenceIsThatOfTheStream) {
  wvad_stream_options options = Options();
  options.want = WVAD_WANT_AUDIO;
  const std::vector<int16_t> signal = Bursts(40, {{1.0, 2.0}, {30, 33}});
  Stream stream(model_, options, Settings());
  stream.Push(signal, 997);
  stream.Finish();
  int found = 0;
  for (const Seen& seen : stream.events) {
    if (seen.record.kind != WVAD_EVENT_SENTENCE_END) {
      EXPECT_TRUE(seen.audio.empty());
      continue;
    }
    ++found;
    const auto at = [&](int64_t sample) { return signal.begin() + static_cast<std::ptrdiff_t>(sample); };
    EXPECT_EQ(seen.audio, std::vector<int16_t>(at(seen.record.begin), at(seen.record.end)));
  }
  EXPECT_EQ(found, 2);
}

TEST_F(Events, FeaturesComeForEachFrameOfASentence) {
  wvad_stream_options options = Options();
  options.want = WVAD_WANT_FEATURES;
  Stream stream(model_, options, Settings());
  stream.Push(Bursts(8, {{1.0, 2.0}, {4, 5}}), 160);
  stream.Finish();
  int found = 0;
  for (const Seen& seen : stream.events) {
    if (seen.record.kind != WVAD_EVENT_SENTENCE_END) continue;
    ++found;
    EXPECT_EQ(seen.features.size(), 115U * 150U);
    EXPECT_EQ(seen.record.n_features, 150U);
  }
  EXPECT_EQ(found, 2);
}

TEST_F(Events, MeasuresAreThoseOfTheSignal) {
  std::vector<int16_t> signal = Bursts(6, {{2.0, 4.0}});
  for (size_t i = 48000; i < 48000 + 160; ++i) signal[i] = 32767;
  Stream stream(model_, Options(), Settings());
  stream.Push(signal, 160);
  stream.Finish();
  const std::vector<wvad_event> ends = stream.Of(WVAD_EVENT_SENTENCE_END);
  ASSERT_EQ(ends.size(), 1U);
  // 202 frames count as speech: 2 of silence, 199 of the square wave of 8000, one at full scale.
  const double wave = 8000.0 / 32768.0 * (8000.0 / 32768.0);
  EXPECT_NEAR(ends[0].level_db, 10 * std::log10((199 * wave + 1) / 202), 0.05);
  EXPECT_NEAR(ends[0].snr_db, ends[0].level_db + 100, 0.001);  // over digital silence, which counts as -100 dB
  EXPECT_NEAR(ends[0].clipped, 160.0 / static_cast<double>(ends[0].end - ends[0].begin), 1e-9);
}

TEST_F(Events, PiecesOfAnyLengthGiveTheSameEventsAtEachRate) {
  for (const int rate : {16000, 8000, 44100, 11025}) {
    const std::vector<int16_t> signal = Bursts(7, {{1.0, 2.0}, {3.0, 4.5}}, rate);
    std::string first;
    for (const size_t piece : {size_t{1}, size_t{37}, size_t{160}, size_t{4801}, signal.size()}) {
      if (piece == 1 && rate != 16000) continue;
      wvad_stream_options options = Options(rate);
      options.want = WVAD_WANT_AUDIO | WVAD_WANT_PROBABILITY;
      Stream stream(model_, options, Settings("still_every=1"));
      stream.Push(signal, piece);
      stream.Finish();
      const std::string text = Text(stream.events);
      if (first.empty()) first = text;
      EXPECT_EQ(text, first) << rate << " Hz, pieces of " << piece;
    }
  }
}

}  // namespace
}  // namespace TSEG::stream::testing
