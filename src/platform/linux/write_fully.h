// SPDX-License-Identifier: Apache-2.0
//
// WriteFully: a write that cannot end the process.
//
// A write past a file size limit raises SIGXFSZ and one into a pipe without a reader SIGPIPE; both end a process that did not ask for them,
// and a library that only writes its log must not do that to its client. The error number of the write says the same.
#ifndef WVAD_PLATFORM_LINUX_WRITE_FULLY_H_
#define WVAD_PLATFORM_LINUX_WRITE_FULLY_H_

#include <cstddef>

namespace TSEG::platform {

// Writes all of `bytes`, going on after interruptions. 0, or the system's error. Leaves no signal behind and no change of the mask.
int WriteFully(int descriptor, const char* bytes, size_t length);

}  // namespace TSEG::platform

#endif  // WVAD_PLATFORM_LINUX_WRITE_FULLY_H_
