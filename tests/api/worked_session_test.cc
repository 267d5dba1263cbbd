// SPDX-License-Identifier: Apache-2.0
//
// Whole sessions through the exported functions whose every number is worked out by hand: the model calls every frame speech, so that the
// energy floor decides, and the signal is a burst of noise or nothing (see support/energy_model.h for where the frames lie).
#include <algorithm>
#include <filesystem>
#include <sstream>
#include <typeinfo>

#include "params/param_table.h"
#include "support/energy_engine_fixture.h"

namespace TSEG::testing_support {
namespace {

class WorkedSessionTest : public EnergyEngineTest {
 protected:
  // Writes `signal` in pieces of 800 bytes until a piece is refused; gives the samples taken.
  size_t WritePieces(const std::vector<int16_t>& signal) {
    for (size_t at = 0; at < signal.size(); at += 400) {
      const int code = Write(signal.data() + at, std::min<size_t>(400, signal.size() - at), WVAD_WRITE_CONTINUE);
      if (code == 14014) return at;
      EXPECT_EQ(code, 0);
    }
    return signal.size();
  }
  int SilLen(int index) {
    int frames = -99;
    EXPECT_EQ(wVadGetSilLen(inst_, index, &frames), 0);
    return frames;
  }
  WVadAudioSample Read() {
    WVadAudioSample piece = {};
    EXPECT_EQ(wVadAudioRead(inst_, &piece), 0);
    return piece;
  }
  // The session's line of the debug text, without its newline: what stands before "|mScore:", and the values of the two lists.
  struct Line {
    std::string head;
    std::vector<int> pairs, energies;
  };
  Line DebugLine() {
    EXPECT_EQ(wVadStop(inst_), 0);
    EXPECT_EQ(wVadDestroyInst(inst_), 0);
    inst_ = nullptr;
    EXPECT_EQ(wVadUninitialize(), 0);
    const std::string text = folder_.read("vad_debug.txt");
    const size_t at = text.find("undefine |VAD:");
    const std::string line = text.substr(at, text.find('\n', at) - at);
    Line out;
    const size_t scores = line.find("|mScore:");
    const size_t energies = line.find("|eScore:");
    EXPECT_NE(energies, std::string::npos) << line;
    out.head = line.substr(0, scores != std::string::npos ? scores : energies);
    if (scores != std::string::npos) out.pairs = Numbers(line.substr(scores + 8, energies - scores - 8));
    out.energies = Numbers(line.substr(energies + 8));
    return out;
  }
  static std::vector<int> Numbers(const std::string& text) {
    std::istringstream in(text);
    std::vector<int> values;
    for (int value; in >> value;) values.push_back(value);
    return values;
  }
};

// Half a second of silence, a burst of one second, silence to 5 s: 496 frames. Rise at 50, fall at 150, end found at 190.
const std::vector<std::pair<double, double>> kOneBurst = {{0.5, 1.5}};

TEST_F(WorkedSessionTest, WholeUtteranceMeanLetsLongSessionsGoAsIfTheRingHadNoEnd) {
  // The mean of type 4 lets all 497 frames go in one push, more than the ring holds. Fall at 100, end found at 140 with a silence of 41
  // frames: it passes the tail of 50 at frame 150, which is in the batch of frames 144 to 151. From there each batch brings one frame of
  // silence before its walk ends: 43 whole ones up to frame 495, and the last frame alone.
  UpEnergy("wvad_param_cmn_type=4");
  ASSERT_EQ(Set("wvad_param_nSpeechTailMS", "500"), 0);
  ASSERT_EQ(wVadStart(inst_), 0);
  const std::vector<int16_t> signal = Bursts(5.01, {{0.5, 1.0}});
  ASSERT_EQ(Write(signal.data(), signal.size(), WVAD_WRITE_LAST), 0);
  EXPECT_EQ(Endpoints(), (std::vector<int>{20, 120}));
  EXPECT_EQ(SilLen(0), 50);
  EXPECT_EQ(Get("wvad_para_nTimeSilTail"), "950");
}

TEST_F(WorkedSessionTest, BurstIsOneSentenceWithItsMargins) {
  UpEnergy();
  ASSERT_EQ(Set("wvad_param_nSpeechTailMS", "100000"), 0);
  ASSERT_EQ(wVadStart(inst_), 0);
  EXPECT_EQ(WritePieces(Bursts(5, kOneBurst)), 80000u);
  EXPECT_EQ(Write(nullptr, 0, WVAD_WRITE_LAST), 0);
  EXPECT_EQ(Endpoints(), (std::vector<int>{20, 170}));
  // 41 silent frames at the end found in frame 190, and one more in each of the frames 191 to 495.
  EXPECT_EQ(SilLen(0), 346);
  EXPECT_EQ(SilLen(1), -1);
  EXPECT_EQ(Get("wvad_para_nTimeSilTail"), "3460");
  // 100 of its 150 frames hold the burst: the root of 8000^2 * 100 / 150 is 6531.97, which is 76.30 dB.
  const std::vector<std::string> results = Results();
  ASSERT_EQ(results.size(), 1u);
  EXPECT_NE(results[0].find("\"bg\":200,\"ed\":1700,\"eg\":76.30}]"), std::string::npos) << results[0];
  EXPECT_TRUE(Results().empty());
}

TEST_F(WorkedSessionTest, TailEndsTheSessionOneFrameAfterItsLimit) {
  UpEnergy("wvad_param_isVadDegOn = 1");
  ASSERT_EQ(wVadStart(inst_), 0);
  // 1800 ms are 180 frames of silence; the 181st stands in frame 330. Frames come in batches of 8: that of frame 330 is the last one seen.
  const size_t taken = WritePieces(Bursts(5, kOneBurst));
  EXPECT_GE(taken, 330u * 160 + 400);
  EXPECT_LT(taken, 345u * 160 + 1200);
  EXPECT_TRUE(Logged("WVADAudioWrite | pTsegInst->bAudioFinish = 1 pTsegInst->bTimeOut = 0"));
  EXPECT_EQ(Write(nullptr, 0, WVAD_WRITE_LAST), 14014);
  EXPECT_EQ(Endpoints(), (std::vector<int>{20, 170}));
  EXPECT_EQ(SilLen(0), 180);  // the frame that ended the session does not report any more
  EXPECT_EQ(Get("wvad_para_nTimeSilTail"), "1810");
  const Line line = DebugLine();
  EXPECT_EQ(line.head, "undefine |VAD: 50  150 ");
  EXPECT_EQ(line.pairs.size(), 2u * 331);
}

TEST_F(WorkedSessionTest, PauseOfASentenceCountsOnWhileANewOneIsNotProved) {
  UpEnergy();
  ASSERT_EQ(Set("wvad_param_nSpeechTailMS", "100000"), 0);
  ASSERT_EQ(wVadStart(inst_), 0);
  // Two bursts of 120 ms, 50 ms apart: runs of 13 and 14 frames would not do alone; together they are one sentence.
  WritePieces(Bursts(3, {{1.0, 1.12}, {1.17, 1.3}}));
  EXPECT_EQ(Write(nullptr, 0, WVAD_WRITE_LAST), 0);
  EXPECT_EQ(Endpoints(), (std::vector<int>{70, 150}));
}

TEST_F(WorkedSessionTest, NoSpeechStopsAfterTheFramesOfTheResponseTime) {
  UpEnergy("wvad_param_isVadDegOn = 1");
  ASSERT_EQ(Set("wvad_param_nResponseTimeOut", "1000"), 0);
  ASSERT_EQ(wVadStart(inst_), 0);
  WritePieces(std::vector<int16_t>(80000));
  EXPECT_TRUE(Logged("WVADAudioWrite | pTsegInst->bAudioFinish = 0 pTsegInst->bTimeOut = 1"));
  EXPECT_TRUE(Endpoints().empty());
  EXPECT_EQ(Read().status, static_cast<uint32_t>(WVAD_READ_OVER));
  EXPECT_EQ(Read().status, static_cast<uint32_t>(WVAD_READ_OVER));
  const Line line = DebugLine();
  EXPECT_EQ(line.head, "undefine |VAD:");
  // 100 frames are the limit, the 101st passes it, and no further one is scored.
  EXPECT_EQ(line.pairs, std::vector<int>(2 * 101, -200));
  EXPECT_GT(line.energies.size(), 101u);
}

TEST_F(WorkedSessionTest, ResponseTimeOfZeroScoresOneFrame) {
  UpEnergy("wvad_param_isVadDegOn = 1");
  ASSERT_EQ(Set("wvad_param_nResponseTimeOut", "0"), 0);
  ASSERT_EQ(wVadStart(inst_), 0);
  WritePieces(std::vector<int16_t>(80000));
  EXPECT_EQ(DebugLine().pairs, std::vector<int>(2, -200));
}

TEST_F(WorkedSessionTest, SentenceAtTheLongestIsSplicedAndGoesOnAsTheNext) {
  UpEnergy("wvad_param_isVadDegOn = 1");
  ASSERT_EQ(Set("wvad_param_nSpeechTimeOut", "2000"), 0);
  ASSERT_EQ(wVadStart(inst_), 0);
  WritePieces(Bursts(8, {{0.5, 7.0}}));
  EXPECT_EQ(Write(nullptr, 0, WVAD_WRITE_LAST), 0);
  // The sentence is proved in frame 70, so frame f is the (f - 71)th inside it. Above 300 (200 for the limit and a second more), from frame
  // 372 on, every frame is silence: fall at 372, end found at 412, margin to 392. Then two frames are held over and the rise is at 415.
  EXPECT_EQ(Endpoints(), (std::vector<int>{20, 392, 392, 720}));
  EXPECT_EQ(SilLen(0), 43);
  // One line for frame 372, whose score was speech until then; two for each of 373 to 412, which are held over already. The next sentence
  // is proved in frame 435, so frame f is its (f - 436)th: its silence, from the fall at 700 to the end at 740, lies above 100 and gives a
  // line each; the last four of those frames, 737 to 740, lie above 300 and give another.
  EXPECT_EQ(CountLogged("wVadProcess | pTsegInst->nCurSpeechFrameNum > pTsegInst->nParamSpeechTimeOut/10, force splice"),
            1u + 2u * 40u + 41u + 4u);
  EXPECT_EQ(DebugLine().head, "undefine |VAD: 50  372  415  700 ");
}

TEST_F(WorkedSessionTest, WholeUtteranceMeanFindsTheSameAtTheEnd) {
  // With mean type 4 no frame leaves the front end before the last write: all 496 come at once, about twice what a ring holds.
  UpEnergy("wvad_param_cmn_type = 4");
  ASSERT_EQ(Set("wvad_param_nSpeechTailMS", "100000"), 0);
  ASSERT_EQ(wVadStart(inst_), 0);
  EXPECT_EQ(WritePieces(Bursts(5, kOneBurst)), 80000u);
  EXPECT_EQ(SilLen(0), -1);
  EXPECT_EQ(Write(nullptr, 0, WVAD_WRITE_LAST), 0);
  EXPECT_EQ(Endpoints(), (std::vector<int>{20, 170}));
  EXPECT_EQ(SilLen(0), 346);
}

TEST_F(WorkedSessionTest, MeanTypeSetOnAnInstanceHasNoEffect) {
  UpEnergy();
  ASSERT_EQ(Set("wvad_param_cmn_type", "4"), 0);
  ASSERT_EQ(wVadStart(inst_), 0);
  WritePieces(Bursts(3, kOneBurst));
  EXPECT_EQ(Endpoints(), (std::vector<int>{20, 170}));  // found while the audio comes, as with the type of the defaults
}

TEST_F(WorkedSessionTest, EveryFrameIsScoredOnceWhateverTheLength) {
  for (const char* model : {"models/dnn.bin", "models/lstm75.bin", "models/lstm40.bin"}) {
    std::vector<size_t> lengths = {0, 400, 799, 801, 48641};
    for (size_t n = 800; n <= 5920; n += 160) lengths.push_back(n);
    std::filesystem::remove(folder_.file("vad_debug.txt"));
    Up(model, "wvad_param_isVadDegOn = 1");
    ASSERT_EQ(wVadCreateInst(&inst_), 0);
    const std::vector<int16_t> pcm = ReadPcm(DataFile("sessions/pcm_16000.i16"));
    for (const size_t n : lengths) {
      ASSERT_EQ(wVadStart(inst_), 0);
      ASSERT_EQ(Write(pcm.data(), n, WVAD_WRITE_LAST), 0);
      ASSERT_EQ(wVadStop(inst_), 0);
    }
    ASSERT_EQ(wVadDestroyInst(inst_), 0);
    inst_ = nullptr;
    ASSERT_EQ(wVadUninitialize(), 0);
    std::istringstream in(folder_.read("vad_debug.txt"));
    size_t at = 0;
    for (std::string line; std::getline(in, line);) {
      if (line.compare(0, 9, "undefine ") != 0) continue;
      const size_t n = lengths.at(at++);
      const size_t frames = n < 800 ? 0 : (n - 800) / 160 + 1;
      // A recurrent network gives its first pair in its third block of four; the end of the audio brings out what it owes, and nothing
      // where no block has given any.
      const size_t scored = std::string(model) == "models/dnn.bin" || frames > 8 ? frames : 0;
      const size_t scores = line.find("|mScore:"), energies = line.find("|eScore:");
      EXPECT_EQ(scores == std::string::npos ? 0 : Numbers(line.substr(scores + 8)).size(), 2 * scored) << model << " " << n;
      EXPECT_EQ(energies == std::string::npos ? 0 : Numbers(line.substr(energies + 8)).size(), frames) << model << " " << n;
    }
    EXPECT_EQ(at, lengths.size()) << model;
    Recapture();
  }
}

TEST_F(WorkedSessionTest, EndOfAudioClosesAnOpenSentenceWithASingleBlankInItsTrace) {
  UpEnergy("wvad_param_isVadDegOn = 1");
  ASSERT_EQ(wVadStart(inst_), 0);
  // 24000 samples give 146 frames, the last of them speech.
  WritePieces(Bursts(1.5, kOneBurst));
  EXPECT_TRUE(Endpoints().empty());
  EXPECT_EQ(Write(nullptr, 0, WVAD_WRITE_LAST), 0);
  EXPECT_EQ(Endpoints(), (std::vector<int>{20, 146}));
  EXPECT_EQ(SilLen(0), 2);  // from the last speech frame, 145, to 146, both counted
  EXPECT_EQ(DebugLine().head, "undefine |VAD: 50 145 ");
}

TEST_F(WorkedSessionTest, RefusedCallsLeaveTheSessionAsItStands) {
  UpEnergy();
  ASSERT_EQ(wVadStart(inst_), 0);
  const std::vector<int16_t> signal = Bursts(5, kOneBurst);
  for (size_t at = 0; at < 48000; at += 1600) {
    ASSERT_EQ(Write(signal.data() + at, 1600, WVAD_WRITE_CONTINUE), 0);
    WVadAudioSample odd = {};
    odd.pData = const_cast<int16_t*>(signal.data());
    odd.len = 801;
    EXPECT_EQ(wVadAudioWrite(inst_, &odd), 14021);
    odd.len = 3145730;
    EXPECT_EQ(wVadAudioWrite(inst_, &odd), 14013);
    EXPECT_EQ(wVadAudioWrite(inst_, nullptr), 14009);
    EXPECT_EQ(wVadAudioRead(inst_, nullptr), 14009);
    EXPECT_EQ(wVadStart(inst_), 14003);
    EXPECT_EQ(Set("wvad_param_nFrameGap", "1"), 14003);
    EXPECT_EQ(wVadInitialize(nullptr), 14001);
    EXPECT_EQ(wVadReset(inst_), 0);
  }
  EXPECT_EQ(Endpoints(), (std::vector<int>{20, 170}));
  EXPECT_EQ(Get("wvad_param_nFrameGap"), "40");
}

TEST_F(WorkedSessionTest, StopWithoutALastWriteDropsTheOpenSentence) {
  UpEnergy("wvad_param_isVadDegOn = 1");
  ASSERT_EQ(wVadStart(inst_), 0);
  WritePieces(Bursts(1.5, kOneBurst));
  EXPECT_EQ(wVadStop(inst_), 0);
  EXPECT_TRUE(Results().empty());
  ASSERT_EQ(wVadStart(inst_), 0);
  EXPECT_TRUE(Endpoints().empty());
  EXPECT_EQ(SilLen(0), -1);
}

TEST_F(WorkedSessionTest, SessionAfterAStopInMidSpeechFindsWhatAFreshOneFinds) {
  UpEnergy();
  ASSERT_EQ(wVadStart(inst_), 0);
  // An odd cut: a partial chunk, a partial batch, an open sentence and half a 10 ms frame of power are pending.
  const std::vector<int16_t> first = Bursts(1.5, kOneBurst);
  ASSERT_EQ(Write(first.data(), 20001, WVAD_WRITE_CONTINUE), 0);
  EXPECT_EQ(wVadStop(inst_), 0);
  ASSERT_EQ(wVadStart(inst_), 0);
  WritePieces(Bursts(3, kOneBurst));
  EXPECT_EQ(Endpoints(), (std::vector<int>{20, 170}));
  const std::vector<std::string> results = Results();
  ASSERT_EQ(results.size(), 1u);
  EXPECT_NE(results[0].find("\"bg\":200,\"ed\":1700,\"eg\":76.30}]"), std::string::npos) << results[0];
}

TEST_F(WorkedSessionTest, WhatASessionLeavesCanBeAskedForAfterItsStop) {
  UpEnergy();
  ASSERT_EQ(wVadStart(inst_), 0);
  WritePieces(Bursts(3, kOneBurst));
  EXPECT_EQ(wVadStop(inst_), 0);
  // The table stays until the next start, and the level texts until they have been handed out.
  const int frames = SilLen(0);
  EXPECT_GT(frames, 41);
  EXPECT_EQ(wVadStart(inst_), 0);
  EXPECT_EQ(SilLen(0), -1);
  EXPECT_EQ(Results().size(), 1u);
  EXPECT_TRUE(Results().empty());
}

TEST_F(WorkedSessionTest, ReadsOfALiveSessionGoThroughTheirStatuses) {
  UpEnergy();
  ASSERT_EQ(Set("wvad_param_readtype", "1"), 0);
  ASSERT_EQ(wVadStart(inst_), 0);
  const std::vector<int16_t> signal = Bursts(5, kOneBurst);
  WVadAudioSample piece = Read();
  EXPECT_EQ(piece.status, static_cast<uint32_t>(WVAD_READ_NONE));
  EXPECT_EQ(piece.nFrame, -1);
  EXPECT_EQ(piece.len, 0u);
  EXPECT_EQ(piece.pType, nullptr);
  std::vector<std::pair<uint32_t, int>> seen;
  std::vector<int16_t> heard;
  for (size_t at = 0; at < signal.size(); at += 1600) {
    if (Write(signal.data() + at, 1600, WVAD_WRITE_CONTINUE) != 0) break;
    piece = Read();
    const auto* samples = static_cast<const int16_t*>(piece.pData);
    heard.insert(heard.end(), samples, samples + piece.len / 2);
    if (piece.status == WVAD_READ_BEGIN || piece.status == WVAD_READ_END) seen.emplace_back(piece.status, piece.nFrame);
  }
  EXPECT_EQ(seen, (std::vector<std::pair<uint32_t, int>>{{WVAD_READ_BEGIN, 20}, {WVAD_READ_END, 170}}));
  EXPECT_EQ(heard, std::vector<int16_t>(signal.begin() + 20 * 160, signal.begin() + 170 * 160));
  // The tail ended the session; that was reported by the read behind the write that found it.
  EXPECT_EQ(piece.status, static_cast<uint32_t>(WVAD_READ_OVER));
  EXPECT_EQ(Read().status, static_cast<uint32_t>(WVAD_READ_NONE));
}

TEST_F(WorkedSessionTest, HalfTheRateHasItsFramesAtTheSameTimes) {
  UpEnergy();
  for (const int rate : {8000, 6000}) {
    ASSERT_EQ(Set("VAD_PARAM_SAMPLERATE", std::to_string(rate).c_str()), 0);
    ASSERT_EQ(wVadStart(inst_), 0);
    WritePieces(Bursts(4, kOneBurst, rate));
    const std::vector<int> endpoints = Endpoints();
    ASSERT_EQ(endpoints.size(), 2u) << rate;
    EXPECT_NEAR(endpoints[0], 20, 1) << rate;
    EXPECT_NEAR(endpoints[1], 170, 1) << rate;
    const std::vector<std::string> results = Results();
    ASSERT_EQ(results.size(), 1u) << rate;
    EXPECT_NE(results[0].find("\"eg\":76."), std::string::npos) << results[0];
    ASSERT_EQ(wVadStop(inst_), 0);
  }
}

TEST_F(WorkedSessionTest, ExtremeValuesOfAnyParameterLeaveTheEngineUsable) {
  UpEnergy();
  const std::vector<int16_t> signal = Bursts(3, kOneBurst);
  const char* const values[] = {"-2147483648", "-1", "0", "1", "2147483647", "inf", "nan", "-3e38"};
  for (int position = 1; position < kParamNormalCount; ++position) {
    for (const char* value : values) {
      for (const char* sliding : {"0", "1"}) {
        ASSERT_EQ(Set("wvad_param_isPostProcessWinSlideOn", sliding), 0);
        try {
          ASSERT_EQ(Set(ParamName(position), value), 0);
        } catch (const std::bad_cast&) {
          continue;  // not a value of this parameter's type
        }
        const int code = wVadStart(inst_);
        EXPECT_TRUE(code == 0 || code == 14010) << ParamName(position) << " " << value;
        for (size_t at = 0; code == 0 && at < signal.size(); at += 8000) {
          Write(signal.data() + at, 8000, at + 8000 >= signal.size() ? WVAD_WRITE_LAST : WVAD_WRITE_CONTINUE);
          EXPECT_LE(Read().len, 3145728u);
          Results();
          Endpoints();
        }
        ASSERT_EQ(wVadStop(inst_), 0);
      }
    }
  }
  // On another instance: the energy mode, once on, stays on for the life of a front end.
  ASSERT_EQ(wVadDestroyInst(inst_), 0);
  ASSERT_EQ(wVadCreateInst(&inst_), 0);
  ASSERT_EQ(wVadStart(inst_), 0);
  WritePieces(signal);
  EXPECT_EQ(Endpoints(), (std::vector<int>{20, 170}));
}

TEST_F(WorkedSessionTest, MoreThanSixteenSentencesWithoutACallKeepTheSeventeenthAlone) {
  UpEnergy();
  ASSERT_EQ(wVadStart(inst_), 0);
  std::vector<std::pair<double, double>> spans;
  for (int i = 0; i < 17; ++i) spans.emplace_back(i + 0.2, i + 0.6);
  WritePieces(Bursts(17.5, spans));
  EXPECT_EQ(Write(nullptr, 0, WVAD_WRITE_LAST), 0);
  EXPECT_EQ(Endpoints().size(), 34u);
  const std::vector<std::string> results = Results();
  ASSERT_EQ(results.size(), 1u);
  // The last burst is from 16.2 s to 16.6 s: frames 1590 to 1680.
  EXPECT_NE(results[0].find("\"bg\":15900,\"ed\":16800,"), std::string::npos) << results[0];
}

}  // namespace
}  // namespace TSEG::testing_support
