// SPDX-License-Identifier: Apache-2.0
//
// The system's error numbers as those of <cerrno>.
#ifndef WVAD_PLATFORM_WINDOWS_ERROR_NUMBER_H_
#define WVAD_PLATFORM_WINDOWS_ERROR_NUMBER_H_

namespace TSEG::platform {

// EIO for what has no counterpart. Pure.
int ErrorNumber(unsigned long system_error);
// That of the calling thread's last failed call.
int LastErrorNumber();

}  // namespace TSEG::platform

#endif  // WVAD_PLATFORM_WINDOWS_ERROR_NUMBER_H_
