// SPDX-License-Identifier: Apache-2.0
//
// Playlists: texts that name recordings (M3U, PLS). Those that cut one recording into pieces (HLS) are no such; FFmpeg's libraries hear
// them.
#ifndef WVAD_WVAD_PLAYLIST_H_
#define WVAD_WVAD_PLAYLIST_H_

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "wvad/byte_source.h"

namespace TSEG::tool {

// What a PLS playlist names, in the order of its numbers: "[playlist]" and "File1=NAME" in letters of either case, blanks round all of
// them, and comments. Nothing for a text that is none; the heading may be missing where the list is called .pls.
std::optional<std::vector<std::string>> EntriesOfPls(std::string_view text, const std::string& name);

// The first entry of a playlist, empty where it has none; nothing for what is no playlist. `name` may tell one that has no mark.
std::optional<std::string> FirstOfPlaylist(ByteSource& bytes, const std::string& name);

// Throws NoSound where it is one, with what it is good for.
void RefusePlaylist(ByteSource& bytes, const std::string& name);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_PLAYLIST_H_
