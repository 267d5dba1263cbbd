// SPDX-License-Identifier: Apache-2.0
//
// Sessions with the audio-quality component on: its closing writes, its measures among the results, its parameters through those of the
// engine, and its lines in the log.
#include <algorithm>

#include "quality/kel_inst.h"
#include "support/energy_engine_fixture.h"

namespace TSEG::testing_support {
namespace {

class QualitySessionTest : public EnergyEngineTest {
 protected:
  void SetUp() override {
    ProcessEngine().kel().defaults = CFG_KEL();  // what an earlier test of this process configured would still hold
    EngineTest::SetUp();
  }
  void UpQuality(const std::string& vad = "", const std::string& kel = "") {
    UpEnergy("wvad_param_bKelOn = 1\n" + vad + "\n[kel]\n" + kel);
  }
  uint32_t ReadStatus() {
    WVadAudioSample piece = {};
    EXPECT_EQ(wVadAudioRead(inst_, &piece), 0);
    return piece.status;
  }
  static constexpr const char* kNoClipping = "KEL cur \"ws\":[{\"cur\":0.000,\"trig\":false}]";
  static constexpr const char* kFlat = "KEL snr \"ws\":[{\"snr\":-2.500,\"trig\":true}]";
  static constexpr const char* kSil = "KEL sil \"ws\":[{\"sil\":true}]";
};

TEST_F(QualitySessionTest, EndOfAudioClosesTheMeasuresOnce) {
  UpQuality();
  ASSERT_EQ(wVadStart(inst_), 0);
  ASSERT_EQ(WriteSilence(16000, WVAD_WRITE_LAST), 0);
  EXPECT_EQ(Results(), (std::vector<std::string>{kSil}));  // nothing of the component before the reader has come to the end
  EXPECT_EQ(ReadStatus(), static_cast<uint32_t>(WVAD_READ_OVER));
  const std::vector<std::string> expected = {kFlat, kNoClipping, kSil};
  EXPECT_EQ(Results(), expected);
  EXPECT_EQ(ReadStatus(), static_cast<uint32_t>(WVAD_READ_NONE));
  EXPECT_EQ(Results(), expected);  // not cleared by being delivered, and not added to
  EXPECT_EQ(wVadStop(inst_), 0);
  ASSERT_EQ(wVadStart(inst_), 0);
  EXPECT_TRUE(Results().empty());
}

TEST_F(QualitySessionTest, EachReadAfterATimeOutSendsAClosingWrite) {
  UpQuality();
  ASSERT_EQ(Set("wvad_param_nResponseTimeOut", "500"), 0);
  ASSERT_EQ(wVadStart(inst_), 0);
  // Loud enough for the component, of no energy for the floor: no frame is speech.
  ASSERT_EQ(WriteSilence(48000, WVAD_WRITE_CONTINUE), 0);
  EXPECT_EQ(ReadStatus(), static_cast<uint32_t>(WVAD_READ_OVER));
  EXPECT_EQ(Results(), (std::vector<std::string>{kFlat, kNoClipping, kSil}));
  EXPECT_EQ(ReadStatus(), static_cast<uint32_t>(WVAD_READ_OVER));
  EXPECT_EQ(Results(), (std::vector<std::string>{kFlat, kNoClipping, kFlat, kNoClipping, kSil}));
  // Items stop at 16, and what is due behind them waits.
  for (int i = 0; i < 6; ++i) EXPECT_EQ(ReadStatus(), static_cast<uint32_t>(WVAD_READ_OVER));
  const std::vector<std::string> full = Results();
  ASSERT_EQ(full.size(), 16u);
  EXPECT_EQ(full[14], kFlat);
  EXPECT_EQ(full[15], kNoClipping);
}

TEST_F(QualitySessionTest, ShareOfClippedFramesIsReportedAndCountedAnew) {
  UpQuality();
  ASSERT_EQ(Set("wvad_param_nResponseTimeOut", "500"), 0);
  ASSERT_EQ(Set("wvad_param_nEnergyThreshhood", "100"), 0);  // above any energy: no frame is speech
  ASSERT_EQ(wVadStart(inst_), 0);
  // 3 s are 96000 bytes: the first frame of 960 bytes and one every 640, 149 in all. The first 20 begin within the 12800 bytes that clip.
  std::vector<int16_t> signal(48000);
  for (size_t i = 0; i < 6400; ++i) signal[i] = i % 2 == 0 ? int16_t{32760} : int16_t{-32760};
  ASSERT_EQ(Write(signal.data(), signal.size(), WVAD_WRITE_CONTINUE), 0);
  EXPECT_EQ(ReadStatus(), static_cast<uint32_t>(WVAD_READ_OVER));
  std::vector<std::string> results = Results();
  ASSERT_EQ(results.size(), 3u);
  EXPECT_EQ(results[1], "KEL cur \"ws\":[{\"cur\":0.134,\"trig\":true}]");  // 20 / 149
  // The second closing finds no frame counted.
  EXPECT_EQ(ReadStatus(), static_cast<uint32_t>(WVAD_READ_OVER));
  results = Results();
  ASSERT_EQ(results.size(), 5u);
  EXPECT_EQ(results[3], kNoClipping);
  EXPECT_EQ(results[1], kNoClipping);  // the text is the component's one text
}

TEST_F(QualitySessionTest, FileOfTheEngineCarriesTheThresholds) {
  UpQuality("", "wkel_param_snr_threshold = -2.5\nwkel_param_cur_threshold = 0.5\nwkel_param_snr = 1\n");
  EXPECT_TRUE(Logged("CFG_KEL::init | para not suitable for normal operation, param = wkel_param_snr"));
  ASSERT_EQ(wVadStart(inst_), 0);
  ASSERT_EQ(WriteSilence(16000, WVAD_WRITE_LAST), 0);
  EXPECT_EQ(ReadStatus(), static_cast<uint32_t>(WVAD_READ_OVER));
  EXPECT_EQ(Results()[0], "KEL snr \"ws\":[{\"snr\":-2.500,\"trig\":false}]");  // not below -2.5
}

TEST_F(QualitySessionTest, ShortSessionHasNoSnr) {
  UpQuality();
  ASSERT_EQ(wVadStart(inst_), 0);
  // 0.7 times the rate is 11200; bytes are counted.
  ASSERT_EQ(WriteSilence(5599, WVAD_WRITE_LAST), 0);
  EXPECT_EQ(ReadStatus(), static_cast<uint32_t>(WVAD_READ_OVER));
  EXPECT_EQ(Results(), (std::vector<std::string>{kNoClipping, kSil}));
}

TEST_F(QualitySessionTest, FirstSoundIsReportedOnceAndTheSecondCallHasNone) {
  UpQuality();
  ASSERT_EQ(Set("wvad_param_nSpeechTailMS", "100000"), 0);
  ASSERT_EQ(wVadStart(inst_), 0);
  const std::vector<int16_t> signal = Bursts(3, {{0.5, 1.5}});
  for (size_t at = 0; at < signal.size(); at += 400) ASSERT_EQ(Write(signal.data() + at, 400, WVAD_WRITE_CONTINUE), 0);
  // The probe reads the first 400 bytes of every 800 of a piece: 400 positions a chunk of 25 ms. 8000 is 0x1f40 and its negative 0xe0c0,
  // all of their bytes beyond 8. Position 8001 is the first loud one; frames 50 to 54 of 160 positions are the five in a row, and the ninth
  // hit of frame 54 is position 8649: the first sound is at 54 - 4. Speech rises in frame 50.
  const std::vector<std::string> results = Results();
  ASSERT_EQ(results.size(), 2u);
  EXPECT_EQ(results[1], "KEL fnt \"ws\":[{\"fnt\":0,\"trig\":true,\"bg\":500}]");
  EXPECT_TRUE(Results().empty());
}

TEST_F(QualitySessionTest, AudioThatStopsInMidSpeechIsReported) {
  UpQuality();
  ASSERT_EQ(wVadStart(inst_), 0);
  // 24800 samples are 155 frames of 10 ms and 151 decided ones: speech to the last, 150, marked ended at 151.
  const std::vector<int16_t> signal = Bursts(1.55, {{0.5, 2.0}});
  ASSERT_EQ(Write(signal.data(), signal.size(), WVAD_WRITE_LAST), 0);
  const std::vector<std::string> results = Results();
  ASSERT_EQ(results.size(), 4u) << Log();
  EXPECT_EQ(results[2], "KEL bkt \"ws\":[{\"bkt\":50,\"trig\":true,\"ed\":1500}]");
  EXPECT_EQ(results[3], kSil);  // no reader has seen the sentence begin
  EXPECT_EQ(Results(), (std::vector<std::string>{kSil}));
}

TEST_F(QualitySessionTest, SentenceThatWasReadIsNoSilence) {
  UpQuality();
  ASSERT_EQ(wVadStart(inst_), 0);
  const std::vector<int16_t> signal = Bursts(3, {{0.5, 1.5}});
  ASSERT_EQ(Write(signal.data(), signal.size(), WVAD_WRITE_LAST), 0);
  EXPECT_EQ(ReadStatus(), static_cast<uint32_t>(WVAD_READ_BEGIN));
  EXPECT_EQ(ReadStatus(), static_cast<uint32_t>(WVAD_READ_END));
  EXPECT_EQ(ReadStatus(), static_cast<uint32_t>(WVAD_READ_OVER));
  for (const std::string& text : Results()) EXPECT_NE(text, kSil);
}

TEST_F(QualitySessionTest, SessionIdentifierReachesTheComponentAndIsReadBack) {
  UpQuality();
  ASSERT_EQ(Set("VAD_PARAM_SID", "call/9"), 0);
  EXPECT_EQ(Get("wkel_param_sid"), "call/9");
  EXPECT_TRUE(Logged("wMLPParameterGet | getParameter OK, param = wkel_param_sid, value = call/9"));
  ASSERT_EQ(Set("wkel_param_sid", "other"), 0);
  EXPECT_EQ(Get("wkel_param_sid"), "other");
  EXPECT_EQ(Get("VAD_PARAM_SID"), "call/9");
}

TEST_F(QualitySessionTest, NormalNameOfTheComponentWithTooSmallABufferIsAnsweredByTheComponent) {
  UpQuality();
  // The engine's own entries are stored and read back; they do not reach the component.
  ASSERT_EQ(Set("wkel_param_snr_threshold", "9.5"), 0);
  EXPECT_EQ(Get("wkel_param_snr_threshold"), "9.5");
  char text[64] = "keep";
  // The component writes under its own fixed length: its value, 4.5, whatever size was stated.
  EXPECT_EQ(wVadGetParameter(inst_, "wkel_param_snr_threshold", text, 1), 0);
  EXPECT_STREQ(text, "4.5");
  EXPECT_TRUE(LoggedFailure("CFG_VAD::get_para_value | err, param = wkel_param_snr_threshold, need buff = 4", "false", 0));
}

TEST_F(QualitySessionTest, MarkersOfTheComponentAreNotAskedOfIt) {
  UpQuality();
  for (const char* name : {"wkel_param_special_none", "wkel_param_special_count"}) {
    EXPECT_EQ(Get(name), "untouched") << name;
    EXPECT_EQ(Set(name, "1"), 14017) << name;
  }
}

TEST_F(QualitySessionTest, StopOfAnIdleInstanceFailsTheComponentAndNotTheCall) {
  UpQuality();
  EXPECT_EQ(wVadStop(inst_), 0);
  EXPECT_TRUE(LoggedFailure("KelInst::stop | not start Inst", "WKEL_ERROR_NOT_START", 15004));
  EXPECT_TRUE(Logged("wVadStop | wKelStop failed"));
  ASSERT_EQ(wVadStart(inst_), 0);
  EXPECT_EQ(wVadStop(inst_), 0);
  EXPECT_EQ(CountLogged("wVadStop | wKelStop failed"), 1u);
}

TEST_F(QualitySessionTest, StatusOutsideTheThreeMakesTheComponentComputeAtOnce) {
  UpQuality();
  ASSERT_EQ(wVadStart(inst_), 0);
  ASSERT_EQ(Write(std::vector<int16_t>(16000, 32767).data(), 16000, 9), 0);
  EXPECT_TRUE(Logged("wVadAudioWrite | audiosample status not support"));
  ASSERT_EQ(Write(nullptr, 0, WVAD_WRITE_LAST), 0);
  for (uint32_t status = 0; status != WVAD_READ_OVER;) status = ReadStatus();
  // The clipped frames were counted into the measure of that write; the closing one finds none.
  const std::vector<std::string> results = Results();
  ASSERT_GE(results.size(), 2u);
  EXPECT_TRUE(std::find(results.begin(), results.end(), kNoClipping) != results.end());
}

TEST_F(QualitySessionTest, EmptySessionNotesZeroMinutesInBoth) {
  UpQuality();
  ASSERT_EQ(wVadStart(inst_), 0);
  ASSERT_EQ(Write(nullptr, 0, WVAD_WRITE_LAST), 0);
  EXPECT_TRUE(Logged("TSEG::wVadWriteNoAGC | audio time = 0 min."));
  EXPECT_EQ(CountLogged("TSEG::KelInst::GetLoopBufferData | audio time = 0 min."), 1u);
  EXPECT_EQ(ReadStatus(), static_cast<uint32_t>(WVAD_READ_OVER));
  EXPECT_EQ(CountLogged("TSEG::KelInst::GetLoopBufferData | audio time = 0 min."), 2u);
}

}  // namespace
}  // namespace TSEG::testing_support
