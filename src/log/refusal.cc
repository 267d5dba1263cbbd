// SPDX-License-Identifier: Apache-2.0
#include "log/refusal.h"

namespace TSEG {

int EngineIsDown(const char* function, int code) {
  WVAD_LOG_ERROR("%s | Engine hasn't init. %s = %d", function, ErrorName(code), code);
  return code;
}

int HandleIsNull(const char* function, const char* what, int code) {
  WVAD_LOG_ERROR("%s | %s handle is NULL. %s = %d", function, what, ErrorName(code), code);
  return code;
}

int ParaIsNull(const char* function, const char* what, int code) {
  WVAD_LOG_ERROR("%s | para %s is NULL. %s = %d", function, what, ErrorName(code), code);
  return code;
}

}  // namespace TSEG
