// SPDX-License-Identifier: Apache-2.0
//
// The one table of codes that a function of the library or of the audio-quality component can give, and their names.
//
// Each code has one row; names in the log and in the program come from it. Nothing here fails or allocates.
#ifndef WVAD_BASE_ERROR_CODES_H_
#define WVAD_BASE_ERROR_CODES_H_

#include <cstddef>

#include "wvad.h"

namespace TSEG {

// The codes of the audio-quality component.
enum KelError : int {
  WKEL_ERROR_NOT_INIT = 15002,
  WKEL_ERROR_ALREADY_START = 15003,
  WKEL_ERROR_NOT_START = 15004,
  WKEL_ERROR_INVALID_PARA = 15009,
  WKEL_ERROR_NULL_HANDLE = 15011,
  WKEL_ERROR_BUF_NOT_ENOUGH = 15013
};

struct ErrorCode {
  int code;
  const char* name;
};

// All codes, ascending. `*count` gets the number of rows.
const ErrorCode* ErrorTable(size_t* count);
// The name of `code`, "ret" for a code that is not in the table.
const char* ErrorName(int code);

}  // namespace TSEG

#endif  // WVAD_BASE_ERROR_CODES_H_
