// SPDX-License-Identifier: Apache-2.0
#include "blocks/block_source.h"

#include <algorithm>
#include <utility>

namespace TSEG::blocks {
namespace {

constexpr size_t kChunkSamples = 400;  // the 800 bytes that a session pushes at a time

}  // namespace

int BlockFloats(const std::string& model_type) {
  if (model_type == "dnn_fb75") return 825;
  if (model_type == "lstm_fb75") return 300;
  if (model_type == "lstm_fb40") return 160;
  return 0;
}

BlockSource::BlockSource(BlockOptions options) : options_(std::move(options)) {}

void BlockSource::PopAll(bool last, const BlockSink& sink) {
  uint8_t eof = 0;
  const float* block = nullptr;
  do {
    if (options_.model_type == "dnn_fb75") {
      block = PopDnnBlock(&channel_, last, &eof);
    } else if (options_.model_type == "lstm_fb75") {
      block = PopLstmBlock75(&channel_, last, &eof, &n_padded_);
    } else {
      block = PopLstmBlock40(&channel_, last, &eof, &n_padded_);
    }
    if (block != nullptr) sink(block, eof != 0);
  } while (block != nullptr);
}

void BlockSource::Run(const std::vector<int16_t>& samples, const BlockSink& sink) {
  n_padded_ = 0;
  FrontEndChannelStart(&channel_, options_.rate_hz, options_.mean_removal, options_.cmn_type, false, options_.model_type);
  // Full chunks are ordinary; what is left, be it nothing, is the last piece of the session.
  size_t at = 0;
  bool last = false;
  while (!last) {
    last = samples.size() - at < kChunkSamples;
    const size_t count = std::min(kChunkSamples, samples.size() - at);
    bool more = FrontEndPush(&channel_, samples.data() + at, static_cast<int>(count), last);
    at += count;
    while (more) {  // the rings are full: their blocks have to go first, and none of them closes the session
      PopAll(false, sink);
      more = FrontEndContinue(&channel_);
    }
    PopAll(last, sink);
  }
}

}  // namespace TSEG::blocks
