// SPDX-License-Identifier: Apache-2.0
//
// The rules by which energies become unreachable. Each names the reader that it stands for; a reader more needs a rule more.
#include "decision/energy_history.h"

#include <algorithm>

#include "decision/checked_subscript.h"

namespace TSEG {
namespace {

// The first sound lies five frames and more before the place where it is noticed.
constexpr int32_t kFirstSoundBack = 4;
constexpr int32_t kFirstSoundFrames = 3;
constexpr int32_t kTailFrames = 3;
// With a margin below this no end of a sentence wraps, and the detector's floor never falls.
constexpr int32_t kSaneMargin = 1 << 30;

float MeanOfThree(const FrameHistory<float>& history, int32_t index) {
  double sum = static_cast<double>(CheckedSubscript(history, index)) / 1000.0;
  sum += static_cast<double>(CheckedSubscript(history, index + 1)) / 1000.0;
  sum += static_cast<double>(CheckedSubscript(history, index + 2)) / 1000.0;
  return static_cast<float>(sum * static_cast<double>(0.3333f));
}

// What "fnt" asks for may lie as far back as the configuration says, and may be asked for late. Its mean is made before its frames go.
// Gives the first frame that has to stay for it, which is `keep` at most.
int32_t KeepFirstSound(TsegInst* inst, int32_t keep) {
  FrontBackProbe* probe = inst->results.pProbe.get();
  if (!inst->pCfg->wvad_param_bKelOn || probe->nFntState > 1 || probe->bEnergyKept != 0) return keep;
  const int32_t index = FirstSoundFrame(*inst);
  if (index >= keep) return keep;
  const bool final_place = probe->nFntState == 1 || inst->pCfg->wvad_param_nSilBytes != 0;
  if (!final_place) return std::max(index, 0);
  if (index < 0) return keep;  // no such frame
  if (static_cast<uint32_t>(index + kFirstSoundFrames - 1) >= inst->decision.eScore.size()) return index;
  probe->fEnergy = MeanOfThree(inst->decision.eScore, index);
  probe->bEnergyKept = 1;
  return keep;
}

void DropScores(TsegInst* inst) {
  if (inst->pCfg->wvad_param_isVadDegOn) return;
  int32_t keep = std::min(inst->decision.nFrameIdx, static_cast<int32_t>(inst->decision.eScore.size()) - kTailFrames);
  if (inst->pCfg->wvad_param_k4_energy) keep = std::min(keep, inst->decision.pEnergyStats->nLastFrame);
  if (keep <= static_cast<int32_t>(inst->decision.eScore.kept_from())) return;
  keep = KeepFirstSound(inst, keep);
  if (keep > 0) inst->decision.eScore.DropBefore(static_cast<size_t>(keep));
}

// A sentence begins at the detector's floor or behind it.
void DropPowers(TsegInst* inst) {
  const EndpointDetector& detector = *inst->decision.pEndpoint;
  if (inst->pCfg->wvad_param_nFrameEndMargin >= kSaneMargin) return;
  const int32_t keep = detector.nState == 1 ? detector.nBeginFrame : detector.nFloor;
  if (keep > 0) inst->power.frameEnergy.DropBefore(static_cast<size_t>(keep));
}

}  // namespace

int32_t SamplesPerFrame(const FrontBackProbe& probe) { return std::max(probe.nSampleRate / 100, 1); }

int32_t FirstSoundFrame(const TsegInst& inst) {
  const int32_t configured = inst.pCfg->wvad_param_nSilBytes;
  return (configured == 0 ? inst.results.pProbe->nScanned : configured) / SamplesPerFrame(*inst.results.pProbe) - kFirstSoundBack;
}

float FirstSoundEnergy(const TsegInst& inst, int32_t index) {
  return inst.results.pProbe->bEnergyKept != 0 ? inst.results.pProbe->fEnergy : MeanOfThree(inst.decision.eScore, index);
}

void DropPassedEnergies(TsegInst* inst) {
  DropScores(inst);
  DropPowers(inst);
}

}  // namespace TSEG
