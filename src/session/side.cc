// SPDX-License-Identifier: Apache-2.0
#include "session/side.h"

#include "scoring/network_kinds.h"

namespace TSEG {

bool IsServedRate(int32_t rate) { return rate == 16000 || rate == 8000 || rate == 6000; }

void Side::SetFrameSize(int32_t rate) {
  if (IsServedRate(rate)) pWav->setFrameBytes(static_cast<uint32_t>(rate * 2 / 100));
}

void Side::StartFrontEnd(int32_t rate, const CFG_VAD& cfg, int cmn_type, int32_t ready_means) {
  const NetworkKind* kind = FindNetworkKind(cfg.wvad_param_TsegModelType);
  FrontEndChannelStart(pFrontEnd.get(), rate, cfg.wvad_param_isTsegDoCMN, cmn_type, cfg.wvad_param_k4_energy,
                       kind == nullptr ? 0 : kind->feature_dim);
  if (ready_means > 0) ORVAFloatFrontBeginReady(pFrontEnd->hFront, ready_means);
}

void Side::Push(const uint8_t* chunk, uint32_t n_bytes, bool last) {
  pWav->write(chunk, n_bytes);
  if (last) pWav->markLast();
  FrontEndPush(pFrontEnd.get(), reinterpret_cast<const int16_t*>(chunk), static_cast<int>(n_bytes / 2), last);
}

void Side::MoveFrames(FrameHistory<float>* energies, float scale) {
  FrontEndChannel* channel = pFrontEnd.get();
  const int32_t end = FinishedFrames(*channel);
  while (channel->nFramesOut < end) {
    const float energy = FillFeatureFrame(*channel, channel->nFramesOut, pFea->addFrame());
    if (energies != nullptr) energies->push_back(scale * energy);
    ++channel->nFramesOut;
  }
}

void Side::End() {
  pWav->reset();
  pFea->reset();
}

void GainedSide::PushGained(const uint8_t* chunk, uint32_t n_bytes, bool last) {
  GainControlApply(pAgc.get(), chunk, pAgcChunk.data(), static_cast<int32_t>(n_bytes));
  Push(pAgcChunk.data(), n_bytes, last);
}

}  // namespace TSEG
