// SPDX-License-Identifier: Apache-2.0
//
// MP3 through libmpg123, which a stream needs no looking back for, and which goes on behind what it does not understand.
#ifndef WVAD_WVAD_MP3_SOURCE_H_
#define WVAD_WVAD_MP3_SOURCE_H_

#include <memory>
#include <string>

#include "wvad/audio_source.h"
#include "wvad/byte_source.h"

namespace TSEG::tool {

// Throws Failure(kNotAudio) if no frame is found.
std::unique_ptr<AudioSource> OpenMp3(const std::string& name, std::unique_ptr<ByteSource> bytes);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_MP3_SOURCE_H_
