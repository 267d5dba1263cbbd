// SPDX-License-Identifier: Apache-2.0
//
// TsegInst: the record behind a WVADInst. Everything that one detector owns; in a session, everything that it knows.
//
// Made by wVadCreateInst, freed by wVadDestroyInst. No lock: the caller serialises. Buffers and rings are made with the record, so that no
// frame allocates. With the length of a session grow the sentence table and, with the debug text, the text and its two histories.
#ifndef WVAD_SESSION_TSEG_INST_H_
#define WVAD_SESSION_TSEG_INST_H_

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "base/aligned_buffer.h"
#include "nn/dnn_forward.h"
#include "nn/lstm_forward.h"
#include "quality/kel.h"
#include "params/cfg_vad.h"
#include "dumps/debug_watch.h"
#include "session/decision_records.h"
#include "channel/frame_containers.h"
#include "channel/frame_history.h"
#include "channel/front_end_channel.h"
#include "channel/gain_control.h"
#include "channel/read_cmn.h"
#include "wvad.h"

namespace TSEG {

constexpr uint32_t kReadBufBytes = 3145728;
constexpr uint32_t kChunkBytes = 800;
constexpr int kMaxResultItems = 16;

// What wVadGetResult hands out: the record with its array.
struct ResultHolder {
  WVadResult list = {};
  WVadResultItem items[kMaxResultItems] = {};
};

}  // namespace TSEG

struct TsegInst {
  std::unique_ptr<TSEG::ResultHolder> pResultList;
  uint32_t nEnergySamples = 0;                        // samples counted since the last stop by the energy pass of the write path
  TSEG::FrameHistory<double> frameEnergy;             // sum of squares per 10 ms frame, kept by that pass
  std::unique_ptr<TSEG::FrontEndChannel> pFrontEndB;  // gain-controlled audio; only with wvad_param_vad_AgcOn
  std::unique_ptr<TSEG::FrontEndChannel> pFrontEndA;  // the caller's audio
  std::unique_ptr<TSEG::DnnForward> pDnn;             // with wvad_param_isTsegLstm off
  std::unique_ptr<TSEG::LstmForward> pLstm;           // with it on
  TSEG::KelInst* hKel = nullptr;
  int32_t nSampleRate = 16000;
  uint8_t bInstStart = 0;
  uint8_t bTimeOut = 0;      // no speech within the response time
  uint8_t bAudioFinish = 0;  // the utterance has ended
  TSEG::AlignedBuffer<uint8_t> pReadBuf;
  uint32_t nReadState = 0;
  uint32_t nReadBegun = 0;     // sentences whose beginning the reader has reported
  uint32_t nReadSentence = 0;  // index of the sentence being read
  std::unique_ptr<TSEG::SentenceTable> pSentences;
  int32_t nFrameIdx = 0;  // index of the next frame to decide on
  uint8_t bSpeechFound = 0;
  int32_t nState = 0;  // decision state: 0 before the first sentence, 1 inside one, 2 after one
  int32_t nCurSpeechFrameNum = 0;
  int32_t nNoSpeechFrames = 0;
  std::unique_ptr<TSEG::EndpointDetector> pEndpoint;
  std::unique_ptr<TSEG::ReadCmn> pReadCmn;
  std::unique_ptr<TSEG::FrameWavContainer> pWavA;
  std::unique_ptr<TSEG::FrameFeaContainer> pFeaA;
  std::unique_ptr<TSEG::FrameWavContainer> pWavB;
  std::unique_ptr<TSEG::FrameFeaContainer> pFeaB;
  char szSid[1024] = {};
  std::vector<int32_t> mScore;        // pairs of score values times 1000 for the debug text
  TSEG::FrameHistory<float> eScore;   // one energy per frame; those that nothing can ask for any more are dropped
  TSEG::FrameHistory<float> eScoreB;  // stays empty: the energies of the gain-controlled side go to eScore
  int32_t nHoldOver = 0;
  std::unique_ptr<TSEG::DebugWatch> pWatchInput, pWatchOutput, pWatch75x11, pWatch75x4;
  std::unique_ptr<TSEG::CFG_VAD> pCfg;
  std::unique_ptr<TSEG::GainControl> pAgc;
  int32_t nCurFrameGap = 40;
  float fSpeechEnergySum = 0;
  int32_t nSpeechEnergyCount = 0;
  std::unique_ptr<std::vector<std::string>> pVolResults;
  uint8_t bVolDelivered = 0;
  double fEnergyAcc = 0;  // running sum of squares of the unfinished 10 ms frame
  std::unique_ptr<std::vector<WVadResultItem>> pKelResults;
  std::unique_ptr<TSEG::FrontBackProbe> pProbe;
  float fLastVol = 0;
  uint32_t nAudioBytes = 0;
  TSEG::AlignedBuffer<uint8_t> pAgcChunk;
  uint32_t nAgcChunkSize = 1600;
  TSEG::AlignedBuffer<uint8_t> pChunk;
  uint32_t nChunkConsumed = 0;
  uint32_t nChunkFill = 0;
  uint8_t bEmptyChunkSent = 0;
  std::unique_ptr<TSEG::EnergyStats> pEnergyStats;
  int32_t nSilenceResetCount = 0;
  std::string debugText;
  uint16_t bFirstBlock = 1;
  uint32_t nEpoch = 0;  // the engine's start that this session belongs to
};

#endif  // WVAD_SESSION_TSEG_INST_H_
