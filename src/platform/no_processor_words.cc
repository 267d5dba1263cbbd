// SPDX-License-Identifier: Apache-2.0
//
// For the systems that hand a program no words about its processor.
#include "platform/platform.h"

namespace TSEG::platform {

ProcessorWords WordsOfProcessor() { return {}; }

}  // namespace TSEG::platform
