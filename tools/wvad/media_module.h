// SPDX-License-Identifier: Apache-2.0
//
// What the program and its decoder on FFmpeg's libraries know of each other. That decoder is a shared object of its own,
// lib/wvad/ffmpeg.so, which is loaded when a recording needs it. So the program starts without these libraries and the forty that come with
// them, runs where they are missing, and what it calls of them is still checked by the compiler and bound to their major version by the
// linker, which names looked up one by one in libraries loaded at run time would not be.
//
// Both sides are built together; the version says so.
#ifndef WVAD_WVAD_MEDIA_MODULE_H_
#define WVAD_WVAD_MEDIA_MODULE_H_

#include <memory>
#include <optional>
#include <string>

#include "wvad/audio_source.h"
#include "wvad/byte_source.h"
#include "wvad/hls_list.h"

namespace TSEG::tool {

struct MediaRequest {
  std::string name;            // for messages, and as the place that names in a playlist are relative to; "-" for standard input
  int track = 0;               // which of the sound tracks, from 1; 0 for the one that the file says is the default, else the first
  bool allow_network = false;  // addresses may be opened
  bool seekable = true;        // `bytes` can be read again from anywhere
  bool (*interrupted)() = nullptr;
  std::optional<HlsList> list = {};  // what `bytes` are, where they are such a list
};

struct MediaModule {
  const char* version;  // WVAD_VERSION
  // `bytes` null: `request.name` is an address. Null where the bytes are of no kind that FFmpeg knows. Throws Failure: kNotAudio (no sound
  // in it, a form that cannot be decoded), kBadRate (no such track; it lists those that there are), kNoFile (an address that does not
  // answer).
  std::unique_ptr<AudioSource> (*open)(const MediaRequest& request, std::unique_ptr<ByteSource> bytes);
};

// The one name that the shared object shows.
constexpr const char* kMediaModuleEntry = "WVadMediaModule";
using MediaModuleEntry = const MediaModule* (*)();

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_MEDIA_MODULE_H_
