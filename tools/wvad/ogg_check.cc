// SPDX-License-Identifier: Apache-2.0
#include "wvad/ogg_check.h"

#include <ogg/ogg.h>

#include <map>

namespace TSEG::tool {

OggState CheckOgg(ByteSource& bytes) {
  constexpr long kPiece = 65536;
  ogg_sync_state sync;
  ogg_sync_init(&sync);
  OggState state;
  std::map<int, long> next_number;  // of each stream in the file
  bool skipping = false;
  for (uint64_t at = 0;;) {
    ogg_page page;
    const int found = ogg_sync_pageout(&sync, &page);
    if (found < 0) {
      skipping = true;
    } else if (found > 0) {
      const long number = ogg_page_pageno(&page);
      const auto expected = next_number.find(ogg_page_serialno(&page));
      const bool lost = expected != next_number.end() && ogg_page_bos(&page) == 0 && expected->second != number;
      if (skipping || lost) ++state.bad_places;
      skipping = false;
      next_number[ogg_page_serialno(&page)] = number + 1;
      state.chained |= state.has_end && ogg_page_bos(&page) != 0;
      state.has_end = ogg_page_eos(&page) != 0;
    } else {
      char* room = ogg_sync_buffer(&sync, kPiece);
      const size_t got = bytes.ReadAt(at, room, kPiece);
      if (got == 0) break;
      ogg_sync_wrote(&sync, static_cast<long>(got));
      at += got;
    }
  }
  ogg_sync_clear(&sync);
  return state;
}

}  // namespace TSEG::tool
