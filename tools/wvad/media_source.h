// SPDX-License-Identifier: Apache-2.0
//
// What FFmpeg's libraries decode, if they are there: the sound of films, of phones and of messengers, and tracks beside the first one.
#ifndef WVAD_WVAD_MEDIA_SOURCE_H_
#define WVAD_WVAD_MEDIA_SOURCE_H_

#include <memory>
#include <string>

#include "wvad/audio_source.h"
#include "wvad/byte_source.h"
#include "wvad/container.h"

namespace TSEG::tool {

// Loads the decoder at the first call. `container` tells how far a stream has to be kept. Null where FFmpeg does not know the bytes either,
// or, for bytes that were not recognised, where there is no decoder. Throws Failure as MediaModule::open, and kNotAudio with the way round
// where there is no decoder for what was recognised.
std::unique_ptr<AudioSource> OpenMedia(const std::string& name, std::unique_ptr<ByteSource> bytes, Container container,
                                       const SourceOptions& options);

// A name such as https://host/talk.mp3.
bool IsAddress(const std::string& name);
// Throws Failure(kNoFile) unless options.allow_network, and as OpenMedia.
std::unique_ptr<AudioSource> OpenAddress(const std::string& name, const SourceOptions& options);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_MEDIA_SOURCE_H_
