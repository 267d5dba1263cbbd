// SPDX-License-Identifier: Apache-2.0
//
// The table of the engine's own codes, and the small helpers that report a failed check and give its code.
//
// Each code has one row; names in the log come from the table. Nothing here fails or allocates.
#ifndef WVAD_API_ERROR_CODES_H_
#define WVAD_API_ERROR_CODES_H_

#include <cstddef>

#include "log/log.h"
#include "wvad.h"

namespace TSEG {

struct ErrorCode {
  int code;
  const char* name;
};

// All codes of 14001 on, ascending. `*count` gets the number of rows.
const ErrorCode* ErrorTable(size_t* count);
// The name of `code`, "ret" for a code that is not the engine's own.
const char* ErrorName(int code);

// "%s | Engine hasn't init. %s = %d": the engine is down. Gives 14002.
int EngineIsDown(const char* function);
// "%s | %s handle is NULL. %s = %d". Gives `code`.
int HandleIsNull(const char* function, const char* what, int code);
// "%s | para %s is NULL. %s = %d". Gives `code`.
int ParaIsNull(const char* function, const char* what, int code);

// A failed check in one statement: the line of what was wrong, the common line, the code.
#define WVAD_REFUSE(code, ...) WVAD_FAIL(code, ::TSEG::ErrorName(code), __VA_ARGS__)

}  // namespace TSEG

#endif  // WVAD_API_ERROR_CODES_H_
