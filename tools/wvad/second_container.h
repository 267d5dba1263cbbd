// SPDX-License-Identifier: Apache-2.0
//
// Where another recording begins in a file whose container is a row of parts that each say their length: the boxes of MP4 and its kin, the
// objects of ASF (WMA), the chunks of CAF. Decoders hear the first recording and pass over the others, or take their bytes for something
// else.
#ifndef WVAD_WVAD_SECOND_CONTAINER_H_
#define WVAD_WVAD_SECOND_CONTAINER_H_

#include <cstdint>
#include <optional>

#include "wvad/byte_source.h"
#include "wvad/container.h"

namespace TSEG::tool {

// The byte at which a second recording begins, of the `known` bytes that are there; looks at the heads of the parts alone. None where there
// is no second one, where a part goes on to the end or beyond it, and in other containers.
//
// Fragments of MP4 may follow each other for ever, with the description of the whole in between; only behind the index that ends them
// (`mfra`) is there another recording.
std::optional<uint64_t> BeginOfSecond(ByteSource& bytes, Container container, uint64_t known);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_SECOND_CONTAINER_H_
