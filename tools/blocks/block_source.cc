// SPDX-License-Identifier: Apache-2.0
#include "blocks/block_source.h"

#include "scoring/network_kinds.h"

namespace TSEG::blocks {

int BlockFloats(const std::string& model_type) {
  const NetworkKind* kind = FindNetworkKind(model_type);
  return kind == nullptr ? 0 : kind->block_floats;
}

void BlockSource::Run(const std::vector<int16_t>& samples, const BlockSink& sink) {
  n_padded_ = 0;
  const NetworkKind* kind = FindNetworkKind(feed_.options().model_type);
  if (kind == nullptr) return;
  const auto take = [&](bool last) {
    for (;;) {
      BlockEnd end;
      const float* block = feed_.channels().PopBlock([&](FrontEndChannel* channel) { return kind->pop(channel, last, &end); });
      if (block == nullptr) return;
      n_padded_ += end.padded;
      sink(block, end.eof != 0);
    }
  };
  feed_.Begin();
  feed_.Push(samples.data(), samples.size(), take);
  feed_.Finish(take);
}

}  // namespace TSEG::blocks
