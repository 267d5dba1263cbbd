// SPDX-License-Identifier: Apache-2.0
//
// The shared object that the program loads for what its own decoders do not know; media_module.h tells why it is one.
#include <wvad.h>

#include <memory>
#include <utility>

#include "wvad/ffmpeg/media_reader.h"
#include "wvad/ffmpeg/trouble_log.h"
#include "wvad/media_module.h"

namespace TSEG::tool {
namespace {

std::unique_ptr<AudioSource> Open(const MediaRequest& request, std::unique_ptr<ByteSource> bytes) {
  CatchTroubles();
  std::unique_ptr<ByteIo> io;
  if (bytes) io = std::make_unique<ByteIo>(std::move(bytes), request.seekable);
  auto reader = std::make_unique<MediaReader>(request, std::move(io));
  if (!reader->known()) return nullptr;
  return reader;
}

constexpr MediaModule kModule = {WVAD_VERSION, Open};

}  // namespace
}  // namespace TSEG::tool

extern "C" __attribute__((visibility("default"))) const TSEG::tool::MediaModule* WVadMediaModule() { return &TSEG::tool::kModule; }
