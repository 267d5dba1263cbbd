// SPDX-License-Identifier: Apache-2.0
//
// The sound tracks of a file: which one is listened to, and how they are told to a person.
#ifndef WVAD_WVAD_FFMPEG_TRACKS_H_
#define WVAD_WVAD_FFMPEG_TRACKS_H_

#include <string>

struct AVFormatContext;
struct AVStream;

namespace TSEG::tool {

// The sound track `track`, from 1; for 0 the one that the file says is the default, else the first. All other streams are discarded.
// Throws Failure: kNotAudio for a file without sound, kBadRate for a track that is not there, with those that are.
AVStream* ChooseTrack(AVFormatContext* file, const std::string& name, int track);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_FFMPEG_TRACKS_H_
