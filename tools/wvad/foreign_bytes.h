// SPDX-License-Identifier: Apache-2.0
//
// Bytes that surely are no samples: text, and files of other kinds by the marks that they begin with. A pipe whose bytes no decoder knows
// counts as samples without a container, which anything can be.
#ifndef WVAD_WVAD_FOREIGN_BYTES_H_
#define WVAD_WVAD_FOREIGN_BYTES_H_

#include "wvad/byte_source.h"

namespace TSEG::tool {

// What they are, "text" or "a picture (PNG)"; null where they may be samples. Looks at the first 64 bytes. As samples of 16 bits text would
// be loud and never change its sign, so a few of them are enough.
const char* ForeignKind(ByteSource& bytes);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_FOREIGN_BYTES_H_
