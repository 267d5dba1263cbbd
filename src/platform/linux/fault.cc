// SPDX-License-Identifier: Apache-2.0
//
// The deliberate fault.
#include <csignal>
#include <cstdlib>

#include "platform/platform.h"

namespace TSEG::platform {

#if defined(__clang__)
#define WVAD_WANTED_FAULT __attribute__((no_sanitize("undefined", "address")))
#else
#define WVAD_WANTED_FAULT __attribute__((no_sanitize("undefined"), no_sanitize_address))
#endif

WVAD_WANTED_FAULT void FaultAtZero() {
  // The pointer itself is volatile, so that no compiler knows what it holds and turns the store into something else.
  volatile int* volatile address = nullptr;
  *address = 0;
  // Reached only where a handler returned or something is mapped at address zero.
  std::signal(SIGSEGV, SIG_DFL);
  std::raise(SIGSEGV);
  std::abort();
}

}  // namespace TSEG::platform
