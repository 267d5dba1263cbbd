// SPDX-License-Identifier: Apache-2.0
//
// The loaders of recurrent networks: one walk over the variables, three forms of what they leave in memory.
//
// All tensors stand in one block, converted in place: the narrow values fill the front of the space of their floats, and the old floats
// stay behind them. The compensation arrays of the int8 form are allocations of their own, owned by the model.
#ifndef WVAD_RES_LSTM_LOADER_H_
#define WVAD_RES_LSTM_LOADER_H_

#include "nn/network_models.h"
#include "res/model_format.h"
#include "res/res_mgr.h"

namespace TSEG {

// Fill `link` with the network and its type code. 0, or 30002 for a network that does not fit together; a refusal leaves `link` without
// a record.
int LoadLstmFixed(const MlpResFileHeaderV3& header, HMMResourceLink* link);  // "MLP_RES_RNNCATDNN"
int LoadLstmInt8(const MlpResFileHeaderV2& header, HMMResourceLink* link);   // "MLP_RES_RNNCNNPAD28"
int LoadLstmFloat(const MlpResFileHeaderV2& header, HMMResourceLink* link);  // the same on a processor without SSE4.1

}  // namespace TSEG

#endif  // WVAD_RES_LSTM_LOADER_H_
