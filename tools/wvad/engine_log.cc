// SPDX-License-Identifier: Apache-2.0
#include "wvad/engine_log.h"

#include <utility>

#include "log/log.h"
#include "log/process_logger.h"

namespace TSEG::tool {

void KeepNoLog() {
  if (srlog_exists()) return;
  Log_Cfg_T nothing;
  nothing.nOutput = 0;
  srlog_open_with(std::move(nothing), nullptr);
}

}  // namespace TSEG::tool
