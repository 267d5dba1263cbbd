// SPDX-License-Identifier: Apache-2.0
//
// A stand-in for a full disk: no file of this process may grow beyond `bytes`. For good, so only in a process of its own.
#ifndef WVAD_SUPPORT_FILE_SIZE_LIMIT_H_
#define WVAD_SUPPORT_FILE_SIZE_LIMIT_H_

#include <sys/resource.h>

namespace TSEG::testing_support {

inline void LimitFileSize(rlim_t bytes) {
  const rlimit limit{bytes, bytes};
  ::setrlimit(RLIMIT_FSIZE, &limit);
}

}  // namespace TSEG::testing_support

#endif  // WVAD_SUPPORT_FILE_SIZE_LIMIT_H_
