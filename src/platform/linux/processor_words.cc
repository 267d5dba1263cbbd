// SPDX-License-Identifier: Apache-2.0
//
// What the kernel hands a program about its processor when it starts it, by way of the C library.
#include <sys/auxv.h>

#include "platform/platform.h"

namespace TSEG::platform {

ProcessorWords WordsOfProcessor() { return {.first = ::getauxval(AT_HWCAP), .second = ::getauxval(AT_HWCAP2)}; }

}  // namespace TSEG::platform
