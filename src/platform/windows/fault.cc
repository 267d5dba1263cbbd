// SPDX-License-Identifier: Apache-2.0
//
// The deliberate fault.
#include <windows.h>

#include <cstdlib>

#include "platform/platform.h"

namespace TSEG::platform {

void FaultAtZero() {
  // The pointer itself is volatile, so that no compiler knows what it holds and turns the store into something else.
  volatile int* volatile address = nullptr;
  *address = 0;
  // Reached only where a handler went on behind the store.
  ::TerminateProcess(::GetCurrentProcess(), STATUS_ACCESS_VIOLATION);
  std::abort();
}

}  // namespace TSEG::platform
