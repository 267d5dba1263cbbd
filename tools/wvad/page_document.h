// SPDX-License-Identifier: Apache-2.0
//
// The page of `wvad report` as text: style and script that the build has put into the program, the description of recording and tracks as
// JSON, and the long columns of numbers as packed arrays, each in an element of its own that the script finds by its name.
#ifndef WVAD_WVAD_PAGE_DOCUMENT_H_
#define WVAD_WVAD_PAGE_DOCUMENT_H_

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "wvad/page_track.h"

namespace TSEG::tool {

struct PageRecording {
  std::string name;
  int rate_hz = 16000;
  std::vector<int16_t> samples;
  std::string damage;      // what was wrong with it, or empty
  std::string note;        // what else a reader should know
  std::string sound_link;  // where its sound lies, as a URL; empty: the sound is put into the page
};

// Hands the page to `write`, piece by piece. Throws Failure(kOutput) where the sound cannot be encoded, and what `write` throws.
void WritePage(const PageRecording& recording, const std::vector<PageTrack>& tracks, const std::function<void(std::string_view)>& write);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_PAGE_DOCUMENT_H_
