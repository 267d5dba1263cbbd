// SPDX-License-Identifier: Apache-2.0
//
// The process's one logger, as the entries and the life-cycle functions share it. Null while it is closed.
#ifndef WVAD_LOG_PROCESS_LOGGER_H_
#define WVAD_LOG_PROCESS_LOGGER_H_

#include "log/log_cfg.h"
#include "log/log_impl.h"

namespace TSEG {

Logger* CurrentLogger();

// Opens the one logger on `cfg`. The result of the open, or -1 when there is one already.
int srlog_open_with(Log_Cfg_T cfg, const LogParts* extra);

}  // namespace TSEG

#endif  // WVAD_LOG_PROCESS_LOGGER_H_
