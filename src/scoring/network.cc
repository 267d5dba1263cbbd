// SPDX-License-Identifier: Apache-2.0
#include "scoring/network.h"

namespace TSEG {

Network::Network(bool is_lstm, BlockObserver* observer) {
  if (is_lstm) {
    pLstm = std::make_unique<LstmForward>();
  } else {
    pDnn = std::make_unique<DnnForward>();
  }
  for (size_t i = 0; i < kNetworkKinds; ++i) {
    const NetworkKind& kind = NetworkKindAt(i);
    if (kind.lstm == is_lstm) scorers_[i] = kind.make_scorer(pDnn.get(), pLstm.get(), observer);
  }
}

void Network::Start(const NetworkModels& models, std::string_view model_type, int32_t priming_frames) {
  if (pDnn && models.dnn != nullptr) DnnForwardBind(pDnn.get(), models.dnn);
  if (pLstm && models.lstm != nullptr) LstmForwardBind(pLstm.get(), models.lstm);
  const NetworkModels bound = {pDnn ? pDnn->pModel : nullptr, pLstm ? pLstm->pModel : nullptr};
  scorer_ = nullptr;
  kind_ = nullptr;
  for (size_t i = 0; i < kNetworkKinds; ++i) {
    const NetworkKind& kind = NetworkKindAt(i);
    if (scorers_[i] == nullptr || model_type != kind.model_type || !kind.fits(bound)) continue;
    scorer_ = scorers_[i].get();
    kind_ = &kind;
    scorer_->Begin(priming_frames);
  }
}

}  // namespace TSEG
