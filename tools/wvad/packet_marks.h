// SPDX-License-Identifier: Apache-2.0
//
// Streams that have no mark at their begin, only one at each of their packets: AAC (ADTS), AC-3 and E-AC-3, MPEG transport streams.
#ifndef WVAD_WVAD_PACKET_MARKS_H_
#define WVAD_WVAD_PACKET_MARKS_H_

#include "wvad/byte_source.h"

namespace TSEG::tool {

// Several packets of one kind one after another: chance does not bring that about in raw samples.
bool StartsWithMediaPackets(ByteSource& bytes);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_PACKET_MARKS_H_
