// SPDX-License-Identifier: Apache-2.0
#include "blocks/audio_feed.h"

#include <algorithm>
#include <utility>

#include "scoring/network_kinds.h"
#include "wvad.h"

namespace TSEG::blocks {

AudioFeed::AudioFeed(BlockOptions options) : options_(std::move(options)), louder_(kChunkBytes) {}

void AudioFeed::Begin() {
  const NetworkKind* kind = FindNetworkKind(options_.model_type);
  intake_.Start();
  FrontEndChannelStart(&channel_, options_.rate_hz, options_.mean_removal, options_.cmn_type, false,
                       kind == nullptr ? 0 : kind->feature_dim);
  if (options_.ready_means > 0) ORVAFloatFrontBeginReady(channel_.hFront, options_.ready_means);
  if (options_.gain_control_hz > 0) GainControlStart(&gain_, options_.gain_control_hz);
}

void AudioFeed::Push(const int16_t* samples, size_t count, const Take& take) {
  constexpr size_t kMostSamples = size_t{1} << 20;  // of a piece, whose length is counted in 32 bits of bytes
  while (count > 0) {
    const size_t n = std::min(count, kMostSamples);
    Piece(samples, n, WVAD_WRITE_CONTINUE, take);
    samples += n;
    count -= n;
  }
}

void AudioFeed::Finish(const Take& take) { Piece(nullptr, 0, WVAD_WRITE_LAST, take); }

void AudioFeed::Piece(const int16_t* samples, size_t count, uint32_t status, const Take& take) {
  WVadAudioSample audio = {};
  audio.pData = const_cast<int16_t*>(samples);
  audio.len = static_cast<uint32_t>(2 * count);
  audio.status = status;
  intake_.TakePiece();
  while (intake_.NextChunk(audio, &status)) {
    const uint8_t* chunk = intake_.pChunk.data();
    if (options_.gain_control_hz > 0) {
      GainControlApply(&gain_, chunk, louder_.data(), static_cast<int32_t>(intake_.nChunkFill));
      chunk = louder_.data();
    }
    const bool last = status == WVAD_WRITE_LAST;
    FrontEndPush(&channel_, reinterpret_cast<const int16_t*>(chunk), static_cast<int>(intake_.nChunkFill / 2), last);
    TakeWholePush(channels(), last, take);
  }
}

}  // namespace TSEG::blocks
