// SPDX-License-Identifier: Apache-2.0
//
// A failed check in one statement: the line of what was wrong, the common line with the code's name, and the code as the value.
#ifndef WVAD_LOG_REFUSAL_H_
#define WVAD_LOG_REFUSAL_H_

#include "base/error_codes.h"
#include "log/log.h"

namespace TSEG {

// `code` with the line of what was wrong, printf-like, and the common line under the code's name.
#define WVAD_REFUSE(code, ...) WVAD_FAIL(code, ::TSEG::ErrorName(code), __VA_ARGS__)

// The checks that are told in one line. Each gives `code`.
// "%s | Engine hasn't init. %s = %d": the engine is down.
int EngineIsDown(const char* function, int code);
// "%s | %s handle is NULL. %s = %d".
int HandleIsNull(const char* function, const char* what, int code);
// "%s | para %s is NULL. %s = %d".
int ParaIsNull(const char* function, const char* what, int code);

}  // namespace TSEG

#endif  // WVAD_LOG_REFUSAL_H_
