// SPDX-License-Identifier: Apache-2.0
//
// The field of CFG_VAD behind each normal parameter, for the conversions between text and field.
//
// Constant data; nothing here allocates or fails.
#ifndef WVAD_PARAMS_PARAM_TABLE_H_
#define WVAD_PARAMS_PARAM_TABLE_H_

#include <cstdint>
#include <string>
#include <variant>

#include "params/cfg_vad.h"

namespace TSEG {

using ParamField = std::variant<int32_t CFG_VAD::*, bool CFG_VAD::*, float CFG_VAD::*, std::string CFG_VAD::*>;

// The field of the normal parameter at `position`, 0 to 49.
const ParamField& ParamFieldAt(int position);

}  // namespace TSEG

#endif  // WVAD_PARAMS_PARAM_TABLE_H_
