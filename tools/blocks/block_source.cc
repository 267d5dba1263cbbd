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
  Begin();
  Push(samples.data(), samples.size(), sink);
  Finish(sink);
}

void BlockSource::Begin() {
  n_padded_ = 0;
  chunk_.clear();
  FrontEndChannelStart(&channel_, options_.rate_hz, options_.mean_removal, options_.cmn_type, false, options_.model_type);
  if (options_.gain_control_hz > 0) GainControlStart(&gain_, options_.gain_control_hz);
}

void BlockSource::Push(const int16_t* samples, size_t count, const BlockSink& sink) {
  while (count > 0) {
    const size_t taken = std::min(count, kChunkSamples - chunk_.size());
    chunk_.insert(chunk_.end(), samples, samples + taken);
    samples += taken;
    count -= taken;
    if (chunk_.size() == kChunkSamples) Chunk(false, sink);
  }
}

// Full chunks are ordinary; what is left, be it nothing, is the last piece of the session.
void BlockSource::Finish(const BlockSink& sink) { Chunk(true, sink); }

void BlockSource::Chunk(bool last, const BlockSink& sink) {
  const int16_t* samples = chunk_.data();
  if (options_.gain_control_hz > 0) {
    louder_.resize(kChunkSamples);
    GainControlApply(&gain_, reinterpret_cast<const uint8_t*>(chunk_.data()), reinterpret_cast<uint8_t*>(louder_.data()),
                     static_cast<int32_t>(2 * chunk_.size()));
    samples = louder_.data();
  }
  bool more = FrontEndPush(&channel_, samples, static_cast<int>(chunk_.size()), last);
  chunk_.clear();
  while (more) {  // the rings are full: their blocks have to go first, and none of them closes the session
    PopAll(false, sink);
    more = FrontEndContinue(&channel_);
  }
  PopAll(last, sink);
}

}  // namespace TSEG::blocks
