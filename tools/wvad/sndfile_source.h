// SPDX-License-Identifier: Apache-2.0
//
// What libsndfile decodes, over bytes that may be a stream's.
#ifndef WVAD_WVAD_SNDFILE_SOURCE_H_
#define WVAD_WVAD_SNDFILE_SOURCE_H_

#include <memory>
#include <optional>
#include <string>

#include "wvad/audio_source.h"
#include "wvad/byte_source.h"
#include "wvad/container.h"

namespace TSEG::tool {

// `stretch`: where the samples lie, if that is known; nothing behind them is waited for. Throws Failure(kNotAudio) with libsndfile's
// reason.
std::unique_ptr<AudioSource> OpenWithSndfile(const std::string& name, std::unique_ptr<ByteSource> bytes, Container container,
                                             const std::optional<Stretch>& stretch);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_SNDFILE_SOURCE_H_
