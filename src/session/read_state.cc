// SPDX-License-Identifier: Apache-2.0
#include "session/read_state.h"

namespace TSEG {

void ReadState::Start(const CFG_VAD& cfg) {
  nReadState = 0;
  nReadBegun = 0;
  nReadSentence = 0;
  if (cfg.wvad_param_isReadFtrDoCMN) {
    pReadCmn->setup(cfg.wvad_param_srec_cmn_type);
  } else {
    pReadCmn->bEnable = 0;
  }
}

}  // namespace TSEG
