// SPDX-License-Identifier: Apache-2.0
//
// For the systems on which a mapping keeps what has been read of it.
#include "platform/platform.h"

namespace TSEG::platform {

void FileMapping::ForgetPages() const {}

}  // namespace TSEG::platform
