// SPDX-License-Identifier: Apache-2.0
//
// Network: the network of one instance: its forward object, and the scorers that drive it, of which the session's model type chooses one.
//
// The forward object is made once, for recurrent or feed-forward models; every session gives it the model anew. One thread at a time. Only
// the constructor allocates.
#ifndef WVAD_SCORING_NETWORK_H_
#define WVAD_SCORING_NETWORK_H_

#include <cstdint>
#include <memory>
#include <string_view>

#include "scoring/network_kinds.h"

namespace TSEG {

class Network {
 public:
  // `is_lstm`: what the models will be. `observer`, if there is one, sees the blocks of "dnn_fb75".
  explicit Network(bool is_lstm, BlockObserver* observer = nullptr);

  std::unique_ptr<DnnForward> pDnn;    // with wvad_param_isTsegLstm off
  std::unique_ptr<LstmForward> pLstm;  // with it on

  // A session begins on `models`, of which the forward object takes the network of its sort, if there is one; the scorer becomes that of
  // `model_type`. `priming_frames` as in FrameScorer::Begin.
  void Start(const NetworkModels& models, std::string_view model_type, int32_t priming_frames);
  // The scorer of the session, or null where the model type names none that fits the bound network.
  FrameScorer* scorer() const { return scorer_; }
  // The scorer of that kind, whatever the model type; null where the forward object is of the other sort.
  FrameScorer* ScorerOf(NetworkKindIndex kind) const { return scorers_[kind].get(); }
  // The kind behind scorer(), or null.
  const NetworkKind* kind() const { return kind_; }

 private:
  std::unique_ptr<FrameScorer> scorers_[kNetworkKinds];
  FrameScorer* scorer_ = nullptr;
  const NetworkKind* kind_ = nullptr;
};

}  // namespace TSEG

#endif  // WVAD_SCORING_NETWORK_H_
