// SPDX-License-Identifier: Apache-2.0
//
// HandleOf: the system's handle behind a descriptor of the C library, INVALID_HANDLE_VALUE where there is none.
#ifndef WVAD_WVAD_WINDOWS_DESCRIPTOR_H_
#define WVAD_WVAD_WINDOWS_DESCRIPTOR_H_

#include <io.h>
#include <windows.h>

namespace TSEG::tool {

// Programs without standard streams have descriptors with the handle -2 there.
inline HANDLE HandleOf(int descriptor) {
  const intptr_t number = ::_get_osfhandle(descriptor);
  return number == -2 ? INVALID_HANDLE_VALUE : reinterpret_cast<HANDLE>(number);
}

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_WINDOWS_DESCRIPTOR_H_
