// SPDX-License-Identifier: Apache-2.0
//
// Recordings that were put one behind the other in one file, as `cat` does: a decoder hears the first of them and stops at its end. Tags,
// padding and further chunks behind it are no recording.
#ifndef WVAD_WVAD_SECOND_RECORDING_H_
#define WVAD_WVAD_SECOND_RECORDING_H_

#include <cstdint>
#include <string>

#include "wvad/byte_source.h"
#include "wvad/container.h"

namespace TSEG::tool {

// What is said of them; how much was heard follows.
inline const std::string kSeveralRecordings = "holds several recordings one behind the other, of which the first was heard: ";

// Whether another recording begins behind the sound of one in `container` that ends with byte `end`. Looks at tags (ID3, APE) and at the
// heads of chunks alone, and never beyond `known`, the bytes that are there: a stream is not waited for.
bool AnotherBegins(ByteSource& bytes, Container container, uint64_t end, uint64_t known);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_SECOND_RECORDING_H_
