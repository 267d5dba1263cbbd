// SPDX-License-Identifier: Apache-2.0
//
// What a list of pieces (HLS) promises of the recording that it cuts: how long it is, and whether more is still to come. FFmpeg's libraries
// hear such a list, but pass over pieces that are missing or hold nothing; the promise is what tells of them.
#ifndef WVAD_WVAD_HLS_LIST_H_
#define WVAD_WVAD_HLS_LIST_H_

#include <optional>

#include "wvad/byte_source.h"

namespace TSEG::tool {

struct HlsList {
  int pieces = 0;
  double length_s = 0;         // of all pieces
  double rounding_s = 0;       // that may be more than there is: half a second for each piece, where all have whole seconds
  bool closed = false;         // nothing more is to come
  bool discontinuous = false;  // its clock is set anew between pieces
};

// None for anything else, and for a list that leads to further ones.
std::optional<HlsList> ReadHlsList(ByteSource& bytes);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_HLS_LIST_H_
