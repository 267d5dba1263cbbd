// SPDX-License-Identifier: Apache-2.0
#include "api/error_codes.h"

namespace TSEG {

namespace {

constexpr ErrorCode kErrorTable[] = {
    {WVAD_ERROR_ALREADY_INIT, "WVAD_ERROR_ALREADY_INIT"},
    {WVAD_ERROR_NOT_INIT, "WVAD_ERROR_NOT_INIT"},
    {WVAD_ERROR_ALREADY_START, "WVAD_ERROR_ALREADY_START"},
    {WVAD_ERROR_NOT_START, "WVAD_ERROR_NOT_START"},
    {WVAD_ERROR_RESOURCE_TYPE, "WVAD_ERROR_RESOURCE_TYPE"},
    {WVAD_ERROR_INVALID_PARA, "WVAD_ERROR_INVALID_PARA"},
    {WVAD_ERROR_INVALID_PARA_VALUE, "WVAD_ERROR_INVALID_PARA_VALUE"},
    {WVAD_ERROR_NULL_HANDLE, "WVAD_ERROR_NULL_HANDLE"},
    {WVAD_ERROR_INVALID_HANDLE, "WVAD_ERROR_INVALID_HANDLE"},
    {WVAD_ERROR_BUF_NOT_ENOUGH, "WVAD_ERROR_BUF_NOT_ENOUGH"},
    {WVAD_ERROR_AUDIO_ENOUGH, "WVAD_ERROR_AUDIO_ENOUGH"},
    {WVAD_ERROR_PARA_NOT_SETTABLE, "WVAD_ERROR_PARA_NOT_SETTABLE"},
    {WVAD_ERROR_PARAM_TOO_LONG, "WVAD_ERROR_PARAM_TOO_LONG"},
    {WVAD_ERROR_WRITE_LENGTH_NOT_EVEN, "WVAD_ERROR_WRITE_LENGTH_NOT_EVEN"},
};

}  // namespace

const ErrorCode* ErrorTable(size_t* count) {
  *count = sizeof(kErrorTable) / sizeof(kErrorTable[0]);
  return kErrorTable;
}

const char* ErrorName(int code) {
  for (const ErrorCode& row : kErrorTable) {
    if (row.code == code) return row.name;
  }
  return "ret";
}

int EngineIsDown(const char* function) {
  WVAD_LOG_ERROR("%s | Engine hasn't init. %s = %d", function, ErrorName(WVAD_ERROR_NOT_INIT), WVAD_ERROR_NOT_INIT);
  return WVAD_ERROR_NOT_INIT;
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
