// SPDX-License-Identifier: Apache-2.0
//
// The read machine, the copy into the read buffer, and the freeing of what no reader can want any more.
#include "session/read_path.h"

#include <algorithm>
#include <cstring>

#include "base/wrap.h"
#include "frontend/feature_records.h"
#include "session/tseg_inst.h"

namespace TSEG {
namespace {

constexpr const char* kFeatureType = "feature/F75*1";
constexpr uint32_t kFeatureBytes = kFeatureFrame * sizeof(float);
// One second stays behind the reading point: the margin of a new sentence may reach back.
constexpr int32_t kKeepFrames = 100;

enum ReadState : uint32_t { kOutside = 0, kBegun = 1, kInside = 2, kEnded = 3, kOver = 4 };

// The sentence table as the reader sees it.
struct SentenceView {
  bool closed;
  int32_t begin;  // -1 beyond the table
  int32_t end;    // likewise
  uint32_t count;
};

SentenceView LookAt(const SentenceTable& table, uint32_t i) {
  SentenceView view;
  view.count = static_cast<uint32_t>(table.bitsClosed.size());
  view.closed = i < view.count && table.bitsClosed[i] != 0;
  view.begin = i < table.vecBegin.size() ? table.vecBegin[i] : -1;
  view.end = i < table.vecEnd.size() ? table.vecEnd[i] : -1;
  return view;
}

// Whether the frames taken so far fit the read buffer.
bool TakenFit(const TsegInst& inst) {
  const bool pcm = inst.pCfg->wvad_param_nReadType != 0;
  const size_t frame_bytes = pcm ? inst.read_side().pWav->nFrameBytes : kFeatureBytes;
  return inst.reading.pReadCmn->taken.size() * frame_bytes <= inst.reading.pReadBuf.size();
}

// The machine: status and frame of the record, the next state, and the frames taken in on the way.
void RunMachine(TsegInst* inst, const SentenceView& sentence, int32_t from, uint32_t* i, WVadAudioSample* audio) {
  const auto take_frames = [&] {
    inst->reading.pReadCmn->process(*inst->read_side().pFea, from, sentence.end, sentence.closed);
    inst->reading.pReadCmn->takeReady(inst->reading.pReadCmn->taken);
  };
  const auto end_sentence = [&] {
    if (!TakenFit(*inst)) {
      // The sentence has ended, but not with this piece: the rest of it waits for the next read, and so does its end.
      audio->nFrame = inst->reading.pReadCmn->taken.front();
      audio->status = WVAD_READ_GOON;
      inst->reading.nReadState = kInside;
      return;
    }
    audio->nFrame = sentence.end;
    if (sentence.count > *i) {
      ++*i;
      inst->reading.nReadState = kEnded;
      audio->status = WVAD_READ_END;
    } else {
      audio->status = WVAD_READ_NONE;
    }
  };
  switch (inst->reading.nReadState) {
    case kOutside:
    case kEnded: {
      const bool skip = inst->reading.nReadState == kEnded && !sentence.closed;
      inst->reading.nReadState = kOutside;
      if (skip || (!sentence.closed && sentence.begin < 0)) return;
      take_frames();
      audio->nFrame = -1;
      if (sentence.closed && inst->reading.nReadBegun > *i) {
        end_sentence();
      } else {
        audio->status = WVAD_READ_BEGIN;
        audio->nFrame = sentence.begin;
        ++inst->reading.nReadBegun;
        inst->reading.nReadState = kBegun;
      }
      return;
    }
    case kBegun:
    case kInside:
      take_frames();
      if (sentence.closed) {
        end_sentence();
      } else {
        audio->nFrame = from;
        audio->status = from != sentence.end ? WVAD_READ_GOON : WVAD_READ_NONE;
        inst->reading.nReadState = kInside;
      }
      return;
    default:
      return;
  }
}

void FreeFrame(TsegInst* inst, int32_t frame) {
  if (Side* gained = inst->gained()) {
    gained->pWav->freeWav(frame);
    gained->pFea->freeFea(frame);
  }
  inst->sideA.pWav->freeWav(frame);
  inst->sideA.pFea->freeFea(frame);
}

// Copies the taken frames into the read buffer until one does not fit; that one and those behind it stay taken. Gives the bytes copied.
uint32_t CopyFrames(TsegInst* inst) {
  FrameFeaContainer& fea = *inst->read_side().pFea;
  FrameWavContainer& wav = *inst->read_side().pWav;
  const bool pcm = inst->pCfg->wvad_param_nReadType != 0;
  FrameIndexQueue& taken = inst->reading.pReadCmn->taken;
  uint32_t len = 0;
  for (; !taken.empty(); taken.pop_front()) {
    const int32_t frame = taken.front();
    const float* floats = fea.getFea(frame);
    const uint8_t* samples = nullptr;
    uint32_t wav_bytes = 0;
    wav.getWav(frame, &samples, &wav_bytes);
    const void* data = pcm ? static_cast<const void*>(samples) : static_cast<const void*>(floats);
    const uint32_t n_bytes = data == nullptr ? 0 : (pcm ? wav_bytes : kFeatureBytes);
    if (n_bytes > inst->reading.pReadBuf.size() - len) break;
    if (n_bytes != 0) std::memcpy(inst->reading.pReadBuf.data() + len, data, n_bytes);
    len += n_bytes;
    FreeFrame(inst, frame);
  }
  return len;
}

// Frees all frames below `n`, but none that waits to be copied.
void FreeTo(TsegInst* inst, int32_t n, bool closed) {
  if (n <= 0) return;
  // Mean type 4 keeps all frames until a sentence closes.
  if (inst->pCfg->wvad_param_srec_cmn_type == 4 && !closed) return;
  const FrameIndexQueue& taken = inst->reading.pReadCmn->taken;
  if (!taken.empty()) n = std::min(n, taken.front());
  if (Side* gained = inst->gained()) {
    gained->pWav->freeWavTo(n);
    gained->pFea->freeFeaTo(n);
  }
  inst->sideA.pWav->freeWavTo(n);
  inst->sideA.pFea->freeFeaTo(n);
}

}  // namespace

int ReadStep(TsegInst* inst, WVadAudioSample* audio) {
  uint32_t i = inst->reading.nReadSentence;
  const SentenceView sentence = LookAt(*inst->results.pSentences, i);
  audio->len = 0;
  audio->nFrame = -1;
  audio->pType = inst->pCfg->wvad_param_nReadType == 0 ? kFeatureType : nullptr;
  audio->status = WVAD_READ_NONE;

  const int32_t from = std::max(sentence.begin, inst->reading.pReadCmn->nLastFrame + 1);
  RunMachine(inst, sentence, from, &i, audio);

  audio->len = CopyFrames(inst);
  audio->pData = inst->reading.pReadBuf.data();

  FreeTo(inst, WrapSub32(audio->nFrame, kKeepFrames), sentence.closed);
  // Without a sentence the reading point stands still.
  if (sentence.begin == -1 && !sentence.closed) {
    const EndpointDetector& detector = *inst->decision.pEndpoint;
    if (inst->reading.bFreesByFloor) {
      // Outside of a sentence the floor only rises, and none begins before it.
      if (detector.nState != 1) FreeTo(inst, WrapSub32(detector.nFloor, kKeepFrames), false);
    } else if (detector.nState == 2) {
      // A long silence after a sentence is freed up to the run that may become the next, whose margin may reach further back.
      FreeTo(inst, WrapSub32(detector.nPendBegin, kKeepFrames), false);
    }
  }
  inst->reading.nReadSentence = i;
  // A time-out ends the reading at once, at every further read anew. The end of the audio lets all sentences come out first and is
  // reported once: from then on the state is no longer 0.
  // A caller who reads until then has every sentence.
  if ((inst->decision.bAudioFinish != 0 || inst->decision.bTimeOut != 0) &&
      (inst->reading.nReadState == kOutside || inst->decision.bTimeOut != 0)) {
    audio->status = WVAD_READ_OVER;
    inst->reading.nReadState = kOver;
  }
  return 0;
}

}  // namespace TSEG
