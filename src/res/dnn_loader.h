// SPDX-License-Identifier: Apache-2.0
//
// The loader of feed-forward networks: from a checked V3 header to the integer tables that the forward pass reads.
//
// Two tables are built from the floats of the file, one by the 8-bit shifts and one by the 16-bit shifts of the header; the forward pass
// takes the bias of the first layer and its two bytes from the second and all else from the first.
#ifndef WVAD_RES_DNN_LOADER_H_
#define WVAD_RES_DNN_LOADER_H_

#include <memory>

#include "nn/network_models.h"
#include "res/cfg_resmgr.h"
#include "res/model_format.h"
#include "res/res_mgr.h"

namespace TSEG {

struct MlpResLoader {
  // Fills `link` with the network, its type code and, where the model has a "map", the state rows and the silence row. 0, 30011 for a
  // network of a single layer, 30002 for one that does not fit together; a refusal leaves `link` without a record.
  static int load(const MlpResFileHeaderV3& header, const CFG_RESMGR& cfg, bool gpu_available, HMMResourceLink* link);
};

}  // namespace TSEG

#endif  // WVAD_RES_DNN_LOADER_H_
