// SPDX-License-Identifier: Apache-2.0
//
// The one table of network kinds: what each is called, what it reads, and who makes its scorer. A new kind is a row here, a scorer beside
// the others, and what it needs of channel, network and loader (docs/extending.md).
//
// Constant data and pure functions.
#ifndef WVAD_SCORING_NETWORK_KINDS_H_
#define WVAD_SCORING_NETWORK_KINDS_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>

#include "channel/front_end_channel.h"
#include "nn/dnn_forward.h"
#include "nn/lstm_forward.h"
#include "nn/network_models.h"
#include "scoring/block_observer.h"
#include "scoring/frame_scorer.h"

namespace TSEG {

// The networks that a model holds: one of the two, or neither.
struct NetworkModels {
  const DnnModel* dnn = nullptr;
  const LstmModel* lstm = nullptr;
};

// What a pop tells beside its block.
struct BlockEnd {
  uint8_t eof = 0;     // 1 at the end of the session
  int32_t padded = 0;  // frames that the last block was short of
};

enum NetworkKindIndex : size_t { kKindDnn75, kKindLstm75, kKindLstm40, kNetworkKinds };

struct NetworkKind {
  const char* model_type;  // its name in wvad_param_TsegModelType
  const char* loop;        // its frame loop's name in the log
  bool lstm;               // what wvad_param_isTsegLstm says of it: the forward object is an LstmForward
  int32_t feature_dim;     // values of a frame
  int32_t block_floats;    // values of a block
  int32_t block_frames;    // frames by which one block lies behind the one before it
  // Whether `models` holds a network of this kind, its width aside.
  bool (*fits)(const NetworkModels& models);
  // The next block of `channel`, or null (front_end_channel.h).
  const float* (*pop)(FrontEndChannel* channel, bool last, BlockEnd* end);
  // The scorer on the forward object of the kind's sort; the other pointer is not looked at. `observer` may be null.
  std::unique_ptr<FrameScorer> (*make_scorer)(DnnForward* dnn, LstmForward* lstm, BlockObserver* observer);
};

const NetworkKind& NetworkKindAt(size_t index);
// The kind that `model_type` names exactly, or null.
const NetworkKind* FindNetworkKind(std::string_view model_type);
// The kind of the network in `models`, by what was loaded; null where there is none.
const NetworkKind* KindOfModels(const NetworkModels& models);

// Whether `models` holds the network that the parameters wvad_param_isTsegLstm and wvad_param_TsegModelType ask for. True for a model type
// that names no kind: such a session is not decided upon.
bool ModelsServe(const NetworkModels& models, bool is_lstm, std::string_view model_type);

}  // namespace TSEG

#endif  // WVAD_SCORING_NETWORK_KINDS_H_
