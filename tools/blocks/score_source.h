// SPDX-License-Identifier: Apache-2.0
//
// Score pairs of a "dnn_fb75" model for a recording, by the engine's own loader and forward pass, without the decision behind them.
//
// One source serves one thread; the model may be shared between several.
#ifndef WVAD_TOOLS_BLOCKS_SCORE_SOURCE_H_
#define WVAD_TOOLS_BLOCKS_SCORE_SOURCE_H_

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "blocks/block_source.h"
#include "nn/dnn_forward.h"
#include "res/res_mgr.h"

namespace TSEG::blocks {

// A loaded model file.
class ScoreModel {
 public:
  // Null with a one-line reason in `*error` if the file is not a feed-forward model that the engine takes.
  static std::unique_ptr<ScoreModel> Load(const std::string& path, std::string* error);
  const DnnModel* dnn() const { return link_->pDnn.get(); }

 private:
  ScoreModel() = default;
  std::unique_ptr<HMMResourceLink> link_;
};

class ScoreSource {
 public:
  ScoreSource(BlockOptions options, const ScoreModel* model);

  // Appends a pair a frame, speech first, to `*pairs`. The last frames of a recording have theirs too.
  void Run(const std::vector<int16_t>& samples, std::vector<float>* pairs);

 private:
  BlockSource blocks_;
  DnnForward forward_;
  const ScoreModel* model_;
};

}  // namespace TSEG::blocks

#endif  // WVAD_TOOLS_BLOCKS_SCORE_SOURCE_H_
