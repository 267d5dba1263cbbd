// SPDX-License-Identifier: Apache-2.0
//
// The seven parameters that always come from the model.
#ifndef WVAD_ENGINE_MODEL_PARAMETERS_H_
#define WVAD_ENGINE_MODEL_PARAMETERS_H_

#include "params/cfg_vad.h"
#include "res/res_mgr.h"

namespace TSEG {

// Takes the seven values of the model's table into `cfg`. 0, 30003 for a null record, 30007 for a table that does not hold them.
int model_res_config_load(const HMMResourceLink* model, CFG_VAD* cfg);

}  // namespace TSEG

#endif  // WVAD_ENGINE_MODEL_PARAMETERS_H_
