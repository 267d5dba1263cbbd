// SPDX-License-Identifier: Apache-2.0
//
// Whether an Ogg file is whole: its pages have checksums and numbers, and the last one says that it is (libogg).
#ifndef WVAD_WVAD_OGG_CHECK_H_
#define WVAD_WVAD_OGG_CHECK_H_

#include "wvad/byte_source.h"

namespace TSEG::tool {

struct OggState {
  int bad_places = 0;    // between pages: bytes that are none, and numbers that are missing
  bool has_end = false;  // the last page is one
  bool chained = false;  // behind an end another recording begins
};

// Reads everything; a stream has to keep it (ByteSource::KeepAll).
OggState CheckOgg(ByteSource& bytes);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_OGG_CHECK_H_
