// SPDX-License-Identifier: Apache-2.0
#include "engine/write_path.h"

#include "decision/frame_loops.h"
#include "decision/front_back_probe.h"
#include "log/log.h"
#include "wvad.h"

namespace TSEG {
namespace {

// Finished frames into the containers, with the energies of the side that the decision rests on.
void MoveFrames(TsegInst* inst) {
  const float scale = inst->pCfg->wvad_param_k4_energy ? 1.0f : 1000.0f;
  FrameHistory<float>* energies = &inst->decision.eScore;
  Side* gained = inst->gained();
  inst->sideA.MoveFrames(gained == nullptr ? energies : nullptr, scale);
  if (gained != nullptr) gained->MoveFrames(energies, scale);
}

// The decision on all frames of a push, also of one that stopped short of a full ring and goes on in the room that this makes.
void DecideOnPush(TsegInst* inst, bool last) {
  TakeWholePush(inst->channels(), last, [inst](bool closes) {
    MoveFrames(inst);
    DecideOnFrames(inst, closes);
  });
}

void CountAudio(TsegInst* inst, uint32_t n_bytes) {
  uint32_t& bytes = inst->intake.nAudioBytes;
  bytes += n_bytes;
  const uint32_t rate = static_cast<uint32_t>(inst->nSampleRate);
  if (bytes % (rate * 1200) == 0) {
    WVAD_LOG_CRIT("%s | audio time = %d min.", "TSEG::wVadWriteNoAGC", static_cast<int>(bytes / (rate * 120)));
  }
}

}  // namespace

void wVadWriteNoAGC(TsegInst* inst, const uint8_t* chunk, uint32_t status, uint32_t n_bytes) {
  ApiScope scope("TSEG::wVadWriteNoAGC");
  const bool last = status == WVAD_WRITE_LAST;
  FrontBackProbeScan(inst->results.pProbe.get(), chunk, static_cast<int32_t>(n_bytes));
  CountAudio(inst, n_bytes);
  inst->sideA.Push(chunk, n_bytes, last);
  inst->power.Take(chunk, n_bytes, inst->nSampleRate);
  if (inst->gained() == nullptr) DecideOnPush(inst, last);
}

void wVadWriteAGC(TsegInst* inst, const uint8_t* chunk, uint32_t n_bytes, uint32_t status) {
  GainedSide* side = inst->gained();
  if (side == nullptr) return;
  const bool last = status == WVAD_WRITE_LAST;
  side->PushGained(chunk, n_bytes, last);
  DecideOnPush(inst, last);
}

}  // namespace TSEG
