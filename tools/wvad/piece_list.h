// SPDX-License-Identifier: Apache-2.0
//
// Lists that make one recording of several files, heard by FFmpeg's libraries: HLS and ffconcat. What such a list leads to is read as it is
// heard, and is an input like the list itself.
#ifndef WVAD_WVAD_PIECE_LIST_H_
#define WVAD_WVAD_PIECE_LIST_H_

#include <string>
#include <vector>

#include "wvad/byte_source.h"

namespace TSEG::tool {

// Whether these are the bytes of a list: of pieces, or (M3U) of recordings.
bool IsList(ByteSource& bytes);
// Of these, whether its form is that of HLS, as M3U's is.
bool IsHlsList(ByteSource& bytes);

// The names of the files that the list `path` leads to, those of the lists in it with them; none for what is no list or cannot be read.
// Addresses are among them as they are written.
std::vector<std::string> PiecesOf(const std::string& path);

// Whether a list that `path` leads to, or it itself, leads back to one on the way to it. Those who follow such lists come to no end.
bool LeadsToItself(const std::string& path);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_PIECE_LIST_H_
