// SPDX-License-Identifier: Apache-2.0
//
// FLAC through libFLAC, which goes on behind a damaged place and says where it stands there: what is missing counts as silence, so that
// everything behind it keeps its time.
#ifndef WVAD_WVAD_FLAC_SOURCE_H_
#define WVAD_WVAD_FLAC_SOURCE_H_

#include <memory>
#include <string>

#include "wvad/audio_source.h"
#include "wvad/byte_source.h"

namespace TSEG::tool {

// Throws Failure(kNotAudio) if there is no header.
std::unique_ptr<AudioSource> OpenFlac(const std::string& name, std::unique_ptr<ByteSource> bytes);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_FLAC_SOURCE_H_
