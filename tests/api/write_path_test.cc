// SPDX-License-Identifier: Apache-2.0
#include "engine/write_path.h"

#include "session/tseg_inst.h"
#include "support/engine_fixture.h"

namespace TSEG::testing_support {
namespace {

class WritePathTest : public EngineTest {
 protected:
  void Start(const char* model = "models/dnn.bin") {
    UpWithInstance(model);
    ASSERT_EQ(wVadStart(inst_), 0);
  }
  // The chunks of one write, as (status, bytes).
  std::vector<std::pair<uint32_t, uint32_t>> Chunks(uint32_t len, uint32_t write_status) {
    const std::vector<int16_t> zeros(len / 2 + 1);
    WVadAudioSample audio = {};
    audio.pData = const_cast<int16_t*>(zeros.data());
    audio.len = len;
    audio.status = write_status;
    inst_->intake.nChunkConsumed = 0;
    uint32_t status = write_status;
    std::vector<std::pair<uint32_t, uint32_t>> chunks;
    while (inst_->intake.NextChunk(audio, &status)) chunks.emplace_back(status, inst_->intake.nChunkFill);
    return chunks;
  }
  using List = std::vector<std::pair<uint32_t, uint32_t>>;
};

TEST_F(WritePathTest, ChecksStandInTheirOrder) {
  WVadAudioSample audio = {};
  EXPECT_EQ(wVadAudioWrite(nullptr, nullptr), 14002);
  UpWithInstance();
  EXPECT_EQ(wVadAudioWrite(nullptr, nullptr), 14011);
  EXPECT_EQ(wVadAudioWrite(inst_, nullptr), 14009);
  EXPECT_TRUE(LoggedFailure("WVADAPI wVadAudioWrite | audio = Null", "WVAD_ERROR_INVALID_PARA", 14009));
  audio.len = 3;
  EXPECT_EQ(wVadAudioWrite(inst_, &audio), 14004);
  EXPECT_TRUE(LoggedFailure("WVADAPI wVadAudioWrite | pTsegInst->bInstStart == Null", "WVAD_ERROR_NOT_START", 14004));
  ASSERT_EQ(wVadStart(inst_), 0);
  EXPECT_EQ(wVadAudioWrite(inst_, &audio), 14021);
  EXPECT_TRUE(LoggedFailure("WVADAPI wVadAudioWrite | audio sample len is not even number ", "WVAD_ERROR_WRITE_LENGTH_NOT_EVEN", 14021));
  audio.len = 2;
  EXPECT_EQ(wVadAudioWrite(inst_, &audio), 14009);
}

TEST_F(WritePathTest, OddLengthGivesItsCodeAndConsumesNothing) {
  Start();
  std::vector<int16_t> pcm(1000);
  WVadAudioSample audio = {};
  audio.pData = pcm.data();
  audio.len = 801;
  EXPECT_EQ(wVadAudioWrite(inst_, &audio), 14021);
  EXPECT_EQ(inst_->intake.nAudioBytes, 0u);
  EXPECT_EQ(inst_->intake.nChunkFill, 0u);
}

TEST_F(WritePathTest, LimitIsOnTheSingleWriteAndOddnessComesFirst) {
  Start();
  std::vector<int16_t> pcm(3145730 / 2);
  WVadAudioSample audio = {};
  audio.pData = pcm.data();
  audio.len = 3145729;
  EXPECT_EQ(wVadAudioWrite(inst_, &audio), 14021);
  audio.len = 3145730;
  EXPECT_EQ(wVadAudioWrite(inst_, &audio), 14013);
  EXPECT_TRUE(LoggedFailure(
      "WVADAPI wVadAudioWrite | pTsegInst->nPauseIdx >= WVAD_PAUSEAUDIO_MAXSIZE - 1\t|| (pTsegInst->nVadAudioLen + audio->len) > "
      "WVAD_VADAUDIO_BUF_MAXSIZE",
      "WVAD_ERROR_BUF_NOT_ENOUGH", 14013));
  audio.len = 0xFFFFFFFEu;
  EXPECT_EQ(wVadAudioWrite(inst_, &audio), 14013);
  audio.len = 3145728;
  EXPECT_EQ(wVadAudioWrite(inst_, &audio), 0);
}

TEST_F(WritePathTest, FullSentenceTableRefusesTheWrite) {
  Start();
  inst_->results.pSentences->nIdx = 20478;
  EXPECT_EQ(WriteSilence(10, WVAD_WRITE_CONTINUE), 0);
  inst_->results.pSentences->nIdx = 20479;
  EXPECT_EQ(WriteSilence(10, WVAD_WRITE_CONTINUE), 14013);
  inst_->results.pSentences->nIdx = -1;
}

TEST_F(WritePathTest, ChunksAre800BytesWhateverThePieces) {
  Start();
  EXPECT_EQ(Chunks(1000, 1), (List{{1, 800}}));
  EXPECT_EQ(Chunks(0, 2), (List{{2, 200}}));
}

TEST_F(WritePathTest, LastWriteThatFillsAChunkGetsOneMoreEmptyChunk) {
  Start();
  EXPECT_EQ(Chunks(800, 2), (List{{1, 800}, {2, 0}}));
}

TEST_F(WritePathTest, LastWriteCarriesItsStatusOnTheLastChunkAlone) {
  Start();
  EXPECT_EQ(Chunks(2000, 2), (List{{1, 800}, {1, 800}, {2, 400}}));
}

TEST_F(WritePathTest, EmptyLastWriteOnAFreshSessionSendsOneEmptyChunk) {
  Start();
  EXPECT_EQ(Chunks(0, 2), (List{{2, 0}}));
}

TEST_F(WritePathTest, PartialChunkWaitsForTheNextWrite) {
  Start();
  EXPECT_EQ(Chunks(798, 0), List{});
  EXPECT_EQ(Chunks(2, 0), (List{{1, 800}}));
  EXPECT_EQ(Chunks(1602, 1), (List{{1, 800}, {1, 800}}));
  EXPECT_EQ(Chunks(0, 2), (List{{2, 2}}));
}

TEST_F(WritePathTest, WriteAfterTheLastOneIsRefusedAndSessionStays) {
  Start();
  EXPECT_EQ(Write(nullptr, 0, WVAD_WRITE_LAST), 0);
  for (const uint32_t status : {0u, 1u, 2u}) EXPECT_EQ(WriteSilence(400, status), 14014);
  EXPECT_TRUE(Logged("WVADAudioWrite | pTsegInst->bAudioFinish = 1 pTsegInst->bTimeOut = 0"));
  EXPECT_TRUE(Logged("Warning! The warn string is -> WVAD_ERROR_AUDIO_ENOUGH = 14014"));
}

TEST_F(WritePathTest, RefusedWriteAfterTheEndIsStillOnTheInputWatch) {
  UpWithInstance();
  ASSERT_EQ(Set("wvad_param_isDebugWatch", "1"), 0);
  ASSERT_EQ(Set("VAD_PARAM_SID", "a"), 0);
  ASSERT_EQ(wVadStart(inst_), 0);
  ASSERT_EQ(WriteSilence(100, WVAD_WRITE_LAST), 0);
  EXPECT_EQ(WriteSilence(50, WVAD_WRITE_CONTINUE), 14014);
  EXPECT_EQ(wVadStop(inst_), 0);
  // 12 bytes of header, then 150 samples.
  EXPECT_EQ(folder_.read("TsegInputWav_a.sub_0.txt").size(), 12u + 300u);
}

TEST_F(WritePathTest, UnknownStatusIsProcessedAsAnOrdinaryPiece) {
  Start();
  EXPECT_EQ(WriteSilence(800, 7), 0);
  EXPECT_TRUE(Logged("wVadAudioWrite | audiosample status not support"));
  EXPECT_EQ(inst_->intake.nAudioBytes, 1600u);
  EXPECT_EQ(WriteSilence(800, 1), 0);
}

TEST_F(WritePathTest, ModelTypeWithoutALoopIsLoggedForEachChunkAndTheWriteSucceeds) {
  UpWithInstance();
  ASSERT_EQ(Set("wvad_param_TsegModelType", "dnn_fb76"), 0);
  ASSERT_EQ(wVadStart(inst_), 0);
  EXPECT_EQ(WriteSilence(1200, 1), 0);
  EXPECT_EQ(CountLogged("wVadAudioWrite | wReadProcess 14007"), 3u);
  EXPECT_TRUE(LoggedFailure("wVadAudioWrite | wReadProcess 14007", "WVAD_ERROR_RESOURCE_TYPE", 14007));
  // However long the session: frames are stored and make room.
  for (int i = 0; i < 20; ++i) ASSERT_EQ(WriteSilence(16000, 1), 0);
  EXPECT_EQ(Write(nullptr, 0, WVAD_WRITE_LAST), 0);
  EXPECT_TRUE(Endpoints().empty());
}

TEST_F(WritePathTest, ModelTypeOfAnotherNetworkIsNotRunOnThisOne) {
  UpWithInstance();
  for (const char* type : {"lstm_fb75", "lstm_fb40"}) {
    ASSERT_EQ(Set("wvad_param_TsegModelType", type), 0);
    ASSERT_EQ(Set("wvad_param_isTsegLstm", "1"), 0);
    ASSERT_EQ(wVadStart(inst_), 0);
    EXPECT_EQ(WriteSilence(80000, 1), 0);
    EXPECT_EQ(Write(nullptr, 0, WVAD_WRITE_LAST), 0);
    ASSERT_EQ(wVadStop(inst_), 0);
  }
}

TEST_F(WritePathTest, GainControlSetOnAnInstanceMadeWithoutItRunsThePlainSide) {
  UpWithInstance();
  ASSERT_EQ(Set("wvad_param_vad_AgcOn", "1"), 0);
  ASSERT_EQ(Set("wvad_param_vad_ReadAGC", "1"), 0);
  ASSERT_EQ(wVadStart(inst_), 0);
  const std::vector<int16_t> pcm = ReadPcm(DataFile("sessions/pcm_16000.i16"));
  WriteAll(pcm, 4096);
  EXPECT_GE(Endpoints().size(), 2u);
  WVadAudioSample read = {};
  EXPECT_EQ(wVadAudioRead(inst_, &read), 0);
  EXPECT_EQ(read.status, static_cast<uint32_t>(WVAD_READ_BEGIN));
  EXPECT_EQ(wVadStop(inst_), 0);
}

TEST_F(WritePathTest, AudioTimeIsLoggedAtTenMinutesAndOnAnEmptyFirstChunk) {
  Start();
  EXPECT_EQ(Write(nullptr, 0, WVAD_WRITE_LAST), 0);
  EXPECT_TRUE(Logged("TSEG::wVadWriteNoAGC | audio time = 0 min."));
  ASSERT_EQ(wVadStop(inst_), 0);
  ASSERT_EQ(Set("VAD_PARAM_SAMPLERATE", "6000"), 0);
  ASSERT_EQ(Set("wvad_param_nResponseTimeOut", "100000000"), 0);
  ASSERT_EQ(wVadStart(inst_), 0);
  // Ten minutes at 6000 Hz are 7200000 bytes, 9000 chunks.
  for (int i = 0; i < 60; ++i) ASSERT_EQ(WriteSilence(60000, 1), 0);
  EXPECT_EQ(CountLogged("TSEG::wVadWriteNoAGC | audio time = 10 min."), 1u);
}

TEST_F(WritePathTest, FramePowerIsTheSumOfSquaresOfEach10Milliseconds) {
  Start();
  std::vector<int16_t> pcm(1600);
  for (size_t i = 0; i < pcm.size(); ++i) pcm[i] = i < 160 ? static_cast<int16_t>(-32768) : static_cast<int16_t>(i < 320 ? 3 : 0);
  ASSERT_EQ(Write(pcm.data(), pcm.size(), 1), 0);
  ASSERT_EQ(inst_->power.frameEnergy.size(), 10u);
  EXPECT_EQ(inst_->power.frameEnergy[0], 160.0 * 1073741824.0);
  EXPECT_EQ(inst_->power.frameEnergy[1], 160.0 * 9.0);
  EXPECT_EQ(inst_->power.frameEnergy[2], 0.0);
}

TEST_F(WritePathTest, NoSpeechWithinTheResponseTimeEndsTheSession) {
  UpWithInstance();
  ASSERT_EQ(Set("wvad_param_nResponseTimeOut", "1000"), 0);
  ASSERT_EQ(wVadStart(inst_), 0);
  ASSERT_EQ(WriteSilence(16000 * 4, 1), 0);
  EXPECT_EQ(WriteSilence(160, 1), 14014);
  EXPECT_TRUE(Logged("WVADAudioWrite | pTsegInst->bAudioFinish = 0 pTsegInst->bTimeOut = 1"));
}

}  // namespace
}  // namespace TSEG::testing_support
